// The bitmap life cycle: initialisation, the allocation decision, freeing,
// locking, user memory and height changes.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "core/bitmap.h"
#include "core/files.h"
#include "core/os/os.h"
#include "core/settings.h"
#include "kestraster.h"
#include "support/test_support.h"

#if !defined(_WIN32)
#  include <signal.h>
#  include <sys/wait.h>
#  include <unistd.h>
#endif

namespace {

using kest::test::FailingAllocation;
using kest::test::SettingsGuard;
using kest::test::TempDirectorySetting;
using kest::test::TempFolder;


RASTERBITMAP Fresh() {
  RASTERBITMAP bitmap;
  std::memset(&bitmap, 0xCD, sizeof bitmap);
  return bitmap;
}

bool OnlySizeSet(const RASTERBITMAP &bitmap) {
  RASTERBITMAP expected;
  std::memset(&expected, 0, sizeof expected);
  expected.RecordSize = RASTERBITMAP_SIZE;
  return std::memcmp(&bitmap, &expected, sizeof bitmap) == 0;
}

int64_t FileLength(int32_t file) {
  const int64_t here = kest::OsSeek64(file, 0, 1);
  const int64_t end = kest::OsSeek64(file, 0, 2);
  kest::OsSeek64(file, here, 0);
  return end;
}

TEST(InitBitmap, EmptyRecordAndRefusals) {
  RASTERBITMAP bitmap = Fresh();
  EXPECT_EQ(K_InitBitmap(nullptr, RASTERBITMAP_SIZE, 1, 1, 8), K_ERR_PARAMETER);
  EXPECT_EQ(K_InitBitmap(&bitmap, 164 + 4 * (RASTERBITMAP_SIZE != 164), 1, 1, 8), K_ERR_RECORD_SIZE);
  EXPECT_EQ(bitmap.RecordSize, 0xCDCDCDCDu) << "a refused size leaves the record alone";

  ASSERT_EQ(K_InitBitmap(&bitmap, RASTERBITMAP_SIZE, 0, 0, 0), K_SUCCESS);
  EXPECT_TRUE(OnlySizeSet(bitmap));
  EXPECT_EQ(K_AllocateBitmap(&bitmap, MEMORY_TYPE_CONV), K_ERR_WIDTH_HEIGHT);

  for (uint32_t bits : {0u, 9u, 10u, 11u, 13u, 15u, 17u, 31u, 40u, 65u}) {
    bitmap = Fresh();
    EXPECT_EQ(K_InitBitmap(&bitmap, RASTERBITMAP_SIZE, 10, 10, bits), K_ERR_BITS) << bits;
    EXPECT_TRUE(OnlySizeSet(bitmap)) << bits;
  }
}

TEST(InitBitmap, FieldsForEveryDepth) {
  struct Case {
    uint32_t bits;
    uint32_t order;
    int32_t colors;
    int32_t highBit;
  };
  const Case cases[] = {{1, 0, 2, 0},   {2, 0, 4, 1},   {3, 0, 8, 2},   {4, 0, 16, 3},
                        {5, 0, 32, 4},  {6, 0, 64, 5},  {7, 0, 128, 6}, {8, 0, 256, 7},
                        {12, 2, 0, 11}, {16, 1, 0, 15}, {24, 1, 0, 7},  {32, 1, 0, 7},
                        {48, 1, 0, 15}, {64, 1, 0, 15}};
  for (const Case &c : cases) {
    for (uint32_t width : {1u, 7u, 33u, 1000u}) {
      RASTERBITMAP bitmap = Fresh();
      ASSERT_EQ(K_InitBitmap(&bitmap, RASTERBITMAP_SIZE, width, 9, c.bits), K_SUCCESS);
      const uint32_t stride = ((c.bits * width + 31) >> 3) & 0x1FFFFFFC;
      EXPECT_EQ(bitmap.BitmapBytesPerLine, stride) << c.bits << "x" << width;
      EXPECT_EQ(bitmap.BitmapBytesPerLine % 4, 0u);
      EXPECT_EQ(bitmap.BitmapSize, size_t{stride} * 9);
      EXPECT_EQ(bitmap.ColorOrder, c.order) << c.bits;
      EXPECT_EQ(bitmap.ColorsCount, c.colors) << c.bits;
      EXPECT_EQ(bitmap.LevelHighBit, c.highBit) << c.bits;
      EXPECT_EQ(bitmap.DataHighBit, c.highBit) << c.bits;
      EXPECT_EQ(bitmap.ViewPerspective, 4u);
      EXPECT_EQ(bitmap.DitherMode, 7u);
      EXPECT_EQ(bitmap.BitmapXRes, 150);
      EXPECT_EQ(bitmap.PaintGamma, 100);
      EXPECT_EQ(bitmap.BitmapFlags, 0u);
      EXPECT_EQ(bitmap.Palette, nullptr);
    }
  }
}

TEST(InitBitmap, TakesTheThreadsDefaults) {
  SettingsGuard guard;
  kest::ThreadSettings &settings = kest::GetThreadSettings();
  settings.DefaultXRes = 300;
  settings.DefaultYRes = -5;
  settings.DefaultDither = 2;
  RASTERBITMAP bitmap;
  ASSERT_EQ(K_InitBitmap(&bitmap, RASTERBITMAP_SIZE, 4, 4, 24), K_SUCCESS);
  EXPECT_EQ(bitmap.BitmapXRes, 300);
  EXPECT_EQ(bitmap.BitmapYRes, 150) << "a value not above 0 gives 150";
  EXPECT_EQ(bitmap.DitherMode, 2u);
}

TEST(AllocateBitmap, AcceptedTypesAndTheKindTheyGive) {
  struct Case {
    uint32_t type;
    uint32_t bits;
    int32_t status;
    uint32_t flags;  // after success
  };
  const Case cases[] = {
      {0, 8, K_ERR_PARAMETER, 0},    {5, 8, K_ERR_PARAMETER, 0},
      {3, 8, K_ERR_PARAMETER, 0},    {512, 8, K_ERR_PARAMETER, 0},  // bare compressed at 8 bits
      {1024, 4, K_ERR_PARAMETER, 0}, {1, 8, K_SUCCESS, 0x3},
      {2, 8, K_SUCCESS, 0x403},      {4, 8, K_SUCCESS, 0x3},  // small bitmaps are never tiled
      {8, 8, K_SUCCESS, 0x3},        {9, 8, K_SUCCESS, 0x3},
      {128, 8, K_SUCCESS, 0x5},      {256, 8, K_SUCCESS, 0x3},
      {513, 8, K_SUCCESS, 0x3},      {768, 24, K_SUCCESS, 0x3},
      {1025, 4, K_SUCCESS, 0x3},     {1025, 16, K_SUCCESS, 0x3},
  };
  TempFolder folder;
  TempDirectorySetting temp(folder.path());
  for (const Case &c : cases) {
    RASTERBITMAP bitmap;
    ASSERT_EQ(K_InitBitmap(&bitmap, RASTERBITMAP_SIZE, 50, 20, c.bits), K_SUCCESS);
    bitmap.BitmapFlags = RBF_TRANSPARENT | RBF_SIGNED | RBF_LOCKED | RBF_GLOBAL_BLOCK;
    const int32_t status = K_AllocateBitmap(&bitmap, c.type);
    EXPECT_EQ(status, c.status) << "type " << c.type << " at " << c.bits << " bits";
    if (status == K_SUCCESS) {
      EXPECT_EQ(bitmap.BitmapFlags, c.flags | RBF_TRANSPARENT | RBF_SIGNED) << c.type;
      ASSERT_NE(bitmap.PaintLUT, nullptr);
      for (int i = 0; i < 256; ++i) ASSERT_EQ(bitmap.PaintLUT[i], i);
      K_FreeBitmap(&bitmap);
      EXPECT_EQ(bitmap.PaintLUT, nullptr);
    } else {
      EXPECT_EQ(bitmap.PaintLUT, nullptr);
      EXPECT_EQ(bitmap.BitmapFlags & RBF_ALLOCATED, 0u);
    }
  }
  EXPECT_EQ(folder.CountFiles(), 0) << "every disk bitmap took its file with it";
}

TEST(AllocateBitmap, LargeRequestsFollowTheThresholds) {
  SettingsGuard guard;
  TempFolder folder;
  TempDirectorySetting temp(folder.path());
  kest::ThreadSettings &settings = kest::GetThreadSettings();
  settings.TiledBitmapsSize = 4096;  // the size above which a bitmap may be tiled
  auto kindFor = [](uint32_t type) {
    RASTERBITMAP bitmap;
    K_InitBitmap(&bitmap, RASTERBITMAP_SIZE, 1000, 100, 8);  // 100,000 bytes
    const int32_t status = K_AllocateBitmap(&bitmap, type);
    const uint32_t flags = bitmap.BitmapFlags;
    K_FreeBitmap(&bitmap);
    return status == K_SUCCESS ? flags : 0u;
  };

  // No headroom at all: the totals themselves are the threshold. Tiles are
  // then asked for, on disk as memory has no room; without them the bitmap
  // ends on disk.
  settings.MemoryTiledThreshold = -100;
  EXPECT_EQ(kindFor(MEMORY_TYPE_CONV | MEMORY_TYPE_NOTILED), 0x5u) << "skips tiles, goes to disk";
  EXPECT_EQ(kindFor(MEMORY_TYPE_NODISK), 0x4003u) << "no longer exactly no-disk once marked for tiles";
  EXPECT_EQ(kindFor(MEMORY_TYPE_CONV), 0x4003u) << "conventional was not taken";

  // Room enough, but above the thread's conventional limit.
  settings.MemoryTiledThreshold = 0;
  settings.MaxConventionalSize = 50000;
  EXPECT_EQ(kindFor(MEMORY_TYPE_CONV | MEMORY_TYPE_NOTILED), 0x5u);
  settings.MaxConventionalSize = -100;  // all that is available
  EXPECT_EQ(kindFor(MEMORY_TYPE_CONV), 0x3u);
  settings.MaxConventionalSize = 0x7FFFFFFF;
  EXPECT_EQ(kindFor(MEMORY_TYPE_CONV), 0x3u);
  EXPECT_EQ(folder.CountFiles(), 0);
}

TEST(AllocateBitmap, NoDiskRequestWhoseMemoryFailsMakesNoFile) {
  TempFolder folder;
  TempDirectorySetting temp(folder.path());
  RASTERBITMAP bitmap;
  K_InitBitmap(&bitmap, RASTERBITMAP_SIZE, 64, 64, 8);
  {
    FailingAllocation fail(2);  // the table, then the pixel mapping
    EXPECT_EQ(K_AllocateBitmap(&bitmap, MEMORY_TYPE_NODISK), K_ERR_NOMEMORY);
  }
  EXPECT_EQ(bitmap.PaintLUT, nullptr);
  EXPECT_EQ(folder.CountFiles(), 0);
  {
    FailingAllocation fail(2);  // a plain request falls on to tiles on disk silently
    EXPECT_EQ(K_AllocateBitmap(&bitmap, MEMORY_TYPE_CONV), K_SUCCESS);
  }
  EXPECT_EQ(bitmap.BitmapFlags & 0xFFFF, 0x4003u);
  K_FreeBitmap(&bitmap);
  {
    FailingAllocation fail(2);  // and without tiles on to disk
    EXPECT_EQ(K_AllocateBitmap(&bitmap, MEMORY_TYPE_CONV | MEMORY_TYPE_NOTILED), K_SUCCESS);
  }
  EXPECT_EQ(bitmap.BitmapFlags & 0xFFFF, 0x5u);
  K_FreeBitmap(&bitmap);
}

TEST(AllocateBitmap, DiskFileHoldsEveryRowAndOneByteMore) {
  TempFolder folder;
  TempDirectorySetting temp(folder.path());
  RASTERBITMAP bitmap;
  K_InitBitmap(&bitmap, RASTERBITMAP_SIZE, 100, 30, 24);
  ASSERT_EQ(K_AllocateBitmap(&bitmap, MEMORY_TYPE_DISK), K_SUCCESS);
  EXPECT_EQ(bitmap.BitmapData, nullptr);
  EXPECT_EQ(FileLength(kest::DiskFile(bitmap)), static_cast<int64_t>(bitmap.BitmapSize) + 1);
  K_FreeBitmap(&bitmap);
  EXPECT_EQ(folder.CountFiles(), 0);
}

#if !defined(_WIN32)
// Windows deletes the file when the last handle closes, which a killed
// process's handles do too; the POSIX side unlinks at creation. Only POSIX
// can fork, so this proof is POSIX's.
char AllocateDiskBitmap(const std::string &folder) {
  TempDirectorySetting temp(folder);
  RASTERBITMAP bitmap;
  K_InitBitmap(&bitmap, RASTERBITMAP_SIZE, 4000, 1000, 24);
  return K_AllocateBitmap(&bitmap, MEMORY_TYPE_DISK) == K_SUCCESS ? 'y' : 'n';
}

TEST(AllocateBitmap, AKilledProcessLeavesNoDiskFile) {
  TempFolder folder;
  EXPECT_EQ(kest::test::ReportFromKilledChild(AllocateDiskBitmap, folder.path()), 'y');
  EXPECT_EQ(folder.CountFiles(), 0);
}
#endif

TEST(CreateBitmap, PalettesOrdersAndPerspectives) {
  RASTERBITMAP bitmap;
  ASSERT_EQ(K_CreateBitmap(&bitmap, RASTERBITMAP_SIZE, MEMORY_TYPE_CONV, 10, 10, 0, 0, nullptr, 0,
                           nullptr, 0), K_SUCCESS);
  EXPECT_EQ(bitmap.BitmapBits, 8);
  EXPECT_EQ(bitmap.ViewPerspective, 1u);
  ASSERT_NE(bitmap.Palette, nullptr);
  EXPECT_EQ(bitmap.Palette[200].rgbRed, 200);
  EXPECT_EQ(bitmap.Palette[200].rgbBlue, 200);
  K_FreeBitmap(&bitmap);

  RGBQUAD mine[16];
  for (int i = 0; i < 16; ++i) mine[i] = RGBQUAD{static_cast<BYTE>(i), 1, 2, 0};
  ASSERT_EQ(K_CreateBitmap(&bitmap, RASTERBITMAP_SIZE, MEMORY_TYPE_CONV, 10, 10, 4, 0, mine, 3,
                           nullptr, 0), K_SUCCESS);
  EXPECT_NE(bitmap.Palette, mine);
  EXPECT_EQ(bitmap.Palette[15].rgbBlue, 15);
  EXPECT_EQ(bitmap.ViewPerspective, 3u);
  K_FreeBitmap(&bitmap);

  ASSERT_EQ(K_CreateBitmap(&bitmap, RASTERBITMAP_SIZE, MEMORY_TYPE_CONV, 10, 10, 1, 0, nullptr, 0,
                           nullptr, 0), K_SUCCESS);
  ASSERT_NE(bitmap.Palette, nullptr);
  EXPECT_EQ(bitmap.Palette[1].rgbGreen, 0xFF) << "the fixed 1-bit palette";
  K_FreeBitmap(&bitmap);

  ASSERT_EQ(K_CreateBitmap(&bitmap, RASTERBITMAP_SIZE, MEMORY_TYPE_CONV, 10, 10, 48, 5, nullptr, 0,
                           nullptr, 0), K_SUCCESS);
  EXPECT_EQ(bitmap.ColorOrder, 5u);
  EXPECT_EQ(bitmap.Palette, nullptr);
  K_FreeBitmap(&bitmap);

  EXPECT_EQ(K_CreateBitmap(&bitmap, RASTERBITMAP_SIZE, MEMORY_TYPE_CONV, 10, 10, 8, 5, nullptr, 0,
                           nullptr, 0), K_ERR_BITS);
  EXPECT_EQ(bitmap.BitmapFlags & RBF_ALLOCATED, 0u);

  // A bad perspective is refused after allocation: the caller frees.
  EXPECT_EQ(K_CreateBitmap(&bitmap, RASTERBITMAP_SIZE, MEMORY_TYPE_CONV, 10, 10, 24, 1, nullptr, 9,
                           nullptr, 0), K_ERR_PARAMETER);
  EXPECT_NE(bitmap.BitmapFlags & RBF_ALLOCATED, 0u);
  K_FreeBitmap(&bitmap);
  EXPECT_EQ(K_CreateBitmap(nullptr, RASTERBITMAP_SIZE, 1, 1, 1, 8, 0, nullptr, 0, nullptr, 0),
            K_ERR_PARAMETER);
}

TEST(CreateBitmap, UserMemoryTakesTheCallersBlock) {
  std::vector<uint8_t> pixels(12 * 5, 0x5A);
  RASTERBITMAP bitmap;
  ASSERT_EQ(K_CreateBitmap(&bitmap, RASTERBITMAP_SIZE, MEMORY_TYPE_USER, 4, 5, 24, 1, nullptr, 0,
                           pixels.data(), static_cast<uint32_t>(pixels.size())), K_SUCCESS);
  EXPECT_EQ(bitmap.BitmapData, pixels.data());
  EXPECT_EQ(bitmap.BitmapFlags & 0xFFFF, 0x403u);
  K_FreeBitmap(&bitmap);
  EXPECT_EQ(bitmap.BitmapData, pixels.data()) << "the caller's pixels stay where they were";
  EXPECT_EQ(pixels[59], 0x5A);
  K_FreeBitmap(&bitmap);  // a second free is harmless

  EXPECT_EQ(K_CreateBitmap(&bitmap, RASTERBITMAP_SIZE, MEMORY_TYPE_USER, 4, 5, 24, 1, nullptr, 0,
                           pixels.data(), 59), K_ERR_PARAMETER);
  K_FreeBitmap(&bitmap);
}

TEST(CreateBitmap, EveryAllocationFailureIsReportedAndUndone) {
  TempFolder folder;
  TempDirectorySetting temp(folder.path());
  const int mappings = kest::testing::LiveConventionalMappings();
  for (int failAt = 1;; ++failAt) {
    RASTERBITMAP bitmap;
    int32_t status;
    int counted;
    {
      FailingAllocation fail(failAt);
      status = K_CreateBitmap(&bitmap, RASTERBITMAP_SIZE, MEMORY_TYPE_CONV, 33, 17, 8, 0, nullptr,
                              0, nullptr, 0);
      counted = kest::testing::AllocationsCounted();
    }
    if (status == K_SUCCESS) {
      // Only the pixel mapping may fail silently, by falling on to tiles or disk.
      EXPECT_NE(bitmap.BitmapFlags & (RBF_CONVENTIONAL | RBF_DISK), 0u);
      EXPECT_NE(bitmap.Palette, nullptr);
      K_FreeBitmap(&bitmap);
    } else {
      EXPECT_EQ(status, K_ERR_NOMEMORY) << "failing allocation " << failAt;
      EXPECT_EQ(bitmap.BitmapFlags & RBF_ALLOCATED, 0u);
      EXPECT_EQ(bitmap.PaintLUT, nullptr);
      EXPECT_EQ(bitmap.Palette, nullptr);
    }
    EXPECT_EQ(kest::testing::LiveConventionalMappings(), mappings);
    if (counted < failAt) break;  // the call made fewer allocations: all were tried
  }
  EXPECT_EQ(folder.CountFiles(), 0);
}

TEST(FreeBitmap, UnallocatedRecordKeepsItsLevelTable) {
  RASTERBITMAP bitmap;
  K_InitBitmap(&bitmap, RASTERBITMAP_SIZE, 8, 8, 16);
  bitmap.LevelLUT = static_cast<RGBQUAD *>(K_OsAlloc(16));
  bitmap.Palette = static_cast<RGBQUAD *>(K_OsAlloc(16));
  K_FreeBitmap(&bitmap);
  EXPECT_EQ(bitmap.Palette, nullptr);
  ASSERT_NE(bitmap.LevelLUT, nullptr);
  EXPECT_EQ(K_FreeGrayParams(&bitmap), K_SUCCESS);
  EXPECT_EQ(bitmap.LevelLUT, nullptr);
  EXPECT_EQ(K_FreeGrayParams(nullptr), K_ERR_PARAMETER);
  K_FreeBitmap(nullptr);
}

// A bitmap whose pixels are a global block, as one taken over from a packed
// bitmap would be.
RASTERBITMAP GlobalBlockBitmap(int32_t width, int32_t height) {
  RASTERBITMAP bitmap;
  K_InitBitmap(&bitmap, RASTERBITMAP_SIZE, width, height, 8);
  bitmap.MemoryHandle = kest::os::GlobalAlloc(kest::os::kGmemMoveable, bitmap.BitmapSize);
  bitmap.BitmapFlags = RBF_ALLOCATED | RBF_CONVENTIONAL | RBF_GLOBAL_BLOCK;
  return bitmap;
}

TEST(LockBitmap, OnlyTheOutermostPairActsAndOnlyOnGlobalBlocks) {
  RASTERBITMAP mapped;
  K_CreateBitmap(&mapped, RASTERBITMAP_SIZE, MEMORY_TYPE_CONV, 8, 8, 8, 0, nullptr, 0, nullptr, 0);
  void *data = mapped.BitmapData;
  EXPECT_EQ(K_LockBitmap(&mapped), 0);
  EXPECT_EQ(mapped.BitmapFlags & RBF_LOCKED, 0u) << "a mapped bitmap never locks";
  K_UnlockBitmap(&mapped, 0);
  EXPECT_EQ(mapped.BitmapData, data);
  K_FreeBitmap(&mapped);
  EXPECT_EQ(K_LockBitmap(nullptr), 0);

  RASTERBITMAP global = GlobalBlockBitmap(16, 4);
  EXPECT_EQ(K_LockBitmap(&global), 0);
  ASSERT_NE(global.BitmapData, nullptr);
  EXPECT_NE(global.BitmapFlags & RBF_LOCKED, 0u);
  EXPECT_EQ(K_LockBitmap(&global), 1) << "nested";
  K_UnlockBitmap(&global, 1);
  EXPECT_NE(global.BitmapData, nullptr) << "the inner unlock leaves the lock";
  std::memset(global.BitmapData, 0x42, global.BitmapSize);
  K_UnlockBitmap(&global, 0);
  EXPECT_EQ(global.BitmapData, nullptr);
  EXPECT_EQ(global.BitmapFlags & RBF_LOCKED, 0u);

  ASSERT_EQ(K_ChangeBitmapHeight(&global, 8), K_SUCCESS);
  {
    kest::BitmapLock lock(&global);
    auto *pixels = static_cast<uint8_t *>(global.BitmapData);
    ASSERT_NE(pixels, nullptr);
    EXPECT_EQ(pixels[63], 0x42) << "rows that stay keep their pixels";
    EXPECT_EQ(K_ChangeBitmapHeight(&global, 2), K_ERR_PARAMETER) << "not while locked";
  }
  K_FreeBitmap(&global);  // frees the block
}

TEST(SetBitmapDataPointer, ChecksInTheirOwnOrder) {
  uint8_t block[256];
  RASTERBITMAP bitmap;
  EXPECT_EQ(K_SetBitmapDataPointer(nullptr, block, 256), K_ERR_PARAMETER);
  K_CreateBitmap(&bitmap, RASTERBITMAP_SIZE, MEMORY_TYPE_CONV, 8, 8, 8, 0, nullptr, 0, nullptr, 0);
  EXPECT_EQ(K_SetBitmapDataPointer(&bitmap, block, 256), K_ERR_PARAMETER) << "not user memory";
  K_FreeBitmap(&bitmap);

  K_CreateBitmap(&bitmap, RASTERBITMAP_SIZE, MEMORY_TYPE_USER, 8, 8, 8, 0, nullptr, 0, nullptr, 0);
  bitmap.RecordSize = 1;
  EXPECT_EQ(K_SetBitmapDataPointer(&bitmap, block, 63), K_ERR_PARAMETER) << "size before record";
  EXPECT_EQ(K_SetBitmapDataPointer(&bitmap, block, 64), K_ERR_RECORD_SIZE);
  bitmap.RecordSize = RASTERBITMAP_SIZE;
  EXPECT_EQ(K_SetBitmapDataPointer(&bitmap, block, 64), K_SUCCESS);
  EXPECT_EQ(bitmap.BitmapData, block);
  EXPECT_EQ(K_SetBitmapDataPointer(&bitmap, nullptr, 0), K_SUCCESS);
  EXPECT_EQ(bitmap.BitmapData, nullptr);
  K_FreeBitmap(&bitmap);
}

TEST(ChangeBitmapHeight, KeepsRowsForEveryLinearKind) {
  TempFolder folder;
  TempDirectorySetting temp(folder.path());
  EXPECT_EQ(K_ChangeBitmapHeight(nullptr, 3), K_ERR_BITMAP);
  for (uint32_t type : {MEMORY_TYPE_CONV, MEMORY_TYPE_DISK}) {
    RASTERBITMAP bitmap;
    ASSERT_EQ(K_CreateBitmap(&bitmap, RASTERBITMAP_SIZE, type, 10, 6, 24, 1, nullptr, 0, nullptr,
                             0), K_SUCCESS);
    const uint32_t stride = bitmap.BitmapBytesPerLine;
    std::vector<uint8_t> row(stride);
    for (uint32_t r = 0; r < 6; ++r) {
      std::fill(row.begin(), row.end(), static_cast<uint8_t>(r + 1));
      ASSERT_EQ(K_PutBitmapRow(&bitmap, row.data(), r, stride), static_cast<int32_t>(stride));
    }
    EXPECT_EQ(K_ChangeBitmapHeight(&bitmap, 6), K_SUCCESS);
    ASSERT_EQ(K_ChangeBitmapHeight(&bitmap, 11), K_SUCCESS) << type;
    EXPECT_EQ(bitmap.BitmapHeight, 11);
    EXPECT_EQ(bitmap.RowCursorRow, 0u);
    EXPECT_EQ(bitmap.RowCursorOffset, 0u);
    EXPECT_EQ(bitmap.BitmapSize, size_t{stride} * 11 + bitmap.AlignmentSlack);
    ASSERT_EQ(K_ChangeBitmapHeight(&bitmap, 4), K_SUCCESS);
    for (uint32_t r = 0; r < 4; ++r) {
      ASSERT_EQ(K_GetBitmapRow(&bitmap, row.data(), r, stride), static_cast<int32_t>(stride));
      EXPECT_EQ(row[stride - 1], r + 1) << type << " row " << r;
    }
    if (type == MEMORY_TYPE_DISK) {
      EXPECT_EQ(FileLength(kest::DiskFile(bitmap)), static_cast<int64_t>(stride) * 4);
    }
    EXPECT_EQ(K_UpdateBitmapSize(&bitmap), K_SUCCESS);
    EXPECT_EQ(bitmap.BitmapSize, size_t{stride} * 4);
    K_FreeBitmap(&bitmap);
    EXPECT_EQ(K_UpdateBitmapSize(&bitmap), K_ERR_BITMAP);
  }

  RASTERBITMAP user;
  K_CreateBitmap(&user, RASTERBITMAP_SIZE, MEMORY_TYPE_USER, 8, 8, 8, 0, nullptr, 0, nullptr, 0);
  EXPECT_EQ(K_ChangeBitmapHeight(&user, 8), K_ERR_PARAMETER) << "user memory is refused first";
  user.RecordSize = 0;
  EXPECT_EQ(K_ChangeBitmapHeight(&user, 8), K_ERR_RECORD_SIZE);
  user.RecordSize = RASTERBITMAP_SIZE;
  K_FreeBitmap(&user);
}

}  // namespace
