// System preferences: prefs.toml in the settings folder. Integers outside of
// tables are ours; the rest of the file is passed over.
#include "platform/prefs.h"

#include <cstdio>
#include <fstream>
#include <map>
#include <string>

#define TOML_EXCEPTIONS 0
#include <toml++/toml.h>

#include "platform/core/files/filesparts.h"

static void report(const std::string &path, const toml::source_position &at)
{
    std::fprintf(stderr,
                 "quillon: %s, line %u: not \"key = number\"; the file is "
                 "ignored\n",
                 path.c_str(), unsigned(at.line));
}

static std::map<std::string, int32_t> read_prefs()
{
    std::string folder = settings_folder(), path = folder + "/prefs.toml";
    std::ifstream file;

    if (!folder.empty())
        file.open(path, std::ios::binary);
    if (!file.is_open())
        return {};
    toml::parse_result result = toml::parse(file);
    if (!result) {
        report(path, result.error().source().begin);
        return {};
    }
    std::map<std::string, int32_t> values;
    for (auto &&[key, node] : result.table()) {
        if (!node.is_integer())
            continue;
        int64_t value = node.as_integer()->get();
        if (value < INT32_MIN || value > INT32_MAX) {
            report(path, node.source().begin);
            return {};
        }
        values[std::string(key.str())] = int32_t(value);
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
