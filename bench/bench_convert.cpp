// Buffer conversion on rows of 4,096 pixels: the cheap channel moves, a
// palette to colour, colour to gray and a gray window to bytes, through the
// entry (which picks a kernel, SSSE3 where the processor has it), through
// the plain-loop kernels alone and through the generic path, beside memcpy
// of the source row (the physical limit) and, where it has the operation,
// OpenCV's cvtColor on the same row. Bytes processed count the source row,
// so the rates compare directly with memcpy's.
#include <benchmark/benchmark.h>

#include <cstring>
#include <random>
#include <vector>

#include "color/convert.h"
#include "color/convert_kernels.h"
#include "kestraster.h"

#if defined(KEST_BENCH_OPENCV)
#  include <opencv2/core.hpp>
#  include <opencv2/imgproc.hpp>
#endif

namespace {

constexpr int32_t kWidth = 4096;

std::vector<uint8_t> RandomBytes(size_t count) {
  std::mt19937 random(7);
  std::vector<uint8_t> bytes(count);
  for (uint8_t &byte : bytes) byte = static_cast<uint8_t>(random());
  return bytes;
}

// One conversion of the library, run again and again in place on one row.
struct Conversion {
  int32_t sourceBits;
  uint32_t sourceOrder;
  int32_t targetBits;
  uint32_t targetOrder;
  uint32_t flags = 0;
  int32_t lowBit = -1;
  int32_t highBit = -1;
};

constexpr Conversion k24To32{24, K_ORDER_BGR, 32, K_ORDER_BGR, CONVERT_ALPHA_OPAQUE};
constexpr Conversion k32To24{32, K_ORDER_BGR, 24, K_ORDER_BGR};
constexpr Conversion kSwap24{24, K_ORDER_BGR, 24, K_ORDER_RGB};
constexpr Conversion kPalette8To24{8, K_ORDER_RGB, 24, K_ORDER_BGR};
constexpr Conversion k24ToGray{24, K_ORDER_BGR, 0, K_ORDER_GRAY};
constexpr Conversion kWindow16To8{16, K_ORDER_GRAY, 0, K_ORDER_GRAY, CONVERT_SOURCE_WINDOW, 2, 9};

size_t SourceBytes(const Conversion &c) {
  return static_cast<size_t>(kWidth) * static_cast<size_t>(kest::convert::StoredBits(c.sourceBits)) / 8;
}

// shuffled false: only the plain-loop kernels, as on a processor without
// SSSE3.
void RunEntry(benchmark::State &state, const Conversion &c, bool shuffled = true) {
  kest::convert::testing::UseShuffledKernels(shuffled);
  std::vector<uint8_t> row = RandomBytes(K_CalcConvertSize(kWidth, static_cast<uint32_t>(c.sourceBits),
                                                           kWidth, static_cast<uint32_t>(c.targetBits)));
  const RGBQUAD *palette = c.sourceBits == 8 ? K_IntGetFixedPalette(8) : nullptr;
  for (auto _ : state) {
    const int32_t status =
        K_ConvertBufferExt(row.data(), kWidth, c.sourceBits, c.targetBits, c.sourceOrder,
                           c.targetOrder, palette, nullptr, c.flags, c.lowBit, c.highBit);
    benchmark::DoNotOptimize(status);
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * SourceBytes(c)));
  kest::convert::testing::UseShuffledKernels(true);
}

void RunGeneric(benchmark::State &state, const Conversion &c) {
  std::vector<uint8_t> row = RandomBytes(K_CalcConvertSize(kWidth, static_cast<uint32_t>(c.sourceBits),
                                                           kWidth, static_cast<uint32_t>(c.targetBits)));
  kest::convert::Request request;
  request.width = kWidth;
  request.sourceBits = c.sourceBits;
  request.targetBits = c.targetBits;
  request.sourceOrder = c.sourceOrder;
  request.targetOrder = c.targetOrder;
  request.sourcePalette = c.sourceBits == 8 ? K_IntGetFixedPalette(8) : nullptr;
  request.flags = c.flags;
  request.lowBit = c.lowBit;
  request.highBit = c.highBit;
  kest::convert::Plan plan;
  if (kest::convert::MakePlan(request, plan) != K_SUCCESS) {
    state.SkipWithError("refused");
    return;
  }
  for (auto _ : state) {
    kest::convert::ConvertGeneric(row.data(), plan);
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * SourceBytes(c)));
}

void BM_Memcpy(benchmark::State &state) {
  const auto bytes = static_cast<size_t>(state.range(0));
  const std::vector<uint8_t> source = RandomBytes(bytes);
  std::vector<uint8_t> target(bytes);
  for (auto _ : state) {
    std::memcpy(target.data(), source.data(), bytes);
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bytes));
}
// The source rows of 8, 16, 24 and 32 bits.
BENCHMARK(BM_Memcpy)->Arg(kWidth)->Arg(kWidth * 2)->Arg(kWidth * 3)->Arg(kWidth * 4);

void BM_24To32(benchmark::State &state) { RunEntry(state, k24To32); }
void BM_32To24(benchmark::State &state) { RunEntry(state, k32To24); }
void BM_Swap24(benchmark::State &state) { RunEntry(state, kSwap24); }
void BM_Palette8To24(benchmark::State &state) { RunEntry(state, kPalette8To24); }
void BM_24ToGray(benchmark::State &state) { RunEntry(state, k24ToGray); }
void BM_Window16To8(benchmark::State &state) { RunEntry(state, kWindow16To8); }
BENCHMARK(BM_24To32);
BENCHMARK(BM_32To24);
BENCHMARK(BM_Swap24);
BENCHMARK(BM_Palette8To24);
BENCHMARK(BM_24ToGray);
BENCHMARK(BM_Window16To8);

void BM_Plain24To32(benchmark::State &state) { RunEntry(state, k24To32, false); }
void BM_Plain32To24(benchmark::State &state) { RunEntry(state, k32To24, false); }
void BM_PlainSwap24(benchmark::State &state) { RunEntry(state, kSwap24, false); }
void BM_Plain24ToGray(benchmark::State &state) { RunEntry(state, k24ToGray, false); }
BENCHMARK(BM_Plain24To32);
BENCHMARK(BM_Plain32To24);
BENCHMARK(BM_PlainSwap24);
BENCHMARK(BM_Plain24ToGray);

void BM_Generic24To32(benchmark::State &state) { RunGeneric(state, k24To32); }
void BM_Generic32To24(benchmark::State &state) { RunGeneric(state, k32To24); }
void BM_GenericSwap24(benchmark::State &state) { RunGeneric(state, kSwap24); }
void BM_GenericPalette8To24(benchmark::State &state) { RunGeneric(state, kPalette8To24); }
void BM_Generic24ToGray(benchmark::State &state) { RunGeneric(state, k24ToGray); }
void BM_GenericWindow16To8(benchmark::State &state) { RunGeneric(state, kWindow16To8); }
BENCHMARK(BM_Generic24To32);
BENCHMARK(BM_Generic32To24);
BENCHMARK(BM_GenericSwap24);
BENCHMARK(BM_GenericPalette8To24);
BENCHMARK(BM_Generic24ToGray);
BENCHMARK(BM_GenericWindow16To8);

#if defined(KEST_BENCH_OPENCV)
// cvtColor from one row to another (OpenCV does not convert in place
// between sizes); its gray weights differ from ours, the work is the same.
void RunOpenCv(benchmark::State &state, int sourceType, int targetType, int code) {
  cv::setNumThreads(1);
  const std::vector<uint8_t> bytes = RandomBytes(static_cast<size_t>(kWidth) * 4);
  cv::Mat source(1, kWidth, sourceType);
  std::memcpy(source.data, bytes.data(), source.total() * source.elemSize());
  cv::Mat target(1, kWidth, targetType);
  for (auto _ : state) {
    cv::cvtColor(source, target, code);
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * source.total() * source.elemSize()));
}
void BM_OpenCv24To32(benchmark::State &state) { RunOpenCv(state, CV_8UC3, CV_8UC4, cv::COLOR_BGR2BGRA); }
void BM_OpenCv32To24(benchmark::State &state) { RunOpenCv(state, CV_8UC4, CV_8UC3, cv::COLOR_BGRA2BGR); }
void BM_OpenCvSwap24(benchmark::State &state) { RunOpenCv(state, CV_8UC3, CV_8UC3, cv::COLOR_BGR2RGB); }
void BM_OpenCv24ToGray(benchmark::State &state) { RunOpenCv(state, CV_8UC3, CV_8UC1, cv::COLOR_BGR2GRAY); }
BENCHMARK(BM_OpenCv24To32);
BENCHMARK(BM_OpenCv32To24);
BENCHMARK(BM_OpenCvSwap24);
BENCHMARK(BM_OpenCv24ToGray);
#endif

}  // namespace
