// The other end of a ZMODEM transfer.
#include "tests/support/zpeer.h"

#include "platform/headless/headless.h"

#include <algorithm>
#include <sstream>

// ---- the scripted peer -----------------------------------------------------

peer_rows peer_rows_of(const std::string &text,
                       const std::map<std::string, std::string> &words)
{
    std::istringstream in(text);
    peer_rows rows;
    std::string names, name;

    for (int type; in >> type >> names;) {
        std::istringstream parts(names);
        peer_row row = {type, ""};
        while (std::getline(parts, name, '+'))
            row.say += words.at(name);
        rows.push_back(row);
    }
    return rows;
}

void scripted_peer::start()
{
    hl_line_peer([this](const uint8_t *bytes, size_t count) {
        std::string text(reinterpret_cast<const char *>(bytes), count);
        raw += text;
        heard.feed(text);
        while (types.size() < heard.frames.size()) {
            const frame f = heard.frames[types.size()];
            types.push_back(f.type);
            if (next < rows.size() && rows[next].type == f.type) {
                const peer_row &row = rows[next++];
                if (row.act)
                    row.act(f);
                if (!row.say.empty())
                    hl_line_say(row.say);
            }
        }
    });
}

static std::string numbers(const std::vector<int> &list)
{
    std::string out;
    for (int n : list)
        out += (out.empty() ? "" : " ") + std::to_string(n);
    return out;
}

std::string scripted_peer::type_list() const
{
    return numbers(types);
}

// ---- the receiver at work --------------------------------------------------

enum { kRINIT = 1, kSINIT, kACK, kFILE, kFIN = 8, kRPOS, kDATA, kEOF };

live_receiver::live_receiver() : init(hex_frame(kRINIT, flags(0x23))) {}

void live_receiver::answer(const frame &f, const std::string &usual)
{
    auto other = instead.find({f.type, count[f.type] - 1});
    const std::string &say = other == instead.end() ? usual : other->second;
    if (!say.empty())
        hl_line_say(say);
}

void live_receiver::take_head(const frame &f)
{
    types.push_back(f.type);
    count[f.type]++;
    packetsSeen = 0;
    switch (f.type) {
    case 0:
    case kEOF:
        answer(f, init);
        break;
    case kFIN:
        answer(f, hex_frame(kFIN, four(0)));
        break;
    case kSINIT:
    case kFILE:
    case kDATA:
        break; // with the data
    default:
        answer(f, "");
    }
    if (f.type == kFILE)
        parts.clear();
}

void live_receiver::take_packet(const frame &f, size_t i)
{
    const sub_packet &p = f.packets[i];
    uint32_t at = f.position();

    if (f.type == kDATA) {
        for (size_t k = 0; k < i; k++)
            at += uint32_t(f.packets[k].data.size());
        parts[at] = p.data;
        at += uint32_t(p.data.size());
    }
    if (packet)
        packet(f, i);
    std::string usual;
    if (f.type == kFILE)
        usual = hex_frame(kRPOS, four(start));
    else if (f.type == kSINIT)
        usual = hex_frame(kACK, four(1));
    else if (p.end == 'j' || p.end == 'k')
        usual = hex_frame(kACK, four(at));
    if (p.end == 'j' || p.end == 'k')
        asked.push_back(at);
    if (i == 0)
        answer(f, usual);
    else if (!usual.empty())
        hl_line_say(usual);
}

void live_receiver::begin()
{
    hl_line_peer([this](const uint8_t *bytes, size_t n) {
        std::string text(reinterpret_cast<const char *>(bytes), n);
        raw += text;
        heard.feed(text);
        size_t first = types.empty() ? 0 : types.size() - 1;
        for (size_t k = first; k < heard.frames.size(); k++) {
            const frame &f = heard.frames[k];
            if (k >= types.size())
                take_head(f);
            while (packetsSeen < f.packets.size())
                take_packet(f, packetsSeen++);
        }
    });
}

std::string live_receiver::type_list() const
{
    return numbers(types);
}

std::string live_receiver::file() const
{
    std::string out;
    for (const auto &[at, bytes] : parts) {
        out.resize(std::max<size_t>(out.size(), at));
        out.replace(at, bytes.size(), bytes);
    }
    return out;
}
