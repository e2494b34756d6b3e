// Kermit: not part of this program yet. Both calls report failure, and the
// menus never get here.

#include "transfer/kermit.h"

int16_t KermRecv()
{
    return -1;
}

int16_t KermSend()
{
    return -1;
}
