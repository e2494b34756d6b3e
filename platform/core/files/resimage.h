// The program's own resources, compiled in. tools/rescomp generates the
// definition from resources/*.toml.
//
// The image: "qRIM", u32 count, then for each resource u32 type, i16 id,
// u8 attributes, pstring name, u32 length and that many bytes; all
// big-endian, sorted by type (as an unsigned number) and id.
//
// kOwnFirst is an attribute of what a file can't take the place of: the
// program's texts. Templates lack it, since a book may hold its own form of
// one.
#pragma once

#include <cstddef>
#include <cstdint>

constexpr uint8_t kOwnFirst = 1;

extern const uint8_t kResourceImage[];
extern const size_t kResourceImageSize;
