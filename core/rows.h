// Row access as the rest of the library uses it: the packing of a row, the
// row cursor and the bytes of one pixel.
#pragma once

#include <cstddef>
#include <cstdint>

#include "kest/bitmap.h"

namespace kest {

// Byte of a row at which pixel x starts, for the packing of each depth;
// any other depth gives x unchanged.
constexpr size_t ColumnToByte(int32_t bits, size_t x) {
  switch (bits) {
    case 1: return x >> 3;
    case 2: return x >> 2;
    case 3: return (3 * x) >> 3;
    case 4: return x >> 1;
    case 5: return (5 * x) >> 3;
    case 6: return (3 * x) >> 2;
    case 7: return (7 * x) >> 3;
    case 8: return x;
    case 12: return x + (x >> 1);
    case 16: return 2 * x;
    case 24: return 3 * x;
    case 32: return 4 * x;
    case 48: return 6 * x;
    case 64: return 8 * x;
    default: return x;
  }
}

// Moves the row cursor of a linear bitmap to row and returns its byte
// offset: one addition when the row is next to the last one addressed.
inline size_t MoveRowCursor(RASTERBITMAP &bitmap, uint32_t row) {
  const uint32_t last = bitmap.RowCursorRow;
  if (row == last + 1) {
    bitmap.RowCursorOffset += bitmap.BitmapBytesPerLine;
  } else if (row + 1 == last) {
    bitmap.RowCursorOffset -= bitmap.BitmapBytesPerLine;
  } else if (row != last) {
    bitmap.RowCursorOffset = size_t{bitmap.BitmapBytesPerLine} * row;
  }
  bitmap.RowCursorRow = row;
  return bitmap.RowCursorOffset;
}

// Bytes of one pixel's storage: 1 up to 8 bits (2 for 3, 5, 6, 7 bits when
// the pixel crosses into the next byte), 2 at 12 and 16, then 3, 4, 6, 8.
size_t PixelByteCount(int32_t bits, uint32_t column);

// Copies the bytes that hold pixel (row, column) to destination. 1, or -2,
// -4, -7 as the row calls.
int32_t GetPixelBytes(RASTERBITMAP *bitmap, void *destination, uint32_t row, uint32_t column);

}  // namespace kest
