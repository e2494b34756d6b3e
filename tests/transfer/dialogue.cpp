// A peer that follows a table.
#include "dialogue.h"

#include "platform/clock.h"
#include "platform/events.h"
#include "platform/headless/headless.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <sstream>

// ---- rows ------------------------------------------------------------------

dialogue_row says(const std::string &bytes)
{
    return {dialogue_row::say, bytes, 0, 0, {}};
}

dialogue_row hears(const std::string &bytes, int32_t least, int32_t most)
{
    return {dialogue_row::hear, bytes, least, most, {}};
}

dialogue_row hears_the_rest()
{
    return {dialogue_row::rest, "", 0, 0, {}};
}

dialogue_row silence(int32_t ticks)
{
    return {dialogue_row::silence, "", ticks, 0, {}};
}

dialogue_row does(std::function<void()> act)
{
    return {dialogue_row::fact, "", 0, 0, std::move(act)};
}

dialogue_row cancels()
{
    return does([] { hl_type(".", cmdKey); });
}

dialogue_rows operator+(dialogue_rows a, const dialogue_rows &b)
{
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

dialogue_rows times(int n, const dialogue_rows &rows)
{
    dialogue_rows all;
    while (n-- > 0)
        all = all + rows;
    return all;
}

// ---- rows in short ---------------------------------------------------------

static std::string spelled(const std::string &names,
                           const dialogue_words &words)
{
    std::istringstream in(names);
    std::string name, out;

    while (std::getline(in, name, '+')) {
        auto word = words.find(name);
        out += word == words.end() ? name : word->second;
    }
    return out;
}

static dialogue_row row_of(const std::string &token,
                           const dialogue_words &words,
                           const std::function<void()> &act)
{
    std::string rest = token.substr(1);
    size_t at = rest.find('@');
    int32_t least = 0, most = INT32_MAX;

    switch (token[0]) {
    case '>':
        return says(spelled(rest, words));
    case '~':
        return silence(std::stoi(rest));
    case '!':
        return cancels();
    case '&':
        return does(act);
    }
    if (rest == "*")
        return hears_the_rest();
    if (at != std::string::npos) {
        least = std::stoi(rest.substr(at + 1));
        most = std::stoi(rest.substr(rest.find('-', at) + 1));
    }
    return hears(spelled(rest.substr(0, at), words), least, most);
}

dialogue_rows rows_of(const std::string &text, const dialogue_words &words,
                      const std::function<void()> &act)
{
    std::istringstream in(text);
    dialogue_rows rows;

    for (std::string token; in >> token;) {
        int n = 1;
        if (isdigit(token[0])) {
            n = std::stoi(token);
            token.erase(0, token.find('x') + 1);
        }
        rows = rows + times(n, {row_of(token, words, act)});
    }
    return rows;
}

// ---- the play --------------------------------------------------------------

static std::string shown(const std::string &bytes)
{
    static const char digits[] = "0123456789abcdef";
    std::string out;

    for (unsigned char c : bytes.substr(0, 40)) {
        if (c >= 32 && c < 127)
            out += char(c);
        else
            out += {'\\', 'x', digits[c >> 4], digits[c & 15]};
    }
    return "\"" + out + "\"" + (bytes.size() > 40 ? "..." : "") + " (" +
           std::to_string(bytes.size()) + ")";
}

// What the waits of a play refer to; a wait that ends after it finds it gone.
struct running_play {
    dialogue_rows rows;
    size_t next = 0;
    size_t used = 0; // bytes of that row already heard
    uint32_t since = 0;
    bool resting = false;
    std::string heard, trouble;
};
using play_ref = std::shared_ptr<running_play>;

static void fail(running_play &p, const std::string &what)
{
    p.trouble = "row " + std::to_string(p.next + 1) + ": " + what;
    p.rows.resize(p.next);
    p.heard.clear();
}

// Takes what the row can use of the bytes heard. True when it has all.
static bool hear_row(running_play &p, const dialogue_row &row)
{
    size_t n = std::min(p.heard.size(), row.bytes.size() - p.used);
    int32_t waited = int32_t(TickCount() - p.since);

    if (n == 0 && p.used < row.bytes.size())
        return false;
    if (row.bytes.compare(p.used, n, p.heard, 0, n) != 0)
        fail(p, "the program says " + shown(p.heard) + " in place of " +
                    shown(row.bytes.substr(p.used)));
    else if (p.used == 0 && (waited < row.least || waited > row.most))
        fail(p, shown(row.bytes) + " comes after " + std::to_string(waited) +
                    " ticks");
    if (!p.trouble.empty())
        return false;
    p.heard.erase(0, n);
    p.used += n;
    return p.used == row.bytes.size();
}

static void go_on(const play_ref &p)
{
    while (!p->resting && p->next < p->rows.size()) {
        const dialogue_row row = p->rows[p->next];
        switch (row.kind) {
        case dialogue_row::say:
            hl_line_say(row.bytes);
            break;
        case dialogue_row::hear:
            if (!hear_row(*p, row))
                return;
            break;
        case dialogue_row::rest:
            p->heard.clear();
            return;
        case dialogue_row::silence:
            p->resting = true;
            hl_after(uint32_t(row.least), [weak = std::weak_ptr(p)] {
                if (play_ref still = weak.lock()) {
                    still->resting = false;
                    go_on(still);
                }
            });
            break;
        case dialogue_row::fact:
            row.act();
            break;
        }
        p->next++;
        p->used = 0;
        p->since = TickCount();
    }
}

void play(const std::string &name, const dialogue_rows &rows,
          const std::function<void()> &run)
{
    SCOPED_TRACE(name);
    play_ref p = std::make_shared<running_play>();
    p->rows = rows;
    p->since = TickCount();
    hl_line_peer([p](const uint8_t *bytes, size_t count) {
        if (!p->trouble.empty())
            return;
        p->heard.append(reinterpret_cast<const char *>(bytes), count);
        go_on(p);
    });
    go_on(p);
    run();
    (void)hl_line_heard(); // the last bytes reach the rows
    hl_line_peer({});
    bool rest =
        p->next + 1 == rows.size() && rows.back().kind == dialogue_row::rest;
    if (!p->trouble.empty())
        ADD_FAILURE() << p->trouble;
    else if (p->next < rows.size() && !rest)
        ADD_FAILURE() << "row " << p->next + 1 << " of " << rows.size()
                      << " isn't reached: " << shown(rows[p->next].bytes);
    else
        EXPECT_EQ(shown(p->heard), shown("")) << "behind the last row";
}
