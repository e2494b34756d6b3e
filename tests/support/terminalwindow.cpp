// A shown terminal window, and its picture.
#include "tests/support/terminalwindow.h"

#include "automation/AsciiSend.h"
#include "platform/controls.h"
#include "platform/fonts.h"
#include "platform/windows.h"
#include "serial/IOKitSerial.h"
#include "shell/Inits.h"
#include "shell/Quillon.h"

// Global bounds for so many rows and columns in the font of the moment, and not
// a pixel more.
Rect window_bounds(int rows, int cols)
{
    return {40, 40, int16_t(40 + rows * LineHeight + 19),
            int16_t(40 + cols * CharWid + 19)};
}

// Serves whatever events a change of windows has brought.
void settle()
{
    EventRecord e;

    while (WaitNextEvent(1 << updateEvt | 1 << activateEvt, &e, 0, nullptr)) {
        if (e.what == updateEvt)
            DoUpdate(WindowOfMessage(&e));
    }
}

// A window of so many rows and columns, in front, black on white, colours 2
// to 9 the eight of ANSI and 10 to 17 the bright ones.
void open_terminal(int rows, int cols)
{
    const uint16_t on = 0xFFFF, off = 0, half = 0x8080;
    const RGBColor colors[8] = {{off, off, off},   {half, off, off},
                                {off, half, off},  {half, half, off},
                                {off, off, half},  {half, off, half},
                                {off, half, half}, {half, half, half}};
    Rect bar = {0, 0, 16, 16};

    cset.termFlags = kTermNoAutoLF;
    qset.useColor = 1;
    qset.fgColor = '0';
    qset.bgColor = '7';
    qset.rgbTable[0] = {off, off, off};
    qset.rgbTable[1] = {on, on, on};
    for (int i = 0; i < 8; i++) {
        qset.fgMap[i] = qset.bgMap[i] = uint8_t('0' + i);
        qset.rgbTable[2 + i] = colors[i];
        qset.rgbTable[10 + i] = {on, uint16_t(i << 12), on};
    }
    curFSize = 12;
    gColorQD = 1;
    gHaveAppearance = 1;
    gAppearanceVer = 0x0110;
    haveScript = 1;
    gScriptCount = 2;
    Baudrate = 9600;
    if (SerAlloc() != 0)
        return;
    asInit();
    MakeUPPs();
    myWindow = GetNewWindow(128);
    SetPort(myWindow);
    sbar_ctl = NewControl(myWindow, &bar, PSTR(""), true, 0, 0, 0,
                          kScrollBarLiveProc, 0);
    setFont(0); // for the metrics
    const Rect bounds = window_bounds(rows, cols);
    SizeWind(myWindow, &bounds);
    ShowWindow(myWindow);
    SelectWindow(myWindow);
    InitPage();
    settle();
}

void show(const std::string &text)
{
    const auto *bytes = reinterpret_cast<const uint8_t *>(text.data());

    DispChars(bytes, int16_t(text.size()));
}

int picture_width()
{
    Rect bounds;

    GetWindowPortBounds(myWindow, &bounds);
    return bounds.right - kBarSize;
}

// The text area with its margins, without the cursor.
picture take_picture()
{
    const int width = picture_width();
    picture out;

    stop_cursor();
    for (int v = 0; v < termrect.bottom; v++) {
        for (int h = 0; h < width; h++)
            out.push_back(draw_pixel(myWindow, int16_t(h), int16_t(v)));
    }
    start_cursor();
    return out;
}

// The picture that a repaint of everything gives.
picture repainted()
{
    stop_cursor();
    term_redraw();
    start_cursor();
    return take_picture();
}

// A pixel of a cell, in its upper left corner, where no glyph draws.
uint32_t corner(int row, int col)
{
    return draw_pixel(myWindow, int16_t(col * CharWid + 3),
                      int16_t(row * LineHeight + 3));
}

bool has_ink(int row, int col, uint32_t color)
{
    for (int v = 0; v < LineHeight; v++) {
        for (int h = 0; h < CharWid; h++) {
            if (draw_pixel(myWindow, int16_t(col * CharWid + 3 + h),
                           int16_t(row * LineHeight + 3 + v)) == color)
                return true;
        }
    }
    return false;
}
