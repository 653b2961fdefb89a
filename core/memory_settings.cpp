// The thread's memory settings: K_SetMemoryThresholds,
// K_GetMemoryThresholds, K_SetDefaultMemoryType, K_GetDefaultMemoryType,
// K_SetTempDirectory, K_GetTempDirectory.
#include <cstring>
#include <iterator>

#include "core/os/os.h"
#include "core/settings.h"
#include "kest/status.h"
#include "kest/storage.h"

namespace kest {
namespace {

struct Threshold {
  uint8_t bit;
  int32_t lowest;
  int32_t ThreadSettings::*field;
};

// In the order of the arguments, which is the order of checking and storing.
constexpr Threshold kThresholds[] = {
    {MEMORY_TILED_THRESHOLD, -100, &ThreadSettings::MemoryTiledThreshold},
    {MEMORY_MAX_CONV_SIZE, -100, &ThreadSettings::MaxConventionalSize},
    {MEMORY_TILE_SIZE, 0, &ThreadSettings::TiledBitmapsSize},
    {MEMORY_CONV_TILES, -100, &ThreadSettings::MemoryConventionalTile},
    {MEMORY_CONV_BUFFERS, -100, &ThreadSettings::MemoryConventionalBuffers},
};

}  // namespace
}  // namespace kest

using namespace kest;

KEST_API int32_t K_SetMemoryThresholds(int32_t tiledThreshold, int32_t maxConventionalSize,
                                       int32_t tileSize, int32_t conventionalTiles,
                                       int32_t conventionalBuffers, uint8_t mask) {
  const int32_t values[] = {tiledThreshold, maxConventionalSize, tileSize, conventionalTiles,
                            conventionalBuffers};
  ThreadSettings &settings = GetThreadSettings();
  for (size_t i = 0; i < std::size(kThresholds); ++i) {
    if (!(mask & kThresholds[i].bit)) continue;
    // A refused value leaves the fields before it written.
    if (values[i] < kThresholds[i].lowest) return K_ERR_PARAMETER;
    settings.*kThresholds[i].field = values[i];
  }
  return K_SUCCESS;
}

KEST_API void K_GetMemoryThresholds(int32_t *tiledThreshold, int32_t *maxConventionalSize,
                                    int32_t *tileSize, int32_t *conventionalTiles,
                                    int32_t *conventionalBuffers) {
  int32_t *out[] = {tiledThreshold, maxConventionalSize, tileSize, conventionalTiles,
                    conventionalBuffers};
  const ThreadSettings &settings = GetThreadSettings();
  for (size_t i = 0; i < std::size(kThresholds); ++i) {
    if (out[i] != nullptr) *out[i] = settings.*kThresholds[i].field;
  }
}

KEST_API int32_t K_SetDefaultMemoryType(uint32_t memoryType) {
  if (memoryType != MEMORY_TYPE_CONV && memoryType != MEMORY_TYPE_DISK) return K_ERR_PARAMETER;
  GetThreadSettings().DefaultMemoryType = memoryType;
  return K_SUCCESS;
}

KEST_API int32_t K_GetDefaultMemoryType(uint32_t *memoryType) {
  if (memoryType == nullptr) return K_ERR_PARAMETER;
  *memoryType = GetThreadSettings().DefaultMemoryType;
  return K_SUCCESS;
}

KEST_API int32_t K_SetTempDirectory(const char *path) {
  if (path == nullptr || !os::IsDirectory(path)) return K_ERR_PARAMETER;
  // The field holds MAX_PATH characters with the terminator; a longer path
  // is refused rather than cut, as a cut one would name another directory.
  char *directory = GetThreadSettings().TempDirectory;
  const size_t length = std::strlen(path);
  if (length >= MAX_PATH) return K_ERR_PARAMETER;
  std::memcpy(directory, path, length + 1);
  return K_SUCCESS;
}

KEST_API int32_t K_GetTempDirectory(char *buffer, uint32_t length) {
  if (buffer == nullptr) return K_ERR_PARAMETER;
  std::strncpy(buffer, GetThreadSettings().TempDirectory, length);
  return K_SUCCESS;
}
