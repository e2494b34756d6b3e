// Alerts: a modal dialog of an icon, a text and its buttons, laid out here, so
// that a resource holds nothing but words.
#include "platform/alerts.h"

#include "platform/core/files/resforms.h"
#include "platform/core/macroman.h"
#include "platform/core/widgets/dialogparts.h"
#include "platform/drawing.h"

#include <algorithm>

enum Icon : int16_t { kStop = 0, kCaution = 2, kProgram = 3 };

constexpr int16_t kWidth = 440, kEdge = 20, kGap = 12;
constexpr int16_t kIconSize = 48;
constexpr int16_t kTextLeft = kEdge + kIconSize + kEdge;
constexpr int16_t kTextWidth = kWidth - kTextLeft - kEdge;
constexpr int16_t kLineHeight = 20, kSmallLine = 17;
constexpr int16_t kButtonHeight = 30, kButtonLeast = 90;

// About what a character of the desktop's font takes. On the generous side:
// an empty line at the end harms less than one too few.
constexpr int kCharWidth = 8;

// Lines that a text takes when it is wrapped at words.
static int16_t lines_of(const std::string &text)
{
    constexpr int kPerLine = kTextWidth / kCharWidth;
    int lines = 1, column = 0;
    size_t at = 0;

    while (at < text.size()) {
        if (text[at] == '\r') {
            lines++;
            column = 0;
            at++;
            continue;
        }
        size_t end = text.find_first_of(" \r", at);
        end = end == std::string::npos ? text.size() : end;
        int word = int(end - at) + (end < text.size() && text[end] == ' ');
        if (column > 0 && column + word > kPerLine) {
            lines++;
            column = 0;
        }
        for (column += word; column > kPerLine; column -= kPerLine)
            lines++;
        at += size_t(word);
    }
    return int16_t(lines);
}

static DialogItem make_item(be_item_kind kind, const std::string &text,
                            const Rect &box)
{
    DialogItem i = {};

    i.kind = kind;
    i.text = text;
    i.box = box;
    i.reports = kind == BE_BUTTON;
    return i;
}

struct AlertText {
    uint8_t place, defaultButton, cancelButton;
    std::vector<std::string> buttons;
    std::string message, explanation;
};

static bool read_alert(int16_t id, AlertText *a)
{
    std::vector<uint8_t> bytes;
    ResReader r = read_form(FOUR("ALRT"), id, &bytes);
    size_t length;

    a->place = r.u8();
    a->defaultButton = r.u8();
    a->cancelButton = r.u8();
    for (int count = r.u8(); count > 0; count--)
        a->buttons.push_back(bytes_of(r.pstring()));
    const uint8_t *text = r.text(&length);
    a->message =
        dialog_fill_text({reinterpret_cast<const char *>(text), length});
    text = r.text(&length);
    a->explanation =
        dialog_fill_text({reinterpret_cast<const char *>(text), length});
    return r.ok && !a->buttons.empty();
}

// Buttons stand at the right below, the first one (the answer that Return
// gives) outermost.
static DialogPtr make_alert(const AlertText &a, Icon icon)
{
    std::vector<DialogItem> items;
    int16_t top = kEdge;
    Rect text = {top, kTextLeft, 0, kWidth - kEdge};

    text.bottom = int16_t(top + lines_of(a.message) * kLineHeight);
    Rect more = {int16_t(text.bottom + kGap / 2), kTextLeft, 0, kWidth - kEdge};
    more.bottom = int16_t(more.top + lines_of(a.explanation) * kSmallLine);
    int16_t bottom = a.explanation.empty() ? text.bottom : more.bottom;
    bottom = std::max<int16_t>(bottom, kEdge + kIconSize);

    Rect button = {int16_t(bottom + kEdge), 0,
                   int16_t(bottom + kEdge + kButtonHeight), kWidth - kEdge};
    for (const std::string &title : a.buttons) {
        int wide = int(title.size()) * (kCharWidth + 1) + 2 * kGap;
        button.left = int16_t(button.right - std::max<int>(wide, kButtonLeast));
        items.push_back(make_item(BE_BUTTON, title, button));
        button.right = int16_t(button.left - kGap);
    }
    DialogItem picture = make_item(
        BE_ICON, "", {kEdge, kEdge, kEdge + kIconSize, kEdge + kIconSize});
    picture.value = icon;
    items.push_back(picture);
    items.push_back(make_item(BE_STATIC, a.message, text));
    if (!a.explanation.empty())
        items.push_back(make_item(BE_STATIC, a.explanation, more));

    static const uint8_t noTitle[1] = {0};
    WindowMake make = {};
    make.native = BE_MODAL;
    make.title = noTitle;
    make.bounds = {0, 0, int16_t(button.bottom + kEdge), kWidth};
    window_place(&make.bounds, a.place ? a.place : resforms::kPlaceScreenThird);
    // With nothing to choose, Escape does what the one button does.
    int16_t cancel = a.buttons.size() == 1 ? int16_t(1) : a.cancelButton;
    return dialog_make(&make, std::move(items), a.defaultButton, cancel);
}

static int16_t run_alert(int16_t id, Icon icon)
{
    AlertText a = {};

    if (!read_alert(id, &a))
        return -1;
    WindowPtr port = GetPort();
    DialogPtr d = make_alert(a, icon);
    ShowWindow(d);
    int16_t item = dialog_serve(d, nullptr);
    DisposeDialog(d);
    SetPort(port);
    return item;
}

int16_t Alert(int16_t id)
{
    return run_alert(id, kProgram);
}
int16_t StopAlert(int16_t id)
{
    return run_alert(id, kStop);
}
int16_t CautionAlert(int16_t id)
{
    return run_alert(id, kCaution);
}
