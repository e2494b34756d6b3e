// What every part may ask about the program as it runs.
#include "base/Program.h"

uint8_t moreToDo = 1;
uint8_t Suspended;
uint8_t gInitializing = 1;
OSType textcreator = FOUR("ttxt");
