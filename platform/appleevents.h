// What comes from outside: start without documents, documents to open, quit.
#pragma once

#include "platform/events.h"
#include "platform/files.h"
#include "platform/types.h"

// Each handler returns noErr or an error code. `files` lasts for the
// call. One high-level event is served for each AEProcessAppleEvent.
struct AppleEventHandlers {
    OSErr (*openApp)();
    OSErr (*openDocs)(const FSSpec *files, int count);
    OSErr (*printDocs)(const FSSpec *files, int count);
    OSErr (*quit)();
    // The session will end, maybe as soon as this returns, maybe not, and then
    // says so by quit: what is to be kept lies on disk at its return.
    OSErr (*sessionEnd)();
};
void AEInstallHandlers(const AppleEventHandlers *handlers);
OSErr AEProcessAppleEvent(const EventRecord *event);

// A request to quit is waiting. What keeps the main loop from serving it, such
// as a transfer, is to be broken off.
bool QuitIsWaiting();

// Opens a document with an application (a desktop entry or a program), or
// with what the desktop has for it when `application` is null.
OSErr OpenDocumentWith(const FSSpec *application, const FSSpec *document);

// The start-up arguments, for the program's main: queues "oapp" or "odoc".
void ae_queue_start(const char *const *paths, int count);
