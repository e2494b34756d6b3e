// Path strings: how a folder or a file is remembered in a setting. A folder is
// its volume's name, the byte 1, the four bytes of the volume's creation date,
// ":" and the folder's number; a file adds ":" and its name. Volumes 1 and 2
// with folder 2 are the single digit.
#pragma once

#include "platform/types.h"

#include <cstdint>

constexpr int16_t kNoVolume = 728; // a number that no volume has
constexpr int32_t kNoFolder = -1;

// The path string of a folder, empty if its volume isn't there.
void VolDirToStr(int16_t volume, int32_t folder, uint8_t *out);

// Takes a path string apart. With an empty string, or a volume that isn't
// there, the volume is kNoVolume and the folder kNoFolder.
// `name` gets the file's name, empty if there is none; it may be null.
void GetFolderFromStr(ConstStr path, int16_t *volume, int32_t *folder,
                      uint8_t *name);
