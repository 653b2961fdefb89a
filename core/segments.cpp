// K_PutBitmapRowSegments: writing only the spans of a row that a region
// lets through. One span writer serves memory rows and file rows; the
// target decides whether a byte is merged in place or read, merged and
// written back.
//
// Sub-byte depths merge their first and last byte by the masks below,
// indexed by the pixel position modulo the packing period; 12-bit spans
// merge an odd first pixel and the even last pixel as little-endian 16-bit
// words that keep the neighbour's nibble; whole pixels copy straight, or
// keep their unused top with keepAlpha.
#include <algorithm>
#include <cstring>

#include "core/alloc.h"
#include "core/bitmap.h"
#include "core/files.h"
#include "core/rows.h"
#include "core/storage.h"
#include "core/tiles.h"
#include "kest/rows.h"
#include "kest/status.h"

namespace kest {
namespace {

struct SpanMasks {
  uint8_t period;
  uint8_t start[8];
  uint8_t end[8];
};

// Index by depth 1 to 7. The 2-bit start mask at position 2 is 0C: a span
// that begins there takes pixel 2 of the byte and leaves pixel 3 as it was.
constexpr SpanMasks kMasks[8] = {
    {},
    {8, {0xFF, 0x7F, 0x3F, 0x1F, 0x0F, 0x07, 0x03, 0x01}, {0xFF, 0x80, 0xC0, 0xE0, 0xF0, 0xF8, 0xFC, 0xFE}},
    {4, {0xFF, 0x3F, 0x0C, 0x03}, {0xFF, 0xC0, 0xF0, 0xFC}},
    {8, {0xFF, 0x1F, 0x03, 0x7F, 0x0F, 0x01, 0x3F, 0x07}, {0xFF, 0xE0, 0xFC, 0x80, 0xF0, 0xFE, 0xC0, 0xF8}},
    {2, {0xFF, 0x0F}, {0xFF, 0xF0}},
    {8, {0xFF, 0x07, 0x3F, 0x01, 0x0F, 0x7F, 0x03, 0x1F}, {0xFF, 0xF8, 0xC0, 0xFE, 0xF0, 0x80, 0xFC, 0xE0}},
    {4, {0xFF, 0x03, 0x0F, 0x3F}, {0xFF, 0xFC, 0xF0, 0xC0}},
    {8, {0xFF, 0x01, 0x03, 0x07, 0x0F, 0x1F, 0x3F, 0x7F}, {0xFF, 0xFE, 0xFC, 0xF8, 0xF0, 0xE0, 0xC0, 0x80}},
};

// What keepAlpha keeps of each destination pixel.
enum class Keep { Nothing, Bit15, Byte3, Bytes67 };

uint8_t MergeByte(uint8_t destination, uint8_t source, uint8_t mask) {
  return static_cast<uint8_t>((destination & ~mask) | (source & mask));
}

void MergeKept(uint8_t *destination, const uint8_t *source, size_t bytes, Keep keep) {
  switch (keep) {
    case Keep::Nothing: std::memcpy(destination, source, bytes); break;
    case Keep::Bit15:
      for (size_t i = 0; i + 1 < bytes; i += 2) {
        destination[i] = source[i];
        destination[i + 1] = static_cast<uint8_t>((destination[i + 1] & 0x80) | (source[i + 1] & 0x7F));
      }
      break;
    case Keep::Byte3:
      for (size_t i = 0; i + 3 < bytes; i += 4) std::memcpy(destination + i, source + i, 3);
      break;
    case Keep::Bytes67:
      for (size_t i = 0; i + 7 < bytes; i += 8) std::memcpy(destination + i, source + i, 6);
      break;
  }
}

// A row in memory.
class MemoryRow {
 public:
  explicit MemoryRow(uint8_t *row) : row_(row) {}
  int32_t Merge(size_t at, uint8_t source, uint8_t mask) {
    row_[at] = MergeByte(row_[at], source, mask);
    return K_SUCCESS;
  }
  int32_t Copy(size_t at, const uint8_t *source, size_t bytes) {
    std::memcpy(row_ + at, source, bytes);
    return K_SUCCESS;
  }
  int32_t CopyKept(size_t at, const uint8_t *source, size_t bytes, Keep keep) {
    MergeKept(row_ + at, source, bytes, keep);
    return K_SUCCESS;
  }

 private:
  uint8_t *row_;
};

// A row in a file: shared bytes are read, merged, and written back.
class FileRow {
 public:
  FileRow(int32_t file, int64_t rowOffset, uint8_t *work)
      : file_(file), row_(rowOffset), work_(work) {}
  int32_t Merge(size_t at, uint8_t source, uint8_t mask) {
    uint8_t byte = 0;
    int32_t status = Read(at, &byte, 1);
    if (status != K_SUCCESS) return status;
    byte = MergeByte(byte, source, mask);
    return Write(at, &byte, 1);
  }
  int32_t Copy(size_t at, const uint8_t *source, size_t bytes) { return Write(at, source, bytes); }
  int32_t CopyKept(size_t at, const uint8_t *source, size_t bytes, Keep keep) {
    int32_t status = Read(at, work_, bytes);
    if (status != K_SUCCESS) return status;
    MergeKept(work_, source, bytes, keep);
    return Write(at, work_, bytes);
  }

 private:
  int32_t Seek(size_t at) {
    const int64_t position = row_ + static_cast<int64_t>(at);
    return OsSeek64(file_, position, 0) == position ? K_SUCCESS : K_ERR_SEEK;
  }
  int32_t Read(size_t at, uint8_t *bytes, size_t count) {
    int32_t status = Seek(at);
    if (status != K_SUCCESS) return status;
    return K_OsRead(file_, bytes, static_cast<uint32_t>(count), 0) == static_cast<int32_t>(count)
               ? K_SUCCESS
               : K_ERR_READ;
  }
  int32_t Write(size_t at, const uint8_t *bytes, size_t count) {
    int32_t status = Seek(at);
    if (status != K_SUCCESS) return status;
    if (count == 0) return K_SUCCESS;
    return K_OsWrite(file_, const_cast<uint8_t *>(bytes), static_cast<uint32_t>(count), 0) ==
                   static_cast<int32_t>(count)
               ? K_SUCCESS
               : K_ERR_WRITE;
  }

  int32_t file_;
  int64_t row_;
  uint8_t *work_;
};

// Writes one span of a sub-byte depth.
template <typename Row>
int32_t PutPackedSpan(Row &row, const uint8_t *source, int32_t bits, size_t column, size_t start,
                      size_t end) {
  const SpanMasks &masks = kMasks[bits];
  const size_t first = ColumnToByte(bits, start);
  const uint8_t startMask = masks.start[start % masks.period];
  const uint8_t endMask = masks.end[end % masks.period];
  const size_t bytes = ColumnToByte(bits, end) + (end % masks.period != 0 ? 1 : 0) - first;
  const size_t at = ColumnToByte(bits, column + start);
  const uint8_t *from = source + first;
  if (bytes == 0) return K_SUCCESS;
  if (bytes == 1) {
    const uint8_t mask = startMask & endMask;
    return mask == 0xFF ? row.Copy(at, from, 1) : row.Merge(at, from[0], mask);
  }
  int32_t status = startMask == 0xFF ? row.Copy(at, from, 1) : row.Merge(at, from[0], startMask);
  if (status == K_SUCCESS && bytes > 2) status = row.Copy(at + 1, from + 1, bytes - 2);
  if (status != K_SUCCESS) return status;
  const size_t last = bytes - 1;
  return endMask == 0xFF ? row.Copy(at + last, from + last, 1)
                         : row.Merge(at + last, from[last], endMask);
}

// Writes one 12-bit span: two pixels in three bytes, the even pixel in the
// low 12 bits of the first two bytes, the odd one in the top 12 bits of the
// next two.
template <typename Row>
int32_t Put12BitSpan(Row &row, const uint8_t *source, size_t column, size_t start, size_t end) {
  int32_t status = K_SUCCESS;
  if (start % 2 == 1 && start < end) {
    const size_t from = ColumnToByte(12, start), at = ColumnToByte(12, column + start);
    status = row.Merge(at, source[from], 0xF0);  // keeps the even neighbour's top nibble
    if (status == K_SUCCESS) status = row.Copy(at + 1, source + from + 1, 1);
    ++start;
  }
  if (status == K_SUCCESS && end % 2 == 1 && start < end) {
    const size_t from = ColumnToByte(12, end - 1), at = ColumnToByte(12, column + end - 1);
    status = row.Copy(at, source + from, 1);
    if (status == K_SUCCESS) status = row.Merge(at + 1, source[from + 1], 0x0F);
    --end;
  }
  if (status != K_SUCCESS || start >= end) return status;
  const size_t from = ColumnToByte(12, start);
  return row.Copy(ColumnToByte(12, column + start), source + from, ColumnToByte(12, end) - from);
}

Keep KeepRule(const RASTERBITMAP &bitmap, uint32_t keepAlpha) {
  if (keepAlpha == 0) return Keep::Nothing;
  switch (bitmap.BitmapBits) {
    case 16: return bitmap.ColorOrder == K_ORDER_GRAY ? Keep::Nothing : Keep::Bit15;
    case 32: return Keep::Byte3;
    case 64: return Keep::Bytes67;
    default: return Keep::Nothing;
  }
}

template <typename Row>
int32_t PutSpans(Row &row, const RASTERBITMAP &bitmap, const uint8_t *source, uint32_t column,
                 const uint32_t *segments, uint32_t spans, Keep keep, bool readBeforeCopy) {
  const int32_t bits = bitmap.BitmapBits;
  for (uint32_t i = 0; i < spans; ++i) {
    const size_t start = segments[2 * i], end = segments[2 * i + 1];
    if (end <= start) continue;
    int32_t status;
    if (bits < 8) {
      status = PutPackedSpan(row, source, bits, column, start, end);
    } else if (bits == 12) {
      status = Put12BitSpan(row, source, column, start, end);
    } else {
      const size_t from = ColumnToByte(bits, start), bytes = ColumnToByte(bits, end) - from;
      const size_t at = ColumnToByte(bits, size_t{column} + start);
      status = keep != Keep::Nothing || readBeforeCopy ? row.CopyKept(at, source + from, bytes, keep)
                                                       : row.Copy(at, source + from, bytes);
    }
    if (status != K_SUCCESS) return status;
  }
  return K_SUCCESS;
}

// Beyond the published checks: spans and rows outside the bitmap are
// refused, so that a bad region cannot write past the pixels.
bool SpansInside(const RASTERBITMAP &bitmap, uint32_t column, const uint32_t *segments,
                 uint32_t spans) {
  const auto width = static_cast<uint64_t>(std::max(bitmap.BitmapWidth, 0));
  for (uint32_t i = 0; i < spans; ++i) {
    const uint64_t start = segments[2 * i], end = segments[2 * i + 1];
    if (end > start && (end > width || column + end > width)) return false;
  }
  return true;
}

// The longest span in bytes: the work buffer of the file path.
size_t LongestSpan(const RASTERBITMAP &bitmap, const uint32_t *segments, uint32_t spans) {
  size_t longest = 0;
  for (uint32_t i = 0; i < spans; ++i) {
    if (segments[2 * i + 1] > segments[2 * i]) {
      longest = std::max(longest, ColumnToByte(bitmap.BitmapBits, segments[2 * i + 1]) -
                                      ColumnToByte(bitmap.BitmapBits, segments[2 * i]));
    }
  }
  return longest;
}

int32_t PutFileSpans(int32_t file, int64_t rowOffset, const RASTERBITMAP &bitmap,
                     const uint8_t *source, uint32_t column, const uint32_t *segments,
                     uint32_t spans, uint32_t keepAlpha) {
  // With keepAlpha, whole-pixel depths read each span before writing it.
  const int32_t bits = bitmap.BitmapBits;
  const bool readSpans = keepAlpha != 0 && (bits == 16 || bits == 32 || bits == 48 || bits == 64);
  HeapBuffer work;
  if (readSpans) {
    const size_t longest = LongestSpan(bitmap, segments, spans);
    work = HeapBuffer(static_cast<uint32_t>(std::max<size_t>(longest, 1)));
    if (!work) return K_ERR_NOMEMORY;
  }
  FileRow row(file, rowOffset, work.get());
  return PutSpans(row, bitmap, source, column, segments, spans, KeepRule(bitmap, keepAlpha),
                  readSpans);
}

}  // namespace
}  // namespace kest

using namespace kest;

KEST_API int32_t K_PutBitmapRowSegments(RASTERBITMAP *bitmap, void *rowBuffer, uint32_t row,
                                        uint32_t column, uint32_t *segments, uint32_t segmentWords,
                                        uint32_t keepAlpha) {
  if (bitmap == nullptr || rowBuffer == nullptr || segments == nullptr) return K_ERR_PARAMETER;
  if (!HasSize(*bitmap)) return K_ERR_RECORD_SIZE;
  const uint32_t spans = segmentWords / 2;
  const auto *source = static_cast<const uint8_t *>(rowBuffer);
  if (bitmap->BitmapFlags & RBF_COMPRESSED) {
    return storage::PutCompressedSegments(*bitmap, rowBuffer, row, column, segments, segmentWords);
  }
  if (spans == 0) return K_SUCCESS;
  if (row >= static_cast<uint32_t>(std::max(bitmap->BitmapHeight, 0)) ||
      !SpansInside(*bitmap, column, segments, spans)) {
    return K_ERR_WIDTH_HEIGHT;
  }
  const Keep keep = KeepRule(*bitmap, keepAlpha);

  if (bitmap->BitmapFlags & (RBF_SUPERCOMPRESSED | RBF_TILED)) {
    storage::RowTarget target;
    const int32_t status = KindOf(*bitmap) == MemoryKind::Tiled
                               ? tiles::SegmentTarget(*bitmap, row, target)
                               : storage::SegmentTarget(*bitmap, row, target);
    if (status != K_SUCCESS) return status;
    if (target.address != nullptr) {
      MemoryRow memory(target.address);
      return PutSpans(memory, *bitmap, source, column, segments, spans, keep, false);
    }
    return PutFileSpans(target.file, target.offset, *bitmap, source, column, segments, spans,
                        keepAlpha);
  }
  const size_t offset = MoveRowCursor(*bitmap, row);
  if (bitmap->BitmapFlags & RBF_CONVENTIONAL) {
    if (bitmap->BitmapData == nullptr) return K_ERR_BITMAP;
    MemoryRow memory(static_cast<uint8_t *>(bitmap->BitmapData) + offset);
    return PutSpans(memory, *bitmap, source, column, segments, spans, keep, false);
  }
  if (bitmap->BitmapFlags & RBF_DISK) {
    return PutFileSpans(DiskFile(*bitmap), static_cast<int64_t>(offset), *bitmap, source, column,
                        segments, spans, keepAlpha);
  }
  return K_ERR_NOMEMORY;
}
