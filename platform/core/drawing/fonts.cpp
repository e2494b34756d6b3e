// The list of fonts: numbers, names, families and scripts.
#include "platform/core/drawing/fontparts.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <strings.h>

#include "platform/core/core.h"

enum : int16_t {
    kSystemFont = 0,
    kSmallFont = 1,
    kPlainFont = 4,
    kMacFont = 130,
    kPCFont = 131,
    kFirstFamily = 1024, // the families of the system, by place in the list
};

struct OwnFont {
    const char *name;
    int16_t number;
    FontCoding coding;
    bool listed;
};
constexpr OwnFont kOwnFonts[] = {
    {"System", kSystemFont, kMacRoman, false},
    {"Small", kSmallFont, kMacRoman, false},
    {"Fixed", kPlainFont, kMacRoman, false},
    {"ql-Mac", kMacFont, kTerminalMac, true},
    {"ql-PC", kPCFont, kTerminalPC, true},
};

// ---- the families of the system --------------------------------------------
// Taken from the back end when first asked for, since reading them all takes
// longer than anything else at the start. The order never changes after that:
// the numbers are places in it.

struct Family {
    std::string name;   // UTF-8, as the back end knows it
    std::string family; // what draws it
    int8_t twoByte;     // 1 yes, 0 no, -1 not looked at yet
};
static std::vector<Family> families;
static bool haveFamilies;

static void load_families()
{
    constexpr int kMost = 4096;
    static const char *names[kMost];

    if (haveFamilies)
        return;
    haveFamilies = true;
    int count = std::min(be_font_list(names, kMost, false), kMost);
    for (int i = 0; i < count; i++)
        families.push_back({names[i], names[i], -1});
}

static Family *family_at(int16_t number)
{
    if (number < kFirstFamily)
        return nullptr;
    load_families();
    size_t i = size_t(number - kFirstFamily);
    return i < families.size() ? &families[i] : nullptr;
}

// A family counts as Japanese when its name says that it is made for that and
// it has the letters. Coverage alone isn't enough: a face for all the world's
// scripts has them too, and a host that speaks Latin then gets two cells a
// letter.
static bool looks_japanese(const std::string &name)
{
    static const char *const kWords[] = {" JP",      "Gothic", "Mincho",
                                         "IPA",      "Takao",  "Osaka",
                                         "Sazanami", "Kochi",  "M+ "};
    bool named =
        std::any_of(std::begin(kWords), std::end(kWords), [&](const char *w) {
            return name.find(w) != std::string::npos;
        });
    be_font_metrics m;
    be_font font = named ? be_font_open(name.c_str(), 12, false, false, &m) : 0;
    if (!font)
        return false;
    for (uint32_t c : {0x3042u, 0x4E9Cu}) { // hiragana A, the first kanji
        be_glyph g;
        be_font_glyph(font, c, &g);
        if (g.missing)
            return false;
    }
    return true;
}

static bool two_byte(Family *f)
{
    if (f->twoByte < 0)
        f->twoByte = looks_japanese(f->name);
    return f->twoByte;
}

static bool same_name(const char *a, ConstStr b)
{
    char name[256];

    macroman_to_utf8(b + 1, b[0], name, sizeof name);
    return !strcasecmp(a, name);
}

const char *font_family(int16_t number, FontCoding *coding)
{
    *coding = kMacRoman;
    if (number == kSystemFont || number == kSmallFont) {
        const char *small = be_font_small();
        return small ? small : be_font_best_fixed();
    }
    if (Family *f = family_at(number)) {
        if (two_byte(f))
            *coding = kTwoByte;
        return f->family.c_str();
    }
    for (const OwnFont &own : kOwnFonts) {
        if (own.number == number)
            *coding = own.coding;
    }
    return be_font_best_fixed();
}

// ---- the calls -------------------------------------------------------------

void GetFNum(ConstStr name, int16_t *number)
{
    *number = 0;
    for (const OwnFont &own : kOwnFonts) {
        if (own.listed && same_name(own.name, name)) {
            *number = own.number;
            return;
        }
    }
    load_families();
    for (size_t i = 0; i < families.size(); i++) {
        if (same_name(families[i].name.c_str(), name)) {
            *number = int16_t(size_t(kFirstFamily) + i);
            return;
        }
    }
    for (const OwnFont &own : kOwnFonts) {
        if (!own.listed && same_name(own.name, name))
            *number = own.number;
    }
}

static void set_name(const char *from, Str255 name)
{
    name[0] = uint8_t(
        std::min<size_t>(utf8_to_macroman(from, name + 1, 255, '?'), 255));
}

void GetFontName(int16_t number, Str255 name)
{
    name[0] = 0;
    if (Family *f = family_at(number)) {
        set_name(f->name.c_str(), name);
        return;
    }
    for (const OwnFont &own : kOwnFonts) {
        if (own.number == number)
            set_name(own.name, name);
    }
}

// The program's own fonts and the families, in one order.
static std::vector<const char *> listed_names()
{
    std::vector<const char *> names;

    load_families();
    for (const OwnFont &own : kOwnFonts) {
        if (own.listed)
            names.push_back(own.name);
    }
    for (const Family &f : families)
        names.push_back(f.name.c_str());
    std::sort(names.begin(), names.end(), [](const char *a, const char *b) {
        int order = strcasecmp(a, b);
        return order ? order < 0 : strcmp(a, b) < 0;
    });
    return names;
}

int16_t CountFonts()
{
    return int16_t(listed_names().size());
}

void GetIndFontName(int16_t index, Str255 name)
{
    std::vector<const char *> names = listed_names();

    name[0] = 0;
    if (index >= 1 && size_t(index) <= names.size())
        set_name(names[size_t(index - 1)], name);
}

int16_t FontToScript(int16_t font)
{
    Family *f = family_at(font);
    return f && two_byte(f) ? smJapanese : smRoman;
}

int32_t GetScriptVariable(int16_t script, int16_t selector)
{
    constexpr int16_t kScriptFlags = 22;
    constexpr int32_t kSingleByte = 2;

    return selector == kScriptFlags && script == smRoman ? kSingleByte : 0;
}

int16_t ScriptCount()
{
    load_families();
    bool japanese = std::any_of(families.begin(), families.end(),
                                [](Family &f) { return two_byte(&f); });
    return japanese ? 2 : 1;
}

// Bytes are paired from the start of the text, since a second byte may look
// like a first one.
int16_t CharacterByteType(const uint8_t *text, int16_t offset, int16_t)
{
    int16_t i = 0;

    if (FontToScript(GetPortTextFont()) != smJapanese)
        return 0;
    while (i < offset) {
        if (!shift_jis_first(text[i])) {
            i++;
            continue;
        }
        if (i + 1 == offset)
            return 1;
        i = int16_t(i + 2);
    }
    return shift_jis_first(text[offset]) ? -1 : 0;
}

void fonts_add_double_byte(ConstStr name)
{
    char utf8[256];

    load_families();
    macroman_to_utf8(name + 1, name[0], utf8, sizeof utf8);
    families.push_back({utf8, be_font_best_fixed(), 1});
}
