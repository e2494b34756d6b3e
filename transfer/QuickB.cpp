// B Plus: not part of this program yet.

#include "transfer/QuickB.h"

void bp_DLE() {}

void bp_ENQ() {}
