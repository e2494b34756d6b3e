// Requests from outside wait in the event queue like the user's acts, so that
// the program serves them when its loop asks.
#include "platform/appleevents.h"

#include "platform/core/core.h"
#include "platform/core/outside.h"
#include "platform/core/queue.h"

#include <climits>
#include <map>
#include <string>
#include <vector>

enum Request { kOpenApp, kOpenDocs, kQuit };

struct Outside {
    Request what;
    std::vector<std::string> paths;
};
static std::map<uint32_t, Outside> waiting; // by the event's message
static uint32_t lastNumber;
static AppleEventHandlers handlers;
static bool quitting;          // a handler of quit or sessionEnd is running
static be_may_ask *askSession; // while sessionEnd is running

static void post(Request what, std::vector<std::string> paths)
{
    EventRecord e = queue_event(kHighLevelEvent, nullptr, 0);

    e.message = ++lastNumber;
    waiting[e.message] = {what, std::move(paths)};
    queue_post(e);
}

void AEInstallHandlers(const AppleEventHandlers *h)
{
    handlers = *h;
}

static OSErr open_docs(const std::vector<std::string> &paths)
{
    std::vector<FSSpec> files;

    for (const std::string &path : paths) {
        FSSpec spec;
        OSErr err = FSSpecFromPath(path.c_str(), &spec);
        // The handler's message names a file that isn't there.
        if (err == noErr || err == fnfErr)
            files.push_back(spec);
    }
    return handlers.openDocs
               ? handlers.openDocs(files.data(), int(files.size()))
               : OSErr(noErr);
}

static OSErr run_quit(OSErr (*handler)())
{
    quitting = true;
    OSErr err = handler ? handler() : OSErr(noErr);
    quitting = false;
    return err;
}

OSErr AEProcessAppleEvent(const EventRecord *event)
{
    auto it = waiting.find(event->message);

    if (event->what != kHighLevelEvent || it == waiting.end())
        return paramErr;
    Outside request = std::move(it->second);
    waiting.erase(it);
    switch (request.what) {
    case kOpenApp:
        return handlers.openApp ? handlers.openApp() : OSErr(noErr);
    case kOpenDocs:
        return open_docs(request.paths);
    case kQuit:
        return run_quit(handlers.quit);
    }
    return noErr;
}

bool QuitIsWaiting()
{
    for (const auto &[number, request] : waiting)
        if (request.what == kQuit)
            return true;
    return false;
}

OSErr OpenDocumentWith(const FSSpec *application, const FSSpec *document)
{
    char program[PATH_MAX], path[PATH_MAX];
    OSErr err = FSSpecToPath(document, path, sizeof path);

    if (!err && application)
        err = FSSpecToPath(application, program, sizeof program);
    if (err)
        return err;
    return be_open_with(application ? program : nullptr, path) ? noErr : fnfErr;
}

void ae_queue_start(const char *const *paths, int count)
{
    if (count > 0)
        post(kOpenDocs, {paths, paths + count});
    else
        post(kOpenApp, {});
}

// ---- what stands in the way of an end --------------------------------------

bool nobody_to_ask()
{
    return askSession && !askSession();
}

bool dialogs_must_go()
{
    return QuitIsWaiting() || nobody_to_ask();
}

void wait_for_user(const bool &done)
{
    bool dismissed = false;

    while (!done) {
        if (!dismissed && dialogs_must_go()) {
            dismissed = true;
            be_dismiss();
        } else {
            core_wait_input();
        }
    }
}

// ---- calls up --------------------------------------------------------------

// While the program is asking about one request, another adds nothing.
void up_quit()
{
    if (!quitting && !QuitIsWaiting())
        post(kQuit, {});
}

be_session_answer up_session_end(be_may_ask *mayAsk)
{
    if (quitting || !events_serves_requests()) {
        up_quit();
        return BE_SESSION_LATER;
    }
    askSession = mayAsk;
    OSErr err = run_quit(handlers.sessionEnd);
    askSession = nullptr;
    return err == noErr ? BE_SESSION_SAVED : BE_SESSION_REFUSED;
}
