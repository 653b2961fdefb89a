// K_CopyBitmapData and the row copy that every rebuild of a bitmap in
// another memory kind uses.
#include "core/copy_data.h"

#include <algorithm>
#include <cstring>

#include "core/alloc.h"
#include "core/bitmap.h"
#include "core/progress.h"
#include "kest/compressed.h"
#include "kest/copy.h"
#include "kest/rows.h"
#include "kest/status.h"

namespace kest {
namespace {

// Pixels that are one block of memory (mapped, global or the caller's).
bool InMemory(const RASTERBITMAP &bitmap) {
  return (bitmap.BitmapFlags & RBF_CONVENTIONAL) && !(bitmap.BitmapFlags & kNonLinearFlags) &&
         bitmap.BitmapData != nullptr;
}

// Between two memory bitmaps of one stride the rows go straight from pixels
// to pixels: one copy instead of two through a row buffer.
bool DirectRows(const RASTERBITMAP &destination, const RASTERBITMAP &source) {
  return InMemory(destination) && InMemory(source) &&
         destination.BitmapBytesPerLine == source.BitmapBytesPerLine &&
         destination.BitmapSize >= source.BitmapSize;
}

bool BothCompressed(const RASTERBITMAP &a, const RASTERBITMAP &b) {
  return (a.BitmapFlags & RBF_COMPRESSED) && (b.BitmapFlags & RBF_COMPRESSED);
}

// One row's transfer: the count moved, or a status.
int32_t CopyOneRow(RASTERBITMAP &destination, RASTERBITMAP &source, uint8_t *buffer, uint32_t row,
                   bool runs, RowErrors errors) {
  if (runs) {
    // Whole-bitmap copies between compressed bitmaps never expand the rows.
    const int32_t status = K_GetBitmapRowCompressed(&source, nullptr, buffer, row, 1);
    if (status < 1) return status;
    return K_PutBitmapRowCompressed(&destination, nullptr, buffer, row, 1);
  }
  const uint32_t sourceStride = source.BitmapBytesPerLine;
  int32_t moved = K_GetBitmapRow(&source, buffer, row, sourceStride);
  if (errors == RowErrors::Stop && moved != static_cast<int32_t>(sourceStride)) {
    return moved < 0 ? moved : K_ERR_READ;
  }
  moved = K_PutBitmapRow(&destination, buffer, row, destination.BitmapBytesPerLine);
  if (errors == RowErrors::Stop && moved != static_cast<int32_t>(destination.BitmapBytesPerLine)) {
    return moved < 0 ? moved : K_ERR_WRITE;
  }
  return K_SUCCESS;
}

int32_t CopyDirect(RASTERBITMAP &destination, const RASTERBITMAP &source) {
  const size_t stride = source.BitmapBytesPerLine;
  const auto *from = static_cast<const uint8_t *>(source.BitmapData);
  auto *to = static_cast<uint8_t *>(destination.BitmapData);
  Progress progress;
  const int32_t rows = std::max(source.BitmapHeight, 0);
  int32_t status = progress.StartCopy(0, 100, rows);
  if (status != K_SUCCESS) return status;
  if (progress.ProgressCallback == nullptr) {
    std::memcpy(to, from, stride * static_cast<size_t>(rows));
    return K_SUCCESS;
  }
  for (int32_t r = 0; r < rows && status == K_SUCCESS; ++r) {
    std::memcpy(to + stride * r, from + stride * r, stride);
    status = progress.Row();
  }
  return status;
}

}  // namespace

uint32_t MemoryTypeForFlags(uint32_t flags) {
  if (flags & RBF_COMPRESSED) return MEMORY_TYPE_COMPRESSED | MEMORY_TYPE_CONV;
  if (flags & RBF_SUPERCOMPRESSED) return MEMORY_TYPE_SUPERCOMPRESSED;
  if (flags & RBF_DISK) return MEMORY_TYPE_DISK;
  return MEMORY_TYPE_CONV;
}

int32_t CopyBitmapRows(RASTERBITMAP &destination, RASTERBITMAP &source, RowErrors errors) {
  BitmapLock lockSource(&source), lockDestination(&destination);
  if (DirectRows(destination, source)) return CopyDirect(destination, source);
  const bool runs = BothCompressed(destination, source);
  // A run row of w pixels needs at most w + 1 runs of 16 bits and its count.
  const uint64_t width = static_cast<uint64_t>(std::max(source.BitmapWidth, 0));
  const uint64_t bytes = runs ? 2 * width + 6
                              : std::max(source.BitmapBytesPerLine, destination.BitmapBytesPerLine);
  if (bytes > UINT32_MAX) return K_ERR_NOMEMORY;
  HeapBuffer buffer(static_cast<uint32_t>(std::max<uint64_t>(bytes, 1)));
  if (!buffer) return K_ERR_NOMEMORY;
  // The part of a longer destination row that the source does not fill
  // is written as zeros, never as stale memory.
  std::memset(buffer.get(), 0, static_cast<size_t>(bytes));
  Progress progress;
  const int32_t rows = std::max(source.BitmapHeight, 0);
  int32_t status = progress.StartCopy(0, 100, rows);
  for (int32_t r = 0; r < rows && status == K_SUCCESS; ++r) {
    status = CopyOneRow(destination, source, buffer.get(), static_cast<uint32_t>(r), runs, errors);
    if (status >= 0 || errors == RowErrors::Ignore) status = progress.Row();
  }
  return status;
}

}  // namespace kest

using namespace kest;

KEST_API int32_t K_CopyBitmapData(RASTERBITMAP *destination, RASTERBITMAP *source) {
  if (destination == nullptr || source == nullptr || !IsAllocated(*destination) ||
      !IsAllocated(*source)) {
    return K_ERR_BITMAP;
  }
  if (destination == source) return K_SUCCESS;
  if (!HasSize(*destination) || !HasSize(*source)) return K_ERR_RECORD_SIZE;
  return CopyBitmapRows(*destination, *source, RowErrors::Ignore);
}
