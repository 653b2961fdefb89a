// Building a user match table: the fast fill of K_CreateUserMatchTable
// against the plain definition, one K_FindPaletteIndex call per cell, on
// random palettes and on the 8-bit fixed palette.
#include <benchmark/benchmark.h>

#include <random>
#include <vector>

#include "kestraster.h"

namespace {

constexpr uint32_t kCells = 32768;

std::vector<RGBQUAD> RandomPalette(uint32_t count) {
  std::mt19937 random(12345);
  std::uniform_int_distribution<int> byte(0, 255);
  std::vector<RGBQUAD> palette(count);
  for (RGBQUAD &entry : palette) {
    entry = RGBQUAD{static_cast<uint8_t>(byte(random)), static_cast<uint8_t>(byte(random)),
                    static_cast<uint8_t>(byte(random)), 0};
  }
  return palette;
}

// range(0): entries of a random palette; 0 stands for the 8-bit fixed one.
std::vector<RGBQUAD> PaletteFor(const benchmark::State &state) {
  if (state.range(0) == 0) {
    const RGBQUAD *fixed = K_IntGetFixedPalette(8);
    return std::vector<RGBQUAD>(fixed, fixed + 256);
  }
  return RandomPalette(static_cast<uint32_t>(state.range(0)));
}

void BM_CreateUserMatchTable(benchmark::State &state) {
  const std::vector<RGBQUAD> palette = PaletteFor(state);
  for (auto _ : state) {
    uint32_t *table = K_CreateUserMatchTable(palette.data(), static_cast<uint32_t>(palette.size()));
    benchmark::DoNotOptimize(table);
    K_FreeUserMatchTable(table);
  }
  state.SetItemsProcessed(state.iterations() * kCells);
}
BENCHMARK(BM_CreateUserMatchTable)->Arg(16)->Arg(256)->Arg(0)->Unit(benchmark::kMillisecond);

void BM_PlainMatcherLoop(benchmark::State &state) {
  const std::vector<RGBQUAD> palette = PaletteFor(state);
  const auto count = static_cast<uint32_t>(palette.size());
  std::vector<uint32_t> table(kCells);
  for (auto _ : state) {
    for (uint32_t cell = 0; cell < kCells; ++cell) {
      const auto red = static_cast<int32_t>((cell >> 10) << 3);
      const auto green = static_cast<int32_t>(((cell >> 5) & 31) << 3);
      const auto blue = static_cast<int32_t>((cell & 31) << 3);
      table[cell] = static_cast<uint32_t>(K_FindPaletteIndex(palette.data(), count, red, green, blue) + 1);
    }
    benchmark::DoNotOptimize(table.data());
  }
  state.SetItemsProcessed(state.iterations() * kCells);
}
BENCHMARK(BM_PlainMatcherLoop)->Arg(16)->Arg(256)->Arg(0)->Unit(benchmark::kMillisecond);

}  // namespace
