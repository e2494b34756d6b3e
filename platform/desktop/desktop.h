// What the files of the desktop back end share. Nothing in it leaves this
// folder: above, only platform/backend.h is known.
#pragma once

#include "platform/backend.h"

#include <QImage>
#include <QPoint>
#include <QPointer>
#include <QRect>
#include <QString>
#include <QWidget>

#include <map>
#include <vector>

class QKeyEvent;
class QMenuBar;

// The program's icon, 4 bytes a pixel (red, green, blue, alpha), put into the
// program by the build.
constexpr int kIconSize = 64;
extern const unsigned char desk_icon[kIconSize * kIconSize * 4];

// ---- calls up ---------------------------------------------------------------

// Set by every call up. A wait that finds it set ends, and clears it; so what
// happens between two waits (showing a window makes it active) ends the next.
extern bool gHeard;

// Every call up goes through here: up<up_close>(w).
template <auto call, class... Args> auto up(Args... args)
{
    gHeard = true;
    return call(args...);
}

// ---- windows ----------------------------------------------------------------

class ContentWidget;
class TopWidget;

// One item of a dialog, or a scroll bar.
struct DeskItem {
    QPointer<QWidget> widget;
    be_item_kind kind = BE_STATIC;
    int32_t menu = 0;  // of a pop-up
    int32_t value = 0; // what the program set last
    bool multiline = false;
};

// A window of the program. It leaves the registry when the program disposes of
// it; its widgets live on until no event handler of theirs can be running.
struct DeskWindow {
    be_win id = 0;
    be_window_kind kind = BE_DOCUMENT;
    bool resizable = false, closable = false, canvas = false;
    TopWidget *top = nullptr;
    ContentWidget *content = nullptr;
    QMenuBar *bar = nullptr; // documents only
    QImage image;            // a view of the core's pixels, never written
    QRect asked;             // content as the program set it, global
    QSize least, most;       // of the content; empty: no limit
    bool placed = false;     // shown, so that the desktop knows its place
    bool wasZoomed = false, wasCollapsed = false;
    be_cursor cursor = BE_ARROW;
    bool obscured = false; // the pointer is hidden until it moves
    QRect caret;           // local, for input methods
    int wheel = 0;         // part of a line turned so far
    std::map<int, DeskItem> items;
};

DeskWindow *desk_window(be_win w); // null when it is gone
DeskWindow *desk_window_of(const QWidget *widget);
DeskWindow *desk_document();   // the terminal's, or null
QWidget *desk_dialog_parent(); // what a dialog of the desktop's stands on

// Global coordinates count from the main screen's top left.
QPoint desk_origin();
be_rect desk_rect(const QRect &global);

// Hides a widget now and deletes it when no handler of its own can be
// running: at the next wait that isn't inside another.
void desk_bury(QWidget *widget);
void desk_bury_all();

void windows_stop(); // disposes of what the program has left

// The pointer and the keys, as the events reported them.
void desk_note_mouse(QPoint global, bool down, Qt::KeyboardModifiers held);
void desk_note_keys(Qt::KeyboardModifiers held);
uint16_t desk_mouse_modifiers(Qt::KeyboardModifiers held);

// A label that shows "&" as it is: the desktop would take it for a mnemonic.
QString desk_label(const char *text);

// ---- menus (menus.cpp) -----------------------------------------------------

// The bar of a document that has just been made takes the menus there are.
void menus_attach(QMenuBar *bar);
QMenuBar *menus_new_bar(QWidget *parent);
// After native events: reports a pop-up that closed without a choice.
void menus_settle();
void menus_dismiss(); // closes a pop-up
void menus_stop();

// A menu's items, for pop-ups in dialogs.
struct DeskMenuItem {
    QString text;
    bool separator = false, enabled = true;
};
const std::vector<DeskMenuItem> &menus_items(int32_t id);

// ---- items (items.cpp) -----------------------------------------------------

// A menu has changed: the pop-ups that show it take its items anew.
void items_menu_changed(int32_t id);
void items_focus_changed(QWidget *now);
// Gives the keys of a dialog that comes up to its first field, or else to its
// default button, unless something has them.
void items_first_focus(DeskWindow *w);
// Keys of dialogs: stores the press and returns its token. While one is handed
// on to its target, it isn't to be stored again.
uint32_t items_store_key(QWidget *target, const QKeyEvent &event);
bool items_forwarding();

// ---- the rest --------------------------------------------------------------

void outside_start(); // clipboard, sound
void outside_stop();
void asking_stop(); // closes what is open
void paper_dismiss();
void paper_stop();
void fonts_stop();
