// System preferences: prefs.toml in the settings folder. Of TOML only what
// integers need is read: "key = number" and "'key' = number", comments, empty
// lines, underscores in numbers; tables are passed over.
#include "platform/prefs.h"

#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <string>

#include "platform/core/files/filesparts.h"

static constexpr size_t kLongestLine = 1000;

static std::string trimmed(const std::string &s)
{
    size_t first = s.find_first_not_of(" \t\r");
    size_t last = s.find_last_not_of(" \t\r");
    return first == std::string::npos ? "" : s.substr(first, last - first + 1);
}

static bool parse_key(std::string text, std::string &key)
{
    if (text.size() >= 2 && (text[0] == '"' || text[0] == '\'') &&
        text.back() == text[0])
        text = text.substr(1, text.size() - 2);
    for (char c : text)
        if (!std::isalnum(uint8_t(c)) && c != '_' && c != '-')
            return false;
    key = text;
    return !key.empty();
}

static bool parse_integer(const std::string &text, int32_t &value)
{
    std::string digits;
    for (size_t i = 0; i < text.size(); i++) {
        bool between = i > 0 && i + 1 < text.size() &&
                       std::isdigit(uint8_t(text[i - 1])) &&
                       std::isdigit(uint8_t(text[i + 1]));
        if (text[i] != '_' || !between)
            digits += text[i];
    }
    if (digits.empty() || std::isspace(uint8_t(digits[0])))
        return false;
    char *end;
    errno = 0;
    long v = std::strtol(digits.c_str(), &end, 0);
    value = int32_t(v);
    return *end == 0 && errno == 0 && v >= INT32_MIN && v <= INT32_MAX;
}

// Line `number` of the file. False if it is malformed. Values of other kinds
// and whatever stands in a table belong to somebody else.
static bool take_line(const std::string &line, bool &inTable,
                      std::map<std::string, int32_t> &values)
{
    std::string text = trimmed(line.substr(0, line.find('#')));
    if (text.empty())
        return true;
    if (text[0] == '[') {
        inTable = true;
        return text.back() == ']';
    }
    size_t equals = text.find('=');
    std::string key;
    int32_t value;
    if (equals == std::string::npos ||
        !parse_key(trimmed(text.substr(0, equals)), key))
        return false;
    std::string right = trimmed(text.substr(equals + 1));
    if (parse_integer(right, value)) {
        if (!inTable)
            values[key] = value;
        return true;
    }
    bool otherKind = !right.empty() && !std::isdigit(uint8_t(right[0])) &&
                     right[0] != '+' && right[0] != '-';
    return otherKind;
}

static std::map<std::string, int32_t> read_prefs()
{
    std::map<std::string, int32_t> values;
    std::string folder = settings_folder();
    std::string path = folder + "/prefs.toml";
    std::ifstream file;
    if (!folder.empty())
        file.open(path, std::ios::binary);
    std::string line;
    bool inTable = false;
    for (int number = 1; file && std::getline(file, line); number++)
        if (line.size() > kLongestLine || !take_line(line, inTable, values)) {
            std::fprintf(stderr,
                         "quillon: %s, line %d: not \"key = number\"; the "
                         "file is ignored\n",
                         path.c_str(), number);
            return {};
        }
    return values;
}

int32_t PrefInteger(const char *key, bool *exists)
{
    static const std::map<std::string, int32_t> values = read_prefs();
    auto found = values.find(key);
    if (exists)
        *exists = found != values.end();
    return found != values.end() ? found->second : 0;
}
