// What the parts of the resource compiler share: a growing big-endian record,
// complaints that name file and line, and the list of resources made so far.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#define TOML_EXCEPTIONS 0
#include <toml++/toml.h>

// ---- complaints ------------------------------------------------------------

// Prints "file:line: message" and counts it. Compilation goes on, so that one
// run shows all mistakes; nothing is written if there was one.
void complain(const toml::node &where, const std::string &message);
void complain(const std::string &message);
int complaints();
std::string place_of(const toml::node &where); // "file:line"

// ---- records ---------------------------------------------------------------

struct Bytes {
    std::string data;

    void u8(int v) { data += char(v); }
    void u16(int v)
    {
        u8(v >> 8);
        u8(v);
    }
    void u32(uint32_t v)
    {
        u16(int(v >> 16));
        u16(int(v));
    }
    // Mac Roman bytes behind one or two bytes of length. The caller has
    // checked the limit with text_of.
    void pstring(std::string_view s)
    {
        u8(int(s.size()));
        data += s;
    }
    void text(std::string_view s)
    {
        u16(int(s.size()));
        data += s;
    }
};

struct Resource {
    std::string name; // Mac Roman
    std::string data;
    uint8_t attributes = 0; // as in platform/core/files/resimage.h
};
// By type and id, which is the order of the image.
using Resources = std::map<std::pair<uint32_t, int>, Resource>;

constexpr uint32_t four(const char (&s)[5])
{
    return uint32_t(uint8_t(s[0])) << 24 | uint32_t(uint8_t(s[1])) << 16 |
           uint32_t(uint8_t(s[2])) << 8 | uint32_t(uint8_t(s[3]));
}

// Adds what `table` describes under its "id" and "name"; a second one of the
// same type and id is a mistake.
void add(Resources &all, uint32_t type, const toml::table &table,
         std::string data, uint8_t attributes = 0);

// ---- reading tables --------------------------------------------------------

// A UTF-8 string as Mac Roman of at most `limit` bytes, line ends as return.
std::string text_of(const toml::node &node, size_t limit = 255);

// Members with a default. A member of another type is a mistake.
std::string text_in(const toml::table &t, const char *key, size_t limit = 255);
int int_in(const toml::table &t, const char *key, int fallback);
bool bool_in(const toml::table &t, const char *key, bool fallback);

// Complains about members that nothing reads, so that a typing error shows.
void only_members(const toml::table &t,
                  std::initializer_list<std::string_view> known);

// ---- names -----------------------------------------------------------------

// Every name stands once in all texts: a second one is a mistake.
void put_name(const toml::node &where, const std::string &name, int value);

// Reads "as", gives `prefix` and it to the header of names, and returns it. A
// table without one is called nothing, or a mistake where a name is needed;
// the number is then the table's "id".
std::string name_in(const toml::table &t, const char *prefix, int value);
std::string name_needed(const toml::table &t, const char *prefix);

std::string names_header();

// ---- the forms -------------------------------------------------------------

// Each reads the [[arrays]] of one file that it knows, and takes their names
// off `left`.
void make_forms(const toml::table &file, Resources &all,
                std::map<std::string, const toml::node *> &left);
void make_records(const toml::table &file, Resources &all,
                  std::map<std::string, const toml::node *> &left);

// Menus named by others exist, Command keys of the bar are unique.
void check_references(const Resources &all);
