// Copying: K_CopyBitmap of an 8192 x 8192 x 24-bit conventional bitmap
// against memcpy of its bytes; K_CopyBitmapRect of a 1-bit bitmap at an odd
// bit phase, which shifts every row; K_GetPixelColor over a whole 24-bit
// bitmap, in calls per second.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <cstring>
#include <vector>

#include "kestraster.h"

namespace {

struct Source {
  RASTERBITMAP bitmap{};
  Source(int32_t width, int32_t height, int32_t bits) {
    K_CreateBitmap(&bitmap, RASTERBITMAP_SIZE, MEMORY_TYPE_CONV, width, height, bits, 1, nullptr, 0,
                   nullptr, 0);
    std::vector<uint8_t> row(bitmap.BitmapBytesPerLine);
    for (int32_t r = 0; r < height; ++r) {
      for (size_t i = 0; i < row.size(); ++i) row[i] = static_cast<uint8_t>(i * 7 + r);
      K_PutBitmapRow(&bitmap, row.data(), r, bitmap.BitmapBytesPerLine);
    }
  }
  ~Source() { K_FreeBitmap(&bitmap); }
};

void BM_MemcpyWholeBitmap(benchmark::State &state) {
  static Source source(8192, 8192, 24);
  std::vector<uint8_t> target(source.bitmap.BitmapSize);
  for (auto _ : state) {
    std::memcpy(target.data(), source.bitmap.BitmapData, source.bitmap.BitmapSize);
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * source.bitmap.BitmapSize));
}
BENCHMARK(BM_MemcpyWholeBitmap)->Unit(benchmark::kMillisecond);

// The same bytes into memory taken fresh for each copy, as a copy must.
void BM_MemcpyIntoFreshMemory(benchmark::State &state) {
  static Source source(8192, 8192, 24);
  for (auto _ : state) {
    void *target = std::malloc(source.bitmap.BitmapSize);
    std::memcpy(target, source.bitmap.BitmapData, source.bitmap.BitmapSize);
    benchmark::DoNotOptimize(target);
    std::free(target);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * source.bitmap.BitmapSize));
}
BENCHMARK(BM_MemcpyIntoFreshMemory)->Unit(benchmark::kMillisecond);

// The copy includes allocating and freeing the new bitmap, as a caller's
// copy does; memcpy above writes into memory it already has.
void BM_CopyBitmap(benchmark::State &state) {
  static Source source(8192, 8192, 24);
  for (auto _ : state) {
    RASTERBITMAP copy;
    benchmark::DoNotOptimize(K_CopyBitmap(&copy, &source.bitmap, RASTERBITMAP_SIZE));
    K_FreeBitmap(&copy);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * source.bitmap.BitmapSize));
}
BENCHMARK(BM_CopyBitmap)->Unit(benchmark::kMillisecond);

// The data copy alone, into a bitmap allocated once.
void BM_CopyBitmapData(benchmark::State &state) {
  static Source source(8192, 8192, 24);
  RASTERBITMAP target;
  K_CreateBitmap(&target, RASTERBITMAP_SIZE, MEMORY_TYPE_CONV, 8192, 8192, 24, 1, nullptr, 0, nullptr, 0);
  for (auto _ : state) benchmark::DoNotOptimize(K_CopyBitmapData(&target, &source.bitmap));
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * source.bitmap.BitmapSize));
  K_FreeBitmap(&target);
}
BENCHMARK(BM_CopyBitmapData)->Unit(benchmark::kMillisecond);

// From column 3 to column 0: every row shifts by three bits.
void BM_CopyBitmapRectOddPhase1Bit(benchmark::State &state) {
  static Source source(32768, 8192, 1);
  const int32_t width = 32768 - 3;
  for (auto _ : state) {
    RASTERBITMAP copy;
    benchmark::DoNotOptimize(K_CopyBitmapRect(&copy, &source.bitmap, RASTERBITMAP_SIZE, 3, 0, width, 8192));
    K_FreeBitmap(&copy);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * (32768 / 8) * 8192);
}
BENCHMARK(BM_CopyBitmapRectOddPhase1Bit)->Unit(benchmark::kMillisecond);

void BM_GetPixelColor24(benchmark::State &state) {
  static Source source(1024, 1024, 24);
  for (auto _ : state) {
    uint32_t sum = 0;
    for (int32_t y = 0; y < 1024; ++y) {
      for (int32_t x = 0; x < 1024; ++x) sum += K_GetPixelColor(&source.bitmap, y, x);
    }
    benchmark::DoNotOptimize(sum);
  }
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * 1024 * 1024);
}
BENCHMARK(BM_GetPixelColor24)->Unit(benchmark::kMillisecond);

}  // namespace
