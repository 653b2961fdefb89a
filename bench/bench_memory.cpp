// Allocation cost: the global-block family against the runtime heap, at a
// palette-sized block and a row-sized one.
#include <benchmark/benchmark.h>

#include <cstdlib>

#include "kestraster.h"

namespace {

void BM_OsAllocFree(benchmark::State &state) {
  const auto size = static_cast<uint32_t>(state.range(0));
  for (auto _ : state) {
    void *block = K_OsAlloc(size);
    benchmark::DoNotOptimize(block);
    K_OsFree(block);
  }
}
BENCHMARK(BM_OsAllocFree)->Arg(1024)->Arg(64 * 1024);

void BM_MallocFree(benchmark::State &state) {
  const auto size = static_cast<size_t>(state.range(0));
  for (auto _ : state) {
    void *block = std::malloc(size);
    benchmark::DoNotOptimize(block);
    std::free(block);
  }
}
BENCHMARK(BM_MallocFree)->Arg(1024)->Arg(64 * 1024);

}  // namespace
