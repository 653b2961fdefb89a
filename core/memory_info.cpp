// The layout of a live bitmap: K_GetBitmapMemoryInfo and
// K_SetBitmapMemoryInfo, which moves tiles between memory and disk in place
// or rebuilds the bitmap in another memory type.
#include <algorithm>
#include <cstring>

#include "core/alloc.h"
#include "core/bitmap.h"
#include "core/copy_data.h"
#include "core/settings.h"
#include "core/tiles.h"
#include "kest/rows.h"
#include "kest/status.h"
#include "kest/storage.h"

namespace kest {
namespace {

// What K_GetBitmapMemoryInfo reports, in the order of its arguments.
struct MemoryInfo {
  uint32_t type = 0, tileSize = 0, totalTiles = 0, convTiles = 0, maxViews = 0, views = 0;
};

// Releases a record's pixels and nothing that it shares: palette, region,
// overlays and the level table stay with their owner. keepPaintTable says
// whether the paint table is the owner's too.
void ReleasePixels(RASTERBITMAP record, bool keepPaintTable) {
  record.Palette = nullptr;
  record.Region = nullptr;
  record.Overlays = nullptr;
  record.LevelLUT = nullptr;
  if (keepPaintTable) record.PaintLUT = nullptr;
  if (!IsAllocated(record) && KindOf(record) == MemoryKind::Tiled) {
    storage::FreeTiled(record);  // a table made without the allocation's flags
    record.BitmapFlags &= ~uint32_t{RBF_TILED};
  }
  K_FreeBitmap(&record);
}

// A new record of the same geometry and attributes in the requested type,
// the rows copied, then the old pixels released and the new record put in
// the old one's place. The old record keeps its palette, region, overlays
// and tables. Failure leaves the old record as it was.
int32_t Rebuild(RASTERBITMAP &bitmap, uint32_t type, const MemoryInfo &wanted) {
  HeapBuffer holder(sizeof(RASTERBITMAP));
  if (!holder) return K_ERR_NOMEMORY;
  auto *fresh = reinterpret_cast<RASTERBITMAP *>(holder.get());
  std::memcpy(fresh, &bitmap, sizeof bitmap);
  fresh->MemoryHandle = nullptr;
  fresh->BitmapData = nullptr;
  fresh->AlignmentSlack = 0;
  fresh->RowCursorOffset = 0;
  fresh->RowCursorRow = 0;
  fresh->PaintLUT = nullptr;
  fresh->BitmapFlags &= ~kStorageFlags;
  fresh->BitmapSize =
      size_t{bitmap.BitmapBytesPerLine} * static_cast<size_t>(std::max(bitmap.BitmapHeight, 0));

  const ThreadSettings &settings = GetThreadSettings();
  const uint64_t tileLimit = settings.TiledBitmapsSize < 1
                                 ? uint64_t{kDefaultTileSize}
                                 : static_cast<uint64_t>(settings.TiledBitmapsSize);
  int32_t status;
  if ((type & MEMORY_TYPE_TILED) && fresh->BitmapSize >= tileLimit) {
    // The table is made but the record is not marked allocated, so the
    // copy below refuses it: a rebuild into tiles, which is what a change
    // of tile size asks for, ends with -2 and the bitmap as it was.
    const uint32_t stride = bitmap.BitmapBytesPerLine;
    const uint32_t rows = stride == 0 ? 0 : wanted.tileSize / stride;
    const uint64_t height = static_cast<uint64_t>(std::max(bitmap.BitmapHeight, 0));
    const auto tiles = static_cast<uint32_t>(rows == 0 ? 0 : (height + rows - 1) / rows);
    status = tiles::CreateTileTable(*fresh, rows, tiles, wanted.convTiles, wanted.maxViews,
                                    wanted.views);
    if (status == K_SUCCESS) fresh->BitmapFlags |= RBF_TILED;  // for the release, not the copy
  } else {
    status = K_AllocateBitmap(fresh, (type & MEMORY_TYPE_TILED) ? MEMORY_TYPE_CONV : type);
  }
  if (status != K_SUCCESS) return status;
  // A table made without the allocation's flags has no pixels to copy to.
  status = IsAllocated(*fresh) ? CopyBitmapRows(*fresh, bitmap, RowErrors::Stop) : K_ERR_BITMAP;
  if (status != K_SUCCESS) {
    ReleasePixels(*fresh, false);
    return status;
  }
  K_OsFree(fresh->PaintLUT);
  fresh->PaintLUT = bitmap.PaintLUT;
  ReleasePixels(bitmap, true);
  std::memcpy(&bitmap, fresh, sizeof bitmap);
  return K_SUCCESS;
}

}  // namespace
}  // namespace kest

using namespace kest;

KEST_API int32_t K_GetBitmapMemoryInfo(RASTERBITMAP *bitmap, uint32_t *memoryType,
                                       uint32_t *tileSize, uint32_t *totalTiles,
                                       uint32_t *convTiles, uint32_t *maxTileViews,
                                       uint32_t *tileViews) {
  const int32_t check = CheckAllocated(bitmap);
  if (check != K_SUCCESS) return check;
  if (memoryType == nullptr) return K_ERR_PARAMETER;
  const uint32_t flags = bitmap->BitmapFlags;
  if (!(flags & RBF_CONVENTIONAL)) {
    *memoryType = MEMORY_TYPE_DISK;
    return K_SUCCESS;
  }
  switch (KindOf(*bitmap)) {
    case MemoryKind::Compressed: *memoryType = MEMORY_TYPE_COMPRESSED; return K_SUCCESS;
    case MemoryKind::SuperCompressed: *memoryType = MEMORY_TYPE_SUPERCOMPRESSED; return K_SUCCESS;
    case MemoryKind::Tiled: break;
    default: *memoryType = MEMORY_TYPE_CONV; return K_SUCCESS;
  }
  *memoryType = MEMORY_TYPE_TILED;
  const tiles::TileTable *table = tiles::TableOf(*bitmap);
  if (table == nullptr) return K_SUCCESS;
  const uint64_t bytes = uint64_t{table->RowsPerTile} * bitmap->BitmapBytesPerLine;
  if (tileSize != nullptr) *tileSize = static_cast<uint32_t>(std::min<uint64_t>(bytes, UINT32_MAX));
  if (totalTiles != nullptr) *totalTiles = table->TileCount;
  if (convTiles != nullptr) *convTiles = table->ConvTileCount;
  if (maxTileViews != nullptr) *maxTileViews = table->MaxViews;
  if (tileViews != nullptr) *tileViews = table->ViewCount;
  return K_SUCCESS;
}

KEST_API int32_t K_SetBitmapMemoryInfo(RASTERBITMAP *bitmap, uint32_t memoryType,
                                       uint32_t tileSize, uint32_t totalTiles, uint32_t convTiles,
                                       uint32_t maxTileViews, uint32_t tileViews, uint8_t mask) {
  if (bitmap == nullptr) return K_ERR_NULL_POINTER;
  if (!HasSize(*bitmap)) return K_ERR_RECORD_SIZE;
  MemoryInfo present;
  const int32_t status =
      K_GetBitmapMemoryInfo(bitmap, &present.type, &present.tileSize, &present.totalTiles,
                            &present.convTiles, &present.maxViews, &present.views);
  if (status != K_SUCCESS) return status;

  // Fields whose bit is clear keep their present values.
  MemoryInfo wanted = present;
  if (mask & SET_MEMORYINFO_MEMORY) wanted.type = memoryType;
  if (mask & SET_MEMORYINFO_TILESIZE) wanted.tileSize = tileSize;
  if (mask & SET_MEMORYINFO_TOTALTILES) wanted.totalTiles = totalTiles;
  if (mask & SET_MEMORYINFO_CONVTILES) wanted.convTiles = convTiles;
  if (mask & SET_MEMORYINFO_MAXTILEVIEWS) wanted.maxViews = maxTileViews;
  if (mask & SET_MEMORYINFO_VIEWCOUNT) wanted.views = tileViews;

  if ((mask & SET_MEMORYINFO_MEMORY) && memoryType != present.type) {
    return Rebuild(*bitmap, wanted.type, wanted);
  }
  if (KindOf(*bitmap) != MemoryKind::Tiled) return K_SUCCESS;
  if (tiles::TableOf(*bitmap) == nullptr) return K_ERR_BITMAP;
  tiles::TileTable &table = *tiles::TableOf(*bitmap);
  const uint64_t stride = bitmap->BitmapBytesPerLine;
  if ((mask & SET_MEMORYINFO_TILESIZE) && (tileSize + stride - 1) / stride != table.RowsPerTile) {
    return Rebuild(*bitmap, wanted.type, wanted);
  }

  // In place: tiles move at the memory boundary, then the views follow.
  const uint32_t conv = (mask & SET_MEMORYINFO_CONVTILES) ? std::min(convTiles, table.TileCount)
                                                          : table.ConvTileCount;
  if (mask & SET_MEMORYINFO_MAXTILEVIEWS) {
    table.MaxViews = std::min(maxTileViews, table.TileCount - conv);
  }
  const uint32_t views = std::min((mask & SET_MEMORYINFO_VIEWCOUNT) ? tileViews : table.ViewCount,
                                  table.MaxViews);
  return tiles::MoveTiles(*bitmap, conv, views);
}
