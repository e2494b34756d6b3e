// Fonts, clipboard, questions about files and colours, paper.
#include "tests/desktop/recorder.h"

#include <QColorDialog>
#include <QDir>
#include <QFile>
#include <QFileDialog>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QTemporaryDir>

using Services = Desktop;

template <class Widget> static Widget *shown()
{
    for (QWidget *w : QApplication::topLevelWidgets())
        if (auto *found = qobject_cast<Widget *>(w); found && w->isVisible())
            return found;
    return nullptr;
}

TEST_F(Services, FixedFontsHaveOneCell)
{
    be_font_metrics m;
    be_glyph g;
    const char *family = be_font_best_fixed();

    for (int size : {9, 12, 13, 24}) {
        be_font font = be_font_open(family, size, false, false, &m);
        ASSERT_NE(font, 0) << family;
        EXPECT_TRUE(m.fixed);
        EXPECT_GT(m.ascent, m.descent);
        for (uint32_t c = 33; c < 127; c++) {
            be_font_glyph(font, c, &g);
            ASSERT_FALSE(g.missing) << c;
            ASSERT_NE(g.mask, nullptr) << c;
            EXPECT_EQ(g.advance, m.advance) << c;
            // Nothing of a letter may be lost over or under its line.
            EXPECT_LE(g.top, m.ascent) << c;
            EXPECT_LE(g.height - g.top, m.descent + 1) << c;
            int ink = 0;
            for (int i = 0; i < g.width * g.height; i++)
                ink += g.mask[i];
            EXPECT_GT(ink, 200) << c;
        }
        be_font_glyph(font, ' ', &g);
        EXPECT_EQ(g.mask, nullptr);
        EXPECT_EQ(g.advance, m.advance);
    }
    be_font plain = be_font_open(family, 13, false, false, &m);
    be_font_glyph(plain, 'H', &g); // stands on its line; "p" reaches under it
    EXPECT_EQ(g.top, g.height);
    be_font_glyph(plain, 'p', &g);
    EXPECT_GT(g.height, g.top);
    for (uint32_t none : {0x12FFFu, 0x7FFFFFFFu}) {
        be_font_glyph(plain, none, &g);
        EXPECT_TRUE(g.missing) << none;
    }
    EXPECT_EQ(be_font_open("No Such Family", 13, false, false, &m), 0);
    const char *names[500];
    int fixed = be_font_list(names, 500, true);
    EXPECT_GT(fixed, 0);
    for (int i = 1; i < fixed; i++)
        EXPECT_LE(strcasecmp(names[i - 1], names[i]), 0);
}

TEST_F(Services, Clipboard)
{
    be_clip_set("Grüße\nhere", false);
    EXPECT_STREQ(be_clip_get(false), "Grüße\nhere");
    be_clip_set("other", false);
    EXPECT_STREQ(be_clip_get(false), "other") << "a kept text is given up";
}

// No box of the toolkit's own may hold up the loop, so each question is told
// by its answer.
TEST_F(Services, AskingForFiles)
{
    QTemporaryDir folder;
    QByteArray path = folder.path().toLocal8Bit();
    QFile(folder.filePath("there")).open(QIODevice::WriteOnly);
    open(1, BE_DOCUMENT, 300, 200);

    be_ask_info info = {BE_ASK_SAVE, "Save as", "there", path.constData(), 0};
    be_ask(&info);
    turn(100);
    auto *dialog = shown<QFileDialog>();
    ASSERT_NE(dialog, nullptr);
    auto accept = [&] {
        QMetaObject::invokeMethod(dialog, "accept");
        turn(100);
    };
    accept();
    auto *box = shown<QMessageBox>();
    ASSERT_NE(box, nullptr) << "replacing is asked";
    box->button(QMessageBox::Cancel)->click();
    turn(50);
    EXPECT_TRUE(dialog->isVisible());
    EXPECT_EQ(take_heard().find("answer"), std::string::npos);
    accept();
    for (QAbstractButton *button : shown<QMessageBox>()->buttons())
        if (button->text().contains("Replace"))
            button->click();
    EXPECT_TRUE(turn_until("answer 1 000000 " +
                           folder.filePath("there").toStdString()));

    // A name that isn't there is refused in the open dialog.
    heard.clear();
    info.kind = BE_ASK_OPEN;
    info.name = nullptr;
    be_ask(&info);
    turn(100);
    dialog = shown<QFileDialog>();
    ASSERT_NE(dialog, nullptr);
    dialog->findChild<QLineEdit *>()->setText("absent");
    accept();
    ASSERT_NE(shown<QMessageBox>(), nullptr);
    shown<QMessageBox>()->reject();
    dialog->reject();
    EXPECT_TRUE(turn_until("answer 0 000000"));

    heard.clear();
    info.kind = BE_ASK_FOLDER;
    be_ask(&info);
    turn(100);
    QMetaObject::invokeMethod(shown<QFileDialog>(), "accept");
    EXPECT_TRUE(turn_until("answer 1 000000 " + folder.path().toStdString()));
}

TEST_F(Services, AskingForAnswers)
{
    be_ask_info info = {BE_ASK_COLOR, "Pick", nullptr, nullptr, 0x336699};
    be_ask(&info);
    turn(100);
    shown<QColorDialog>()->accept();
    EXPECT_TRUE(turn_until("answer 1 336699"));

    info = {BE_ASK_SAVE_CHANGES, nullptr, "Book", nullptr, 0};
    const std::pair<QMessageBox::StandardButton, const char *> cases[] = {
        {QMessageBox::Save, "answer 1 000001"},
        {QMessageBox::Discard, "answer 1 000002"},
        {QMessageBox::Cancel, "answer 0 000003"},
    };
    for (auto &[button, line] : cases) {
        heard.clear();
        be_ask(&info);
        turn(50);
        shown<QMessageBox>()->button(button)->click();
        EXPECT_TRUE(turn_until(line)) << line;
        turn(20);
    }
}

TEST_F(Services, PrintingMakesPages)
{
    QTemporaryDir folder;
    QDir::setCurrent(folder.path());
    qputenv("HOME", folder.path().toLocal8Bit());
    be_page page = {595, 842, 18, 18, 577, 824, false, 1, 99, 1};
    pixels.assign(559 * 806, 0xFFFFFF);

    be_page usual;
    be_page_get(&usual); // before anybody was asked
    EXPECT_GT(usual.right - usual.left, 500);
    EXPECT_GT(usual.bottom - usual.top, 700);

    be_page_ask(true, &page);
    turn(50);
    ASSERT_NE(shown<QDialog>(), nullptr);
    shown<QDialog>()->reject();
    EXPECT_TRUE(turn_until("answer 0 000000"));
    be_page_get(&page);
    EXPECT_EQ(page.paperW, 595);

    ASSERT_TRUE(be_print_begin(&page, "Test"));
    EXPECT_TRUE(be_print_page(pixels.data(), 559, 806, 72));
    EXPECT_TRUE(be_print_page(pixels.data(), 559, 806, 72));
    EXPECT_TRUE(be_print_end());
    EXPECT_FALSE(be_print_page(pixels.data(), 559, 806, 72));
    QFile pdf(folder.filePath("quillon.pdf"));
    ASSERT_TRUE(pdf.open(QIODevice::ReadOnly));
    QByteArray bytes = pdf.readAll();
    EXPECT_TRUE(bytes.startsWith("%PDF"));
    EXPECT_TRUE(bytes.contains("/Count 2"));
}

// A program or a desktop entry gets the file in its place.
TEST_F(Services, OpeningWithAProgram)
{
    QTemporaryDir folder;
    QByteArray file = folder.filePath("in put").toLocal8Bit();
    QFile entry(folder.filePath("copy.desktop"));
    ASSERT_TRUE(entry.open(QIODevice::WriteOnly));
    entry.write("[Desktop Action x]\nExec=false\n[Desktop Entry]\n"
                "Exec=touch %f %c\n");
    entry.close();
    EXPECT_TRUE(be_open_with(entry.fileName().toLocal8Bit().constData(),
                             file.constData()));
    for (int i = 0; i < 100 && !QFile::exists(file); i++)
        turn(20);
    EXPECT_TRUE(QFile::exists(file));
    EXPECT_FALSE(be_open_with("/no/such/program", file.constData()));
    EXPECT_FALSE(be_open_with("/no/such.desktop", file.constData()));
}
