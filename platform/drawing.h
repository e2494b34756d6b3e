// Drawing into the current port: a window's content, or an off-screen canvas.
// Nothing here forces a pixel before it is shown: operations are recorded, and
// what later ones cover is dropped.
#pragma once

#include "platform/fonts.h"
#include "platform/regions.h"
#include "platform/types.h"

// ---- the port --------------------------------------------------------------

void SetPort(WindowPtr w); // null: nowhere, drawing is lost
WindowPtr GetPort();
void LocalToGlobal(Point *p);
void GlobalToLocal(Point *p);

// Drawing is cut to the clip rectangle (at first everywhere) and to the visible
// region (the content; between BeginUpdate and EndUpdate its part to be
// redrawn).
void ClipRect(const Rect *r);
void GetPortVisibleRegion(WindowPtr w, RgnHandle r);
void SetPortVisibleRegion(WindowPtr w, RgnHandle r);

// ---- pen and text ----------------------------------------------------------

void MoveTo(int16_t h, int16_t v);
void Move(int16_t dh, int16_t dv);
void GetPen(Point *p);
void LineTo(int16_t h, int16_t v);

enum : uint8_t { bold = 1, italic = 2, underline = 4, outline = 8 };
enum : int16_t { srcOr = 1, srcBic = 3 }; // text in the fore or back colour

void TextFont(int16_t font);
void TextSize(int16_t size); // points; 1 is one pixel at scale 1
void TextFace(uint8_t face);
void TextMode(int16_t mode);

void GetFontInfo(FontInfo *info); // of the port's font, size and face
int16_t CharWidth(uint8_t c);
int16_t TextWidth(const void *text, int16_t first, int16_t count);
int16_t StringWidth(ConstStr s);

// Draws at the pen (the baseline) and moves it by the width.
void DrawText(const void *text, int16_t first, int16_t count);
void DrawString(ConstStr s);
void DrawChar(uint8_t c);

// Horizontal place of the left edge of byte `offset`, from the text's start;
// and the byte under a place (the nearer edge; `leading`: its left half).
int16_t CharToPixel(const uint8_t *text, int32_t length, int32_t offset);
int16_t PixelToChar(const uint8_t *text, int32_t length, int16_t pixel,
                    bool *leading);

// ---- colours ---------------------------------------------------------------

enum : int16_t {
    blackColor = 33,
    whiteColor = 30,
    redColor = 205,
    greenColor = 341,
    blueColor = 409,
    cyanColor = 273,
    magentaColor = 137,
    yellowColor = 69,
};
void ForeColor(int16_t code);
void BackColor(int16_t code);
void RGBForeColor(const RGBColor *c);
void RGBBackColor(const RGBColor *c);

// ---- shapes ----------------------------------------------------------------

void EraseRect(const Rect *r); // back colour
void EraseRgn(RgnHandle r);
void PaintRect(const Rect *r); // fore colour
void FillGrayRect(const Rect *r);
void FrameRect(const Rect *r);
void InvertRect(const Rect *r);
void InvertRgn(RgnHandle r);

// Moves the pixels of `r` by (dh, dv) within it and fills what is uncovered
// with the back colour. `update` (may be null) takes the uncovered area.
void ScrollRect(const Rect *r, int16_t dh, int16_t dv, RgnHandle update);

// ---- for the layer and its tests -------------------------------------------

// Shows what has changed, in all windows, if it is time or `now`.
void draw_present(bool now);

// One pixel as 0x00RRGGBB, after everything recorded; 0xFF000000 outside.
uint32_t draw_pixel(WindowPtr w, int16_t h, int16_t v);

// Records (the normal way) or draws at once. For comparing the two.
