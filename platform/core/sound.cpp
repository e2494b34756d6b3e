// Beeps and sounds.
#include "platform/sound.h"

#include "platform/backend.h"
#include "platform/core/macroman.h"

#include <climits>

void SysBeep(int16_t)
{
    be_beep();
}

bool PlaySoundFile(const FSSpec *file)
{
    char path[PATH_MAX];

    return FSSpecToPath(file, path, sizeof path) == noErr &&
           be_sound_file(path);
}

bool PlayNamedSound(ConstStr name)
{
    std::string text = pstr_to_utf8(name);

    return !text.empty() && be_sound_named(text.c_str());
}
