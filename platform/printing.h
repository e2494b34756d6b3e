// Paper. One document at a time; a page is drawn through the calls of
// drawing.h, whose port it is between BeginPage and EndPage.
#pragma once

#include "platform/types.h"

struct PageFormat {
    Rect paper, page; // points; the page's top left is 0, 0
    int16_t orientation;
};
struct PrintSettings {
    int32_t firstPage, lastPage, copies;
};

OSErr PMDefaultPageFormat(PageFormat *format);
bool PMPageSetupDialog(PageFormat *format);
bool PMPrintDialog(PageFormat *format, PrintSettings *settings);
OSErr PMBeginDocument(const PageFormat *format, const PrintSettings *settings,
                      ConstStr title);
OSErr PMBeginPage();
OSErr PMEndPage();
OSErr PMEndDocument();

// The user's locale measures in millimeters, not in inches.
bool IsMetric();
