// The program's sounds, by number.
#pragma once

#include <cstdint>

// Plays the sound that list 350 names at `index`: one of the platform's, or a
// file among the companion files or in their folder of sounds. 1 if it played.
int16_t PlaySound(int16_t index);
