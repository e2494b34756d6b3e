// Length-prefixed strings: a length byte and that many bytes, no terminator.
// Byte values are not interpreted. A buffer for one is 256 bytes; pstrcpy
// alone asks for no more room than the text it copies.
#pragma once

#include <cstdint>

// Copies length byte and text. The destination must hold the whole. Returns
// `destination`.
uint8_t *pstrcpy(uint8_t *destination, const uint8_t *source);

// Appends; what would pass 255 bytes is cut without a word. Returns
// `destination`.
uint8_t *pstrcat(uint8_t *destination, const uint8_t *source);

// Appends one byte. A string of 255 bytes is full and stays as it is.
void pstrcatchr(uint8_t *destination, uint8_t byte);

// 1 when both hold the same bytes, case significant, else 0.
int pstrequal(const uint8_t *a, const uint8_t *b);

extern const uint8_t sp_str[2]; // one blank, where an empty text won't do
