// What terminals are fed with in benchmarks. The same size gives the same
// bytes on every machine.
#pragma once

#include <cstddef>
#include <string>

std::string corpus_plain(size_t size);  // log lines as a kernel prints them
std::string corpus_colour(size_t size); // the same with colours and faces
// A full-screen program: addressed rows, regions that scroll both ways,
// inserted and deleted lines and characters.
std::string corpus_redraw(size_t size, int rows, int cols);
std::string corpus_random(size_t size);
