// The memory kinds whose pixels are not a linear block: tiled, compressed
// and super-compressed. Allocation, freeing, height changes and row access
// reach them through these calls.
#pragma once

#include <cstddef>
#include <cstdint>

#include "kest/bitmap.h"

namespace kest::storage {

// Each gives 1 on success or a status. The tile step takes the tile limit
// and the headroom of the allocation decision; a request that refused the
// disk gets no disk tiles.
int32_t AllocateTiled(RASTERBITMAP &bitmap, uint64_t tileLimit, uint64_t headroom,
                      bool diskAllowed);
int32_t AllocateCompressed(RASTERBITMAP &bitmap);
int32_t AllocateSuperCompressed(RASTERBITMAP &bitmap);

void FreeTiled(RASTERBITMAP &bitmap);
void FreeCompressed(RASTERBITMAP &bitmap);
void FreeSuperCompressed(RASTERBITMAP &bitmap);

int32_t ChangeTiledHeight(RASTERBITMAP &bitmap, int32_t height);
int32_t ChangeCompressedHeight(RASTERBITMAP &bitmap, int32_t height);
int32_t ChangeSuperCompressedHeight(RASTERBITMAP &bitmap, int32_t height);

// The size K_UpdateBitmapSize reports for the kind.
int32_t CompressedSize(RASTERBITMAP &bitmap, size_t &size);
int32_t SuperCompressedSize(RASTERBITMAP &bitmap, size_t &size);

// Moves count bytes between buffer and the row, starting at column
// (a pixel column; the kind turns it into bytes). The count moved or a status.
int32_t TransferRow(RASTERBITMAP &bitmap, void *buffer, uint32_t row, uint32_t column,
                    uint32_t count, bool write);
// The bytes of one pixel, as the linear path's GetPixelBytes.
int32_t PixelBytes(RASTERBITMAP &bitmap, void *destination, uint32_t row, uint32_t column);

// Where K_PutBitmapRowSegments writes a row of a tiled or super-compressed
// bitmap: an address in memory, or a file and the offset of the row in it.
struct RowTarget {
  uint8_t *address = nullptr;
  int32_t file = -1;
  int64_t offset = 0;
};
int32_t SegmentTarget(RASTERBITMAP &bitmap, uint32_t row, RowTarget &target);
// The whole segment write of a compressed bitmap, which merges runs.
int32_t PutCompressedSegments(RASTERBITMAP &bitmap, const void *rowBuffer, uint32_t row,
                              uint32_t column, const uint32_t *segments, uint32_t segmentWords);

}  // namespace kest::storage
