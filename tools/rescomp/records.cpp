// Texts, and the templates of the phone book's records.
#include "tools/rescomp/rescomp.h"

#include "connect/Fields.h"
#include "platform/core/files/resimage.h"

#include <cstring>

// ---- texts -----------------------------------------------------------------

// A string is its text, or a table of text and name.
static std::string string_of(const toml::node &n, int place)
{
    const toml::table *t = n.as_table();
    if (!t)
        return text_of(n);
    only_members(*t, {"as", "text"});
    (void)name_in(*t, "kStr", place);
    return text_in(*t, "text");
}

// [list.strings] is an array, or a table whose keys are the places (from 1);
// places between them stay empty.
static std::vector<std::string> strings_of(const toml::table &t)
{
    std::vector<std::string> out;
    if (const toml::array *a = t.get_as<toml::array>("strings")) {
        for (auto &&n : *a)
            out.push_back(string_of(n, int(out.size() + 1)));
        return out;
    }
    const toml::table *places = t.get_as<toml::table>("strings");
    if (!places) {
        complain(t, "the list has no strings");
        return out;
    }
    size_t named = 0;
    std::map<size_t, const toml::node *> sorted;
    for (auto &&[key, n] : *places) {
        size_t place = 0;
        for (char c : key.str())
            place = c >= '0' && c <= '9' ? place * 10 + size_t(c - '0') : 9999;
        if (place < 1 || place > 999)
            complain(n, "a place in a list is a number from 1");
        else
            sorted[place] = &n;
    }
    for (auto &[place, n] : sorted) {
        out.resize(place);
        out[place - 1] = string_of(*n, int(place));
        named += n->is_table();
    }
    if (named != 0 && named != sorted.size())
        complain(t, "either all strings have names for the code, or none");
    return out;
}

static void make_list(const toml::table &t, Resources &all)
{
    only_members(t, {"as", "id", "name", "strings"});
    // A template in a book goes by the name that it has there.
    bool isTemplate = t.contains("name");
    if (!isTemplate)
        (void)name_needed(t, "kList");
    std::vector<std::string> strings = strings_of(t);
    Bytes b;
    b.u16(int(strings.size()));
    for (const std::string &s : strings)
        b.pstring(s);
    add(all, four("STR#"), t, b.data, isTemplate ? 0 : kOwnFirst);
}

static void make_string(const toml::table &t, Resources &all)
{
    only_members(t, {"as", "id", "text"});
    (void)name_needed(t, "kString");
    Bytes b;
    b.pstring(text_in(t, "text"));
    add(all, four("STR "), t, b.data);
}

// [errors] has the texts of many codes under their numbers.
static void make_errors(const toml::table &errors, Resources &all)
{
    for (auto &&[key, n] : errors) {
        int code = std::atoi(std::string(key.str()).c_str());
        if (code == 0 || code < -32768 || code > 32767) {
            complain(n, "an error code is a number other than 0");
            continue;
        }
        Bytes b;
        b.pstring(text_of(n));
        Resource r{"", b.data, 0};
        all.emplace(std::make_pair(four("eSTR"), code), std::move(r));
    }
}

static void make_version(const toml::table &t, Resources &all)
{
    only_members(t, {"id", "number", "short", "long"});
    std::string number = text_in(t, "number");
    int major = 0, minor = 0, fix = 0;
    if (std::sscanf(number.c_str(), "%d.%d.%d", &major, &minor, &fix) < 2)
        complain(t, "a version number reads like 1.0.0");
    Bytes b;
    b.u8(major);
    b.u8((minor & 15) << 4 | (fix & 15));
    b.u8(0x80); // released
    b.u8(0);
    b.u16(0);
    b.pstring(text_in(t, "short"));
    b.pstring(text_in(t, "long"));
    add(all, four("vers"), t, b.data);
}

// ---- records by field ------------------------------------------------------

static void put_number(std::string &record, size_t at, FieldForm form,
                       uint32_t v)
{
    uint16_t v16 = uint16_t(v);
    switch (form) {
    case kU8:
        record[at] = char(v);
        break;
    case kU16:
        record[at] = char(v >> 8);
        record[at + 1] = char(v);
        break;
    case kU32:
        for (size_t i = 0; i < 4; i++)
            record[at + i] = char(v >> (24 - 8 * i));
        break;
    case kOwnOrder:
        std::memcpy(&record[at], &v16, 2);
        break;
    default:
        break;
    }
}

// A number in range, or the characters of a text as one number.
static uint32_t number_of(const toml::node &n, FieldForm form)
{
    size_t width = width_of(form);
    if (n.is_string() && form != kU16 && form != kOwnOrder) {
        std::string text = text_of(n, width);
        if (text.size() != width)
            complain(n,
                     "the text needs " + std::to_string(width) + " characters");
        uint32_t v = 0;
        for (char c : text)
            v = v << 8 | uint8_t(c);
        return v;
    }
    int64_t v = n.value_or(int64_t(-0x7FFFFFFFFF));
    if (v < -(int64_t(1) << (8 * width - 1)) || v >= int64_t(1) << (8 * width))
        complain(n, "the number doesn't fit the field");
    return uint32_t(v);
}

static void put_field(std::string &record, const record_field &f,
                      const toml::node &n)
{
    size_t at = size_t(f.offset), count = size_t(f.count);
    if (f.form == kChars || f.form == kPString) {
        std::string text = text_of(n, f.form == kChars ? count : count - 1);
        if (f.form == kChars && text.size() != count)
            complain(n,
                     "the text needs " + std::to_string(count) + " characters");
        if (f.form == kPString)
            text.insert(text.begin(), char(text.size()));
        std::memcpy(&record[at], text.data(), text.size());
        return;
    }
    if (count == 1) {
        put_number(record, at, f.form, number_of(n, f.form));
        return;
    }
    const toml::array *a = n.as_array();
    if (!a || a->size() != count) {
        complain(n, "the field needs " + std::to_string(count) + " numbers");
        return;
    }
    for (auto &&element : *a) {
        put_number(record, at, f.form, number_of(element, f.form));
        at += width_of(f.form);
    }
}

template <size_t N>
static void make_record(const toml::table &t, Resources &all, uint32_t type,
                        size_t size, const record_field (&fields)[N])
{
    std::string record(size, '\0');
    for (auto &&[key, n] : t) {
        if (key == "id" || key == "name")
            continue;
        const record_field *found = nullptr;
        for (const record_field &f : fields)
            if (key == f.name)
                found = &f;
        if (found)
            put_field(record, *found, n);
        else
            complain(n, "no such field: " + std::string(key.str()));
    }
    add(all, type, t, record, kOwnFirst);
}

static void make_connection(const toml::table &t, Resources &all)
{
    make_record(t, all, four("Dial"), kDialRecLen, csetFields);
}

static void make_settings(const toml::table &t, Resources &all)
{
    make_record(t, all, four("qSet"), kQsetLen, qsetFields);
}

void make_records(const toml::table &file, Resources &all,
                  std::map<std::string, const toml::node *> &left)
{
    static constexpr struct {
        const char *name;
        void (*make)(const toml::table &, Resources &);
    } records[] = {{"list", make_list},
                   {"string", make_string},
                   {"version", make_version},
                   {"connection", make_connection},
                   {"settings", make_settings}};

    for (auto &record : records) {
        const toml::array *a = file.get_as<toml::array>(record.name);
        if (!a)
            continue;
        left.erase(record.name);
        for (auto &&n : *a)
            if (const toml::table *t = n.as_table())
                record.make(*t, all);
    }
    if (const toml::table *t = file.get_as<toml::table>("errors")) {
        left.erase("errors");
        make_errors(*t, all);
    }
}
