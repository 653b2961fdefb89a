// The tiled memory kind. BitmapData of a tiled bitmap points at its
// TileTable: rows are cut into tiles of RowsPerTile rows (the last one has
// the rest). The first ConvTileCount tiles live in anonymous memory for
// their whole life; the others each live in a temporary file of their own,
// deleted on close, and are seen through a bounded first-in first-out
// queue of mapped views, or read and written through the file when no view
// can be had.
//
// Every view is a whole tile at offset 0 of its own mapping, so views never
// need an offset aligned to the platform's allocation granularity.
#pragma once

#include <cstddef>
#include <cstdint>

#include "core/storage.h"
#include "kest/bitmap.h"

namespace kest::tiles {

// One tile. A memory tile has its mapping and view for life and TileFile
// -1; a disk tile always has its file, while its mapping and view come and
// go. ViewQueueSlot is not about this tile: slot i of this column is place
// i of the view queue (place 0 the oldest view) and holds a tile index.
struct RASTERTILE {
  HANDLE MappingHandle;
  void *TileView;
  int32_t TileFile;
  uint32_t ViewQueueSlot;
};

struct TileTable {
  uint32_t TileCount;      // tiles in all
  uint32_t ConvTileCount;  // memory tiles: always the first ones
  uint32_t RowsPerTile;    // rows of every tile but the last
  uint32_t ViewCount;      // disk tiles that have a view now
  uint32_t MaxViews;       // bound on ViewCount

  RASTERTILE *Tiles() { return reinterpret_cast<RASTERTILE *>(reinterpret_cast<uint8_t *>(this) + kEntries); }
  const RASTERTILE *Tiles() const {
    return reinterpret_cast<const RASTERTILE *>(reinterpret_cast<const uint8_t *>(this) + kEntries);
  }
  // The entries follow the five words, aligned for their pointers.
  static constexpr size_t kEntries =
      (5 * sizeof(uint32_t) + alignof(RASTERTILE) - 1) / alignof(RASTERTILE) * alignof(RASTERTILE);
};

// Bytes of a table of that many tiles; 0 when it would not fit a block.
uint32_t TableBytes(uint64_t tiles);

inline TileTable *TableOf(const RASTERBITMAP &bitmap) {
  return static_cast<TileTable *>(bitmap.BitmapData);
}

// Bytes of tile index as the bitmap's height cuts it.
size_t TileBytes(const RASTERBITMAP &bitmap, const TileTable &table, uint32_t index);

// Builds the table and its tiles: conv memory tiles, then disk tiles, then
// initialViews views (one when 0 and some tile is on disk, never more than
// maxViews). Sets BitmapData, nulls MemoryHandle, sets no flag. 1, -2 when
// the counts do not cut the bitmap's rows, -1 memory, -295 a temporary file
// that cannot be made; on failure nothing is left.
int32_t CreateTileTable(RASTERBITMAP &bitmap, uint32_t rows, uint32_t tiles, uint32_t conv,
                        uint32_t maxViews, uint32_t initialViews);

// Moves length bytes between buffer and the bitmap from row, at byte column
// of that row, going on across tile ends; stops at the end of the table.
// Through a view where one can be had, else through the tile's file. 1, -2
// without a table, or the first of -4, -5, -7 that the file path met.
int32_t AccessTile(RASTERBITMAP &bitmap, uint32_t row, size_t column, uint8_t *buffer,
                   size_t length, bool write);

// The tiled case of K_ChangeBitmapHeight.
int32_t ResizeTiled(RASTERBITMAP &bitmap, int32_t newHeight);

// What K_SetBitmapMemoryInfo changes in place: tiles move between memory
// and disk at the ConvTileCount boundary, then views are made or dropped.
// 1, -1, -295, or a file status.
int32_t MoveTiles(RASTERBITMAP &bitmap, uint32_t convTiles, uint32_t tileViews);

// Maps disk tiles from ConvTileCount on, or evicts the oldest views, until
// ViewCount is views (or no further view can be made).
void SetViewCount(RASTERBITMAP &bitmap, uint32_t views);

// The row entries of the tiled kind (the result of the plain row calls is
// the count asked for, whatever the file path met).
int32_t TransferRow(RASTERBITMAP &bitmap, void *buffer, uint32_t row, uint32_t column,
                    uint32_t count, bool write);
int32_t PixelBytes(RASTERBITMAP &bitmap, void *destination, uint32_t row, uint32_t column);
// Where K_PutBitmapRowSegments writes row: its address in a view, or its
// tile's file and offset when no view can be had.
int32_t SegmentTarget(RASTERBITMAP &bitmap, uint32_t row, storage::RowTarget &target);

}  // namespace kest::tiles

namespace kest::testing {
// Tile mappings (memory tiles and views) alive in the process, so tests
// can see that none is lost.
int LiveTileMappings();
}  // namespace kest::testing
