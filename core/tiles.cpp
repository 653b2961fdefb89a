// The tiled memory kind: the tile step of K_AllocateBitmap (TileGeometry
// with its retries), CreateTileTable, AccessTile and its first-in
// first-out view queue, ResizeTiled, the moves between memory and disk of
// K_SetBitmapMemoryInfo, freeing, and the tiled row entries.
#include "core/tiles.h"

#include <algorithm>
#include <atomic>
#include <cstring>

#include "core/alloc.h"
#include "core/bitmap.h"
#include "core/files.h"
#include "core/maths.h"
#include "core/os/os.h"
#include "core/rows.h"
#include "core/settings.h"
#include "kest/memory.h"
#include "kest/status.h"

namespace kest::tiles {
namespace {

constexpr RASTERTILE kNoTile = {nullptr, nullptr, K_INVALID_FILE, 0};
// File transfers go in pieces that the 32-bit counts of the file calls hold.
constexpr size_t kFilePiece = size_t{1} << 30;

std::atomic<int> g_liveMappings{0};

size_t Stride(const RASTERBITMAP &bitmap) { return bitmap.BitmapBytesPerLine; }
uint64_t Height(const RASTERBITMAP &bitmap) {
  return bitmap.BitmapHeight > 0 ? static_cast<uint64_t>(bitmap.BitmapHeight) : 0;
}

// Rows of tile index when the bitmap has height rows: RowsPerTile, and the
// rest for the last tile.
uint64_t RowsOfTile(const TileTable &table, uint32_t index, uint64_t height) {
  if (index + 1 < table.TileCount) return table.RowsPerTile;
  const uint64_t before = uint64_t{index} * table.RowsPerTile;
  return height > before ? height - before : 0;
}

uint32_t &QueuePlace(TileTable &table, uint32_t place) { return table.Tiles()[place].ViewQueueSlot; }

// Unmaps and closes what the tile has of a mapping.
void DropMapping(RASTERTILE &tile) {
  if (tile.TileView != nullptr) {
    os::UnmapViewOfFile(tile.TileView, os::MappingSize(tile.MappingHandle));
  }
  if (tile.MappingHandle != nullptr) {
    os::CloseMapping(tile.MappingHandle);
    --g_liveMappings;
  }
  tile.TileView = nullptr;
  tile.MappingHandle = nullptr;
}

// A mapping of size bytes over file, or over the page file when file is -1,
// with one view of all of it.
bool MakeMapping(RASTERTILE &tile, int32_t file, size_t size) {
  if (size == 0 || !AllocationAllowed()) return false;
  HANDLE mapping = file == K_INVALID_FILE ? os::CreateAnonymousMapping(size)
                                          : os::CreateFileMapping(file, size);
  if (mapping == nullptr) return false;
  void *view = os::MapViewOfFile(mapping, 0, size);
  if (view == nullptr) {
    os::CloseMapping(mapping);
    return false;
  }
  ++g_liveMappings;
  tile.MappingHandle = mapping;
  tile.TileView = view;
  return true;
}

// Gives a disk tile a view and puts it last in the queue.
bool MapView(const RASTERBITMAP &bitmap, TileTable &table, uint32_t index) {
  RASTERTILE &tile = table.Tiles()[index];
  if (tile.TileFile == K_INVALID_FILE ||
      !MakeMapping(tile, tile.TileFile, TileBytes(bitmap, table, index))) {
    return false;
  }
  QueuePlace(table, table.ViewCount++) = index;
  return true;
}

// First in, first out: the view made longest ago goes, however recently it
// was used. A view is the file itself, so nothing is written back.
void EvictOldest(TileTable &table) {
  const uint32_t index = QueuePlace(table, 0);
  for (uint32_t place = 1; place < table.ViewCount; ++place) {
    QueuePlace(table, place - 1) = QueuePlace(table, place);
  }
  --table.ViewCount;
  if (index >= table.TileCount) return;
  RASTERTILE &tile = table.Tiles()[index];
  if (tile.TileFile != K_INVALID_FILE && tile.TileView != nullptr) DropMapping(tile);
}

// Takes a disk tile's view out of the queue, wherever it stands, and drops it.
void DropView(TileTable &table, uint32_t index) {
  for (uint32_t place = 0; place < table.ViewCount; ++place) {
    if (QueuePlace(table, place) != index) continue;
    for (uint32_t next = place + 1; next < table.ViewCount; ++next) {
      QueuePlace(table, next - 1) = QueuePlace(table, next);
    }
    --table.ViewCount;
    break;
  }
  DropMapping(table.Tiles()[index]);
}

// A disk tile that has no view gets one if the bound allows, else the
// oldest views go one by one until one can be made.
void EnsureView(const RASTERBITMAP &bitmap, TileTable &table, uint32_t index) {
  const RASTERTILE &tile = table.Tiles()[index];
  if (tile.TileFile == K_INVALID_FILE || tile.TileView != nullptr) return;
  if (table.ViewCount < table.MaxViews && MapView(bitmap, table, index)) return;
  while (table.ViewCount != 0) {
    EvictOldest(table);
    if (table.ViewCount < table.MaxViews && MapView(bitmap, table, index)) return;
  }
}

void ReleaseTile(TileTable &table, uint32_t index) {
  RASTERTILE &tile = table.Tiles()[index];
  if (tile.TileFile != K_INVALID_FILE) {
    DropView(table, index);
    K_OsClose(tile.TileFile, 0);  // deletes the file
  } else {
    DropMapping(tile);
  }
  tile = kNoTile;
}

int32_t FileTransfer(int32_t file, uint64_t offset, uint8_t *buffer, size_t length, bool write) {
  const auto position = static_cast<int64_t>(offset);
  if (OsSeek64(file, position, 0) != position) return K_ERR_SEEK;
  while (length > 0) {
    const auto piece = static_cast<uint32_t>(std::min(length, kFilePiece));
    const int32_t moved = write ? K_OsWrite(file, buffer, piece, 0) : K_OsRead(file, buffer, piece, 0);
    if (moved != static_cast<int32_t>(piece)) return write ? K_ERR_WRITE : K_ERR_READ;
    buffer += piece;
    length -= piece;
  }
  return K_SUCCESS;
}

// A temporary file of size bytes, deleted when closed. -295 when it cannot
// be made; no file is left then.
int32_t CreateTileFile(uint64_t size, int32_t &file) {
  char name[MAX_PATH];
  K_OsGetTempName(name);
  if (name[0] == '\0') return K_ERR_DISK_FULL;
  const int32_t created = K_OsCreat(name, K_CREAT_DELETE_ON_CLOSE);
  if (created == K_INVALID_FILE) {
    K_OsDelete(name);
    return K_ERR_DISK_FULL;
  }
  uint8_t zero = 0;
  const auto last = static_cast<int64_t>(size) - 1;
  if (OsSeek64(created, last, 0) != last || K_OsWrite(created, &zero, 1, 0) != 1) {
    K_OsClose(created, 0);
    return K_ERR_DISK_FULL;
  }
  file = created;
  return K_SUCCESS;
}

// A disk tile that grows is extended by one byte at its new end, one that
// shrinks is cut; a memory tile moves to a new mapping of the new size.
int32_t ResizeLastTile(TileTable &table, uint64_t oldBytes, uint64_t newBytes) {
  const uint32_t index = table.TileCount - 1;
  RASTERTILE &tile = table.Tiles()[index];
  if (tile.TileFile == K_INVALID_FILE) {
    RASTERTILE fresh = kNoTile;
    if (!MakeMapping(fresh, K_INVALID_FILE, newBytes)) return K_ERR_NOMEMORY;
    std::memcpy(fresh.TileView, tile.TileView, std::min(oldBytes, newBytes));
    DropMapping(tile);
    tile.MappingHandle = fresh.MappingHandle;
    tile.TileView = fresh.TileView;
    return K_SUCCESS;
  }
  DropView(table, index);
  const auto size = static_cast<int64_t>(newBytes);
  if (newBytes < oldBytes) return OsTruncate(tile.TileFile, size) == 0 ? K_SUCCESS : K_ERR_NOMEMORY;
  uint8_t zero = 0;
  return OsSeek64(tile.TileFile, size - 1, 0) == size - 1 && K_OsWrite(tile.TileFile, &zero, 1, 0) == 1
             ? K_SUCCESS
             : K_ERR_NOMEMORY;
}

struct TilePlan {
  uint32_t rows, tiles, conv, views;
};

// Steps 2 to 7 of TileGeometry: the cut of the rows for a wanted tile size,
// and how many tiles stay in memory and how many views the others get.
TilePlan PlanTiles(uint64_t height, uint64_t stride, uint64_t wanted, uint64_t headroom,
                   int32_t convSetting, int32_t buffersSetting) {
  const uint64_t rows = wanted / stride;
  const uint64_t tileBytes = rows * stride;
  const uint64_t tiles = (rows + height - 1) / rows;
  int64_t budget = convSetting < 0 ? MulDiv(static_cast<int64_t>(tiles), -int64_t{convSetting}, 100)
                                   : convSetting;
  const uint64_t fit = headroom / tileBytes;
  if (static_cast<int64_t>(std::min<uint64_t>(fit, INT64_MAX)) <= budget) {
    budget = static_cast<int64_t>(fit);
  }
  TilePlan plan{static_cast<uint32_t>(rows), static_cast<uint32_t>(tiles), 0, 0};
  if (budget < static_cast<int64_t>(tiles)) {
    int64_t views = buffersSetting;
    if (views < 0) {
      views = views == -100 ? budget
                            : MulDiv(static_cast<int64_t>(tiles) - budget, -views, views + 100);
      if (views == 0) views = 1;
    }
    if (views > budget) {
      views = budget == 0 ? 1 : budget;
      plan.conv = 0;
    } else {
      plan.conv = static_cast<uint32_t>(budget - views);
    }
    plan.views = static_cast<uint32_t>(std::max<int64_t>(views, 0));
  } else {
    plan.conv = plan.tiles;
  }
  return plan;
}

}  // namespace

uint32_t TableBytes(uint64_t tiles) {
  const uint64_t bytes = TileTable::kEntries + tiles * sizeof(RASTERTILE);
  return bytes > UINT32_MAX ? 0 : static_cast<uint32_t>(bytes);
}

size_t TileBytes(const RASTERBITMAP &bitmap, const TileTable &table, uint32_t index) {
  return static_cast<size_t>(RowsOfTile(table, index, Height(bitmap)) * Stride(bitmap));
}

int32_t CreateTileTable(RASTERBITMAP &bitmap, uint32_t rows, uint32_t tiles, uint32_t conv,
                        uint32_t maxViews, uint32_t initialViews) {
  if (tiles == 0) return K_ERR_BITMAP;
  // Beyond the published checks: the counts must cut exactly the rows the
  // bitmap has, or tile sizes would not add up to it.
  const uint64_t height = Height(bitmap);
  if (rows == 0 || Stride(bitmap) == 0 || uint64_t{rows} * (tiles - 1) >= height ||
      uint64_t{rows} * tiles < height) {
    return K_ERR_BITMAP;
  }
  bitmap.MemoryHandle = nullptr;
  const uint32_t bytes = TableBytes(tiles);
  auto *table = bytes == 0 ? nullptr : static_cast<TileTable *>(K_OsAlloc(bytes));
  if (table == nullptr) return K_ERR_NOMEMORY;
  conv = std::min(conv, tiles);
  table->TileCount = tiles;
  table->ConvTileCount = conv;
  table->RowsPerTile = rows;
  table->ViewCount = 0;
  table->MaxViews = std::min(maxViews, tiles);
  RASTERTILE *entries = table->Tiles();
  std::fill(entries, entries + tiles, kNoTile);

  int32_t status = K_SUCCESS;
  uint32_t made = 0;
  for (; made < tiles && status == K_SUCCESS; ++made) {
    const size_t size = TileBytes(bitmap, *table, made);
    if (made < conv) {
      if (!MakeMapping(entries[made], K_INVALID_FILE, size)) status = K_ERR_NOMEMORY;
    } else {
      status = CreateTileFile(size, entries[made].TileFile);
    }
  }
  // One view is wanted at the start when some tile is on disk; never more
  // than the bound.
  uint32_t wanted = tiles > conv && initialViews == 0 ? 1 : initialViews;
  wanted = std::min(wanted, table->MaxViews);
  for (uint32_t i = table->ConvTileCount; status == K_SUCCESS && i < tiles && table->ViewCount < wanted;
       ++i) {
    if (entries[i].TileFile == K_INVALID_FILE) {
      table->ConvTileCount = i + 1;
      continue;
    }
    if (entries[i].TileView == nullptr && !MapView(bitmap, *table, i)) status = K_ERR_NOMEMORY;
  }
  if (status != K_SUCCESS) {
    while (made > 0) ReleaseTile(*table, --made);
    K_OsFree(table);
    return status;
  }
  bitmap.BitmapData = table;
  return K_SUCCESS;
}

int32_t AccessTile(RASTERBITMAP &bitmap, uint32_t row, size_t column, uint8_t *buffer,
                   size_t length, bool write) {
  TileTable *table = TableOf(bitmap);
  if (table == nullptr || table->RowsPerTile == 0) return K_ERR_BITMAP;
  uint32_t index = row / table->RowsPerTile;
  uint64_t offset = column + uint64_t{row % table->RowsPerTile} * Stride(bitmap);
  int32_t status = K_SUCCESS;
  while (length > 0 && index < table->TileCount) {
    const size_t size = TileBytes(bitmap, *table, index);
    if (offset >= size) {  // a column past the end of a short last row
      offset -= size;
      ++index;
      continue;
    }
    const size_t part = static_cast<size_t>(std::min<uint64_t>(length, size - offset));
    EnsureView(bitmap, *table, index);
    const RASTERTILE &tile = table->Tiles()[index];
    if (tile.TileView != nullptr) {
      uint8_t *at = static_cast<uint8_t *>(tile.TileView) + offset;
      if (write) std::memcpy(at, buffer, part);
      else std::memcpy(buffer, at, part);
    } else {
      const int32_t moved = FileTransfer(tile.TileFile, offset, buffer, part, write);
      if (status == K_SUCCESS) status = moved;
    }
    buffer += part;
    length -= part;
    offset = 0;
    ++index;
  }
  return status;
}

int32_t ResizeTiled(RASTERBITMAP &bitmap, int32_t newHeight) {
  TileTable *table = TableOf(bitmap);
  if (table == nullptr || table->RowsPerTile == 0 || newHeight < 0) return K_ERR_BITMAP;
  const uint64_t oldHeight = Height(bitmap), height = static_cast<uint64_t>(newHeight);
  const uint64_t perTile = table->RowsPerTile, stride = Stride(bitmap);
  const auto newTiles = static_cast<uint32_t>((height + perTile - 1) / perTile);
  int32_t status = K_SUCCESS;

  if (height > oldHeight) {
    if (newTiles > table->TileCount) {
      const uint32_t bytes = TableBytes(newTiles);
      auto *grown = bytes == 0 ? nullptr : static_cast<TileTable *>(K_OsReAlloc(table, bytes));
      if (grown == nullptr) return K_ERR_NOMEMORY;
      table = grown;
      bitmap.BitmapData = table;
      std::fill(table->Tiles() + table->TileCount, table->Tiles() + newTiles, kNoTile);
    }
    if (table->TileCount > 0) {
      const uint32_t last = table->TileCount - 1;
      const uint64_t oldRows = RowsOfTile(*table, last, oldHeight);
      const uint64_t newRows = newTiles > table->TileCount ? perTile : height - last * perTile;
      if (newRows != oldRows) status = ResizeLastTile(*table, oldRows * stride, newRows * stride);
      if (status != K_SUCCESS) return status;
    }
    while (table->TileCount < newTiles) {
      const uint32_t index = table->TileCount;
      const uint64_t rows = index + 1 < newTiles ? perTile : height - index * perTile;
      status = CreateTileFile(rows * stride, table->Tiles()[index].TileFile);
      if (status != K_SUCCESS) {
        // The bitmap stands with the tiles it got, each of them full.
        bitmap.BitmapHeight = static_cast<int32_t>(uint64_t{table->TileCount} * perTile);
        table->ConvTileCount = std::min(table->ConvTileCount, table->TileCount);
        return status;
      }
      ++table->TileCount;
    }
  } else {
    const uint32_t oldCount = table->TileCount;
    while (table->TileCount > newTiles) ReleaseTile(*table, --table->TileCount);
    table->ConvTileCount = std::min(table->ConvTileCount, table->TileCount);
    if (table->TileCount > 0) {
      const uint32_t last = table->TileCount - 1;
      const uint64_t oldRows = last + 1 < oldCount ? perTile : RowsOfTile(*table, last, oldHeight);
      const uint64_t newRows = height - last * perTile;
      if (newRows != oldRows) status = ResizeLastTile(*table, oldRows * stride, newRows * stride);
      if (status != K_SUCCESS) {
        bitmap.BitmapHeight = static_cast<int32_t>(last * perTile + oldRows);
        return status;
      }
    }
  }
  table->ConvTileCount = std::min(table->ConvTileCount, newTiles);
  bitmap.BitmapHeight = newHeight;
  return K_SUCCESS;
}

int32_t MoveTiles(RASTERBITMAP &bitmap, uint32_t convTiles, uint32_t tileViews) {
  TileTable *table = TableOf(bitmap);
  if (table == nullptr) return K_ERR_BITMAP;
  RASTERTILE *entries = table->Tiles();
  while (table->ConvTileCount < convTiles) {
    const uint32_t index = table->ConvTileCount;
    RASTERTILE &tile = entries[index];
    const size_t size = TileBytes(bitmap, *table, index);
    RASTERTILE memory = kNoTile;
    if (!MakeMapping(memory, K_INVALID_FILE, size)) return K_ERR_NOMEMORY;
    if (tile.TileView != nullptr) {
      std::memcpy(memory.TileView, tile.TileView, size);
      DropView(*table, index);
    } else {
      const int32_t status =
          FileTransfer(tile.TileFile, 0, static_cast<uint8_t *>(memory.TileView), size, false);
      if (status != K_SUCCESS) {
        DropMapping(memory);
        return status;
      }
    }
    K_OsClose(tile.TileFile, 0);
    tile.TileFile = K_INVALID_FILE;
    tile.MappingHandle = memory.MappingHandle;
    tile.TileView = memory.TileView;
    ++table->ConvTileCount;
  }
  while (table->ConvTileCount > convTiles) {
    const uint32_t index = table->ConvTileCount - 1;
    RASTERTILE &tile = entries[index];
    const size_t size = TileBytes(bitmap, *table, index);
    int32_t file = K_INVALID_FILE;
    int32_t status = CreateTileFile(size, file);
    if (status == K_SUCCESS) {
      status = FileTransfer(file, 0, static_cast<uint8_t *>(tile.TileView), size, true);
      if (status != K_SUCCESS) K_OsClose(file, 0);
    }
    if (status != K_SUCCESS) return status;
    DropMapping(tile);
    tile.TileFile = file;
    --table->ConvTileCount;
  }
  SetViewCount(bitmap, tileViews);
  return K_SUCCESS;
}

void SetViewCount(RASTERBITMAP &bitmap, uint32_t views) {
  TileTable *table = TableOf(bitmap);
  if (table == nullptr) return;
  while (table->ViewCount > views) EvictOldest(*table);
  const RASTERTILE *entries = table->Tiles();
  for (uint32_t i = table->ConvTileCount; i < table->TileCount && table->ViewCount < views; ++i) {
    if (entries[i].TileFile == K_INVALID_FILE || entries[i].TileView != nullptr) continue;
    if (!MapView(bitmap, *table, i)) break;
  }
}

int32_t TransferRow(RASTERBITMAP &bitmap, void *buffer, uint32_t row, uint32_t column,
                    uint32_t count, bool write) {
  const int32_t status = AccessTile(bitmap, row, ColumnToByte(bitmap.BitmapBits, column),
                                    static_cast<uint8_t *>(buffer), count, write);
  // The count asked for, whatever the file path met; only a bitmap without
  // a table is refused.
  return status == K_ERR_BITMAP ? status : static_cast<int32_t>(count);
}

int32_t PixelBytes(RASTERBITMAP &bitmap, void *destination, uint32_t row, uint32_t column) {
  return AccessTile(bitmap, row, ColumnToByte(bitmap.BitmapBits, column),
                    static_cast<uint8_t *>(destination),
                    PixelByteCount(bitmap.BitmapBits, column), false);
}

int32_t SegmentTarget(RASTERBITMAP &bitmap, uint32_t row, storage::RowTarget &target) {
  TileTable *table = TableOf(bitmap);
  if (table == nullptr || table->RowsPerTile == 0) return K_ERR_BITMAP;
  const uint32_t index = row / table->RowsPerTile;
  if (index >= table->TileCount) return K_ERR_WIDTH_HEIGHT;
  EnsureView(bitmap, *table, index);
  const RASTERTILE &tile = table->Tiles()[index];
  const uint64_t offset = uint64_t{row % table->RowsPerTile} * Stride(bitmap);
  if (tile.TileView != nullptr) {
    target.address = static_cast<uint8_t *>(tile.TileView) + offset;
  } else {
    target.file = tile.TileFile;
    target.offset = static_cast<int64_t>(offset);
  }
  return K_SUCCESS;
}

}  // namespace kest::tiles

namespace kest::testing {
int LiveTileMappings() { return tiles::g_liveMappings.load(); }
}  // namespace kest::testing

namespace kest::storage {

// TileGeometry: the cut that the thread's settings and the headroom ask
// for, and on failure, when memory could hold the bitmap at all, smaller
// tiles down to eight rows.
int32_t AllocateTiled(RASTERBITMAP &bitmap, uint64_t tileLimit, uint64_t headroom,
                      bool diskAllowed) {
  const ThreadSettings &settings = GetThreadSettings();
  const int32_t buffersSetting = settings.MemoryConventionalBuffers;
  const int32_t convSetting = settings.MemoryConventionalTile;
  const os::MemoryStatus memory = os::GlobalMemoryStatus();
  const uint64_t available = memory.availPhys + memory.availPageFile;
  const uint64_t stride = bitmap.BitmapBytesPerLine;
  if (bitmap.BitmapHeight <= 0 || stride == 0) return K_ERR_BITMAP;
  const auto height = static_cast<uint64_t>(bitmap.BitmapHeight);
  uint64_t limit = tileLimit;
  for (;;) {
    const uint64_t wanted = std::max(limit, stride);
    const tiles::TilePlan plan =
        tiles::PlanTiles(height, stride, wanted, headroom, convSetting, buffersSetting);
    // A request that refused the disk gets no disk tiles either.
    const int32_t status =
        !diskAllowed && plan.conv < plan.tiles
            ? K_ERR_NOMEMORY
            : tiles::CreateTileTable(bitmap, plan.rows, plan.tiles, plan.conv, plan.views, 0);
    if (status == K_SUCCESS || available < bitmap.BitmapSize || wanted <= 8 * stride) {
      return status;
    }
    limit /= 2;
  }
}

void FreeTiled(RASTERBITMAP &bitmap) {
  tiles::TileTable *table = tiles::TableOf(bitmap);
  if (table != nullptr) {
    for (uint32_t i = table->TileCount; i > 0; --i) {
      tiles::RASTERTILE &tile = table->Tiles()[i - 1];
      tiles::DropMapping(tile);
      if (tile.TileFile != K_INVALID_FILE) K_OsClose(tile.TileFile, 0);
    }
    K_OsFree(table);
  }
  bitmap.BitmapData = nullptr;
  bitmap.MemoryHandle = nullptr;
}

int32_t ChangeTiledHeight(RASTERBITMAP &bitmap, int32_t height) {
  return tiles::ResizeTiled(bitmap, height);
}

}  // namespace kest::storage
