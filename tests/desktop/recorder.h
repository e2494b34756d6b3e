// What the back end hands up, written down in place of the core's queue.
#pragma once

#include "platform/backend.h"
#include "platform/desktop/qtwindows.h"
#include "platform/events.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QtTest/QTest>

#include <string>
#include <vector>

// One line a call up, as in "close 1" or "key 1 'a' 00:00 mods 0 token 0".
extern std::vector<std::string> heard;
extern uint32_t lastKeyToken;
extern bool dropAllowed; // what up_drag_over answers
extern void (*onMenuWillOpen)();

// Everything heard since the last call, joined by "; ".
std::string take_heard();
bool was_heard(const std::string &line);

// Turns the wait for that long, or until `line` is heard.
void turn(int milliseconds = 20);
bool turn_until(const std::string &line, int milliseconds = 3000);

// The display stands for the length of a case.
class Desktop : public testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;

    // Makes window `w` and shows it.
    void open(be_win w, be_window_kind kind, int width, int height,
              bool canvas = true);
    void item(be_win w, int number, be_item_kind kind, const char *text,
              int value = 0, int menu = 0);
    // Shows `pixels`, which are filled up with that colour.
    void present(be_win w, int width, int height, uint32_t color);
    uint32_t pixel(be_win w, int h, int v); // what the content shows there
    std::vector<uint32_t> pixels;
    QWidget *content(be_win w) { return desk_window(w)->content; }
    template <class Widget> Widget *widget(be_win w, int number)
    {
        QWidget *found = desk_window(w)->items.at(number).widget;
        return dynamic_cast<Widget *>(found);
    }
};
