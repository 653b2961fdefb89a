// Compressed rows: runs of a scanned page (compress and expand, as buffers
// and through a run-compressed bitmap), and sequential row reads of
// super-compressed 8 and 24-bit photographs against conventional memory,
// with memcpy of the same bytes as the physical limit.
//
// Counters: items are pixels; bytes are the plain row bytes moved (1 bit
// a pixel on the page), so bytes_per_second of the page is unpacked bits
// over 8; "ratio" is plain size over stored size.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <memory>
#include <random>
#include <vector>

#include "kestraster.h"

namespace {

constexpr uint32_t kPageWidth = 5100, kPageHeight = 6600;  // letter at 600 dpi
constexpr uint32_t kPhotoWidth = 3000, kPhotoHeight = 2000;

size_t Stride(uint32_t bits, uint32_t width) { return ((uint64_t{bits} * width + 31) >> 3) & ~uint64_t{3}; }

void SetPixel(std::vector<uint8_t> &page, size_t stride, uint32_t x, uint32_t y) {
  page[y * stride + (x >> 3)] |= static_cast<uint8_t>(0x80 >> (x & 7));
}

// A page of 12-point text as a 600 dpi scan gives it: lines every 120 rows
// (a sixth of an inch and a little), words of 2 to 9 glyphs 48 pixels
// apart, each glyph a few strokes 7 to 9 pixels thick (stems, bars, a
// bowl) in a box of 42 by 64, inside one-inch margins.
const std::vector<uint8_t> &Page() {
  static const std::vector<uint8_t> page = [] {
    const size_t stride = Stride(1, kPageWidth);
    std::vector<uint8_t> bits(stride * kPageHeight, 0);
    std::mt19937 random(17);
    const uint32_t margin = 600, advance = 48, boxWidth = 42, boxHeight = 64, lineStep = 120;
    for (uint32_t top = margin; top + boxHeight < kPageHeight - margin; top += lineStep) {
      uint32_t x = margin;
      while (x + advance < kPageWidth - margin) {
        const uint32_t letters = 2 + random() % 8;
        for (uint32_t letter = 0; letter < letters && x + advance < kPageWidth - margin; ++letter) {
          const uint32_t strokes = 2 + random() % 3;
          for (uint32_t s = 0; s < strokes; ++s) {
            const uint32_t kind = random() % 3, thick = 7 + random() % 3;
            const uint32_t at = random() % (boxWidth - thick);
            for (uint32_t v = 0; v < boxHeight; ++v) {
              for (uint32_t u = 0; u < boxWidth; ++u) {
                bool ink = false;
                if (kind == 0) ink = u >= at && u < at + thick;                    // stem
                if (kind == 1) ink = v >= at && v < at + thick;                    // bar
                if (kind == 2) {                                                   // bowl
                  const int dx = static_cast<int>(u) - 21, dy = static_cast<int>(v) - 42;
                  const int inner = 20 - static_cast<int>(thick), r2 = dx * dx + dy * dy;
                  ink = r2 >= inner * inner && r2 < 20 * 20;
                }
                if (ink) SetPixel(bits, stride, x + u, top + v);
              }
            }
          }
          x += advance;
        }
        x += advance;  // the space between words
      }
    }
    return bits;
  }();
  return page;
}

std::vector<uint8_t> PackedPage(size_t &bytes) {
  std::vector<uint8_t> packed(kPageHeight * (4 + 2 * (kPageWidth + 1)));
  K_CompressRows(packed.data(), const_cast<uint8_t *>(Page().data()), kPageWidth, kPageHeight);
  const uint8_t *row = packed.data();
  for (uint32_t y = 0; y < kPageHeight; ++y) {
    uint32_t count;
    std::memcpy(&count, row, 4);
    row += 4 + 2 * size_t{count};
  }
  bytes = static_cast<size_t>(row - packed.data());
  return packed;
}

void PageCounters(benchmark::State &state, size_t packedBytes) {
  const size_t plain = Stride(1, kPageWidth) * kPageHeight;
  state.SetItemsProcessed(int64_t{state.iterations()} * kPageWidth * kPageHeight);
  state.SetBytesProcessed(int64_t{state.iterations()} * static_cast<int64_t>(plain));
  state.counters["ratio"] = static_cast<double>(plain) / static_cast<double>(packedBytes);
}

void BM_CompressPage(benchmark::State &state) {
  size_t bytes = 0;
  std::vector<uint8_t> packed = PackedPage(bytes);
  for (auto _ : state) {
    K_CompressRows(packed.data(), const_cast<uint8_t *>(Page().data()), kPageWidth, kPageHeight);
    benchmark::DoNotOptimize(packed.data());
  }
  PageCounters(state, bytes);
}
BENCHMARK(BM_CompressPage)->Unit(benchmark::kMillisecond);

void BM_ExpandPage(benchmark::State &state) {
  size_t bytes = 0;
  std::vector<uint8_t> packed = PackedPage(bytes);
  std::vector<uint8_t> out(Page().size());
  for (auto _ : state) {
    K_ExpandRows(packed.data(), out.data(), kPageWidth, kPageHeight);
    benchmark::DoNotOptimize(out.data());
  }
  PageCounters(state, bytes);
}
BENCHMARK(BM_ExpandPage)->Unit(benchmark::kMillisecond);

// The page written row by row into a run-compressed bitmap, then read
// back: the row calls with the heap behind them.
void BM_PageRowsCompressedBitmap(benchmark::State &state) {
  const bool write = state.range(0) != 0;
  const size_t stride = Stride(1, kPageWidth);
  RASTERBITMAP bitmap{};
  K_CreateBitmap(&bitmap, RASTERBITMAP_SIZE, MEMORY_TYPE_COMPRESSED, kPageWidth, kPageHeight, 1, 0,
                 nullptr, 0, nullptr, 0);
  auto *page = const_cast<uint8_t *>(Page().data());
  for (uint32_t y = 0; y < kPageHeight; ++y) K_PutBitmapRow(&bitmap, page + y * stride, y, stride);
  std::vector<uint8_t> row(stride);
  for (auto _ : state) {
    for (uint32_t y = 0; y < kPageHeight; ++y) {
      if (write) K_PutBitmapRow(&bitmap, page + y * stride, y, stride);
      else K_GetBitmapRow(&bitmap, row.data(), y, stride);
    }
    benchmark::DoNotOptimize(row.data());
  }
  K_UpdateBitmapSize(&bitmap);  // runs, two bytes each
  PageCounters(state, 2 * bitmap.BitmapSize + 8 * kPageHeight);
  K_FreeBitmap(&bitmap);
}
BENCHMARK(BM_PageRowsCompressedBitmap)->ArgName("write")->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

// A photograph: smooth gradients in each channel with a little noise of the
// sensor (Gaussian, sigma 2 levels).
std::vector<uint8_t> PhotoRow(uint32_t bits, uint32_t y, std::mt19937 &random) {
  std::normal_distribution<double> noise(0.0, 2.0);
  const uint32_t channels = bits / 8;
  std::vector<uint8_t> row(Stride(bits, kPhotoWidth), 0);
  for (uint32_t x = 0; x < kPhotoWidth; ++x) {
    for (uint32_t c = 0; c < channels; ++c) {
      const double phase = 0.9 * c;
      const double smooth = 128 + 60 * std::sin(x / 410.0 + phase) * std::cos(y / 330.0 - phase) +
                            40 * std::sin((x + 2 * y) / 900.0 + 2 * phase);
      row[x * channels + c] = static_cast<uint8_t>(std::clamp(smooth + noise(random), 0.0, 255.0));
    }
  }
  return row;
}

// A photograph in the memory type asked for.
class Photo {
 public:
  Photo(uint32_t bits, uint32_t type) {
    K_CreateBitmap(&bitmap_, RASTERBITMAP_SIZE, type, kPhotoWidth, kPhotoHeight,
                   static_cast<int32_t>(bits), 1, nullptr, 0, nullptr, 0);
    std::mt19937 random(bits);
    for (uint32_t y = 0; y < kPhotoHeight; ++y) {
      std::vector<uint8_t> row = PhotoRow(bits, y, random);
      K_PutBitmapRow(&bitmap_, row.data(), y, bitmap_.BitmapBytesPerLine);
    }
    std::vector<uint8_t> row(bitmap_.BitmapBytesPerLine);
    K_GetBitmapRow(&bitmap_, row.data(), 0, bitmap_.BitmapBytesPerLine);  // packs the last band
  }
  ~Photo() { K_FreeBitmap(&bitmap_); }
  RASTERBITMAP *get() { return &bitmap_; }

 private:
  RASTERBITMAP bitmap_{};
};

void BM_PhotoSequentialRows(benchmark::State &state) {
  const auto bits = static_cast<uint32_t>(state.range(0));
  const bool super = state.range(1) != 0;
  static std::unique_ptr<Photo> photos[2][2];
  std::unique_ptr<Photo> &photo = photos[bits == 24][super];
  if (!photo) photo = std::make_unique<Photo>(bits, super ? MEMORY_TYPE_SUPERCOMPRESSED : MEMORY_TYPE_CONV);
  RASTERBITMAP *bitmap = photo->get();
  const uint32_t stride = bitmap->BitmapBytesPerLine;
  std::vector<uint8_t> row(stride);
  for (auto _ : state) {
    for (uint32_t y = 0; y < kPhotoHeight; ++y) K_GetBitmapRow(bitmap, row.data(), y, stride);
    benchmark::DoNotOptimize(row.data());
  }
  const size_t plain = size_t{stride} * kPhotoHeight;
  state.SetBytesProcessed(int64_t{state.iterations()} * static_cast<int64_t>(plain));
  if (super) {
    K_UpdateBitmapSize(bitmap);
    state.counters["stored"] = static_cast<double>(bitmap->BitmapSize) / static_cast<double>(plain);
  }
}
BENCHMARK(BM_PhotoSequentialRows)
    ->ArgNames({"bits", "super"})
    ->Args({8, 0})->Args({8, 1})->Args({24, 0})->Args({24, 1})
    ->Unit(benchmark::kMillisecond);

// Writing the photograph into super-compressed memory, row by row: every
// band is packed once.
void BM_PhotoSuperCompressedWrite(benchmark::State &state) {
  const auto bits = static_cast<uint32_t>(state.range(0));
  std::mt19937 random(bits);
  std::vector<std::vector<uint8_t>> rows;
  for (uint32_t y = 0; y < kPhotoHeight; ++y) rows.push_back(PhotoRow(bits, y, random));
  RASTERBITMAP bitmap{};
  K_CreateBitmap(&bitmap, RASTERBITMAP_SIZE, MEMORY_TYPE_SUPERCOMPRESSED, kPhotoWidth, kPhotoHeight,
                 static_cast<int32_t>(bits), 1, nullptr, 0, nullptr, 0);
  for (auto _ : state) {
    for (uint32_t y = 0; y < kPhotoHeight; ++y) {
      K_PutBitmapRow(&bitmap, rows[y].data(), y, bitmap.BitmapBytesPerLine);
    }
    K_GetBitmapRow(&bitmap, rows[0].data(), 0, bitmap.BitmapBytesPerLine);
  }
  state.SetBytesProcessed(int64_t{state.iterations()} * bitmap.BitmapBytesPerLine * kPhotoHeight);
  K_FreeBitmap(&bitmap);
}
BENCHMARK(BM_PhotoSuperCompressedWrite)->ArgName("bits")->Arg(8)->Arg(24)->Unit(benchmark::kMillisecond);

// The physical limit of a row read: copying the same bytes.
void BM_MemcpyRows(benchmark::State &state) {
  const size_t stride = Stride(24, kPhotoWidth);
  std::vector<uint8_t> image(stride * kPhotoHeight, 1), row(stride);
  for (auto _ : state) {
    for (uint32_t y = 0; y < kPhotoHeight; ++y) std::memcpy(row.data(), image.data() + y * stride, stride);
    benchmark::DoNotOptimize(row.data());
  }
  state.SetBytesProcessed(int64_t{state.iterations()} * static_cast<int64_t>(image.size()));
}
BENCHMARK(BM_MemcpyRows)->Unit(benchmark::kMillisecond);

}  // namespace
