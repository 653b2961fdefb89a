// Copies between every pair of memory kinds: conventional, user, disk,
// tiled, run-compressed (1 bit) and super-compressed (1, 8, 24 bits). Every
// row of the destination must equal the source's.
#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "core/settings.h"
#include "kestraster.h"
#include "support/test_support.h"

namespace {

using kest::test::TempDirectorySetting;
using kest::test::TempFolder;

enum class Kind { Conventional, User, Disk, Tiled, Compressed, Super };

const char *Name(Kind kind) {
  switch (kind) {
    case Kind::Conventional: return "conventional";
    case Kind::User: return "user";
    case Kind::Disk: return "disk";
    case Kind::Tiled: return "tiled";
    case Kind::Compressed: return "compressed";
    case Kind::Super: return "super-compressed";
  }
  return "?";
}

uint32_t TypeOf(Kind kind) {
  switch (kind) {
    case Kind::User: return MEMORY_TYPE_USER;
    case Kind::Disk: return MEMORY_TYPE_DISK;
    case Kind::Compressed: return MEMORY_TYPE_COMPRESSED;
    case Kind::Super: return MEMORY_TYPE_SUPERCOMPRESSED;
    default: return MEMORY_TYPE_CONV;  // tiled by the thresholds set below
  }
}

uint32_t FlagOf(Kind kind) {
  switch (kind) {
    case Kind::User: return RBF_USER;
    case Kind::Disk: return RBF_DISK;
    case Kind::Tiled: return RBF_TILED;
    case Kind::Compressed: return RBF_COMPRESSED;
    case Kind::Super: return RBF_SUPERCOMPRESSED;
    default: return RBF_CONVENTIONAL;
  }
}

// A bitmap of one kind; user memory brings its own block.
struct KindBitmap {
  RASTERBITMAP bitmap{};
  std::vector<uint8_t> user;
  KindBitmap(Kind kind, int32_t width, int32_t height, int32_t bits) {
    if (kind == Kind::User) {
      K_InitBitmap(&bitmap, RASTERBITMAP_SIZE, width, height, bits);
      user.assign(bitmap.BitmapSize, 0);
    }
    const int32_t status = K_CreateBitmap(&bitmap, RASTERBITMAP_SIZE, TypeOf(kind), width, height,
                                          bits, 1, nullptr, 0, user.empty() ? nullptr : user.data(),
                                          static_cast<uint32_t>(user.size()));
    EXPECT_EQ(status, K_SUCCESS) << Name(kind) << " at " << bits;
    EXPECT_NE(bitmap.BitmapFlags & FlagOf(kind), 0u) << Name(kind) << " at " << bits;
  }
  ~KindBitmap() { K_FreeBitmap(&bitmap); }
};

std::vector<uint8_t> RandomRow(std::mt19937 &random, uint32_t stride, int32_t width, int32_t bits) {
  std::vector<uint8_t> row(stride, 0);
  const size_t used = (static_cast<size_t>(width) * bits + 7) / 8;
  // Runs of equal bytes as well as noise, so run lists get long and short runs.
  for (size_t i = 0; i < used; ++i) row[i] = (random() % 3 == 0) ? 0xFF : static_cast<uint8_t>(random());
  if (bits * width % 8 != 0) row[used - 1] &= static_cast<uint8_t>(0xFF << (8 - bits * width % 8));
  return row;
}

TEST(CopyMatrix, EveryKindToEveryKindKeepsEveryRow) {
  TempFolder folder;
  TempDirectorySetting temp(folder.path());
  kest::ThreadSettings &settings = kest::GetThreadSettings();
  const kest::ThreadSettings saved = settings;
  // Small tiles and no headroom: every bitmap above 4 KiB that may be tiled is.
  settings.TiledBitmapsSize = 4096;
  settings.MemoryTiledThreshold = -100;
  settings.MemoryConventionalTile = 1;

  struct Depth {
    int32_t bits;
    std::vector<Kind> kinds;
  };
  const Depth depths[] = {
      {1, {Kind::Conventional, Kind::User, Kind::Disk, Kind::Tiled, Kind::Compressed, Kind::Super}},
      {8, {Kind::Conventional, Kind::User, Kind::Disk, Kind::Tiled, Kind::Super}},
      {24, {Kind::Conventional, Kind::User, Kind::Disk, Kind::Tiled, Kind::Super}},
  };
  std::mt19937 random(12);
  for (const Depth &depth : depths) {
    const int32_t width = depth.bits == 1 ? 2000 : 300, height = 45;
    for (Kind from : depth.kinds) {
      KindBitmap source(from, width, height, depth.bits);
      const uint32_t stride = source.bitmap.BitmapBytesPerLine;
      std::vector<std::vector<uint8_t>> rows;
      for (int32_t r = 0; r < height; ++r) {
        rows.push_back(RandomRow(random, stride, width, depth.bits));
        K_PutBitmapRow(&source.bitmap, rows.back().data(), r, stride);
      }
      for (Kind to : depth.kinds) {
        KindBitmap target(to, width, height, depth.bits);
        ASSERT_EQ(K_CopyBitmapData(&target.bitmap, &source.bitmap), K_SUCCESS)
            << Name(from) << " to " << Name(to);
        std::vector<uint8_t> got(stride);
        for (int32_t r = 0; r < height; ++r) {
          K_GetBitmapRow(&target.bitmap, got.data(), r, stride);
          ASSERT_EQ(got, rows[r]) << depth.bits << " bits, " << Name(from) << " to " << Name(to)
                                  << ", row " << r;
        }
      }
      // And a whole copy keeps the kind (user memory becomes conventional).
      RASTERBITMAP copy;
      ASSERT_EQ(K_CopyBitmap(&copy, &source.bitmap, RASTERBITMAP_SIZE), K_SUCCESS) << Name(from);
      std::vector<uint8_t> got(stride);
      for (int32_t r = 0; r < height; ++r) {
        K_GetBitmapRow(&copy, got.data(), r, stride);
        ASSERT_EQ(got, rows[r]) << "copy of " << Name(from) << ", row " << r;
      }
      K_FreeBitmap(&copy);
    }
  }
  settings = saved;
  EXPECT_EQ(folder.CountFiles(), 0);
}

}  // namespace
