// Sequential row throughput of a tiled bitmap against a conventional one of
// the same size, in the same run: every row written, then every row read,
// 4096 x 4096 pixels at 24 bits (48 MiB). Tiled all in memory is the case
// that must stay close to conventional; tiled on disk with four views and a
// disk bitmap are shown beside them.
#include <benchmark/benchmark.h>

#include <cstring>
#include <string>
#include <vector>

#include "kestraster.h"

namespace {

constexpr int32_t kSide = 4096;

enum Kind : int64_t { kConventional, kTiledMemory, kTiledDisk, kDisk };

// Makes the bitmap under the thresholds that give its kind, and puts the
// thread's settings back afterwards.
class BenchBitmap {
 public:
  BenchBitmap(Kind kind, int32_t tileBytes) {
    K_GetMemoryThresholds(&saved_[0], &saved_[1], &saved_[2], &saved_[3], &saved_[4]);
    uint32_t type = MEMORY_TYPE_CONV;
    if (kind == kTiledMemory) K_SetMemoryThresholds(0, 1, tileBytes, -100, 1, MEMORY_ALL);
    if (kind == kTiledDisk) K_SetMemoryThresholds(0, 1, tileBytes, 4, 4, MEMORY_ALL);
    if (kind == kDisk) type = MEMORY_TYPE_DISK;
    ok_ = K_CreateBitmap(&bitmap_, RASTERBITMAP_SIZE, type, kSide, kSide, 24, 1, nullptr, 0,
                         nullptr, 0) == K_SUCCESS;
    uint32_t got = 0;
    K_GetBitmapMemoryInfo(&bitmap_, &got, nullptr, nullptr, nullptr, nullptr, nullptr);
    const uint32_t wanted = kind == kDisk ? MEMORY_TYPE_DISK
                            : kind == kConventional ? MEMORY_TYPE_CONV
                                                    : MEMORY_TYPE_TILED;
    ok_ = ok_ && got == wanted;
  }
  ~BenchBitmap() {
    K_FreeBitmap(&bitmap_);
    K_SetMemoryThresholds(saved_[0], saved_[1], saved_[2], saved_[3], saved_[4], MEMORY_ALL);
  }
  RASTERBITMAP *get() { return &bitmap_; }
  bool ok() const { return ok_; }

 private:
  RASTERBITMAP bitmap_{};
  int32_t saved_[5];
  bool ok_;
};

const char *KindName(int64_t kind) {
  switch (kind) {
    case kConventional: return "conventional";
    case kTiledMemory: return "tiled-memory";
    case kTiledDisk: return "tiled-disk-4-views";
    default: return "disk";
  }
}

void SequentialRows(benchmark::State &state, bool write) {
  const auto kind = static_cast<Kind>(state.range(0));
  const auto tileBytes = static_cast<int32_t>(state.range(1));
  BenchBitmap holder(kind, tileBytes);
  if (!holder.ok()) {
    state.SkipWithError("the bitmap did not get the memory kind asked for");
    return;
  }
  RASTERBITMAP *bitmap = holder.get();
  const uint32_t stride = bitmap->BitmapBytesPerLine;
  std::vector<uint8_t> row(stride, 0x5A);
  // The pixels exist before reading, and the first write's page faults do
  // not count against either kind.
  for (int32_t r = 0; r < kSide; ++r) K_PutBitmapRow(bitmap, row.data(), r, stride);
  for (auto _ : state) {
    for (int32_t r = 0; r < kSide; ++r) {
      if (write) K_PutBitmapRow(bitmap, row.data(), r, stride);
      else K_GetBitmapRow(bitmap, row.data(), r, stride);
    }
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * kSide);
  state.SetBytesProcessed(state.iterations() * kSide * int64_t{stride});
  state.SetLabel(std::string(KindName(kind)) + ", tiles of " + std::to_string(tileBytes >> 20) +
                 " MiB");
}

void BM_WriteRows(benchmark::State &state) { SequentialRows(state, true); }
void BM_ReadRows(benchmark::State &state) { SequentialRows(state, false); }

void Kinds(benchmark::internal::Benchmark *bench) {
  bench->Args({kConventional, 16 << 20});
  bench->Args({kTiledMemory, 16 << 20});
  bench->Args({kTiledMemory, 1 << 20});
  bench->Args({kTiledDisk, 1 << 20});  // 48 tiles, none in memory, 4 views
  bench->Args({kDisk, 16 << 20});
  bench->Unit(benchmark::kMillisecond);
}
BENCHMARK(BM_WriteRows)->Apply(Kinds);
BENCHMARK(BM_ReadRows)->Apply(Kinds);

// The physical limit the row copies are held against.
void BM_Memcpy(benchmark::State &state) {
  const size_t bytes = size_t{kSide} * kSide * 3;
  std::vector<uint8_t> from(bytes, 1), to(bytes, 0);
  for (auto _ : state) {
    std::memcpy(to.data(), from.data(), bytes);
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(bytes));
}
BENCHMARK(BM_Memcpy)->Unit(benchmark::kMillisecond);

}  // namespace
