// B Plus, which is not part of this program yet: the automatic start ends
// here, and the byte that set it off is gone.
#pragma once

#include <cstdint>

void bp_DLE();
void bp_ENQ();
