// The row calls' way into the compressed and super-compressed memory
// kinds: each entry hands the call to the kind's own code. (Tiled bitmaps
// have their own entries in tiles.h.)
#include "core/bitmap.h"
#include "core/compressed.h"
#include "core/storage.h"
#include "core/supercompressed.h"
#include "kest/status.h"

namespace kest::storage {

int32_t TransferRow(RASTERBITMAP &bitmap, void *buffer, uint32_t row, uint32_t column,
                    uint32_t count, bool write) {
  switch (KindOf(bitmap)) {
    case MemoryKind::Compressed:
      return compressed::TransferRow(bitmap, buffer, row, column, count, write);
    case MemoryKind::SuperCompressed:
      return write ? supercompressed::PutBandRow(bitmap, buffer, row, column, count)
                   : supercompressed::GetBandRow(bitmap, buffer, row, column, count);
    default: return K_ERR_BITMAP;
  }
}

int32_t PixelBytes(RASTERBITMAP &bitmap, void *destination, uint32_t row, uint32_t column) {
  switch (KindOf(bitmap)) {
    case MemoryKind::Compressed: return compressed::PixelBytes(bitmap, destination, row, column);
    case MemoryKind::SuperCompressed:
      return supercompressed::PixelBytes(bitmap, destination, row, column);
    default: return K_ERR_BITMAP;
  }
}

int32_t SegmentTarget(RASTERBITMAP &bitmap, uint32_t row, RowTarget &target) {
  if (KindOf(bitmap) != MemoryKind::SuperCompressed) return K_ERR_BITMAP;
  target.address = supercompressed::BandRowForWriting(bitmap, row);
  return target.address != nullptr ? K_SUCCESS : K_ERR_NOMEMORY;
}

}  // namespace kest::storage
