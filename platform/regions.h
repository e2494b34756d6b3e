// Areas of any shape made of rectangles. The result may be one of the
// operands.
#pragma once

#include "platform/types.h"

RgnHandle NewRgn(); // empty
void DisposeRgn(RgnHandle r);
void SetEmptyRgn(RgnHandle r);
void RectRgn(RgnHandle r, const Rect *rect);
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

void InsetRect(Rect *r, int16_t dh, int16_t dv); // too small for it: empty
bool EmptyRect(const Rect *r);
bool PtInRect(Point p, const Rect *r);
