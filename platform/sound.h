// Beeps and sounds.
#pragma once

#include "platform/files.h"
#include "platform/types.h"

void SysBeep(int16_t duration);
// Plays a sound file (WAV, OGG) or a named sound of the desktop's theme.
// False when there is no such sound. Doesn't wait for its end.
bool PlaySoundFile(const FSSpec *file);
bool PlayNamedSound(ConstStr name);
