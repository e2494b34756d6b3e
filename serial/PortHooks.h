// What the port needs of the folders above it. shell/Hooks.cpp fills this in.
#pragma once

#include "platform/types.h"

struct PortHooks {
    // The terminal: bytes to the screen; how far the view is scrolled back.
    void (*show)(const uint8_t *bytes, int16_t count);
    int32_t (*scrolled)();

    // The line and its speed have been set: status bar, menu, connection.
    void (*lineSet)();
    void (*speedSet)(int16_t item, int32_t speed);

    // The send queue: the line has been quiet for a third of a second.
    void (*lineQuiet)();

    // A transfer that begins by itself, with the byte that started it (CAN,
    // DLE or ENQ). Returns when it is over.
    void (*startTransfer)(uint8_t trigger);

    // During a transfer: serves events for up to `sleep` ticks; whether the
    // user has cancelled; redraws the progress.
    void (*serveEvents)(int16_t sleep);
    bool (*cancelled)();
    void (*showProgress)();

    // Where the dump of the buffers goes.
    void (*dumpFolder)(int16_t *volume, int32_t *folder);
};

extern const PortHooks gPortHooks;
