// Windows and dialogs without a program.
#include "tests/support/ui.h"

// A shown window with a canvas, 300 wide and 200 high, at (100, 200).
WindowPtr ui_window(int16_t left, int16_t top)
{
    static const uint8_t title[] = "\4Main";
    WindowMake make = {};

    make.native = BE_DOCUMENT;
    make.kind = userKind;
    make.bounds = {top, left, int16_t(top + 200), int16_t(left + 300)};
    make.title = title;
    make.resizable = make.zoomable = make.canvas = true;
    WindowPtr w = window_make(&make);
    ShowWindow(w);
    return w;
}

// Serves what a new window brings: its activation, its first redrawing.
void ui_settle()
{
    EventRecord e;

    while (WaitNextEvent(1 << updateEvt | 1 << activateEvt, &e, 0, nullptr)) {
        if (e.what != updateEvt)
            continue;
        BeginUpdate(WindowOfMessage(&e));
        EndUpdate(WindowOfMessage(&e));
    }
}

static std::string words_of(EventRecord &e)
{
    WindowPtr w = nullptr;

    switch (e.what) {
    case keyDown:
    case autoKey:
        return std::string("key ") + char(e.message);
    case mouseDown:
        return "press" + std::to_string(FindWindow(&e, &w));
    case updateEvt:
        BeginUpdate(WindowOfMessage(&e));
        EndUpdate(WindowOfMessage(&e));
        return "update";
    case activateEvt:
        return e.modifiers & activeFlag ? "activate" : "deactivate";
    case osEvt:
        return e.message & 1 ? "resume" : "suspend";
    case kHighLevelEvent:
        return "request";
    default:
        return "event " + std::to_string(e.what);
    }
}

std::string ui_event(uint16_t mask, uint32_t sleep)
{
    EventRecord e;

    if (!WaitNextEvent(mask, &e, sleep, nullptr))
        return "";
    std::string words = words_of(e);
    if (!e.window || e.what == keyDown || e.what == autoKey)
        return words;
    const uint8_t *title = e.window->title;
    return words + " " + std::string(title + 1, title + 1 + title[0]);
}

std::string ui_events()
{
    std::string all;

    for (std::string one; !(one = ui_event()).empty();)
        all += (all.empty() ? "" : "; ") + one;
    return all;
}

DialogItem ui_item(be_item_kind kind, const char *text, Rect box)
{
    DialogItem i = {};

    i.kind = kind;
    i.text = text;
    i.box = box;
    i.max = 255;
    i.reports = kind != BE_STATIC && kind != BE_EDIT;
    return i;
}

// A dialog with items: 1 OK, 2 Cancel, 3 edit, 4 check box, 5 user item, 6
// another edit; not yet shown.
DialogPtr ui_dialog(be_window_kind kind)
{
    static const uint8_t title[] = "\6Dialog";
    WindowMake make = {};

    make.native = kind;
    make.bounds = {100, 100, 300, 500};
    make.title = title;
    make.closable = true;
    return dialog_make(&make,
                       {ui_item(BE_BUTTON, "OK", {160, 300, 190, 380}),
                        ui_item(BE_BUTTON, "Cancel", {160, 200, 190, 280}),
                        ui_item(BE_EDIT, "abc", {10, 10, 30, 200}),
                        ui_item(BE_CHECKBOX, "Box", {40, 10, 60, 200}),
                        ui_item(BE_USER, "", {70, 10, 110, 110}),
                        ui_item(BE_EDIT, "", {120, 10, 140, 200})},
                       1, 2);
}

std::string ui_text(DialogPtr d, int16_t item)
{
    Str255 text;

    GetDialogItemText(d, item, text);
    return {reinterpret_cast<char *>(text + 1), text[0]};
}
