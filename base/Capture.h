// The capture file: a copy of what comes from the line, as bytes (written by
// the serial pump) or as trimmed lines (written as they leave the screen).
#pragma once

#include <cstdint>

#include "platform/files.h"
#include "platform/types.h"

extern int16_t recRef;       // the open capture file, 0 if none
extern uint8_t asciiReceive; // 0 off, 'C' bytes as they come, 'L' lines

// Capture to `spec`, behind what the file holds, in mode 'C' or 'L'. Returns
// the error of opening the file.
OSErr OpenCapture(const FSSpec *spec, uint8_t mode);

// One write. If it fails, capture ends, the user sees that message of list
// kListErrors, and the error comes back.
OSErr WriteCapture(const uint8_t *bytes, int32_t count, int16_t message);

void StopCapture(); // safe when off
