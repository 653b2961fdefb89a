// Run-compressed bitmaps: the row table and its heap, allocation, freeing
// and height changes, the row calls' work on them (expanding, SpliceBits,
// SpliceRuns, segment merges), MirrorStoredRow, and the exported
// K_GetBitmapRowCompressed, K_PutBitmapRowCompressed,
// K_GetBitmapRowColCompressed, K_PutBitmapRowColCompressed,
// K_TrimBitmapHeap, K_GrowBitmapHeap.
//
// Every row write builds the row's new run list in ScratchRow in one pass
// (the old runs before the change, the new pixels, the old runs after),
// and only then gives the row a block of the new size. A write that cannot
// get its block therefore leaves the row as it was.
#include "core/compressed.h"

#include <algorithm>
#include <cstring>

#include "core/alloc.h"
#include "core/bitmap.h"
#include "core/rowheap.h"
#include "core/runs.h"
#include "core/storage.h"
#include "kest/compressed.h"
#include "kest/rows.h"

namespace kest::compressed {
namespace {

using runs::RunReader;
using runs::RunWriter;

uint32_t Width(const RASTERBITMAP &bitmap) { return static_cast<uint32_t>(bitmap.BitmapWidth); }
uint32_t Height(const RASTERBITMAP &bitmap) {
  return static_cast<uint32_t>(std::max(bitmap.BitmapHeight, 0));
}

void RefreshSize(RASTERBITMAP &bitmap) {
  bitmap.BitmapSize = rowheap::Words(Table(bitmap).Heap).HeapTotal;
}

// The run list of a blank row wider than one run can be: full runs of
// 65,535 zeros joined by empty runs of 1 pixels, then the rest.
uint8_t *NewSplitTemplate(uint32_t width) {
  const uint32_t chunks = (width + runs::kLongestRun - 1) / runs::kLongestRun;
  const uint32_t count = 2 * chunks - 1;
  auto *packed = static_cast<uint8_t *>(K_Malloc(4 + 2 * count));
  if (packed == nullptr) return nullptr;
  runs::StoreCount(packed, count);
  for (uint32_t i = 0; i < count; ++i) {
    const bool last = i + 1 == count;
    runs::StoreRun(packed + 4, i,
                   i & 1 ? 0 : last ? width - runs::kLongestRun * (chunks - 1) : runs::kLongestRun);
  }
  return packed;
}

size_t TableBytes(uint32_t height) { return sizeof(CompressedRows) + size_t{height} * sizeof(RowEntry); }

// The old pixels of a row, as the splicing code walks them.
RunReader ReaderFor(const RASTERBITMAP &bitmap, uint32_t row) {
  uint32_t count = 0;
  const uint8_t *stored = StoredRuns(bitmap, row, count);
  if (stored == nullptr && Table(bitmap).SplitTemplate != nullptr) {
    const uint8_t *blank = Table(bitmap).SplitTemplate;
    return RunReader(blank + 4, runs::LoadCount(blank));
  }
  return RunReader(stored, count);
}

// Gives a row the run list at list: a new block for a blank row, the old
// one resized when the count differs. -1 when the heap cannot give the
// room; the row then stands as it was. list must not lie in the heap.
int32_t StoreRow(RASTERBITMAP &bitmap, uint32_t row, const uint8_t *list, uint32_t count) {
  CompressedRows &table = Table(bitmap);
  RowEntry &entry = table.Rows()[row];
  if (count > UINT32_MAX / 2) return K_ERR_NOMEMORY;
  const uint32_t bytes = 2 * count;
  uint32_t offset = entry.RunsOffset;
  if (offset == 0) {
    offset = rowheap::HeapAlloc(table.Heap, bytes);
  } else if (count != entry.RowRunCount) {
    offset = rowheap::HeapResize(table.Heap, offset, bytes);
  }
  if (offset == 0) return K_ERR_NOMEMORY;
  std::memcpy(rowheap::Payload(table.Heap, offset), list, bytes);
  entry.RunsOffset = offset;
  entry.RowRunCount = count;
  return K_SUCCESS;
}

// Writes pixels bits of source (from its bit 0) into a row at column.
int32_t SpliceBits(RASTERBITMAP &bitmap, uint32_t row, const uint8_t *source, uint32_t column,
                   uint32_t pixels) {
  const uint32_t width = Width(bitmap);
  RunWriter writer(Table(bitmap).ScratchRow);
  if (column == 0 && pixels == width) {
    writer.Bits(source, 0, width);
  } else {
    RunReader old = ReaderFor(bitmap, row);
    old.Copy(writer, column);
    writer.Bits(source, 0, pixels);
    old.Skip(pixels);
    old.Copy(writer, width - column - pixels);
  }
  return StoreRow(bitmap, row, Table(bitmap).ScratchRow, writer.Finish());
}

// Writes a run list of pixelCount pixels into a row at column. A whole row
// is stored as given; a part is merged with the old runs around it.
int32_t SpliceRuns(RASTERBITMAP &bitmap, uint32_t row, const uint8_t *list, uint32_t runCount,
                   uint32_t column, uint32_t pixelCount) {
  const uint32_t width = Width(bitmap);
  if (column >= width) return K_ERR_PARAMETER;
  if (column == 0 && pixelCount == width) return StoreRow(bitmap, row, list, runCount);
  const uint32_t pixels = std::min(pixelCount, width - column);
  RunWriter writer(Table(bitmap).ScratchRow);
  RunReader old = ReaderFor(bitmap, row);
  old.Copy(writer, column);
  RunReader(list, runCount).Copy(writer, pixels);
  old.Skip(pixels);
  old.Copy(writer, width - column - pixels);
  return StoreRow(bitmap, row, Table(bitmap).ScratchRow, writer.Finish());
}

// Merges spans, sorted and apart, of a whole row in source into a row, in
// one pass over the old runs.
int32_t MergeSpans(RASTERBITMAP &bitmap, uint32_t row, const uint8_t *source, uint32_t column,
                   const uint32_t *segments, uint32_t spans) {
  const uint32_t width = Width(bitmap);
  RunWriter writer(Table(bitmap).ScratchRow);
  RunReader old = ReaderFor(bitmap, row);
  uint64_t position = 0;
  for (uint32_t i = 0; i < spans; ++i) {
    const uint64_t start = segments[2 * i], end = segments[2 * i + 1];
    if (end <= start) continue;
    old.Copy(writer, column + start - position);
    writer.Bits(source, start, end - start);
    old.Skip(end - start);
    position = column + end;
  }
  old.Copy(writer, width - position);
  return StoreRow(bitmap, row, Table(bitmap).ScratchRow, writer.Finish());
}

// Expands bytes of a row from byte firstByte on; bytes past the last pixel
// of the row read as 0.
void ExpandRowBytes(const RASTERBITMAP &bitmap, uint32_t row, uint8_t *out, size_t firstByte,
                    size_t bytes) {
  const uint64_t width = Width(bitmap), start = 8 * uint64_t{firstByte};
  const uint64_t pixels = start < width ? std::min<uint64_t>(8 * uint64_t{bytes}, width - start) : 0;
  uint32_t count = 0;
  const uint8_t *stored = StoredRuns(bitmap, row, count);
  runs::Expand(stored, count, out, start, pixels);
  const size_t expanded = static_cast<size_t>((pixels + 7) >> 3);
  std::memset(out + expanded, 0, bytes - expanded);
}

// The packed row of a blank stretch as K_GetBitmapRowColCompressed gives
// it: one run below 32,768 pixels, else 32767-long runs and the remainder.
size_t PutBlankStretch(uint8_t *packed, uint32_t pixels) {
  constexpr uint32_t kChainRun = 0x7FFF;
  uint32_t count = 0;
  if (pixels < 0x8000) {
    runs::StoreRun(packed + 4, count++, pixels);
  } else {
    const uint32_t chain = (pixels - 1) / kChainRun;
    for (uint32_t i = 0; i < chain; ++i) runs::StoreRun(packed + 4, count++, kChainRun);
    runs::StoreRun(packed + 4, count++, pixels - chain * kChainRun);
  }
  runs::StoreCount(packed, count);
  return 4 + 2 * size_t{count};
}

int32_t CheckCompressedCall(const RASTERBITMAP *bitmap, const void *runs) {
  if (bitmap == nullptr || runs == nullptr) return K_ERR_PARAMETER;
  if (!HasSize(*bitmap)) return K_ERR_RECORD_SIZE;
  return K_SUCCESS;
}

bool IsCompressed(const RASTERBITMAP &bitmap) {
  return (bitmap.BitmapFlags & RBF_COMPRESSED) != 0 && bitmap.BitmapData != nullptr;
}

// The caller's work buffer, or one of a row for the call.
class WorkBuffer {
 public:
  WorkBuffer(void *given, const RASTERBITMAP &bitmap)
      : given_(static_cast<uint8_t *>(given)), size_(bitmap.BitmapBytesPerLine) {}
  uint8_t *get() {
    if (given_ != nullptr) return given_;
    if (!own_) own_ = HeapBuffer(std::max<uint32_t>(size_, 1));
    return own_.get();
  }

 private:
  uint8_t *given_;
  uint32_t size_;
  HeapBuffer own_;
};

}  // namespace

const uint8_t *StoredRuns(const RASTERBITMAP &bitmap, uint32_t row, uint32_t &count) {
  const CompressedRows &table = Table(bitmap);
  const RowEntry entry = table.Rows()[row];
  if (entry.RunsOffset == 0) {
    count = 0;
    return nullptr;
  }
  count = entry.RowRunCount;
  return rowheap::Payload(table.Heap, entry.RunsOffset);
}

int32_t MirrorStoredRow(RASTERBITMAP &bitmap, uint32_t row) {
  CompressedRows &table = Table(bitmap);
  RowEntry &entry = table.Rows()[row];
  if (entry.RunsOffset == 0) return K_SUCCESS;
  uint32_t count = entry.RowRunCount;
  if (count == 0) return K_SUCCESS;
  uint8_t *list = rowheap::Payload(table.Heap, entry.RunsOffset);
  const bool emptyFirst = runs::LoadRun(list, 0) == 0;
  if (!emptyFirst && count % 2 == 0) {
    // Ends on 1 pixels: an empty run of 0 pixels at the end becomes the
    // first run of the mirrored row.
    const uint32_t offset = rowheap::HeapResize(table.Heap, entry.RunsOffset, 2 * (count + 1));
    if (offset == 0) return K_ERR_NOMEMORY;
    entry.RunsOffset = offset;
    list = rowheap::Payload(table.Heap, offset);
    runs::StoreRun(list, count++, 0);
    entry.RowRunCount = count;
  }
  // With an even count run 0 is the empty run that stays in front.
  const uint32_t first = count % 2 == 0 ? 1 : 0;
  for (uint32_t i = first, j = count - 1; i < j; ++i, --j) {
    const uint32_t left = runs::LoadRun(list, i);
    runs::StoreRun(list, i, runs::LoadRun(list, j));
    runs::StoreRun(list, j, left);
  }
  // An empty run 0 of a row ending on 0 pixels is now an empty last run.
  if (emptyFirst && count % 2 == 1) entry.RowRunCount = count - 1;
  return K_SUCCESS;
}

int32_t TransferRow(RASTERBITMAP &bitmap, void *buffer, uint32_t row, uint32_t column,
                    uint32_t count, bool write) {
  const uint32_t width = Width(bitmap), height = Height(bitmap);
  if (column >= width) return K_ERR_PARAMETER;
  if (row >= height) return K_ERR_WIDTH_HEIGHT;
  // To its callers a row is BitmapBytesPerLine bytes long, as in every
  // other kind; a longer count goes on at the start of the next row.
  const size_t stride = bitmap.BitmapBytesPerLine;
  size_t inRow = column >> 3;
  if (uint64_t{row} * stride + inRow + count > uint64_t{height} * stride) return K_ERR_WIDTH_HEIGHT;
  auto *bytes = static_cast<uint8_t *>(buffer);
  int32_t status = K_SUCCESS;
  for (size_t left = count; left != 0 && status == K_SUCCESS; ++row, inRow = 0) {
    const size_t part = std::min(left, stride - inRow);
    if (write) {
      const uint64_t start = 8 * uint64_t{inRow};
      if (start < width) {
        const auto pixels = static_cast<uint32_t>(std::min<uint64_t>(8 * uint64_t{part}, width - start));
        status = SpliceBits(bitmap, row, bytes, static_cast<uint32_t>(start), pixels);
      }
    } else {
      ExpandRowBytes(bitmap, row, bytes, inRow, part);
    }
    bytes += part;
    left -= part;
  }
  if (write) RefreshSize(bitmap);
  return status == K_SUCCESS ? static_cast<int32_t>(count) : status;
}

int32_t PixelBytes(RASTERBITMAP &bitmap, void *destination, uint32_t row, uint32_t column) {
  if (row >= Height(bitmap) || column >= Width(bitmap)) return K_ERR_WIDTH_HEIGHT;
  ExpandRowBytes(bitmap, row, static_cast<uint8_t *>(destination), column >> 3, 1);
  return K_SUCCESS;
}

}  // namespace kest::compressed

namespace kest::storage {

using namespace kest::compressed;

int32_t AllocateCompressed(RASTERBITMAP &bitmap) {
  const uint64_t width = static_cast<uint32_t>(std::max(bitmap.BitmapWidth, 0));
  const uint32_t height = static_cast<uint32_t>(std::max(bitmap.BitmapHeight, 0));
  const uint64_t scratch = 2 * width + 8;
  const size_t tableBytes = TableBytes(height);
  if (width == 0 || scratch > UINT32_MAX || tableBytes > UINT32_MAX) return K_ERR_NOMEMORY;
  auto *table = static_cast<CompressedRows *>(K_Calloc(1, static_cast<uint32_t>(tableBytes)));
  if (table == nullptr) return K_ERR_NOMEMORY;
  table->ScratchSize = static_cast<uint32_t>(scratch);
  table->ScratchRow = static_cast<uint8_t *>(K_Malloc(table->ScratchSize));
  if (width > runs::kLongestRun) table->SplitTemplate = NewSplitTemplate(static_cast<uint32_t>(width));
  table->Heap = rowheap::HeapCreate(bitmap.BitmapBytesPerLine, height);
  if (table->ScratchRow == nullptr || table->Heap == nullptr ||
      (width > runs::kLongestRun && table->SplitTemplate == nullptr)) {
    K_Free(table->ScratchRow);
    K_Free(table->SplitTemplate);
    rowheap::HeapDestroy(table->Heap);
    K_Free(table);
    return K_ERR_NOMEMORY;
  }
  bitmap.MemoryHandle = nullptr;
  bitmap.BitmapData = table;
  bitmap.BitmapSize = rowheap::Words(table->Heap).HeapTotal;
  return K_SUCCESS;
}

void FreeCompressed(RASTERBITMAP &bitmap) {
  auto *table = static_cast<CompressedRows *>(bitmap.BitmapData);
  if (table == nullptr) return;
  rowheap::HeapDestroy(table->Heap);
  K_Free(table->SplitTemplate);
  K_Free(table->ScratchRow);
  K_Free(table);
  bitmap.BitmapData = nullptr;
}

int32_t ChangeCompressedHeight(RASTERBITMAP &bitmap, int32_t height) {
  CompressedRows &table = Table(bitmap);
  const auto rows = static_cast<uint32_t>(height);
  const uint32_t old = static_cast<uint32_t>(std::max(bitmap.BitmapHeight, 0));
  for (uint32_t row = rows; row < old; ++row) {
    RowEntry &entry = table.Rows()[row];
    if (entry.RunsOffset != 0) rowheap::HeapFree(table.Heap, entry.RunsOffset);
    entry = RowEntry{};
  }
  const size_t bytes = TableBytes(rows);
  if (bytes > UINT32_MAX) return K_ERR_NOMEMORY;
  auto *moved = static_cast<CompressedRows *>(K_Realloc(&table, static_cast<uint32_t>(bytes)));
  if (moved == nullptr) return K_ERR_NOMEMORY;
  // New rows are blank.
  for (uint32_t row = old; row < rows; ++row) moved->Rows()[row] = RowEntry{};
  bitmap.BitmapData = moved;
  return K_SUCCESS;
}

int32_t CompressedSize(RASTERBITMAP &bitmap, size_t &size) {
  size = 0;
  const uint32_t height = static_cast<uint32_t>(std::max(bitmap.BitmapHeight, 0));
  for (uint32_t row = 0; row < height; ++row) size += Table(bitmap).Rows()[row].RowRunCount;
  return K_SUCCESS;
}

int32_t PutCompressedSegments(RASTERBITMAP &bitmap, const void *rowBuffer, uint32_t row,
                              uint32_t column, const uint32_t *segments, uint32_t segmentWords) {
  const uint32_t spans = segmentWords / 2;
  if (spans == 0 || bitmap.BitmapData == nullptr) {
    if (bitmap.BitmapData != nullptr) RefreshSize(bitmap);
    return K_SUCCESS;
  }
  const uint64_t width = static_cast<uint32_t>(std::max(bitmap.BitmapWidth, 0));
  if (row >= static_cast<uint32_t>(std::max(bitmap.BitmapHeight, 0))) return K_ERR_WIDTH_HEIGHT;
  bool sorted = true;
  uint64_t previousEnd = 0;
  for (uint32_t i = 0; i < spans; ++i) {
    const uint64_t start = segments[2 * i], end = segments[2 * i + 1];
    if (end <= start) continue;
    if (end > width || column + end > width) return K_ERR_WIDTH_HEIGHT;
    sorted = sorted && start >= previousEnd;
    previousEnd = end;
  }
  const auto *source = static_cast<const uint8_t *>(rowBuffer);
  int32_t status = K_SUCCESS;
  if (sorted) {
    status = MergeSpans(bitmap, row, source, column, segments, spans);
  } else {
    // Spans out of order or overlapping: one pass each, later spans over
    // earlier ones, as the other kinds write them.
    for (uint32_t i = 0; i < spans && status == K_SUCCESS; ++i) {
      status = MergeSpans(bitmap, row, source, column, segments + 2 * i, 1);
    }
  }
  RefreshSize(bitmap);
  return status;
}

}  // namespace kest::storage

using namespace kest;
using namespace kest::compressed;

KEST_API int32_t K_GetBitmapRowCompressed(RASTERBITMAP *bitmap, void *workBuffer, void *runs,
                                          uint32_t row, uint32_t rowCount) {
  const int32_t check = CheckCompressedCall(bitmap, runs);
  if (check != K_SUCCESS) return check;
  const uint32_t height = Height(*bitmap);
  if (row >= height) return K_SUCCESS;
  rowCount = std::min(rowCount, height - row);
  auto *packed = static_cast<uint8_t *>(runs);
  if (IsCompressed(*bitmap)) {
    for (uint32_t i = 0; i < rowCount; ++i) {
      uint32_t count = 0;
      const uint8_t *stored = StoredRuns(*bitmap, row + i, count);
      if (stored == nullptr) {
        // Taken as a 16-bit value: exact up to 65,535 pixels.
        runs::StoreCount(packed, 1);
        runs::StoreRun(packed + 4, 0, Width(*bitmap));
        count = 1;
      } else {
        runs::StoreCount(packed, count);
        std::memcpy(packed + 4, stored, 2 * size_t{count});
      }
      packed += 4 + 2 * size_t{count};
    }
    return K_SUCCESS;
  }
  WorkBuffer work(workBuffer, *bitmap);
  uint8_t *buffer = work.get();
  if (buffer == nullptr) return K_ERR_NOMEMORY;
  const auto bytes = static_cast<int32_t>(bitmap->BitmapBytesPerLine);
  for (uint32_t i = 0; i < rowCount; ++i) {
    const int32_t read = K_GetBitmapRowCol(bitmap, buffer, row + i, 0, bytes);
    if (read != bytes) return read < 0 ? read : K_ERR_WRITE;
    K_CompressRow(packed, buffer, 0, Width(*bitmap));
    packed += runs::PackedBytes(packed);
  }
  return K_SUCCESS;
}

KEST_API int32_t K_PutBitmapRowCompressed(RASTERBITMAP *bitmap, void *workBuffer, void *runs,
                                          uint32_t row, uint32_t rowCount) {
  const int32_t check = CheckCompressedCall(bitmap, runs);
  if (check != K_SUCCESS) return check;
  const uint32_t height = Height(*bitmap);
  if (rowCount == 0 || row >= height) return K_SUCCESS;
  rowCount = std::min(rowCount, height - row);
  const auto *packed = static_cast<const uint8_t *>(runs);
  if (IsCompressed(*bitmap)) {
    int32_t status = K_SUCCESS;
    for (uint32_t i = 0; i < rowCount && status == K_SUCCESS; ++i) {
      status = StoreRow(*bitmap, row + i, packed + 4, runs::LoadCount(packed));
      packed += runs::PackedBytes(packed);
    }
    RefreshSize(*bitmap);
    return status;
  }
  WorkBuffer work(workBuffer, *bitmap);
  uint8_t *buffer = work.get();
  if (buffer == nullptr) return K_ERR_NOMEMORY;
  const auto bytes = static_cast<int32_t>(bitmap->BitmapBytesPerLine);
  for (uint32_t i = 0; i < rowCount; ++i) {
    runs::Expand(packed + 4, runs::LoadCount(packed), buffer, 0, Width(*bitmap));
    const int32_t written = K_PutBitmapRowCol(bitmap, buffer, row + i, 0, bytes);
    if (written != bytes) return written < 0 ? written : K_ERR_WRITE;
    packed += runs::PackedBytes(packed);
  }
  return K_SUCCESS;
}

KEST_API int32_t K_GetBitmapRowColCompressed(RASTERBITMAP *bitmap, void *workBuffer, void *runs,
                                             uint32_t row, int32_t column, uint32_t pixelCount) {
  const int32_t check = CheckCompressedCall(bitmap, runs);
  if (check != K_SUCCESS) return check;
  const uint32_t width = Width(*bitmap), height = Height(*bitmap);
  if (column < 0 || static_cast<uint32_t>(column) >= width) return K_ERR_PARAMETER;
  if (pixelCount > INT32_MAX) return K_ERR_PARAMETER;
  auto *packed = static_cast<uint8_t *>(runs);
  const bool compressed = IsCompressed(*bitmap);
  WorkBuffer work(workBuffer, *bitmap);
  uint32_t start = static_cast<uint32_t>(column);
  for (uint32_t left = pixelCount; left != 0; ++row, start = 0) {
    if (row >= height) return K_ERR_WIDTH_HEIGHT;
    const uint32_t pixels = std::min(left, width - start);
    if (compressed) {
      uint32_t count = 0;
      const uint8_t *stored = StoredRuns(*bitmap, row, count);
      if (stored == nullptr) {
        packed += PutBlankStretch(packed, pixels);
      } else if (start == 0 && pixels == width) {
        runs::StoreCount(packed, count);
        std::memcpy(packed + 4, stored, 2 * size_t{count});
        packed += 4 + 2 * size_t{count};
      } else {
        RunWriter writer(packed + 4);
        RunReader old(stored, count);
        old.Skip(start);
        old.Copy(writer, pixels);
        runs::StoreCount(packed, writer.Finish());
        packed += runs::PackedBytes(packed);
      }
    } else {
      uint8_t *buffer = work.get();
      if (buffer == nullptr) return K_ERR_NOMEMORY;
      const auto bytes = static_cast<int32_t>(((start & 7) + uint64_t{pixels} + 7) / 8);
      const int32_t read = K_GetBitmapRowCol(bitmap, buffer, row, start, bytes);
      if (read != bytes) return read < 0 ? read : K_ERR_WRITE;
      K_CompressRow(packed, buffer, start & 7, pixels);
      packed += runs::PackedBytes(packed);
    }
    left -= pixels;
  }
  return static_cast<int32_t>(pixelCount);
}

KEST_API int32_t K_PutBitmapRowColCompressed(RASTERBITMAP *bitmap, void *workBuffer, void *runs,
                                             uint32_t row, int32_t column, uint32_t pixelCount) {
  if (bitmap == nullptr || runs == nullptr) return K_ERR_PARAMETER;
  const uint32_t width = Width(*bitmap);
  if (column < 0 || static_cast<uint32_t>(column) >= width) return K_ERR_PARAMETER;
  if (pixelCount > INT32_MAX) return K_ERR_PARAMETER;
  const auto *packed = static_cast<const uint8_t *>(runs);
  if (IsCompressed(*bitmap)) {
    if (row >= Height(*bitmap)) return K_ERR_WIDTH_HEIGHT;
    const int32_t status = SpliceRuns(*bitmap, row, packed + 4, runs::LoadCount(packed),
                                      static_cast<uint32_t>(column), pixelCount);
    RefreshSize(*bitmap);
    return status == K_SUCCESS ? static_cast<int32_t>(pixelCount) : status;
  }
  WorkBuffer work(workBuffer, *bitmap);
  uint8_t *buffer = work.get();
  if (buffer == nullptr) return K_ERR_NOMEMORY;
  const uint32_t pixels = std::min(pixelCount, width - static_cast<uint32_t>(column));
  runs::Expand(packed + 4, runs::LoadCount(packed), buffer, 0, pixels);
  const auto bytes = static_cast<int32_t>((uint64_t{pixels} + 7) >> 3);
  const int32_t written = K_PutBitmapRowCol(bitmap, buffer, row, static_cast<uint32_t>(column), bytes);
  if (written != bytes) return written < 0 ? written : K_ERR_WRITE;
  return static_cast<int32_t>(pixelCount);
}

namespace {
int32_t CheckHeapCall(const RASTERBITMAP *bitmap) {
  if (bitmap == nullptr || !IsAllocated(*bitmap)) return K_ERR_PARAMETER;
  if (!HasSize(*bitmap)) return K_ERR_RECORD_SIZE;
  if (!IsCompressed(*bitmap)) return K_ERR_PARAMETER;
  return K_SUCCESS;
}
}  // namespace

KEST_API int32_t K_TrimBitmapHeap(RASTERBITMAP *bitmap) {
  const int32_t check = CheckHeapCall(bitmap);
  if (check != K_SUCCESS) return check;
  if (!rowheap::HeapTrim(Table(*bitmap).Heap)) return K_FAILURE;
  RefreshSize(*bitmap);
  return K_SUCCESS;
}

KEST_API int32_t K_GrowBitmapHeap(RASTERBITMAP *bitmap, uint32_t extraBytes) {
  const int32_t check = CheckHeapCall(bitmap);
  if (check != K_SUCCESS) return check;
  if (!rowheap::HeapGrow(Table(*bitmap).Heap, extraBytes)) return K_FAILURE;
  RefreshSize(*bitmap);
  return K_SUCCESS;
}
