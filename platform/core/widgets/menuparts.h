// What the rest of the core needs of the menus.
#pragma once

#include "platform/menus.h"

// Hands changed menus to the back end. Called before each wait.
void menus_flush();

int16_t menu_id(MenuHandle m); // 0 for null
