// Areas of any shape made of rectangles. The result may be one of the
// operands.
#pragma once

#include "platform/types.h"

RgnHandle NewRgn(); // empty
void DisposeRgn(RgnHandle r);
void SetEmptyRgn(RgnHandle r);
void RectRgn(RgnHandle r, const Rect *rect);
void SetRectRgn(RgnHandle r, int16_t left, int16_t top, int16_t right,
                int16_t bottom);
void CopyRgn(RgnHandle from, RgnHandle to);
void OffsetRgn(RgnHandle r, int16_t dh, int16_t dv);
void InsetRgn(RgnHandle r, int16_t dh, int16_t dv);
void SectRgn(RgnHandle a, RgnHandle b, RgnHandle out);
void UnionRgn(RgnHandle a, RgnHandle b, RgnHandle out);
void DiffRgn(RgnHandle a, RgnHandle b, RgnHandle out);
void XorRgn(RgnHandle a, RgnHandle b, RgnHandle out);
bool EmptyRgn(RgnHandle r);
bool EqualRgn(RgnHandle a, RgnHandle b);
bool PtInRgn(Point p, RgnHandle r);
bool RectInRgn(const Rect *rect, RgnHandle r); // do they meet?
void GetRegionBounds(RgnHandle r, Rect *bounds);
// The rectangles, top to bottom, then left to right. Returns how many there
// are; at most `max` are written.
int RegionRects(RgnHandle r, Rect *out, int max);

void SetRect(Rect *r, int16_t left, int16_t top, int16_t right, int16_t bottom);
void OffsetRect(Rect *r, int16_t dh, int16_t dv);
void InsetRect(Rect *r, int16_t dh, int16_t dv);
bool SectRect(const Rect *a, const Rect *b, Rect *out); // false: empty
void UnionRect(const Rect *a, const Rect *b, Rect *out);
bool EmptyRect(const Rect *r);
bool EqualRect(const Rect *a, const Rect *b);
bool PtInRect(Point p, const Rect *r);
