// The compressed and super-compressed memory kinds are not built
// yet. Until they are, allocating one of them reports failure, which the
// allocation decision already handles by falling to the next kind; since
// no bitmap of these kinds can then exist, the remaining entries are never
// reached and report an invalid bitmap if they are.
#include "core/storage.h"

#include "kest/status.h"

namespace kest::storage {

int32_t AllocateCompressed(RASTERBITMAP &) { return K_ERR_NOMEMORY; }
int32_t AllocateSuperCompressed(RASTERBITMAP &) { return K_ERR_NOMEMORY; }

void FreeCompressed(RASTERBITMAP &) {}
void FreeSuperCompressed(RASTERBITMAP &) {}

int32_t ChangeCompressedHeight(RASTERBITMAP &, int32_t) { return K_ERR_BITMAP; }
int32_t ChangeSuperCompressedHeight(RASTERBITMAP &, int32_t) { return K_ERR_BITMAP; }

int32_t CompressedSize(RASTERBITMAP &, size_t &) { return K_ERR_BITMAP; }
int32_t SuperCompressedSize(RASTERBITMAP &, size_t &) { return K_ERR_BITMAP; }

int32_t TransferRow(RASTERBITMAP &, void *, uint32_t, uint32_t, uint32_t, bool) {
  return K_ERR_BITMAP;
}
int32_t PixelBytes(RASTERBITMAP &, void *, uint32_t, uint32_t) { return K_ERR_BITMAP; }
int32_t SegmentTarget(RASTERBITMAP &, uint32_t, RowTarget &) { return K_ERR_BITMAP; }
int32_t PutCompressedSegments(RASTERBITMAP &, const void *, uint32_t, uint32_t, const uint32_t *,
                              uint32_t) {
  return K_ERR_BITMAP;
}

}  // namespace kest::storage
