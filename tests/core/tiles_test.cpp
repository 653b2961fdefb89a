// Tiled memory: the cut of the tile step, row access on every layout
// against a conventional twin, the view queue, height changes, the moves
// and rebuilds of K_SetBitmapMemoryInfo, and temporary files that cannot
// be made or must not outlive their bitmap.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "core/bitmap.h"
#include "core/files.h"
#include "core/rows.h"
#include "core/settings.h"
#include "core/tiles.h"
#include "kestraster.h"
#include "support/test_support.h"

#if !defined(_WIN32)
#  include <fcntl.h>
#  include <sched.h>
#  include <signal.h>
#  include <sys/mount.h>
#  include <sys/wait.h>
#  include <unistd.h>
#endif

namespace {

using kest::test::FailingAllocation;
using kest::test::SettingsGuard;
using kest::test::TempDirectorySetting;
using kest::test::TempFolder;
using kest::tiles::TileTable;


TileTable &Table(const RASTERBITMAP &bitmap) { return *kest::tiles::TableOf(bitmap); }

// A tiled bitmap of a chosen cut, its temporary files in a folder of its own.
class Tiled {
 public:
  Tiled(int32_t width, int32_t height, int32_t bits, uint32_t rows, uint32_t conv,
        uint32_t maxViews)
      : temp_(folder_.path()) {
    K_InitBitmap(&bitmap_, RASTERBITMAP_SIZE, width, height, bits);
    const uint32_t tiles = (static_cast<uint32_t>(height) + rows - 1) / rows;
    status_ = kest::tiles::CreateTileTable(bitmap_, rows, tiles, conv, maxViews, 0);
    if (status_ == K_SUCCESS) bitmap_.BitmapFlags |= kest::kTiledFlags;
  }
  ~Tiled() { K_FreeBitmap(&bitmap_); }
  RASTERBITMAP *get() { return &bitmap_; }
  TileTable &table() { return Table(bitmap_); }
  int32_t status() const { return status_; }
  const TempFolder &folder() const { return folder_; }

 private:
  TempFolder folder_;
  TempDirectorySetting temp_;
  RASTERBITMAP bitmap_{};
  int32_t status_;
};

std::vector<uint8_t> RandomBytes(size_t size, std::mt19937 &random) {
  std::vector<uint8_t> bytes(size);
  for (auto &byte : bytes) byte = static_cast<uint8_t>(random());
  return bytes;
}

std::vector<uint8_t> AllRows(RASTERBITMAP *bitmap) {
  const uint32_t stride = bitmap->BitmapBytesPerLine;
  std::vector<uint8_t> pixels(size_t{stride} * bitmap->BitmapHeight);
  for (int32_t r = 0; r < bitmap->BitmapHeight; ++r) {
    EXPECT_EQ(K_GetBitmapRow(bitmap, pixels.data() + size_t{stride} * r, r, stride),
              static_cast<int32_t>(stride));
  }
  return pixels;
}

void FillRandom(RASTERBITMAP *bitmap, std::mt19937 &random) {
  const uint32_t stride = bitmap->BitmapBytesPerLine;
  for (int32_t r = 0; r < bitmap->BitmapHeight; ++r) {
    std::vector<uint8_t> row = RandomBytes(stride, random);
    ASSERT_EQ(K_PutBitmapRow(bitmap, row.data(), r, stride), static_cast<int32_t>(stride));
  }
}

// The queue holds distinct disk tiles that have views, no more than the
// bound, and every other disk tile has none.
void ExpectQueueSound(TileTable &table) {
  ASSERT_LE(table.ViewCount, table.MaxViews);
  std::vector<bool> queued(table.TileCount, false);
  for (uint32_t place = 0; place < table.ViewCount; ++place) {
    const uint32_t index = table.Tiles()[place].ViewQueueSlot;
    ASSERT_LT(index, table.TileCount);
    EXPECT_FALSE(queued[index]) << "tile " << index << " queued twice";
    queued[index] = true;
  }
  for (uint32_t i = 0; i < table.TileCount; ++i) {
    const auto &tile = table.Tiles()[i];
    EXPECT_EQ(tile.TileFile == K_INVALID_FILE, i < table.ConvTileCount) << i;
    EXPECT_EQ(tile.TileView != nullptr, i < table.ConvTileCount || queued[i]) << i;
  }
}

TEST(TileGeometry, TheCutFollowsTheThreadsSettings) {
  struct Case {
    int32_t tileSize, threshold, convTiles, buffers;  // the thread's settings
    uint32_t rows, tiles, conv, maxViews;
  };
  // A 100 x 50 8-bit bitmap: rows of 100 bytes, 5,000 bytes in all.
  const Case cases[] = {
      {1000, 0, -100, 1, 10, 5, 5, 0},  // all in memory by default
      {999, 0, -100, 1, 9, 6, 6, 0},    // the last tile has the rest
      {50, 0, -100, 1, 1, 50, 50, 0},   // a row above the tile size: one-row tiles
      {1000, 0, 2, 1, 10, 5, 1, 1},     // two in memory, one of them as a view
      {1000, 0, 2, -100, 10, 5, 0, 2},  // -100: views take the whole budget
      {1000, 0, 2, -50, 10, 5, 0, 2},   // more views than the budget: all of it
      {1000, 0, 4, -20, 10, 5, 3, 1},   // 1 x 20 / 80 rounds to 0, which becomes 1
      {1000, 0, -40, 0, 10, 5, 2, 0},   // 40 % of 5 tiles; no views: the file path
      {1000, -100, -100, 1, 10, 5, 0, 1},  // no headroom: every tile on disk
      {1000, 0, 0, 4, 10, 5, 0, 1},     // views above a budget of 0 become 1
  };
  for (const Case &c : cases) {
    SettingsGuard guard;
    TempFolder folder;
    TempDirectorySetting temp(folder.path());
    kest::ThreadSettings &settings = kest::GetThreadSettings();
    settings.MaxConventionalSize = 1;
    settings.TiledBitmapsSize = c.tileSize;
    settings.MemoryTiledThreshold = c.threshold;
    settings.MemoryConventionalTile = c.convTiles;
    settings.MemoryConventionalBuffers = c.buffers;
    RASTERBITMAP bitmap;
    ASSERT_EQ(K_CreateBitmap(&bitmap, RASTERBITMAP_SIZE, MEMORY_TYPE_CONV, 100, 50, 8, 0, nullptr,
                             0, nullptr, 0), K_SUCCESS);
    ASSERT_EQ(bitmap.BitmapFlags & 0xFFFF, 0x4003u) << c.tileSize << "/" << c.convTiles;
    TileTable &table = Table(bitmap);
    EXPECT_EQ(table.RowsPerTile, c.rows) << c.tileSize;
    EXPECT_EQ(table.TileCount, c.tiles) << c.tileSize;
    EXPECT_EQ(table.ConvTileCount, c.conv) << c.convTiles << "," << c.buffers;
    EXPECT_EQ(table.MaxViews, c.maxViews) << c.convTiles << "," << c.buffers;
    // One view stands at the start on the first disk tile, if views are allowed.
    const bool view = c.conv < c.tiles && c.maxViews > 0;
    EXPECT_EQ(table.ViewCount, view ? 1u : 0u);
    if (view) {
      EXPECT_EQ(table.Tiles()[0].ViewQueueSlot, c.conv);
    }
    EXPECT_EQ(bitmap.MemoryHandle, nullptr);
    ExpectQueueSound(table);
    K_FreeBitmap(&bitmap);
  }
}

TEST(TileGeometry, TileSizeZeroMeansSixteenMegabytes) {
  SettingsGuard guard;
  ASSERT_EQ(K_SetMemoryThresholds(0, 1, 0, 0, 0, MEMORY_MAX_CONV_SIZE | MEMORY_TILE_SIZE),
            K_SUCCESS);
  RASTERBITMAP bitmap;
  ASSERT_EQ(K_CreateBitmap(&bitmap, RASTERBITMAP_SIZE, MEMORY_TYPE_CONV, 4096, 4400, 8, 0, nullptr,
                           0, nullptr, 0), K_SUCCESS);
  uint32_t type = 0, tileSize = 0, tiles = 0, conv = 0, maxViews = 9, views = 9;
  ASSERT_EQ(K_GetBitmapMemoryInfo(&bitmap, &type, &tileSize, &tiles, &conv, &maxViews, &views),
            K_SUCCESS);
  EXPECT_EQ(type, static_cast<uint32_t>(MEMORY_TYPE_TILED));
  EXPECT_EQ(tileSize, 0x1000000u);
  EXPECT_EQ(tiles, 2u);
  EXPECT_EQ(conv, 2u);
  EXPECT_EQ(maxViews, 0u);
  EXPECT_EQ(views, 0u);
  K_FreeBitmap(&bitmap);
}

struct Layout {
  uint32_t rows, conv, maxViews;
};
void PrintTo(const Layout &layout, std::ostream *out) {
  *out << layout.rows << " rows a tile, " << layout.conv << " in memory, " << layout.maxViews
       << " views";
}

class TiledRows : public ::testing::TestWithParam<Layout> {};

// Every row operation on a tiled bitmap leaves the same pixels as on a
// conventional one, whatever the layout: all in memory, one-row tiles,
// memory and disk mixed, disk with few views, disk through the file alone.
TEST_P(TiledRows, MatchAConventionalTwin) {
  const Layout layout = GetParam();
  std::mt19937 random(layout.rows * 100 + layout.conv * 10 + layout.maxViews);
  constexpr int32_t kWidth = 37, kHeight = 23;
  Tiled tiled(kWidth, kHeight, 24, layout.rows, layout.conv, layout.maxViews);
  ASSERT_EQ(tiled.status(), K_SUCCESS);
  RASTERBITMAP *tile = tiled.get();
  RASTERBITMAP twin;
  ASSERT_EQ(K_CreateBitmap(&twin, RASTERBITMAP_SIZE, MEMORY_TYPE_CONV, kWidth, kHeight, 24, 1,
                           nullptr, 0, nullptr, 0), K_SUCCESS);
  const uint32_t stride = tile->BitmapBytesPerLine;
  for (int32_t r = kHeight - 1; r >= 0; --r) {
    std::vector<uint8_t> row = RandomBytes(stride, random);
    ASSERT_EQ(K_PutBitmapRow(tile, row.data(), r, stride), static_cast<int32_t>(stride));
    K_PutBitmapRow(&twin, row.data(), r, stride);
  }
  std::vector<uint8_t> a(2 * stride), b(2 * stride);
  for (int step = 0; step < 300; ++step) {
    const uint32_t r = random() % kHeight;
    const uint32_t column = random() % kWidth;
    const uint32_t count = 1 + random() % (kWidth - column) * 3;
    switch (step % 5) {
      case 0: {  // a read of two rows, crossing a tile end where the row is a tile's last
        const uint32_t rows = r + 1 < kHeight ? 2 : 1;
        ASSERT_EQ(K_GetBitmapRow(tile, a.data(), r, rows * stride), static_cast<int32_t>(rows * stride));
        K_GetBitmapRow(&twin, b.data(), r, rows * stride);
        ASSERT_EQ(a, b) << "row " << r;
        break;
      }
      case 1: {
        std::vector<uint8_t> bytes = RandomBytes(count, random);
        ASSERT_EQ(K_PutBitmapRowCol(tile, bytes.data(), r, column, count), static_cast<int32_t>(count));
        K_PutBitmapRowCol(&twin, bytes.data(), r, column, count);
        break;
      }
      case 2: {
        ASSERT_EQ(K_GetBitmapRowCol(tile, a.data(), r, column, count), static_cast<int32_t>(count));
        K_GetBitmapRowCol(&twin, b.data(), r, column, count);
        ASSERT_EQ(std::memcmp(a.data(), b.data(), count), 0);
        break;
      }
      case 3: {
        uint8_t got[8] = {}, want[8] = {};
        ASSERT_EQ(kest::GetPixelBytes(tile, got, r, column), K_SUCCESS);
        kest::GetPixelBytes(&twin, want, r, column);
        ASSERT_EQ(std::memcmp(got, want, sizeof got), 0);
        break;
      }
      case 4: {
        std::vector<uint8_t> source = RandomBytes(stride, random);
        uint32_t spans[4] = {column / 2, column, column + 1, static_cast<uint32_t>(kWidth)};
        ASSERT_EQ(K_PutBitmapRowSegments(tile, source.data(), r, 0, spans, 4, 0), K_SUCCESS);
        K_PutBitmapRowSegments(&twin, source.data(), r, 0, spans, 4, 0);
        break;
      }
    }
    ExpectQueueSound(tiled.table());
  }
  // A read that runs past the last row stops at the end of the table and
  // still reports the whole count.
  std::fill(a.begin(), a.end(), 0xAB);
  ASSERT_EQ(K_GetBitmapRow(tile, a.data(), kHeight - 1, 2 * stride), static_cast<int32_t>(2 * stride));
  EXPECT_EQ(a[stride], 0xAB);
  EXPECT_EQ(AllRows(tile), AllRows(&twin));
  EXPECT_EQ(tile->RowCursorRow, 0u) << "tiled rows leave the cursor alone";
  K_FreeBitmap(&twin);
}

INSTANTIATE_TEST_SUITE_P(Layouts, TiledRows,
                         ::testing::Values(Layout{4, 6, 0}, Layout{1, 23, 0}, Layout{1, 5, 2},
                                           Layout{4, 2, 1}, Layout{3, 0, 2}, Layout{4, 0, 0},
                                           Layout{23, 0, 1}));

TEST(TileViews, EvictionIsFirstInFirstOut) {
  // MaxViews 1: reading A, B, A maps three times.
  Tiled one(8, 12, 8, 4, 0, 1);
  ASSERT_EQ(one.status(), K_SUCCESS);
  auto *tiles = one.table().Tiles();
  uint8_t row[8];
  for (uint32_t tile : {1u, 2u, 1u}) {
    const void *before = tiles[tile].TileView;
    K_GetBitmapRow(one.get(), row, tile * 4, 8);
    EXPECT_EQ(before, nullptr) << "tile " << tile << " had to be mapped";
    EXPECT_NE(tiles[tile].TileView, nullptr);
    EXPECT_EQ(one.table().ViewCount, 1u);
    EXPECT_EQ(tiles[0].ViewQueueSlot, tile);
  }
  // MaxViews 2: a read of a tile already in view does not refresh it, so
  // the next new view evicts it all the same.
  Tiled two(8, 12, 8, 4, 0, 2);  // tile 0 has the first view
  K_GetBitmapRow(two.get(), row, 4, 8);
  K_GetBitmapRow(two.get(), row, 0, 8);
  K_GetBitmapRow(two.get(), row, 8, 8);
  auto *entries = two.table().Tiles();
  EXPECT_EQ(entries[0].TileView, nullptr);
  EXPECT_NE(entries[1].TileView, nullptr);
  EXPECT_NE(entries[2].TileView, nullptr);
  EXPECT_EQ(entries[0].ViewQueueSlot, 1u);
  EXPECT_EQ(entries[1].ViewQueueSlot, 2u);
}

TEST(TileViews, AViewThatCannotBeMappedGoesThroughTheFile) {
  Tiled tiled(8, 12, 8, 4, 0, 1);
  kest::tiles::SetViewCount(*tiled.get(), 0);
  uint8_t row[8] = {1, 2, 3, 4, 5, 6, 7, 8}, back[8] = {};
  {
    FailingAllocation fail(1);  // the view of tile 1
    EXPECT_EQ(K_PutBitmapRow(tiled.get(), row, 5, 8), 8);
  }
  EXPECT_EQ(tiled.table().ViewCount, 0u);
  EXPECT_EQ(tiled.table().Tiles()[1].TileView, nullptr);
  EXPECT_EQ(K_GetBitmapRow(tiled.get(), back, 5, 8), 8);  // now through a view
  EXPECT_NE(tiled.table().Tiles()[1].TileView, nullptr);
  EXPECT_EQ(std::memcmp(row, back, 8), 0);
}

int64_t FileLength(int32_t file) { return kest::OsSeek64(file, 0, 2); }

class TiledHeight : public ::testing::TestWithParam<Layout> {};

// Growing and shrinking across tile ends keeps the rows that stay, gives
// new rows as zeros, and sizes the last tile (and its file) to what it holds.
TEST_P(TiledHeight, ChangesKeepRowsAndSizeTheLastTile) {
  const Layout layout = GetParam();
  std::mt19937 random(5);
  Tiled tiled(10, 23, 24, layout.rows, layout.conv, layout.maxViews);
  ASSERT_EQ(tiled.status(), K_SUCCESS);
  RASTERBITMAP *bitmap = tiled.get();
  const uint32_t stride = bitmap->BitmapBytesPerLine;
  FillRandom(bitmap, random);
  std::vector<uint8_t> expected = AllRows(bitmap);
  const size_t size = bitmap->BitmapSize;
  for (int32_t height : {24, 26, 21, 20, 33, 1, 0, 9, 8}) {
    ASSERT_EQ(K_ChangeBitmapHeight(bitmap, height), K_SUCCESS) << height;
    ASSERT_EQ(bitmap->BitmapHeight, height);
    expected.resize(size_t{stride} * height, 0);
    ASSERT_EQ(AllRows(bitmap), expected) << "at height " << height;
    TileTable &table = tiled.table();
    EXPECT_EQ(table.TileCount, (height + layout.rows - 1) / layout.rows);
    EXPECT_LE(table.ConvTileCount, std::min(layout.conv, table.TileCount));
    ExpectQueueSound(table);
    for (uint32_t i = table.ConvTileCount; i < table.TileCount; ++i) {
      EXPECT_EQ(FileLength(table.Tiles()[i].TileFile),
                static_cast<int64_t>(kest::tiles::TileBytes(*bitmap, table, i)))
          << "tile " << i << " at height " << height;
    }
    for (int32_t r = 0; r < height; ++r) {
      std::vector<uint8_t> row = RandomBytes(stride, random);
      K_PutBitmapRow(bitmap, row.data(), r, stride);
      std::copy(row.begin(), row.end(), expected.begin() + size_t{stride} * r);
    }
  }
  EXPECT_EQ(bitmap->BitmapSize, size) << "a tiled height change leaves the size";
}

INSTANTIATE_TEST_SUITE_P(Layouts, TiledHeight,
                         ::testing::Values(Layout{4, 6, 0}, Layout{4, 2, 1}, Layout{4, 0, 2},
                                           Layout{1, 0, 1}));

TEST(TiledHeight, AppendingWithoutTemporaryFilesKeepsWhatItGot) {
  Tiled tiled(10, 6, 8, 4, 2, 0);  // two memory tiles, the second half full
  TempFolder elsewhere;
  kest::test::WriteFileBytes(elsewhere.File("plain"), "x");
  TempDirectorySetting blocked(elsewhere.File("plain"));  // a file, not a directory
  EXPECT_EQ(K_ChangeBitmapHeight(tiled.get(), 13), K_ERR_DISK_FULL);
  EXPECT_EQ(tiled.get()->BitmapHeight, 8) << "the last tile was filled, no tile added";
  EXPECT_EQ(tiled.table().TileCount, 2u);
  uint8_t row[12];
  EXPECT_EQ(K_GetBitmapRow(tiled.get(), row, 7, 12), 12);
}

TEST(MemoryInfo, ReportsTheKindOfEveryOtherMemory) {
  TempFolder folder;
  TempDirectorySetting temp(folder.path());
  struct Case {
    uint32_t type, reported;
  };
  for (const Case &c : {Case{MEMORY_TYPE_CONV, 1}, Case{MEMORY_TYPE_USER, 1},
                        Case{MEMORY_TYPE_DISK, 128}}) {
    RASTERBITMAP bitmap;
    K_CreateBitmap(&bitmap, RASTERBITMAP_SIZE, c.type, 8, 8, 8, 0, nullptr, 0, nullptr, 0);
    uint32_t type = 0, untouched = 77;
    EXPECT_EQ(K_GetBitmapMemoryInfo(&bitmap, &type, &untouched, &untouched, &untouched, &untouched,
                                    &untouched), K_SUCCESS);
    EXPECT_EQ(type, c.reported);
    EXPECT_EQ(untouched, 77u) << "only tiled bitmaps fill the tile fields";
    EXPECT_EQ(K_GetBitmapMemoryInfo(&bitmap, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr),
              K_ERR_PARAMETER);
    bitmap.RecordSize = 1;
    EXPECT_EQ(K_GetBitmapMemoryInfo(&bitmap, &type, nullptr, nullptr, nullptr, nullptr, nullptr),
              K_ERR_RECORD_SIZE);
    bitmap.RecordSize = RASTERBITMAP_SIZE;
    K_FreeBitmap(&bitmap);
    EXPECT_EQ(K_GetBitmapMemoryInfo(&bitmap, &type, nullptr, nullptr, nullptr, nullptr, nullptr),
              K_ERR_BITMAP);
  }
}

// K_SetBitmapMemoryInfo in place: tiles move both ways between memory and
// disk, the bound and the number of views follow, and the pixels stay.
TEST(SetMemoryInfo, MovesTilesBothWaysInPlace) {
  std::mt19937 random(9);
  Tiled tiled(10, 23, 24, 4, 2, 1);  // 6 tiles: 2 in memory, views on the others
  RASTERBITMAP *bitmap = tiled.get();
  FillRandom(bitmap, random);
  const std::vector<uint8_t> pixels = AllRows(bitmap);
  const uint32_t tileSize = 4 * bitmap->BitmapBytesPerLine;
  struct Step {
    uint32_t tileSize, conv, maxViews, views;
    uint8_t mask;
    uint32_t wantConv, wantMax, wantViews;
  };
  const Step steps[] = {
      {0, 5, 0, 0, SET_MEMORYINFO_CONVTILES, 5, 1, 1},                // to memory, the view goes
      {0, 0, 3, 2, SET_MEMORYINFO_CONVTILES | SET_MEMORYINFO_MAXTILEVIEWS | 32, 0, 3, 2},
      {0, 9, 0, 0, SET_MEMORYINFO_CONVTILES, 6, 3, 0},                // capped at the tile count
      {0, 1, 9, 9, SET_MEMORYINFO_CONVTILES | SET_MEMORYINFO_MAXTILEVIEWS | 32, 1, 5, 5},
      {0, 1, 2, 0, SET_MEMORYINFO_MAXTILEVIEWS, 1, 2, 2},             // views follow the bound
      // The published constant holds no view count: the views stay.
      {tileSize, 3, 3, 0, SET_MEMORYINFO_TILEVIEWS, 3, 3, 2},
      // The present size, rounded up; the reads before filled the views.
      {tileSize + 1 - bitmap->BitmapBytesPerLine, 0, 0, 0, 2, 3, 3, 3},
  };
  for (const Step &s : steps) {
    ASSERT_EQ(K_SetBitmapMemoryInfo(bitmap, MEMORY_TYPE_TILED, s.tileSize, 0, s.conv, s.maxViews,
                                    s.views, s.mask), K_SUCCESS);
    TileTable &table = tiled.table();
    EXPECT_EQ(table.ConvTileCount, s.wantConv);
    EXPECT_EQ(table.MaxViews, s.wantMax);
    EXPECT_EQ(table.ViewCount, s.wantViews);
    EXPECT_EQ(table.RowsPerTile, 4u);
    ExpectQueueSound(table);
    ASSERT_EQ(AllRows(bitmap), pixels) << "mask " << int{s.mask} << " conv " << s.conv;
  }
  EXPECT_EQ(K_SetBitmapMemoryInfo(bitmap, 4, 0, 0, 0, 0, 0, 0), K_SUCCESS);
  EXPECT_EQ(tiled.table().ConvTileCount, 3u) << "mask 0 changes nothing";

  // A tile that cannot go to disk stays in memory with its pixels.
  TempFolder elsewhere;
  kest::test::WriteFileBytes(elsewhere.File("plain"), "x");
  {
    TempDirectorySetting blocked(elsewhere.File("plain"));
    EXPECT_EQ(K_SetBitmapMemoryInfo(bitmap, 4, 0, 0, 0, 0, 0, SET_MEMORYINFO_CONVTILES),
              K_ERR_DISK_FULL);
  }
  EXPECT_EQ(tiled.table().ConvTileCount, 3u) << "the first tile to move could not";
  ExpectQueueSound(tiled.table());
  EXPECT_EQ(AllRows(bitmap), pixels);
}

TEST(SetMemoryInfo, RebuildsInAnotherTypeOrRefusesANewTileSize) {
  SettingsGuard guard;
  std::mt19937 random(3);
  Tiled tiled(10, 23, 24, 4, 2, 1);
  RASTERBITMAP *bitmap = tiled.get();
  FillRandom(bitmap, random);
  const std::vector<uint8_t> pixels = AllRows(bitmap);
  const int mappings = kest::testing::LiveTileMappings();
  const int own = 2 + static_cast<int>(tiled.table().ViewCount);  // memory tiles and views
  kest::GetThreadSettings().TiledBitmapsSize = 64;

  // A new tile size rebuilds into tiles, which ends with -2, as it was.
  void *table = bitmap->BitmapData;
  EXPECT_EQ(K_SetBitmapMemoryInfo(bitmap, 0, 200, 0, 1, 1, 1, SET_MEMORYINFO_TILESIZE),
            K_ERR_BITMAP);
  EXPECT_EQ(bitmap->BitmapData, table);
  EXPECT_EQ(tiled.table().RowsPerTile, 4u);
  EXPECT_EQ(kest::testing::LiveTileMappings(), mappings) << "the new tiles went again";
  EXPECT_EQ(AllRows(bitmap), pixels);

  // Other types rebuild with the pixels; the palette and paint table stay.
  bitmap->PaintLUT = static_cast<uint8_t *>(K_OsAllocInit(256, 1));
  uint8_t *paint = bitmap->PaintLUT;
  for (uint32_t type : {MEMORY_TYPE_DISK, MEMORY_TYPE_CONV, MEMORY_TYPE_DISK}) {
    ASSERT_EQ(K_SetBitmapMemoryInfo(bitmap, type, 0, 0, 0, 0, 0, SET_MEMORYINFO_MEMORY), K_SUCCESS);
    uint32_t reported = 0;
    K_GetBitmapMemoryInfo(bitmap, &reported, nullptr, nullptr, nullptr, nullptr, nullptr);
    EXPECT_EQ(reported, type);
    EXPECT_EQ(bitmap->PaintLUT, paint);
    ASSERT_EQ(AllRows(bitmap), pixels) << type;
  }
  EXPECT_EQ(kest::testing::LiveTileMappings(), mappings - own) << "the tiles were released";
  EXPECT_EQ(K_SetBitmapMemoryInfo(bitmap, MEMORY_TYPE_TILED, 4 * 32, 0, 6, 0, 0, 0xFF),
            K_ERR_BITMAP) << "into tiles above the limit";
  EXPECT_EQ(bitmap->BitmapFlags & 0xFFFF, 0x5u);
  kest::GetThreadSettings().TiledBitmapsSize = 0;
  EXPECT_EQ(K_SetBitmapMemoryInfo(bitmap, MEMORY_TYPE_TILED, 0, 0, 0, 0, 0, SET_MEMORYINFO_MEMORY),
            K_SUCCESS) << "below the limit tiles mean conventional memory";
  EXPECT_EQ(bitmap->BitmapFlags & 0xFFFF, 0x3u);
  EXPECT_EQ(AllRows(bitmap), pixels);

  // Tile fields of a bitmap that is not tiled do nothing.
  void *data = bitmap->BitmapData;
  EXPECT_EQ(K_SetBitmapMemoryInfo(bitmap, 0, 999, 3, 3, 3, 3, 0xFE), K_SUCCESS);
  EXPECT_EQ(bitmap->BitmapData, data);
  EXPECT_EQ(K_SetBitmapMemoryInfo(nullptr, 1, 0, 0, 0, 0, 0, 1), K_ERR_NULL_POINTER);
  bitmap->RecordSize = 0;
  EXPECT_EQ(K_SetBitmapMemoryInfo(bitmap, 1, 0, 0, 0, 0, 0, 1), K_ERR_RECORD_SIZE);
  bitmap->RecordSize = RASTERBITMAP_SIZE;
}

TEST(MemorySettings, ThresholdsAreCheckedInOrderAndKeptPerThread) {
  SettingsGuard guard;
  int32_t values[5];
  auto read = [&values] {
    K_GetMemoryThresholds(&values[0], &values[1], &values[2], &values[3], &values[4]);
    return std::vector<int32_t>(values, values + 5);
  };
  EXPECT_EQ(read(), (std::vector<int32_t>{0, 0x7FFFFFFF, 0, -100, 1})) << "the defaults";
  EXPECT_EQ(K_SetMemoryThresholds(-500, -500, -500, -500, -500, 0), K_SUCCESS);
  EXPECT_EQ(read(), (std::vector<int32_t>{0, 0x7FFFFFFF, 0, -100, 1})) << "mask 0 checks nothing";
  EXPECT_EQ(K_SetMemoryThresholds(-100, -100, 0, -100, -100, MEMORY_ALL), K_SUCCESS);
  EXPECT_EQ(read(), (std::vector<int32_t>{-100, -100, 0, -100, -100})) << "the lowest values";
  EXPECT_EQ(K_SetMemoryThresholds(5, 6, -1, 8, 9, MEMORY_ALL), K_ERR_PARAMETER);
  EXPECT_EQ(read(), (std::vector<int32_t>{5, 6, 0, -100, -100})) << "the fields before stay written";
  EXPECT_EQ(K_SetMemoryThresholds(0, 0, 0, -101, 0, MEMORY_CONV_TILES), K_ERR_PARAMETER);
  EXPECT_EQ(K_SetMemoryThresholds(0, 0, 0, 0, 77, MEMORY_CONV_BUFFERS), K_SUCCESS);
  int32_t buffers = 0;
  K_GetMemoryThresholds(nullptr, nullptr, nullptr, nullptr, &buffers);
  EXPECT_EQ(buffers, 77);

  std::vector<int32_t> other;
  std::thread([&other, &read] {
    other = read();
    K_SetMemoryThresholds(1, 1, 1, 1, 1, MEMORY_ALL);
  }).join();
  EXPECT_EQ(other, (std::vector<int32_t>{0, 0x7FFFFFFF, 0, -100, 1})) << "a new thread has its own";
  EXPECT_EQ(read()[0], 5) << "and its changes stay its own";

  uint32_t type = 0;
  for (uint32_t bad : {0u, 4u, 129u, 256u}) EXPECT_EQ(K_SetDefaultMemoryType(bad), K_ERR_PARAMETER);
  EXPECT_EQ(K_GetDefaultMemoryType(&type), K_SUCCESS);
  EXPECT_EQ(type, 1u);
  EXPECT_EQ(K_SetDefaultMemoryType(MEMORY_TYPE_DISK), K_SUCCESS);
  EXPECT_EQ(K_GetDefaultMemoryType(&type), K_SUCCESS);
  EXPECT_EQ(type, 128u);
  EXPECT_EQ(K_GetDefaultMemoryType(nullptr), K_ERR_PARAMETER);
}

TEST(MemorySettings, TemporaryDirectory) {
  SettingsGuard guard;
  TempFolder folder;
  kest::test::WriteFileBytes(folder.File("plain"), "x");
  EXPECT_EQ(K_SetTempDirectory(nullptr), K_ERR_PARAMETER);
  EXPECT_EQ(K_SetTempDirectory(folder.File("plain").c_str()), K_ERR_PARAMETER);
  EXPECT_EQ(K_SetTempDirectory(folder.File("missing").c_str()), K_ERR_PARAMETER);
  EXPECT_EQ(K_SetTempDirectory((folder.path() + std::string(300, '/')).c_str()), K_ERR_PARAMETER)
      << "longer than the field";
  ASSERT_EQ(K_SetTempDirectory(folder.path().c_str()), K_SUCCESS);
  char buffer[300];
  std::memset(buffer, '#', sizeof buffer);
  EXPECT_EQ(K_GetTempDirectory(buffer, sizeof buffer), K_SUCCESS);
  EXPECT_EQ(std::string(buffer), folder.path());
  std::memset(buffer, '#', sizeof buffer);
  K_GetTempDirectory(buffer, 3);
  EXPECT_EQ(std::string(buffer, 4), folder.path().substr(0, 3) + "#") << "no terminator added";
  EXPECT_EQ(K_GetTempDirectory(nullptr, 3), K_ERR_PARAMETER);
}

// Windows shows the files of disk tiles while they are open; POSIX unlinks
// them as they are made.
int VisibleWhileOpen(int files) {
#if defined(_WIN32)
  return files;
#else
  (void)files;
  return 0;
#endif
}

TEST(TileFiles, NoneOutlivesItsBitmap) {
  {
    Tiled tiled(10, 23, 24, 4, 2, 1);
    EXPECT_EQ(tiled.folder().CountFiles(), VisibleWhileOpen(4));
    ASSERT_EQ(K_ChangeBitmapHeight(tiled.get(), 40), K_SUCCESS);
    ASSERT_EQ(K_SetBitmapMemoryInfo(tiled.get(), 4, 0, 0, 0, 0, 0, SET_MEMORYINFO_CONVTILES),
              K_SUCCESS);
    ASSERT_EQ(K_ChangeBitmapHeight(tiled.get(), 5), K_SUCCESS);
    K_FreeBitmap(tiled.get());
    EXPECT_EQ(tiled.folder().CountFiles(), 0);
  }
}

TEST(TileFiles, EveryFailureOfCreationIsUndone) {
  const int mappings = kest::testing::LiveTileMappings();
  for (int failAt = 1;; ++failAt) {
    int32_t status;
    int counted;
    {
      FailingAllocation fail(failAt);
      Tiled tiled(10, 23, 24, 4, 2, 2);
      status = tiled.status();
      counted = kest::testing::AllocationsCounted();
      if (status == K_SUCCESS) {
        EXPECT_EQ(kest::testing::LiveTileMappings(), mappings + 3);
        EXPECT_EQ(tiled.folder().CountFiles(), VisibleWhileOpen(4));
      } else {
        EXPECT_EQ(status, K_ERR_NOMEMORY) << failAt;
        EXPECT_EQ(tiled.folder().CountFiles(), 0);
      }
    }
    EXPECT_EQ(kest::testing::LiveTileMappings(), mappings) << failAt;
    if (counted < failAt) break;
  }
}

TEST(TileFiles, ATemporaryFileThatCannotBeMadeGives295) {
  SettingsGuard guard;
  TempFolder folder;
  kest::test::WriteFileBytes(folder.File("plain"), "x");
  TempDirectorySetting blocked(folder.File("plain"));
  const int mappings = kest::testing::LiveTileMappings();
  RASTERBITMAP bitmap;
  K_InitBitmap(&bitmap, RASTERBITMAP_SIZE, 10, 23, 24);
  EXPECT_EQ(kest::tiles::CreateTileTable(bitmap, 4, 6, 2, 1, 0), K_ERR_DISK_FULL);
  EXPECT_EQ(kest::testing::LiveTileMappings(), mappings) << "the memory tiles made went again";
  EXPECT_EQ(bitmap.BitmapData, nullptr);
  // With no headroom every tile would be on disk, and so would the bitmap.
  kest::GetThreadSettings().TiledBitmapsSize = 64;
  kest::GetThreadSettings().MemoryTiledThreshold = -100;
  EXPECT_EQ(K_AllocateBitmap(&bitmap, MEMORY_TYPE_CONV), K_ERR_NOMEMORY);
  EXPECT_EQ(bitmap.PaintLUT, nullptr);
  EXPECT_EQ(folder.CountFiles(), 1) << "only the plain file";
}

#if !defined(_WIN32)
int CountFilesIn(const std::string &path) {
  int count = 0;
  std::error_code error;
  for (auto it = std::filesystem::directory_iterator(path, error);
       !error && it != std::filesystem::directory_iterator(); it.increment(error)) {
    ++count;
  }
  return count;
}

// A child process in a mount namespace of its own, with a small file system
// made for the test at folder. Returns the child's report, or an empty one
// when the system lets no namespace be made. Only POSIX lets a test make
// such a file system; the Windows run covers a temporary directory that
// cannot hold files, above.
struct FullDiskReport {
  char made;  // 'y', or 'n' when no file system could be mounted
  int32_t readOnlyTable, readOnlyAllocation, fullTable, fullAllocation, inodesAllocation;
  uint32_t inodesFlags;
  int32_t leftBehind;
};

bool MountTmpfs(const std::string &folder, unsigned long flags, const char *options) {
  return mount("none", folder.c_str(), "tmpfs", flags, options) == 0;
}

bool OwnMountNamespace() {
  const uid_t uid = getuid();
  const gid_t gid = getgid();
  if (unshare(CLONE_NEWNS) != 0) {
    if (unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) return false;
    auto write = [](const char *path, const std::string &text) {
      const int fd = open(path, O_WRONLY);
      const bool done = fd >= 0 && ::write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size());
      if (fd >= 0) close(fd);
      return done;
    };
    write("/proc/self/setgroups", "deny");
    if (!write("/proc/self/uid_map", "0 " + std::to_string(uid) + " 1") ||
        !write("/proc/self/gid_map", "0 " + std::to_string(gid) + " 1")) {
      return false;
    }
  }
  // Nothing mounted here may reach the parent's namespace.
  return mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
}

FullDiskReport RunOnSmallFileSystems(const std::string &folder) {
  FullDiskReport report{'n', 0, 0, 0, 0, 0, 0, 0};
  if (!OwnMountNamespace()) return report;
  kest::GetThreadSettings().TiledBitmapsSize = 64;
  kest::GetThreadSettings().MemoryTiledThreshold = -100;  // no headroom: tiles on disk
  TempDirectorySetting temp(folder);
  RASTERBITMAP bitmap;
  K_InitBitmap(&bitmap, RASTERBITMAP_SIZE, 10, 23, 24);  // 6 tiles of 4 rows

  if (!MountTmpfs(folder, MS_RDONLY, "size=64k")) return report;
  report.readOnlyTable = kest::tiles::CreateTileTable(bitmap, 4, 6, 0, 1, 0);
  report.readOnlyAllocation = K_AllocateBitmap(&bitmap, MEMORY_TYPE_CONV);
  umount(folder.c_str());

  // Full: a filler file takes every block.
  if (!MountTmpfs(folder, 0, "size=64k")) return report;
  const int filler = open((folder + "filler").c_str(), O_CREAT | O_WRONLY, 0600);
  static const char block[4096] = {};
  while (write(filler, block, sizeof block) > 0) {
  }
  close(filler);
  report.fullTable = kest::tiles::CreateTileTable(bitmap, 4, 6, 0, 1, 0);
  report.fullAllocation = K_AllocateBitmap(&bitmap, MEMORY_TYPE_CONV);
  unlink((folder + "filler").c_str());
  report.leftBehind = CountFilesIn(folder);
  umount(folder.c_str());

  // Inodes for two open files: six tiles fail at the third, and the bitmap
  // falls to one disk file.
  if (!MountTmpfs(folder, 0, "size=64k,nr_inodes=3")) return report;
  report.inodesAllocation = K_AllocateBitmap(&bitmap, MEMORY_TYPE_CONV);
  report.inodesFlags = bitmap.BitmapFlags & 0xFFFF;
  K_FreeBitmap(&bitmap);
  report.leftBehind += CountFilesIn(folder);
  umount(folder.c_str());
  report.made = 'y';
  return report;
}

TEST(TileFiles, FullAndReadOnlyFileSystems) {
  TempFolder folder;
  int pipeEnds[2];
  ASSERT_EQ(pipe(pipeEnds), 0);
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    const FullDiskReport report = RunOnSmallFileSystems(folder.path());
    (void)!write(pipeEnds[1], &report, sizeof report);
    _exit(0);
  }
  FullDiskReport report{};
  const bool got = read(pipeEnds[0], &report, sizeof report) == sizeof report;
  waitpid(child, nullptr, 0);
  close(pipeEnds[0]);
  close(pipeEnds[1]);
  ASSERT_TRUE(got);
  if (report.made != 'y') GTEST_SKIP() << "no mount namespace for a small file system";
  EXPECT_EQ(report.readOnlyTable, K_ERR_DISK_FULL);
  EXPECT_EQ(report.readOnlyAllocation, K_ERR_NOMEMORY) << "no tiles and no disk";
  EXPECT_EQ(report.fullTable, K_ERR_DISK_FULL);
  EXPECT_EQ(report.fullAllocation, K_ERR_NOMEMORY);
  EXPECT_EQ(report.inodesAllocation, K_SUCCESS);
  EXPECT_EQ(report.inodesFlags, 0x5u) << "the tiles failed, the disk file did not";
  EXPECT_EQ(report.leftBehind, 0);
}

// The files of disk tiles are gone when the process is killed: POSIX
// unlinks them as they are made. Windows deletes them when a killed
// process's handles close, which only POSIX can prove here, by fork.
char WriteDiskTiles(const std::string &folder) {
  TempDirectorySetting temp(folder);
  kest::GetThreadSettings().TiledBitmapsSize = 4096;
  kest::GetThreadSettings().MemoryConventionalTile = 2;
  kest::GetThreadSettings().MaxConventionalSize = 1;
  RASTERBITMAP bitmap;
  K_InitBitmap(&bitmap, RASTERBITMAP_SIZE, 400, 100, 24);
  const bool onDisk = K_AllocateBitmap(&bitmap, MEMORY_TYPE_CONV) == K_SUCCESS &&
                      Table(bitmap).ConvTileCount < Table(bitmap).TileCount;
  std::vector<uint8_t> row(bitmap.BitmapBytesPerLine, 0x5A);
  for (int32_t r = 0; onDisk && r < 100; ++r) K_PutBitmapRow(&bitmap, row.data(), r, 1200);
  return onDisk ? 'y' : 'n';
}

TEST(TileFiles, AKilledProcessLeavesNone) {
  TempFolder folder;
  EXPECT_EQ(kest::test::ReportFromKilledChild(WriteDiskTiles, folder.path()), 'y');
  EXPECT_EQ(folder.CountFiles(), 0);
}
#endif

}  // namespace
