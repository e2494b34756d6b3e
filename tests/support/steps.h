// Cases as sentences: steps with what each one has to give, as in
// "open f r; get 3 = abc; open g r ! fnfErr".
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "platform/types.h"

using Words = std::vector<std::string>;

// Plays the steps in their order. `act` gets the words of one, five at least,
// and returns what it gave: nothing, " = " with a value, an error's words. The
// result is the sentence with what was really given, so that a comparison with
// `steps` shows the wrong step.
std::string play(const std::string &steps,
                 const std::function<std::string(const Words &)> &act);

// " ! fnfErr" and its like; nothing for noErr.
std::string error_words(OSErr err);
// A type or a maker as its four characters, and back.
std::string type_words(OSType type);
OSType type_of(const std::string &four);
