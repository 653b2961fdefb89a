// Row access on a conventional 8192 x 8192 x 24-bit bitmap against memcpy
// of the same bytes: full-row get and put, scans from the top and from the
// bottom, and row segments with ten spans a row. Also a 2 GiB disk bitmap
// written and read row by row, with the resident memory it took.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "kestraster.h"

namespace {

constexpr int32_t kSide = 8192;

struct BigBitmap {
  RASTERBITMAP bitmap{};
  std::vector<uint8_t> row;
  BigBitmap() {
    K_CreateBitmap(&bitmap, RASTERBITMAP_SIZE, MEMORY_TYPE_CONV, kSide, kSide, 24, 1, nullptr, 0,
                   nullptr, 0);
    row.assign(bitmap.BitmapBytesPerLine, 0x5A);
    for (int32_t r = 0; r < kSide; ++r) K_PutBitmapRow(&bitmap, row.data(), r, bitmap.BitmapBytesPerLine);
  }
  ~BigBitmap() { K_FreeBitmap(&bitmap); }
};

BigBitmap &Shared() {
  static BigBitmap big;
  return big;
}

void Finish(benchmark::State &state, size_t bytesPerIteration) {
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) *
                          static_cast<int64_t>(bytesPerIteration));
}

// The physical limit: the same rows copied by memcpy out of the same pixels.
void BM_MemcpyRows(benchmark::State &state) {
  BigBitmap &big = Shared();
  const uint32_t stride = big.bitmap.BitmapBytesPerLine;
  const auto *pixels = static_cast<const uint8_t *>(big.bitmap.BitmapData);
  for (auto _ : state) {
    for (int32_t r = 0; r < kSide; ++r) {
      std::memcpy(big.row.data(), pixels + size_t{stride} * r, stride);
      benchmark::ClobberMemory();
    }
  }
  Finish(state, size_t{stride} * kSide);
}
BENCHMARK(BM_MemcpyRows)->Unit(benchmark::kMillisecond);

void BM_GetRowsTopDown(benchmark::State &state) {
  BigBitmap &big = Shared();
  const uint32_t stride = big.bitmap.BitmapBytesPerLine;
  for (auto _ : state) {
    for (int32_t r = 0; r < kSide; ++r) {
      benchmark::DoNotOptimize(K_GetBitmapRow(&big.bitmap, big.row.data(), r, stride));
      benchmark::ClobberMemory();
    }
  }
  Finish(state, size_t{stride} * kSide);
}
BENCHMARK(BM_GetRowsTopDown)->Unit(benchmark::kMillisecond);

void BM_GetRowsBottomUp(benchmark::State &state) {
  BigBitmap &big = Shared();
  const uint32_t stride = big.bitmap.BitmapBytesPerLine;
  for (auto _ : state) {
    for (int32_t r = kSide - 1; r >= 0; --r) {
      benchmark::DoNotOptimize(K_GetBitmapRow(&big.bitmap, big.row.data(), r, stride));
      benchmark::ClobberMemory();
    }
  }
  Finish(state, size_t{stride} * kSide);
}
BENCHMARK(BM_GetRowsBottomUp)->Unit(benchmark::kMillisecond);

void BM_PutRows(benchmark::State &state) {
  BigBitmap &big = Shared();
  const uint32_t stride = big.bitmap.BitmapBytesPerLine;
  for (auto _ : state) {
    for (int32_t r = 0; r < kSide; ++r) {
      benchmark::DoNotOptimize(K_PutBitmapRow(&big.bitmap, big.row.data(), r, stride));
    }
    benchmark::ClobberMemory();
  }
  Finish(state, size_t{stride} * kSide);
}
BENCHMARK(BM_PutRows)->Unit(benchmark::kMillisecond);

void BM_MemcpyIntoRows(benchmark::State &state) {
  BigBitmap &big = Shared();
  const uint32_t stride = big.bitmap.BitmapBytesPerLine;
  auto *pixels = static_cast<uint8_t *>(big.bitmap.BitmapData);
  for (auto _ : state) {
    for (int32_t r = 0; r < kSide; ++r) std::memcpy(pixels + size_t{stride} * r, big.row.data(), stride);
    benchmark::ClobberMemory();
  }
  Finish(state, size_t{stride} * kSide);
}
BENCHMARK(BM_MemcpyIntoRows)->Unit(benchmark::kMillisecond);

// Ten spans a row, as a region of ten stripes gives.
void BM_PutRowSegmentsTenSpans(benchmark::State &state) {
  BigBitmap &big = Shared();
  uint32_t spans[20];
  for (int i = 0; i < 10; ++i) {
    spans[2 * i] = static_cast<uint32_t>(i * kSide / 10 + 7);
    spans[2 * i + 1] = static_cast<uint32_t>(i * kSide / 10 + kSide / 20);
  }
  size_t pixels = 0;
  for (int i = 0; i < 10; ++i) pixels += spans[2 * i + 1] - spans[2 * i];
  for (auto _ : state) {
    for (int32_t r = 0; r < kSide; ++r) {
      benchmark::DoNotOptimize(K_PutBitmapRowSegments(&big.bitmap, big.row.data(), r, 0, spans, 20, 0));
    }
    benchmark::ClobberMemory();
  }
  Finish(state, pixels * 3 * kSide);
}
BENCHMARK(BM_PutRowSegmentsTenSpans)->Unit(benchmark::kMillisecond);

size_t ResidentKib(const char *key) {
  FILE *status = std::fopen("/proc/self/status", "r");
  if (status == nullptr) return 0;
  char line[256];
  size_t kib = 0;
  while (std::fgets(line, sizeof line, status) != nullptr) {
    if (std::strncmp(line, key, std::strlen(key)) == 0) kib = std::strtoull(line + std::strlen(key), nullptr, 10);
  }
  std::fclose(status);
  return kib;
}

// A 2 GiB disk bitmap written and read row by row; the counters give the
// growth of resident memory over the run.
void BM_DiskBitmap2GiB(benchmark::State &state) {
  constexpr int32_t kWidth = 16384, kHeight = 43691;
  for (auto _ : state) {
    RASTERBITMAP bitmap;
    if (K_CreateBitmap(&bitmap, RASTERBITMAP_SIZE, MEMORY_TYPE_DISK, kWidth, kHeight, 24, 1, nullptr,
                       0, nullptr, 0) != K_SUCCESS) {
      state.SkipWithError("no room for a 2 GiB disk bitmap");
      return;
    }
    const uint32_t stride = bitmap.BitmapBytesPerLine;
    std::vector<uint8_t> row(stride, 0x33);
    const size_t before = ResidentKib("VmRSS:");
    for (int32_t r = 0; r < kHeight; ++r) K_PutBitmapRow(&bitmap, row.data(), r, stride);
    for (int32_t r = 0; r < kHeight; ++r) K_GetBitmapRow(&bitmap, row.data(), r, stride);
    const size_t after = ResidentKib("VmRSS:");
    K_FreeBitmap(&bitmap);
    state.counters["rss_growth_MiB"] = static_cast<double>(after > before ? after - before : 0) / 1024;
    state.counters["rss_MiB"] = static_cast<double>(after) / 1024;
    state.SetBytesProcessed(2 * int64_t{stride} * kHeight);
  }
}
BENCHMARK(BM_DiskBitmap2GiB)->Iterations(1)->Unit(benchmark::kSecond);

}  // namespace
