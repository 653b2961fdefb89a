// Proof at scale: a tiled 24-bit bitmap far larger than the memory the
// process may use. Every row is written, every row read back, and a
// checksum of each pass must agree. Prints rows and bytes per second of
// both passes and the process's peak resident memory.
//
//   kest_scale_tiled [--width N] [--height N] [--conv-tiles N] [--views N]
//                    [--tile-bytes N] [--dir PATH]
//
// The defaults, 40,000 x 40,000 pixels (4.8 GB) with four views on disk
// tiles and none in memory, need about 5 GB free in the directory.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "kestraster.h"

namespace {

struct Options {
  int32_t width = 40000, height = 40000;
  int32_t convTiles = 4, views = 4, tileBytes = 0;
  const char *dir = nullptr;
};

bool Parse(int argc, char **argv, Options &options) {
  for (int i = 1; i + 1 < argc; i += 2) {
    const std::string name = argv[i];
    const char *value = argv[i + 1];
    if (name == "--width") options.width = std::atoi(value);
    else if (name == "--height") options.height = std::atoi(value);
    else if (name == "--conv-tiles") options.convTiles = std::atoi(value);
    else if (name == "--views") options.views = std::atoi(value);
    else if (name == "--tile-bytes") options.tileBytes = std::atoi(value);
    else if (name == "--dir") options.dir = value;
    else return false;
  }
  return argc % 2 == 1;
}

// The peak (VmHWM) or present (VmRSS) resident set, in bytes.
uint64_t Resident(const char *key) {
  FILE *status = std::fopen("/proc/self/status", "r");
  if (status == nullptr) return 0;
  char line[256];
  uint64_t kib = 0;
  while (std::fgets(line, sizeof line, status) != nullptr) {
    if (std::strncmp(line, key, std::strlen(key)) == 0) kib = std::strtoull(line + std::strlen(key), nullptr, 10);
  }
  std::fclose(status);
  return kib * 1024;
}

// Row r holds words base[i] + r * K: every row differs from every other.
void FillRow(std::vector<uint64_t> &row, const std::vector<uint64_t> &base, uint64_t r) {
  const uint64_t step = r * 0x9E3779B97F4A7C15ull;
  for (size_t i = 0; i < row.size(); ++i) row[i] = base[i] + step;
}

// Each row's word sum, weighted by its position, so that a row read back in
// the wrong place changes the total.
uint64_t RowSum(const std::vector<uint64_t> &row, uint64_t r) {
  uint64_t sum = 0;
  for (uint64_t word : row) sum += word;
  return sum * (2 * r + 1);
}

double Seconds(std::chrono::steady_clock::time_point since) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - since).count();
}

void Report(const char *pass, int32_t rows, uint64_t bytes, double seconds) {
  std::printf("%-5s %8.0f rows/s  %8.1f MB/s  (%.1f s)\n", pass, rows / seconds,
              bytes / seconds / 1e6, seconds);
}

}  // namespace

int main(int argc, char **argv) {
  Options options;
  if (!Parse(argc, argv, options)) {
    std::fprintf(stderr, "usage: %s [--width N] [--height N] [--conv-tiles N] [--views N] "
                         "[--tile-bytes N] [--dir PATH]\n", argv[0]);
    return 2;
  }
  // Conventional memory is refused above 1 MiB, so the bitmap is tiled.
  if (K_SetMemoryThresholds(0, 1 << 20, options.tileBytes, options.convTiles, options.views,
                            MEMORY_ALL) != K_SUCCESS ||
      (options.dir != nullptr && K_SetTempDirectory(options.dir) != K_SUCCESS)) {
    std::fprintf(stderr, "bad thresholds or directory\n");
    return 2;
  }
  RASTERBITMAP bitmap;
  int32_t status = K_CreateBitmap(&bitmap, RASTERBITMAP_SIZE, MEMORY_TYPE_CONV, options.width,
                                  options.height, 24, 1, nullptr, 0, nullptr, 0);
  if (status != K_SUCCESS) {
    std::fprintf(stderr, "K_CreateBitmap: %d\n", status);
    return 1;
  }
  uint32_t type = 0, tileSize = 0, tiles = 0, conv = 0, maxViews = 0, views = 0;
  K_GetBitmapMemoryInfo(&bitmap, &type, &tileSize, &tiles, &conv, &maxViews, &views);
  const uint32_t stride = bitmap.BitmapBytesPerLine;
  const uint64_t total = uint64_t{stride} * options.height;
  std::printf("bitmap %d x %d x 24: %.2f GB; memory type %u, %u tiles of %u bytes, %u in memory, "
              "at most %u views\n", options.width, options.height, total / 1e9, type, tiles,
              tileSize, conv, maxViews);
  if (type != MEMORY_TYPE_TILED) {
    std::fprintf(stderr, "the bitmap is not tiled\n");
    K_FreeBitmap(&bitmap);
    return 1;
  }

  if (stride % 8 != 0) {
    std::fprintf(stderr, "choose a width whose rows are whole 64-bit words\n");
    K_FreeBitmap(&bitmap);
    return 2;
  }
  std::vector<uint64_t> base(stride / 8), row(stride / 8);
  uint64_t seed = 88172645463325252ull;
  for (uint64_t &word : base) {
    seed ^= seed << 13, seed ^= seed >> 7, seed ^= seed << 17;
    word = seed;
  }
  const uint32_t bytes = stride;

  uint64_t written = 0;
  auto start = std::chrono::steady_clock::now();
  for (int32_t r = 0; r < options.height; ++r) {
    FillRow(row, base, r);
    written += RowSum(row, r);
    if (K_PutBitmapRow(&bitmap, row.data(), r, bytes) != static_cast<int32_t>(bytes)) {
      std::fprintf(stderr, "write of row %d failed\n", r);
      return 1;
    }
  }
  const double writeSeconds = Seconds(start);

  uint64_t read = 0;
  start = std::chrono::steady_clock::now();
  for (int32_t r = 0; r < options.height; ++r) {
    if (K_GetBitmapRow(&bitmap, row.data(), r, bytes) != static_cast<int32_t>(bytes)) {
      std::fprintf(stderr, "read of row %d failed\n", r);
      return 1;
    }
    read += RowSum(row, r);
  }
  const double readSeconds = Seconds(start);
  K_GetBitmapMemoryInfo(&bitmap, &type, &tileSize, &tiles, &conv, &maxViews, &views);
  K_FreeBitmap(&bitmap);

  const uint64_t rowBytes = uint64_t{bytes} * options.height;
  Report("write", options.height, rowBytes, writeSeconds);
  Report("read", options.height, rowBytes, readSeconds);
  std::printf("checksum %016llx %s\n", static_cast<unsigned long long>(read),
              read == written ? "matches" : "DIFFERS");
  std::printf("peak resident memory %.1f MiB (%.1f%% of the bitmap); views at the end %u\n",
              Resident("VmHWM:") / 1048576.0, 100.0 * Resident("VmHWM:") / total, views);
  return read == written ? 0 : 1;
}
