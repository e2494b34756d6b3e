// Paper. A page is a canvas of points, drawn through the usual calls at four
// pixels a point, and goes to the back end as a picture when it is full.
#include "platform/printing.h"

#include "platform/core/drawing/canvas.h"
#include "platform/core/drawing/drawparts.h"
#include "platform/core/files/asking.h"
#include "platform/core/macroman.h"

#include <algorithm>
#include <langinfo.h>

constexpr int kScale = 4;
constexpr int kDpi = 72 * kScale;

// ---- the document ----------------------------------------------------------
// `page` and `port` stand between PMBeginPage and PMEndPage.

static bool inDocument;
static int16_t pageWidth, pageHeight; // points
static Canvas *page;
static PortState *port;
static WindowPtr portBefore;

// The printable part is where a page begins; paper reaches out around it.
static void format_from(const be_page &p, PageFormat *format)
{
    Box paper = {0, 0, p.paperW, p.paperH};

    format->page = Box{0, 0, p.right - p.left, p.bottom - p.top}.rect();
    format->paper = paper.moved(-p.left, -p.top).rect();
    format->orientation = p.landscape;
}

static be_page format_to(const PageFormat *format)
{
    be_page p = {};

    p.paperW = format->paper.right - format->paper.left;
    p.paperH = format->paper.bottom - format->paper.top;
    p.left = -format->paper.left;
    p.top = -format->paper.top;
    p.right = p.left + format->page.right;
    p.bottom = p.top + format->page.bottom;
    p.landscape = format->orientation != 0;
    p.first = 1;
    p.last = 9999;
    p.copies = 1;
    return p;
}

OSErr PMDefaultPageFormat(PageFormat *format)
{
    be_page p = {};

    be_page_get(&p);
    format_from(p, format);
    return noErr;
}

bool PMPageSetupDialog(PageFormat *format)
{
    be_page p = format_to(format);

    if (!ask_page_and_wait(true, &p).ok)
        return false;
    be_page_get(&p);
    format_from(p, format);
    return true;
}

bool PMPrintDialog(PageFormat *format, PrintSettings *settings)
{
    be_page p = format_to(format);

    p.first = settings->firstPage;
    p.last = settings->lastPage;
    p.copies = std::max(settings->copies, 1);
    if (!ask_page_and_wait(false, &p).ok)
        return false;
    be_page_get(&p);
    format_from(p, format);
    *settings = {p.first, p.last, p.copies};
    return true;
}

OSErr PMBeginDocument(const PageFormat *format, const PrintSettings *settings,
                      ConstStr title)
{
    be_page p = format_to(format);
    std::string name = pstr_to_utf8(title);

    if (inDocument)
        return paramErr;
    p.first = settings->firstPage;
    p.last = settings->lastPage;
    p.copies = settings->copies;
    if (!be_print_begin(&p, name.c_str()))
        return ioErr;
    inDocument = true;
    pageWidth = format->page.right;
    pageHeight = format->page.bottom;
    return noErr;
}

OSErr PMBeginPage()
{
    if (!inDocument || page || pageWidth <= 0 || pageHeight <= 0)
        return paramErr;
    portBefore = GetPort();
    page = canvas_new(pageWidth, pageHeight, kScale);
    port = port_new(page);
    port_set_current(port);
    return noErr;
}

OSErr PMEndPage()
{
    if (!page)
        return paramErr;
    canvas_flush(page);
    bool done = be_print_page(page->pixels.data(), page->width * kScale,
                              page->height * kScale, kDpi);
    port_dispose(port);
    canvas_dispose(page);
    page = nullptr;
    port = nullptr;
    SetPort(portBefore);
    return done ? noErr : ioErr;
}

OSErr PMEndDocument()
{
    if (!inDocument)
        return paramErr;
    inDocument = false;
    return be_print_end() ? noErr : ioErr;
}

bool IsMetric()
{
    constexpr char kMetricMeasures = 1;

    return nl_langinfo(_NL_MEASUREMENT_MEASUREMENT)[0] == kMetricMeasures;
}
