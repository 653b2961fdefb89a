// Copying the pixels of one bitmap into another, row by row: the work of
// K_CopyBitmapData, shared by every rebuild of a bitmap in other memory.
#pragma once

#include <cstdint>

#include "kest/bitmap.h"

namespace kest {

// The memory type that keeps a record's kind: a 1-bit run-compressed
// bitmap stays compressed, a super-compressed one super-compressed (where
// its depth allows), a disk one on disk, anything else conventional.
uint32_t MemoryTypeForFlags(uint32_t flags);

enum class RowErrors { Ignore, Stop };

// Every row of source into destination, through runs when both are run
// compressed, reporting to the thread's copy-status callback. With
// RowErrors::Stop a failed or short row call ends the copy with its status
// (-5 for a short one); with Ignore the row calls let through what they
// may, as K_CopyBitmapData does between bitmaps of other sizes. 1, -1, a row
// status, or the callback's answer.
int32_t CopyBitmapRows(RASTERBITMAP &destination, RASTERBITMAP &source, RowErrors errors);

}  // namespace kest
