// Text and files dragged into windows and out of them.
#include "platform/drag.h"

#include "platform/core/macroman.h"
#include "platform/core/queue.h"
#include "platform/core/waiting.h"
#include "platform/core/widgets/winrec.h"

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

static WindowPtr target; // the window that takes drops
static DragOverProc overProc;
static DropProc dropProc;

static bool dragOut; // a drag of ours is going on
static bool dragTaken;

void InstallDragHandlers(WindowPtr w, DragOverProc over, DropProc drop)
{
    target = w;
    overProc = over;
    dropProc = drop;
}

bool DragTextOut(WindowPtr w, const EventRecord *, RgnHandle, const void *text,
                 int32_t length)
{
    if (!w || length <= 0 || dragOut)
        return false;
    std::string_view bytes(static_cast<const char *>(text), size_t(length));
    dragOut = true;
    dragTaken = false;
    be_drag_text(w->id, text_to_utf8(bytes).c_str());
    while (dragOut)
        core_wait_input();
    return dragTaken;
}

// ---- calls up --------------------------------------------------------------

static Point local_to(WindowPtr w, int h, int v)
{
    return {int16_t(v - w->bounds.top), int16_t(h - w->bounds.left)};
}

bool up_drag_over(be_win id, int h, int v, bool text, bool files)
{
    WindowPtr w = window_of(id);

    return w && w == target && overProc &&
           overProc(w, local_to(w, h, v), text, files);
}

// A drop as it waits in the queue.
struct Dropped {
    bool hasText;
    std::string text;
    std::vector<FSSpec> files;
    Point where;
    uint16_t modifiers;
};

void up_drop(be_win id, int h, int v, uint16_t modifiers, const char *text,
             const char *const *paths, int count)
{
    WindowPtr w = window_of(id);

    if (!w || w != target || !dropProc)
        return;
    auto d = std::make_shared<Dropped>();
    d->hasText = text != nullptr;
    if (text)
        d->text = text_from_utf8(text);
    for (int n = 0; n < count; n++) {
        FSSpec spec;
        if (FSSpecFromPath(paths[n], &spec) == noErr)
            d->files.push_back(spec);
    }
    d->where = local_to(w, h, v);
    d->modifiers = modifiers;
    queue_act(1 << mouseDown, w, [w, d] {
        DropInfo info = {};
        info.where = d->where;
        info.modifiers = d->modifiers;
        if (d->hasText)
            info.text = reinterpret_cast<const uint8_t *>(d->text.data());
        info.length = int32_t(d->text.size());
        info.files = d->files.data();
        info.fileCount = int(d->files.size());
        (void)dropProc(w, &info); // a refusal changes nothing
    });
}

void up_drag_done(bool taken)
{
    dragTaken = taken;
    dragOut = false;
}
