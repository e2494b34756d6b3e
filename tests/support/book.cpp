// Books, written and read record by record.
#include "tests/support/book.h"

#include <algorithm>
#include <bit>
#include <cstdlib>
#include <span>
#include <sstream>

#include "connect/Fields.h"
#include "connect/PhoneBook.h"
#include "platform/headless/headless.h"
#include "platform/memory.h"
#include "platform/resources.h"

std::string book_path()
{
    return (sandbox().root / ".config/quillon/phonebook.qpho").string();
}

FSSpec book_spec()
{
    FSSpec spec = {};
    if (FindFolder(0, kPrefFolder, true, &spec.vRefNum, &spec.parID) != noErr)
        abort();
    CopyCStringToPascal("phonebook.qpho", spec.name);
    return spec;
}

static constexpr OSType kTypes[] = {FOUR("Dial"), FOUR("STR#"), FOUR("qSet")};

void write_book(const Book &book)
{
    FSSpec spec = book_spec();
    Str255 name;

    (void)HCreate(spec.vRefNum, spec.parID, spec.name, kBookCreator, kBookType);
    HCreateResFile(spec.vRefNum, spec.parID, spec.name);
    int16_t ref = HOpenResFile(spec.vRefNum, spec.parID, spec.name, fsRdWrPerm);
    if (ref < 0)
        abort();
    for (const Record &r : book) {
        Handle h;
        if (PtrToHand(r.data.data(), &h, int32_t(r.data.size())) != noErr)
            abort();
        CopyCStringToPascal(r.name.c_str(), name);
        AddResource(h, r.type, r.id, name);
        if (ResError() != noErr)
            abort();
    }
    UpdateResFile(ref);
    CloseResFile(ref);
}

Book read_book()
{
    FSSpec spec = book_spec();
    Book book;

    int16_t ref = HOpenResFile(spec.vRefNum, spec.parID, spec.name, fsRdWrPerm);
    if (ref < 0)
        return book;
    for (OSType type : kTypes) {
        for (int16_t i = 1; i <= Count1Resources(type); i++) {
            Handle h = Get1IndResource(type, i);
            Record r = {type, 0, "", ""};
            Str255 name;
            GetResInfo(h, &r.id, nullptr, name);
            r.name = S(name);
            r.data.assign(reinterpret_cast<char *>(*h),
                          size_t(GetHandleSize(h)));
            book.push_back(r);
        }
    }
    CloseResFile(ref);
    return book;
}

const Record *find(const Book &book, OSType type, int16_t id)
{
    for (const Record &r : book) {
        if (r.type == type && r.id == id)
            return &r;
    }
    return nullptr;
}

std::string list_data(const std::vector<std::string> &strings)
{
    std::string bytes = {char(strings.size() >> 8), char(strings.size())};
    for (const std::string &s : strings) {
        bytes += char(s.size());
        bytes += s;
    }
    return bytes;
}

std::vector<std::string> list_strings(const std::string &bytes)
{
    std::vector<std::string> strings;
    for (size_t at = 2; at < bytes.size(); at += size_t(uint8_t(bytes[at])) + 1)
        strings.push_back(bytes.substr(at + 1, uint8_t(bytes[at])));
    return strings;
}

std::string list_text(const std::string &strings)
{
    std::vector<std::string> parts;
    std::istringstream in(strings + "|");

    for (std::string one; !strings.empty() && std::getline(in, one, '|');)
        parts.push_back(one);
    return list_data(parts);
}

std::string text_of_list(const std::string &bytes)
{
    std::string text;

    for (const std::string &s : list_strings(bytes))
        text += "|" + s;
    return text.substr(!text.empty());
}

static std::string number_bytes(const std::string &value, const record_field &f)
{
    std::istringstream in(value);
    std::string bytes, one;
    unsigned long number = 0;

    for (int i = 0; i < f.count; i++) {
        if (std::getline(in, one, ','))
            number = one[0] == '\'' ? uint8_t(one[1]) : std::stoul(one);
        std::string element;
        for (int width = width_of(f.form); width > 0; width--)
            element += char(number >> (8 * (width - 1)));
        if (f.form == kOwnOrder && std::endian::native == std::endian::little)
            std::ranges::reverse(element);
        bytes += element;
    }
    return bytes;
}

std::string with(std::string record, const std::string &fields)
{
    std::span<const record_field> table = qsetFields;
    std::istringstream in(fields);

    if (record.size() == size_t(kDialRecLen))
        table = csetFields;
    for (std::string one; in >> one;) {
        size_t equals = one.find('=');
        std::string name = one.substr(0, equals);
        std::string value = one.substr(equals + 1);
        auto f = std::ranges::find(table, name, &record_field::name);
        if (f == table.end())
            abort();
        if (f->form == kPString)
            value.insert(0, 1, char(value.size()));
        else if (f->form != kChars)
            value = number_bytes(value, *f);
        record.replace(f->offset, value.size(), value);
    }
    return record;
}

template <class T>
static std::string record_data(OSType type, int16_t id, size_t size,
                               void (*copy)(const void *, void *),
                               const std::function<void(T &)> &change)
{
    std::string file(size, '\0');
    T record = {};

    copy(*GetResource(type, id), &record);
    if (change)
        change(record);
    copy(&record, file.data());
    return file;
}

std::string dial_data(const std::function<void(cset_t &)> &change)
{
    return record_data<cset_t>(FOUR("Dial"), 128, size_t(kDialRecLen),
                               copy_cset_swaps, change);
}

std::string qset_data(const std::function<void(qset_t &)> &change)
{
    return record_data<qset_t>(FOUR("qSet"), 0, size_t(kQsetLen),
                               copy_qsetup_swaps, change);
}

Book plain_book()
{
    if (!hl_line_path() || !*hl_line_path())
        hl_line_open(HL_PTY);
    std::vector<std::string> globals(15);
    globals[kGlobPort - 1] = hl_line_path();
    globals[kGlobModem - 1] = "No Modem";
    globals[kGlobDefault - 1] = "Local";
    return {
        {FOUR("Dial"), 3000, "Local", with(dial_data(), "localStrID=3000")},
        {FOUR("STR#"), 3000, "", list_text("||||||||rz\r|d z ")},
        {FOUR("STR#"), 0, "Default", list_data({"Return", "\r"})},
        {FOUR("STR#"), 256, "", list_data(globals)},
        {FOUR("qSet"), 1, "", qset_data()},
    };
}
