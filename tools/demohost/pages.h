// tools/demohost/pages.h
// The host: a login, a menu, and the pages behind it. Every page returns
// false when the call is over.
#pragma once

bool host_login();
bool host_menu(); // returns when the caller logs off or hangs up
