// Threads each with their own settings and bitmaps: every setting is per
// thread, and the shared structures (slots, blocks, the dispatch table) are
// safe to reach from several threads. Run under ThreadSanitizer with
// `make tsan`.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "core/settings.h"
#include "kestraster.h"

namespace {

void Worker(int32_t resolution, std::atomic<int> &failures) {
  kest::ThreadSettings &settings = kest::GetThreadSettings();
  settings.DefaultXRes = resolution;
  for (int round = 0; round < 200; ++round) {
    RASTERBITMAP bitmap;
    if (K_CreateBitmap(&bitmap, RASTERBITMAP_SIZE, MEMORY_TYPE_CONV, 64, 16, 24, 1, nullptr, 0,
                       nullptr, 0) != K_SUCCESS) {
      ++failures;
      continue;
    }
    std::vector<uint8_t> row(bitmap.BitmapBytesPerLine, static_cast<uint8_t>(resolution + round));
    for (int32_t r = 0; r < 16; ++r) K_PutBitmapRow(&bitmap, row.data(), r, bitmap.BitmapBytesPerLine);
    std::vector<uint8_t> back(row.size());
    for (int32_t r = 0; r < 16; ++r) {
      K_GetBitmapRow(&bitmap, back.data(), r, bitmap.BitmapBytesPerLine);
      if (back != row) ++failures;
    }
    if (bitmap.BitmapXRes != resolution || kest::GetThreadSettings().DefaultXRes != resolution) {
      ++failures;
    }
    K_FreeBitmap(&bitmap);
  }
}

TEST(Threads, EachThreadKeepsItsSettingsAndBitmaps) {
  std::atomic<int> failures{0};
  kest::GetThreadSettings();
  const int before = kest::testing::ThreadBlocksAlive();
  std::thread first(Worker, 72, std::ref(failures));
  std::thread second(Worker, 96, std::ref(failures));
  first.join();
  second.join();
  EXPECT_EQ(failures.load(), 0);
  EXPECT_EQ(kest::GetThreadSettings().DefaultXRes, 150) << "this thread's settings are its own";
  // Blocks live until the process ends, as thread ends do not reach the
  // library.
  EXPECT_EQ(kest::testing::ThreadBlocksAlive(), before + 2);
}

}  // namespace
