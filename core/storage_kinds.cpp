// The row calls' way into the memory kinds that are not one linear block:
// each entry hands the call to the kind's own code.
//
// The tiled kind is not built yet. Until it is, allocating it reports
// failure, which the allocation decision already handles by falling to the
// next kind; since no tiled bitmap can then exist, its remaining entries
// are never reached and report an invalid bitmap if they are.
#include "core/bitmap.h"
#include "core/compressed.h"
#include "core/storage.h"
#include "core/supercompressed.h"
#include "kest/status.h"

namespace kest::storage {

int32_t AllocateTiled(RASTERBITMAP &) { return K_ERR_NOMEMORY; }
void FreeTiled(RASTERBITMAP &) {}
int32_t ChangeTiledHeight(RASTERBITMAP &, int32_t) { return K_ERR_BITMAP; }

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
