// The pixel at column x of a packed row, read and written one at a time
// by its bit position: the reference that row, segment and copy tests
// compare the library's byte-level work with.
#pragma once

#include <cstdint>
#include <cstring>

#include "core/rows.h"

namespace kest::test {

// Sub-byte depths are most significant bits first; 12 bits are two pixels
// in three bytes, the even one in the low 12 bits of its first two bytes
// (little-endian), the odd one in the top 12 bits of the next two.
inline uint64_t PixelAt(const uint8_t *row, int32_t bits, size_t x) {
  if (bits == 12) {
    const size_t at = ColumnToByte(12, x);
    const unsigned word = row[at] | (row[at + 1] << 8);
    return x % 2 == 0 ? (word & 0x0FFF) : (word >> 4);
  }
  if (bits < 8) {
    uint64_t value = 0;
    for (int b = 0; b < bits; ++b) {
      const size_t bit = x * bits + b;
      value = (value << 1) | ((row[bit / 8] >> (7 - bit % 8)) & 1);
    }
    return value;
  }
  uint64_t value = 0;
  std::memcpy(&value, row + x * (bits / 8), bits / 8);
  return value;
}

inline void SetPixel(uint8_t *row, int32_t bits, size_t x, uint64_t value) {
  if (bits == 12) {
    const size_t at = ColumnToByte(12, x);
    unsigned word = row[at] | (row[at + 1] << 8);
    word = x % 2 == 0 ? (word & 0xF000) | (value & 0x0FFF) : (word & 0x000F) | ((value & 0x0FFF) << 4);
    row[at] = static_cast<uint8_t>(word);
    row[at + 1] = static_cast<uint8_t>(word >> 8);
    return;
  }
  if (bits < 8) {
    for (int b = 0; b < bits; ++b) {
      const size_t bit = x * bits + b;
      const int set = (value >> (bits - 1 - b)) & 1;
      row[bit / 8] =
          static_cast<uint8_t>((row[bit / 8] & ~(0x80 >> (bit % 8))) | (set << (7 - bit % 8)));
    }
    return;
  }
  std::memcpy(row + x * (bits / 8), &value, bits / 8);
}

}  // namespace kest::test
