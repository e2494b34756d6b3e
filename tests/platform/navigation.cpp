// Asking for files and folders.
#include "platform/navigation.h"

#include <gtest/gtest.h>

#include <cstring>

#include "platform/core/files/filesparts.h"
#include "platform/headless/headless.h"
#include "tests/support/sandbox.h"

static std::string path_of(const FSSpec &spec)
{
    char path[4096] = "";
    (void)FSSpecToPath(&spec, path, sizeof path);
    return path;
}

TEST(Navigation, ChosenFilesComeBackAsSpecifications)
{
    Place at;
    FSSpec one, many[2];
    for (const char *name : {"a", "b", "c"})
        at.write(name, "");
    hl_ask_answer(true, {at.path("b")});
    ASSERT_TRUE(NavGetFile(P("Which\xC9"), &one));
    EXPECT_EQ(path_of(one), at.path("b"));
    EXPECT_EQ(hl_asked().back().prompt, "Which\xE2\x80\xA6");

    // What isn't there is left out, and so is what doesn't fit.
    hl_ask_answer(true,
                  {at.path("none"), at.path("a"), at.path("b"), at.path("c")});
    ASSERT_EQ(NavGetFiles(P("Which"), many, 2), 2);
    EXPECT_EQ(path_of(many[0]), at.path("a"));
    EXPECT_EQ(path_of(many[1]), at.path("b"));

    hl_ask_answer(true, {at.path("new \xC3\xA4")});
    ASSERT_TRUE(NavPutFile(P("Where"), P("new"), &one));
    EXPECT_EQ(path_of(one), at.path("new \xC3\xA4")); // bytes as they came
}

TEST(Navigation, ACancelLeavesEverything)
{
    Place at;
    FSSpec spec = {}, before = {};
    spec.parID = before.parID = 77;
    int16_t vRef = at.vRef;
    int32_t dir = at.dir;
    for (int i = 0; i < 5; i++)
        hl_ask_answer(false);
    EXPECT_FALSE(NavGetFile(P("x"), &spec));
    EXPECT_EQ(NavGetFiles(P("x"), &spec, 1), 0);
    EXPECT_FALSE(NavPutFile(P("x"), P("y"), &spec));
    EXPECT_FALSE(NavChooseFolder(P("x"), &vRef, &dir));
    EXPECT_EQ(NavAskSaveChanges(P("Local")), kNavCancel);
    EXPECT_EQ(std::memcmp(&spec, &before, sizeof spec), 0);
    EXPECT_EQ(vRef, at.vRef);
    EXPECT_EQ(dir, at.dir);

    // A folder that has gone is no choice.
    hl_ask_answer(true, {at.path("none")});
    EXPECT_FALSE(NavChooseFolder(P("x"), &vRef, &dir));
    hl_ask_answer(true, {at.path("none/file")});
    EXPECT_FALSE(NavPutFile(P("x"), P("y"), &spec));
}

TEST(Navigation, FoldersAndChanges)
{
    Place at;
    std::filesystem::create_directory(at.path("sub"));
    int16_t vRef = at.vRef;
    int32_t dir = at.dir;
    std::string path;
    hl_ask_answer(true, {at.path("sub")});
    ASSERT_TRUE(NavChooseFolder(P("Where"), &vRef, &dir));
    EXPECT_EQ(hl_asked().back().folder, at.root / "work");
    ASSERT_EQ(folder_path(vRef, dir, path), noErr);
    EXPECT_EQ(path, at.path("sub"));

    // Save, discard, cancel; whatever else is a cancel.
    for (int value : {1, 2, 3, 17}) {
        hl_ask_answer(true, {}, uint32_t(value));
        EXPECT_EQ(NavAskSaveChanges(P("Local")), value > 3 ? 3 : value);
    }
}
