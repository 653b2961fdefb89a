// Row access: K_GetBitmapRow, K_PutBitmapRow, K_GetBitmapRowCol,
// K_PutBitmapRowCol, K_PutBitmapRowSegments, and GetPixelBytes.
// Linear bitmaps (conventional, user, disk) are handled here; tiled ones
// through the tile calls, compressed and super-compressed ones through the
// storage calls.
#include "core/rows.h"

#include <algorithm>
#include <cstring>

#include "core/alloc.h"
#include "core/bitmap.h"
#include "core/files.h"
#include "core/storage.h"
#include "core/tiles.h"
#include "kest/rows.h"
#include "kest/status.h"

namespace kest {
namespace {

int32_t CheckRowCall(const RASTERBITMAP *bitmap, const void *buffer) {
  if (bitmap == nullptr || buffer == nullptr) return K_ERR_PARAMETER;
  if (!HasSize(*bitmap)) return K_ERR_RECORD_SIZE;
  return K_SUCCESS;
}

// The linear path: one cursor step and one block copy, or one seek and one
// transfer on the bitmap's file.
int32_t LinearTransfer(RASTERBITMAP &bitmap, void *buffer, uint32_t row, size_t columnByte,
                       uint32_t count, bool write) {
  const size_t offset = MoveRowCursor(bitmap, row) + columnByte;
  if (bitmap.BitmapFlags & RBF_CONVENTIONAL) {
    if (bitmap.BitmapData == nullptr) return K_ERR_BITMAP;
    // Reading on into the next rows is allowed; past the pixels is not.
    if (offset > bitmap.BitmapSize || count > bitmap.BitmapSize - offset) return K_ERR_WIDTH_HEIGHT;
    uint8_t *pixels = static_cast<uint8_t *>(bitmap.BitmapData) + offset;
    if (write) std::memcpy(pixels, buffer, count);
    else std::memcpy(buffer, pixels, count);
    return static_cast<int32_t>(count);
  }
  if (bitmap.BitmapFlags & RBF_DISK) {
    const int32_t file = DiskFile(bitmap);
    if (OsSeek64(file, static_cast<int64_t>(offset), 0) != static_cast<int64_t>(offset)) {
      return K_ERR_SEEK;
    }
    // A write of nothing would cut the file: it moves nothing instead.
    if (count == 0) return 0;
    const int32_t moved = write ? K_OsWrite(file, buffer, count, 0) : K_OsRead(file, buffer, count, 0);
    if (moved == -1) return write ? K_ERR_WRITE : K_ERR_READ;
    return moved;
  }
  return K_ERR_NOMEMORY;
}

int32_t Transfer(RASTERBITMAP *bitmap, void *buffer, uint32_t row, uint32_t column,
                 int64_t count, bool write, bool byColumn) {
  const int32_t check = CheckRowCall(bitmap, buffer);
  if (check != K_SUCCESS) return check;
  if (count < 0 || count > INT32_MAX) return K_ERR_PARAMETER;
  const auto bytes = static_cast<uint32_t>(count);
  if (bitmap->BitmapFlags & kNonLinearFlags) {
    if (KindOf(*bitmap) == MemoryKind::Tiled) {
      return tiles::TransferRow(*bitmap, buffer, row, byColumn ? column : 0, bytes, write);
    }
    return storage::TransferRow(*bitmap, buffer, row, byColumn ? column : 0, bytes, write);
  }
  const size_t columnByte = byColumn ? ColumnToByte(bitmap->BitmapBits, column) : 0;
  return LinearTransfer(*bitmap, buffer, row, columnByte, bytes, write);
}

}  // namespace

size_t PixelByteCount(int32_t bits, uint32_t column) {
  switch (bits) {
    case 3: case 5: case 6: case 7: {
      const uint64_t firstBit = uint64_t{static_cast<uint32_t>(bits)} * column;
      return (firstBit & 7) + static_cast<uint32_t>(bits) > 8 ? 2 : 1;
    }
    case 12: case 16: return 2;
    case 24: return 3;
    case 32: return 4;
    case 48: return 6;
    case 64: return 8;
    default: return 1;
  }
}

int32_t GetPixelBytes(RASTERBITMAP *bitmap, void *destination, uint32_t row, uint32_t column) {
  const int32_t check = CheckRowCall(bitmap, destination);
  if (check != K_SUCCESS) return check;
  if (bitmap->BitmapFlags & kNonLinearFlags) {
    if (KindOf(*bitmap) == MemoryKind::Tiled) {
      return tiles::PixelBytes(*bitmap, destination, row, column);
    }
    return storage::PixelBytes(*bitmap, destination, row, column);
  }
  const auto count = static_cast<uint32_t>(PixelByteCount(bitmap->BitmapBits, column));
  const int32_t moved = LinearTransfer(*bitmap, destination, row,
                                       ColumnToByte(bitmap->BitmapBits, column), count, false);
  return moved < 0 ? moved : K_SUCCESS;
}

}  // namespace kest

using namespace kest;

KEST_API int32_t K_GetBitmapRow(RASTERBITMAP *bitmap, void *buffer, uint32_t row,
                                uint32_t byteCount) {
  return Transfer(bitmap, buffer, row, 0, byteCount, false, false);
}

KEST_API int32_t K_PutBitmapRow(RASTERBITMAP *bitmap, void *buffer, uint32_t row,
                                uint32_t byteCount) {
  return Transfer(bitmap, buffer, row, 0, byteCount, true, false);
}

KEST_API int32_t K_GetBitmapRowCol(RASTERBITMAP *bitmap, void *buffer, uint32_t row,
                                   uint32_t column, int32_t byteCount) {
  return Transfer(bitmap, buffer, row, column, byteCount, false, true);
}

KEST_API int32_t K_PutBitmapRowCol(RASTERBITMAP *bitmap, void *buffer, uint32_t row,
                                   uint32_t column, int32_t byteCount) {
  return Transfer(bitmap, buffer, row, column, byteCount, true, true);
}
