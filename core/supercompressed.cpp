// Super-compressed bitmaps: the band table, GetBandRow and PutBandRow,
// storing a band through its filter, allocation, freeing and height
// changes, and the pixel and segment access of the row calls.
#include "core/supercompressed.h"

#include <algorithm>
#include <cstring>

#include "core/alloc.h"
#include "core/bitmap.h"
#include "core/filters.h"
#include "core/os/os.h"
#include "core/rows.h"
#include "core/storage.h"

namespace kest::supercompressed {
namespace {

constexpr int32_t kFormatColour = 5;  // the format of filter 0: 8 and 24 bits
constexpr int32_t kFormatBilevel = 68;  // the format of filter 1: 1 bit
constexpr int32_t kQualityColour = -1;
constexpr int32_t kQualityBilevel = 0;

size_t Stride(const RASTERBITMAP &bitmap) { return bitmap.BitmapBytesPerLine; }
uint32_t Height(const RASTERBITMAP &bitmap) {
  return static_cast<uint32_t>(std::max(bitmap.BitmapHeight, 0));
}
uint32_t BandsFor(uint32_t height) { return (height + kBandRows - 1) / kBandRows; }
size_t TableBytes(uint32_t bands) { return sizeof(BandTable) + size_t{bands} * sizeof(BandEntry); }

void ReleaseBand(BandEntry &band) {
  if (band.BandMapping != nullptr) {
    os::UnmapViewOfFile(band.BandData, os::MappingSize(band.BandMapping));
    os::CloseMapping(band.BandMapping);
  }
  band.BandMapping = nullptr;
  band.BandData = nullptr;
  band.BandBytes = 0;
}

// Packs the unpacked band into a mapping of its packed size, which takes
// the place of the old one only when all went well.
int32_t StoreBand(RASTERBITMAP &bitmap) {
  BandTable &table = Bands(bitmap);
  BandEntry &band = table.Bands()[static_cast<uint32_t>(table.CurrentRow) / kBandRows];
  table.FilterHeader->biHeight = -static_cast<int32_t>(band.BandRows);
  uint32_t size = table.PackBufferSize;
  const filters::FilterEntry &filter = filters::Filter(table.FilterIndex);
  if (filter.fltSaveBuffer(table.DecodedBand, table.FilterHeader, table.PackBuffer, &size,
                           table.FilterQuality, 0, table.FilterFormat, 0, 0) != K_SUCCESS ||
      size == 0 || size > table.PackBufferSize) {
    return K_ERR_NOMEMORY;
  }
  // Views begin on a page, so the packed bytes are 32-byte aligned as
  // every block of pixels is.
  if (!AllocationAllowed()) return K_ERR_NOMEMORY;
  HANDLE mapping = os::CreateAnonymousMapping(size);
  void *view = mapping != nullptr ? os::MapViewOfFile(mapping, 0, size) : nullptr;
  if (view == nullptr) {
    if (mapping != nullptr) os::CloseMapping(mapping);
    return K_ERR_NOMEMORY;
  }
  std::memcpy(view, table.PackBuffer, size);
  if (band.BandMapping != nullptr) bitmap.BitmapSize -= band.BandBytes;
  ReleaseBand(band);
  band.BandMapping = mapping;
  band.BandData = static_cast<uint8_t *>(view);
  band.BandBytes = size;
  bitmap.BitmapSize += size;
  table.BandDirty = 0;
  return K_SUCCESS;
}

// Unpacks the band that starts at row first; a band never stored is zeros.
bool LoadBand(RASTERBITMAP &bitmap, uint32_t first) {
  BandTable &table = Bands(bitmap);
  const BandEntry &band = table.Bands()[first / kBandRows];
  table.CurrentRow = kNoBand;
  if (band.BandMapping == nullptr) {
    std::memset(table.DecodedBand, 0, band.BandRows * Stride(bitmap));
  } else {
    const filters::FilterEntry &filter = filters::Filter(table.FilterIndex);
    if (filter.fltLoadBuffer(band.BandData, band.BandBytes, table.DecodedBand, table.FilterFormat,
                             bitmap.BitmapWidth, static_cast<int32_t>(band.BandRows),
                             bitmap.BitmapBits, 0, 0) != K_SUCCESS) {
      return false;
    }
  }
  table.CurrentRow = static_cast<int32_t>(first);
  return true;
}

// Makes the band of row the unpacked one, packing a written band first.
bool SelectBand(RASTERBITMAP &bitmap, uint32_t row) {
  BandTable &table = Bands(bitmap);
  const uint32_t first = row & ~(kBandRows - 1);
  if (table.CurrentRow == static_cast<int32_t>(first)) return true;
  if (table.BandDirty != 0 && StoreBand(bitmap) != K_SUCCESS) return false;
  return LoadBand(bitmap, first);
}

// The bytes of a transfer, from the row's column byte on through the next
// rows and bands: the bytes moved, fewer when a band could not be had, or
// -11 for a transfer that would leave the bitmap.
template <bool kWrite>
int64_t MoveBandBytes(RASTERBITMAP &bitmap, uint8_t *bytes, uint32_t row, uint64_t columnByte,
                      uint32_t count) {
  const size_t stride = Stride(bitmap);
  if (row >= Height(bitmap) ||
      uint64_t{row} * stride + columnByte + count > uint64_t{Height(bitmap)} * stride) {
    return K_ERR_WIDTH_HEIGHT;
  }
  BandTable &table = Bands(bitmap);
  uint64_t at = uint64_t{row} * stride + columnByte;  // from the first row of the bitmap
  uint32_t moved = 0;
  while (moved < count) {
    const auto bandRow = static_cast<uint32_t>(at / stride);
    if (!SelectBand(bitmap, bandRow)) return moved;
    const size_t bandStart = static_cast<size_t>(table.CurrentRow) * stride;
    const size_t bandEnd = bandStart + table.Bands()[bandRow / kBandRows].BandRows * stride;
    const size_t part = std::min<size_t>(count - moved, bandEnd - at);
    uint8_t *decoded = table.DecodedBand + (at - bandStart);
    if constexpr (kWrite) {
      std::memcpy(decoded, bytes + moved, part);
      table.BandDirty = 1;
    } else {
      std::memcpy(bytes + moved, decoded, part);
    }
    moved += static_cast<uint32_t>(part);
    at += part;
  }
  return moved;
}

// The column's byte as the band transfers take it: a factor of 3 at every
// depth but 1 bit, the 8-bit one included.
uint64_t BandColumnByte(const RASTERBITMAP &bitmap, uint32_t column) {
  return bitmap.BitmapBits == 1 ? column >> 3 : uint64_t{column} * 3;
}

}  // namespace

int32_t GetBandRow(RASTERBITMAP &bitmap, void *destination, uint32_t row, uint32_t column,
                   uint32_t byteCount) {
  return static_cast<int32_t>(MoveBandBytes<false>(bitmap, static_cast<uint8_t *>(destination), row,
                                                   BandColumnByte(bitmap, column), byteCount));
}

int32_t PutBandRow(RASTERBITMAP &bitmap, const void *source, uint32_t row, uint32_t column,
                   uint32_t byteCount) {
  const int64_t moved =
      MoveBandBytes<true>(bitmap, static_cast<uint8_t *>(const_cast<void *>(source)), row,
                          BandColumnByte(bitmap, column), byteCount);
  if (moved < 0) return static_cast<int32_t>(moved);
  return moved == byteCount ? static_cast<int32_t>(moved) : K_ERR_NOMEMORY;
}

uint8_t *BandRowForWriting(RASTERBITMAP &bitmap, uint32_t row) {
  if (row >= Height(bitmap) || !SelectBand(bitmap, row)) return nullptr;
  BandTable &table = Bands(bitmap);
  table.BandDirty = 1;
  return table.DecodedBand + (row - static_cast<uint32_t>(table.CurrentRow)) * Stride(bitmap);
}

int32_t PixelBytes(RASTERBITMAP &bitmap, void *destination, uint32_t row, uint32_t column) {
  if (column >= static_cast<uint32_t>(std::max(bitmap.BitmapWidth, 0))) return K_ERR_WIDTH_HEIGHT;
  const auto count = static_cast<uint32_t>(PixelByteCount(bitmap.BitmapBits, column));
  const int64_t moved = MoveBandBytes<false>(bitmap, static_cast<uint8_t *>(destination), row,
                                             ColumnToByte(bitmap.BitmapBits, column), count);
  if (moved < 0) return static_cast<int32_t>(moved);
  return moved == count ? K_SUCCESS : K_ERR_READ;
}

}  // namespace kest::supercompressed

namespace kest::storage {

using namespace kest::supercompressed;

int32_t AllocateSuperCompressed(RASTERBITMAP &bitmap) {
  uint32_t index;
  switch (bitmap.BitmapBits) {
    case 8: case 24: index = 0; break;
    case 1: index = 1; break;
    default: return K_ERR_PARAMETER;
  }
  const uint32_t bands = BandsFor(Height(bitmap));
  if (bands < 1) return K_ERR_BITMAP;
  bitmap.BitmapSize = 0;
  bitmap.MemoryHandle = nullptr;
  const int32_t status = filters::LoadFilter(index);
  if (status != K_SUCCESS) return status;

  const uint64_t stride = Stride(bitmap);
  const uint64_t decodedBytes = kBandRows * stride + 31, packBytes = 2 * kBandRows * stride;
  const size_t tableBytes = TableBytes(bands);
  BandTable *table = nullptr;
  if (packBytes <= UINT32_MAX && tableBytes <= UINT32_MAX) {
    table = static_cast<BandTable *>(K_OsAllocInit(static_cast<uint32_t>(tableBytes), 1));
  }
  if (table != nullptr) {
    table->DecodedBlock = K_OsAlloc(static_cast<uint32_t>(decodedBytes));
    table->FilterHeader =
        static_cast<BITMAPINFOHEADER *>(K_OsAllocInit(sizeof(BITMAPINFOHEADER), 1));
    table->PackBuffer = static_cast<uint8_t *>(K_OsAlloc(static_cast<uint32_t>(packBytes)));
  }
  if (table == nullptr || table->DecodedBlock == nullptr || table->FilterHeader == nullptr ||
      table->PackBuffer == nullptr) {
    if (table != nullptr) {
      K_OsFree(table->DecodedBlock);
      K_OsFree(table->FilterHeader);
      K_OsFree(table->PackBuffer);
      K_OsFree(table);
    }
    filters::DropFilter(index);
    return K_ERR_NOMEMORY;
  }
  const auto block = reinterpret_cast<uintptr_t>(table->DecodedBlock);
  table->DecodedBand = reinterpret_cast<uint8_t *>((block + 31) & ~uintptr_t{31});
  table->BandCount = bands;
  table->CurrentRow = kNoBand;
  table->FilterHeader->biSize = sizeof(BITMAPINFOHEADER);
  table->FilterHeader->biWidth = bitmap.BitmapWidth;
  table->FilterHeader->biPlanes = 1;
  table->FilterHeader->biBitCount = static_cast<WORD>(bitmap.BitmapBits);
  table->PackBufferSize = static_cast<uint32_t>(packBytes);
  table->FilterIndex = index;
  table->FilterFormat = index == 0 ? kFormatColour : kFormatBilevel;
  table->FilterQuality = index == 0 ? kQualityColour : kQualityBilevel;
  for (uint32_t band = 0; band < bands; ++band) table->Bands()[band].BandRows = kBandRows;
  table->Bands()[bands - 1].BandRows = Height(bitmap) - kBandRows * (bands - 1);
  bitmap.BitmapData = table;
  return K_SUCCESS;
}

void FreeSuperCompressed(RASTERBITMAP &bitmap) {
  auto *table = static_cast<BandTable *>(bitmap.BitmapData);
  if (table == nullptr) return;
  filters::DropFilter(table->FilterIndex);
  for (uint32_t band = table->BandCount; band > 0; --band) ReleaseBand(table->Bands()[band - 1]);
  K_OsFree(table->FilterHeader);
  K_OsFree(table->DecodedBlock);
  K_OsFree(table->PackBuffer);
  K_OsFree(table);
  bitmap.BitmapData = nullptr;
}

// Rows that leave the bitmap are cleared in the last band that stays, and
// rows that come back read as zeros: the stored form of a band never holds
// more rows than the band has.
int32_t ChangeSuperCompressedHeight(RASTERBITMAP &bitmap, int32_t height) {
  const auto rows = static_cast<uint32_t>(height);
  const uint32_t oldRows = Height(bitmap), bands = BandsFor(rows);
  const size_t stride = Stride(bitmap);
  BandTable *table = &Bands(bitmap);
  const uint32_t oldBands = table->BandCount;

  if (rows < oldRows && bands > 0) {
    // The new last band loses rows: it is unpacked, cleared below the new
    // bottom and marked for packing again.
    const uint32_t first = (bands - 1) * kBandRows;
    BandEntry &last = table->Bands()[bands - 1];
    const uint32_t keep = rows - first;
    if (keep < last.BandRows &&
        (last.BandMapping != nullptr || table->CurrentRow == static_cast<int32_t>(first))) {
      if (!SelectBand(bitmap, first)) return K_ERR_NOMEMORY;
      std::memset(table->DecodedBand + keep * stride, 0, (last.BandRows - keep) * stride);
      table->BandDirty = 1;
    }
  }
  if (bands > oldBands) {
    auto *moved = static_cast<BandTable *>(K_OsReAlloc(table, static_cast<uint32_t>(TableBytes(bands))));
    if (moved == nullptr) return K_ERR_NOMEMORY;
    table = moved;
    bitmap.BitmapData = table;
    for (uint32_t band = oldBands; band < bands; ++band) table->Bands()[band] = BandEntry{};
  }
  for (uint32_t band = bands; band < oldBands; ++band) {
    bitmap.BitmapSize -= table->Bands()[band].BandBytes;
    ReleaseBand(table->Bands()[band]);
  }
  if (rows > oldRows && oldBands > 0 &&
      table->CurrentRow == static_cast<int32_t>((oldBands - 1) * kBandRows)) {
    // The unpacked old last band gains rows; what its buffer holds there is
    // left from another band.
    const uint32_t had = table->Bands()[oldBands - 1].BandRows;
    std::memset(table->DecodedBand + had * stride, 0, (kBandRows - had) * stride);
  }
  for (uint32_t band = std::min(oldBands, bands); band < bands; ++band) {
    table->Bands()[band].BandRows = kBandRows;
  }
  if (bands > 0) {
    if (oldBands > 0 && oldBands <= bands) table->Bands()[oldBands - 1].BandRows = kBandRows;
    table->Bands()[bands - 1].BandRows = rows - kBandRows * (bands - 1);
  }
  if (table->CurrentRow >= height) {
    table->CurrentRow = kNoBand;
    table->BandDirty = 0;
  }
  table->BandCount = bands;
  return K_SUCCESS;
}

int32_t SuperCompressedSize(RASTERBITMAP &bitmap, size_t &size) {
  size = 0;
  const BandTable &table = Bands(bitmap);
  for (uint32_t band = 0; band < table.BandCount; ++band) {
    size += table.Bands()[band].BandBytes;
  }
  return K_SUCCESS;
}

}  // namespace kest::storage
