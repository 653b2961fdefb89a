// Run-compressed bitmaps: the row table that BitmapData points at, and the
// row operations on it that the row calls and other layers use.
//
// Each row is blank (no block; all 0 pixels) or owns a block of the row
// heap holding its run list. Every list the library stores describes
// exactly BitmapWidth pixels; a list a caller stored whole through
// K_PutBitmapRowCompressed is kept as given, and the walks read it as the
// reader of runs.h does (cut at the width, padded with 0 pixels), so that
// no list can lead a walk outside the row or the heap.
#pragma once

#include <cstdint>

#include "kest/bitmap.h"

namespace kest::compressed {

struct RowEntry {
  uint32_t RunsOffset;   // offset of the row's block in the heap, 0 for a blank row
  uint32_t RowRunCount;  // runs in the block; 0 for a blank row
};

// What BitmapData of a run-compressed bitmap points at, from K_Calloc; the
// row entries follow it.
struct CompressedRows {
  uint8_t *ScratchRow;     // where a new run list is built: ScratchSize bytes
  uint8_t *SplitTemplate;  // packed run list of a blank row wider than 65,535, else null
  uint32_t ScratchSize;    // 2 * BitmapWidth + 8
  uint8_t *Heap;           // the row heap (rowheap.h)
  RowEntry *Rows() { return reinterpret_cast<RowEntry *>(this + 1); }
  const RowEntry *Rows() const { return reinterpret_cast<const RowEntry *>(this + 1); }
};

inline CompressedRows &Table(const RASTERBITMAP &bitmap) {
  return *static_cast<CompressedRows *>(bitmap.BitmapData);
}

// The runs of a stored row and their count; null and 0 for a blank row.
const uint8_t *StoredRuns(const RASTERBITMAP &bitmap, uint32_t row, uint32_t &count);

// Reverses a stored row left to right in place. 1, or -1 when the block
// could not take the run that a row ending on 1 pixels needs.
int32_t MirrorStoredRow(RASTERBITMAP &bitmap, uint32_t row);

// The row calls' work on a run-compressed bitmap.
int32_t TransferRow(RASTERBITMAP &bitmap, void *buffer, uint32_t row, uint32_t column,
                    uint32_t count, bool write);
int32_t PixelBytes(RASTERBITMAP &bitmap, void *destination, uint32_t row, uint32_t column);

}  // namespace kest::compressed
