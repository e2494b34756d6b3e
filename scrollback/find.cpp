#include "scrollback/find.h"
int32_t findline = -1;
