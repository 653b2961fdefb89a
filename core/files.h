// Internal file services of the storage code.
#pragma once

#include <cstdint>

#include "kest/memory.h"

namespace kest {

// Seek with a 64-bit result: the new position, -1 on failure.
int64_t OsSeek64(int32_t file, int64_t offset, int32_t origin);
// Seeks to size and cuts the file there: 0, or -1 on failure.
int32_t OsTruncate(int32_t file, int64_t size);

}  // namespace kest
