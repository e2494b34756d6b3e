// The clipboard, and the text that was selected last.
#pragma once

#include <cstdint>

#include "platform/types.h"

constexpr OSType kTextFlavor = FOUR("TEXT");

// Replaces the clipboard with text. 0 or an error.
OSErr doCopy(const void *address, int32_t size);
void doPaste();        // queues the clipboard's text for the line
void doPastePrimary(); // the same with the text selected last, anywhere
