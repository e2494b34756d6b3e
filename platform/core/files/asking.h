// One question at a time to the user by a dialog of the desktop's own (files,
// paper, a colour). The back end opens it and returns; its answer comes by
// up_answer, which this module defines.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/backend.h"

struct Answer {
    bool ok;        // the user agreed
    uint32_t value; // colour, or kind of saving
    std::vector<std::string> paths;
};

// Opens the dialog and turns the back end's wait until the answer is there.
// Windows are shown meanwhile; events stay in the queue.
Answer ask_and_wait(const be_ask_info *info);

// The same for a page dialog; be_page_get has the page afterwards.
Answer ask_page_and_wait(bool setup, const be_page *start);
