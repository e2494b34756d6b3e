// Menus by id, items from 1. The bar stays open without stopping the loop.
#pragma once

#include "platform/types.h"

MenuHandle GetMenu(int16_t id);                 // from its resource, made once
MenuHandle GetMenuHandle(int16_t id);           // one already made, or null
MenuHandle NewMenu(int16_t id, ConstStr title); // empty
void DisposeMenu(MenuHandle m);                 // it leaves the menu list
void SetMenuBarFromResource(int16_t id);        // the bar's menus, in order
void InsertMenu(MenuHandle m, int16_t before);  // -1: hierarchical or pop-up
void DeleteMenu(int16_t id);
void DrawMenuBar();

int16_t CountMenuItems(MenuHandle m);
void AppendMenu(MenuHandle m, ConstStr text); // taken literally
// Behind item `after` (0: in front of all); taken literally.
void InsertMenuItem(MenuHandle m, ConstStr text, int16_t after);
void DeleteMenuItem(MenuHandle m, int16_t item);
void SetMenuItemText(MenuHandle m, int16_t item, ConstStr text);
void GetMenuItemText(MenuHandle m, int16_t item, Str255 text);
void CheckMenuItem(MenuHandle m, int16_t item, bool checked);
// Any mark shows as a check mark; 0 is none. CheckMenuItem gives 18.
void SetItemMark(MenuHandle m, int16_t item, uint8_t mark);
uint8_t GetItemMark(MenuHandle m, int16_t item);
void SetItemCmd(MenuHandle m, int16_t item, uint8_t character); // 0: none
void SetItemStyle(MenuHandle m, int16_t item, uint8_t style);   // 8 outline
// Item 0 is the whole menu.
void EnableMenuItem(MenuHandle m, int16_t item);
void DisableMenuItem(MenuHandle m, int16_t item);

// Id in the high word, item in the low; 0 for no choice. MenuSelect returns
// the choice that the event brought. MenuKey finds an enabled item with that
// Command letter (without case).
int32_t MenuSelect(const struct EventRecord *event);
int32_t MenuKey(uint8_t character);
void HiliteMenu(int16_t id); // 0: none

// Pops the menu up with `item` under the point (global) and waits for the
// choice, serving the display. 0 for none.
int32_t PopUpMenuSelect(MenuHandle m, int16_t top, int16_t left, int16_t item);

// Called before a menu of the bar opens, so that items can be brought up to
// date. It must not wait.
void SetMenuWillOpenProc(void (*proc)());

// The style of text in a list of fonts: fills a menu with the fonts there are.
void CreateStandardFontMenu(MenuHandle m, int16_t after, int16_t firstID);
