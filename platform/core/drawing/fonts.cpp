// The list of fonts: numbers, names, families and scripts.
#include "platform/core/drawing/fontparts.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <strings.h>

#include "platform/core/drawing/drawparts.h"
#include "platform/core/macroman.h"

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
    return !strcasecmp(a, pstr_to_utf8(b).c_str());
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

void GetFontName(int16_t number, Str255 name)
{
    name[0] = 0;
    if (Family *f = family_at(number)) {
        bytes_to(utf8_to_macroman(f->name), name);
        return;
    }
    for (const OwnFont &own : kOwnFonts) {
        if (own.number == number)
            bytes_to(own.name, name);
    }
}

std::vector<std::string> font_names()
{
    std::vector<std::string> names;

    load_families();
    for (const OwnFont &own : kOwnFonts) {
        if (own.listed)
            names.push_back(own.name);
    }
    for (const Family &f : families)
        names.push_back(f.name);
    std::sort(names.begin(), names.end(), [](auto &a, auto &b) {
        int order = strcasecmp(a.c_str(), b.c_str());
        return order ? order < 0 : a < b;
    });
    return names;
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

    if (FontToScript(port_font()) != smJapanese)
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
    load_families();
    families.push_back({pstr_to_utf8(name), be_font_best_fixed(), 1});
}
