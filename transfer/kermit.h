// Kermit, which is not part of this program yet: HaveProtocol('K') is false,
// the menus dim it, and these do nothing.
#pragma once

#include <cstdint>

int16_t KermRecv();
int16_t KermSend();
