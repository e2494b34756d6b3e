// Settings dialogs, through the menu and the user's hands: what each field
// shows and stores, and that nothing else changes.
#include "connect/DialogFields.h"
#include "connect/Dialogs.h"

#include <gtest/gtest.h>

#include "platform/memory.h"
#include "platform/windows.h"
#include "resources/names.h"
#include "tests/support/running.h"

namespace {

// Opens the dialog of a Settings item, lets `act` have it, and hits `answer`.
void in_dialog(int settingsItem, const std::function<void(WindowPtr)> &act,
               int answer)
{
    bool seen = false;
    hl_modal([&](WindowPtr w) {
        seen = true;
        act(w);
        hl_hit(w, answer);
    });
    EXPECT_TRUE(hl_choose(kMenuSettings, settingsItem));
    run_ticks(10);
    EXPECT_TRUE(seen) << "the dialog didn't come up";
}

std::string bytes_of_list(Handle list)
{
    return list ? std::string(reinterpret_cast<char *>(*list),
                              size_t(GetHandleSize(list)))
                : "";
}

std::string all_settings()
{
    return std::string(reinterpret_cast<char *>(&cset), sizeof cset) +
           std::string(reinterpret_cast<char *>(&qset), sizeof qset) +
           bytes_of_list(gLocalStrings) + bytes_of_list(gGlobStrings);
}

// ---- one row a field -------------------------------------------------------
// The record before, what the item then shows, the user's act, and the value
// that OK leaves.

struct Row {
    const char *what;
    int settingsItem, item;
    std::function<void()> before;
    std::string shows;
    std::function<void(WindowPtr, int)> act;
    std::function<std::string()> value;
    std::string after;
};

auto typed(const char *text)
{
    return [text](WindowPtr w, int item) { hl_edit(w, item, text); };
}

void hit(WindowPtr w, int item)
{
    hl_hit(w, item);
}

std::function<std::string()> number(const auto &field)
{
    return [&field] { return std::to_string(int(field)); };
}

std::string shown(WindowPtr w, int item)
{
    const HlItem *i = hl_item(w, item);
    if (!i)
        return "no such item";
    return i->kind == BE_EDIT ? i->text : std::to_string(i->value);
}

void run(const std::vector<Row> &rows)
{
    for (const Row &r : rows) {
        SCOPED_TRACE(r.what);
        r.before();
        in_dialog(
            r.settingsItem,
            [&](WindowPtr w) {
                EXPECT_EQ(shown(w, r.item), r.shows);
                r.act(w, r.item);
            },
            kItemOK);
        EXPECT_EQ(r.value(), r.after);
    }
}

} // namespace

using Dialogs = Running;

TEST_F(Dialogs, Pacing)
{
    const int menu = kItemSettingsPacing;
    run({
        {"echo", menu, kItemPacingEcho, [] { cset.paceFlags = 6; }, "0", hit,
         number(cset.paceFlags), "7"},
        {"a character's delay is clamped", menu, kItemPacingCharDelay,
         [] { cset.charDelay = 3; }, "3", typed("100"), number(cset.charDelay),
         "60"},
        {"a number that wraps in 32 bits", menu, kItemPacingCharDelay,
         [] { cset.charDelay = 3; }, "3", typed("4294967297"),
         number(cset.charDelay), "60"},
        {"a line's delay", menu, kItemPacingLineDelay,
         [] { cset.lineDelay = 500; }, "500", typed("2000"),
         number(cset.lineDelay), "1000"},
        {"no less than none", menu, kItemPacingLineDelay,
         [] { cset.lineDelay = 500; }, "500", typed("-1"),
         number(cset.lineDelay), "0"},
        {"the prompt", menu, kItemPacingPrompt, [] { cset.promptChar = 17; },
         "^Q", typed(">"), number(cset.promptChar), "62"},
        {"a control character", menu, kItemPacingPrompt,
         [] { cset.promptChar = 0; }, "", typed("^A"), number(cset.promptChar),
         "1"},
        {"no prompt", menu, kItemPacingPrompt, [] { cset.promptChar = '$'; },
         "$", typed(""), number(cset.promptChar), "0"},
    });
    EXPECT_EQ(set_changed, 1);
}

// Whatever the records hold, also what no field can show: OK without an edit
// stores nothing, and Cancel nothing after any edit.
TEST_F(Dialogs, WhatIsNotEditedStays)
{
    const int items[] = {kItemSettingsPacing};
    uint32_t seed = 1;
    auto random = [&] { return seed = seed * 1664525 + 1013904223; };
    auto noise = [&](void *at, size_t size) {
        for (size_t i = 0; i < size; i++)
            static_cast<uint8_t *>(at)[i] = uint8_t(random() >> 24);
    };
    for (int i = 0; i < 200; i++) {
        Str255 text;
        SCOPED_TRACE(i);
        noise(&cset, sizeof cset);
        const int8_t size = qset.termFontSize;
        noise(&qset, sizeof qset);
        qset.termFontSize = size;
        for (int16_t n = 1; n <= kGlobCount; n++) {
            noise(text, sizeof text);
            SetStrInList(n & 1 ? gGlobStrings : gLocalStrings, n, text);
        }
        for (int item : items) {
            const std::string before = all_settings();
            const bool cancel = random() >> 31;
            in_dialog(
                item,
                [&](WindowPtr w) {
                    for (auto &[number, it] : hl_window(w)->items) {
                        if (!cancel)
                            continue;
                        if (it.kind == BE_EDIT)
                            hl_edit(w, number, "7");
                        else if (it.kind == BE_CHECKBOX || it.kind == BE_RADIO)
                            hl_hit(w, number);
                        else if (it.kind == BE_POPUP)
                            hl_pick(w, number, 2);
                    }
                },
                cancel ? kItemCancel : kItemOK);
            EXPECT_TRUE(all_settings() == before) << "Settings item " << item;
        }
    }
}

TEST_F(Dialogs, AQuitCancels)
{
    const std::string before = all_settings();
    hl_modal([](WindowPtr w) {
        hl_edit(w, kItemPacingCharDelay, "7");
        hl_quit();
    });
    EXPECT_TRUE(hl_choose(kMenuSettings, kItemSettingsPacing));
    run_ticks(60);
    EXPECT_TRUE(all_settings() == before);
    EXPECT_EQ(moreToDo, 0);
}
