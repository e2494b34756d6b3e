// The program's sounds.
#include "base/Sounds.h"

#include "base/facts.h"
#include "platform/files.h"
#include "platform/resources.h"
#include "platform/sound.h"
#include "resources/names.h"

// A sound file of that name in a folder.
static bool play_in(int16_t volume, int32_t folder, ConstStr name)
{
    FSSpec file;
    return FSMakeFSSpec(volume, folder, name, &file) == noErr &&
           PlaySoundFile(&file);
}

int16_t PlaySound(int16_t index)
{
    Str255 name, sub;
    CatInfo info;

    GetIndString(name, kListSounds, index);
    if (name[0] == 0)
        return 0;
    if (PlayNamedSound(name) || play_in(gAuxFilesVRef, gAuxFilesDirID, name))
        return 1;
    GetIndString(sub, kListNames, kStrSoundFolder);
    return sub[0] != 0 &&
           GetCatInfo(gAuxFilesVRef, gAuxFilesDirID, sub, &info) == noErr &&
           info.isFolder && play_in(gAuxFilesVRef, info.dirID, name);
}
