// Whole bitmaps to gray: K_GrayScaleBitmap and K_ClearNegativePixels. Both
// walk the rows with K_GetBitmapRow and K_PutBitmapRow and report progress
// per row.
#include <algorithm>
#include <cstring>

#include "color/convert.h"
#include "core/alloc.h"
#include "core/bitmap.h"
#include "core/progress.h"
#include "kest/copy.h"
#include "kest/gray.h"
#include "kest/palette.h"
#include "kest/rows.h"
#include "kest/status.h"

namespace kest {
namespace {

constexpr uint32_t GrayLevel(const RGBQUAD &entry) {
  return (2u * entry.rgbRed + 5u * entry.rgbGreen + entry.rgbBlue + 4) >> 3;
}

// Runs a progress report from 0 to 100 in one step, for calls that find
// nothing to do.
int32_t ReportDone() {
  Progress progress;
  const int32_t status = progress.Start(0, 100, 1);
  return status != K_SUCCESS ? status : progress.Row();
}

bool UsesTable(const RASTERBITMAP &bitmap) {
  return bitmap.LevelLUT != nullptr && bitmap.LevelLUTLength != 0 &&
         (bitmap.BitmapFlags & RBF_USE_LUT) != 0;
}

// Gray already, at these bits, and read without table or window.
bool AlreadyGray(const RASTERBITMAP &bitmap, int32_t bits) {
  if (bitmap.BitmapBits != bits) return false;
  const bool gray = bitmap.ColorOrder == K_ORDER_GRAY ||
                    (bits == 8 && K_IsGrayScaleBitmap(&bitmap) == GRAY_ORDEREDNORMAL);
  return gray && !UsesTable(bitmap) && bitmap.DataLowBit <= 0 &&
         (bitmap.DataHighBit < 0 || bitmap.DataHighBit == bitmap.BitmapBits - 1);
}

// The memory kind of the source, as far as the gray bits allow it.
uint32_t MemoryTypeLike(const RASTERBITMAP &bitmap, int32_t bits) {
  const uint32_t flags = bitmap.BitmapFlags;
  if (flags & RBF_DISK) return MEMORY_TYPE_DISK;
  if (flags & RBF_TILED) return MEMORY_TYPE_TILED;
  if ((flags & RBF_SUPERCOMPRESSED) && bits == 8) return MEMORY_TYPE_SUPERCOMPRESSED;
  return MEMORY_TYPE_CONV;
}

// The empty gray bitmap that will take the source's place.
int32_t MakeGrayTarget(const RASTERBITMAP &source, int32_t bits, RASTERBITMAP &gray) {
  int32_t status =
      K_InitBitmap(&gray, RASTERBITMAP_SIZE, static_cast<uint32_t>(source.BitmapWidth),
                   static_cast<uint32_t>(source.BitmapHeight), static_cast<uint32_t>(bits));
  if (status != K_SUCCESS) return status;
  status = K_AllocateBitmap(&gray, MemoryTypeLike(source, bits));
  if (status != K_SUCCESS) return status;
  if (bits == 8) {
    status = K_CreateBitmapGrayPalette(&gray);
    if (status != K_SUCCESS) {
      K_FreeBitmap(&gray);
      return status;
    }
  } else {
    K_InitGrayParams(&gray);
    gray.ColorOrder = K_ORDER_GRAY;
  }
  gray.ViewPerspective = source.ViewPerspective;
  gray.BitmapXRes = source.BitmapXRes;
  gray.BitmapYRes = source.BitmapYRes;
  gray.DitherMode = source.DitherMode;
  K_CopyPlaybackParms(&gray, &source);  // frame fields, colours in gray terms
  return K_SUCCESS;
}

// How a source row becomes a row of gray at the target bits.
class GrayRows {
 public:
  GrayRows(const RASTERBITMAP &source, int32_t bits) : source_(source), bits_(bits) {
    // Indices read through a whole palette of 2^bits entries, so that a
    // short palette reads black past its end.
    if (source.BitmapBits <= 8 && source.Palette != nullptr) {
      const int32_t count = std::clamp(source.ColorsCount, 0, 1 << source.BitmapBits);
      std::memcpy(palette_, source.Palette, static_cast<size_t>(count) * sizeof(RGBQUAD));
      hasPalette_ = true;
    }
  }

  // Converts a row in place. 1 or the conversion's status.
  int32_t Convert(uint8_t *row) const {
    const RASTERBITMAP &s = source_;
    const int32_t width = s.BitmapWidth;
    const int32_t target = bits_ == 8 ? 0 : bits_;  // gray bytes are the gray palette's indices
    if (s.ColorOrder == K_ORDER_GRAY && UsesTable(s)) {
      ThroughTable(row);
      if (bits_ == 8) return K_SUCCESS;
      return K_ConvertBuffer(row, width, 0, bits_, K_ORDER_GRAY, K_ORDER_GRAY, nullptr, nullptr);
    }
    if ((s.BitmapBits == 48 || s.BitmapBits == 64) && bits_ == 8) {
      // The level of the 16-bit words, then its high byte.
      const int32_t status = K_ConvertBuffer(row, width, s.BitmapBits, 16, s.ColorOrder,
                                             K_ORDER_GRAY, nullptr, nullptr);
      if (status != K_SUCCESS) return status;
      return K_ConvertBuffer(row, width, 16, 0, K_ORDER_GRAY, K_ORDER_GRAY, nullptr, nullptr);
    }
    const uint32_t window = s.ColorOrder == K_ORDER_GRAY ? CONVERT_SOURCE_WINDOW : 0u;
    return K_ConvertBufferExt(row, width, s.BitmapBits, target, s.ColorOrder, K_ORDER_GRAY,
                              hasPalette_ ? palette_ : nullptr, nullptr, window, s.DataLowBit,
                              s.DataHighBit);
  }

 private:
  // Gray data with a look-up table in use: each value of the data window
  // (signed where the bitmap is) picks an entry, whose gray level becomes a
  // gray byte.
  void ThroughTable(uint8_t *row) const {
    const RASTERBITMAP &s = source_;
    int32_t width = 0, shift = 0;
    uint32_t mask = 0;
    K_GetGrayParams(s.BitmapBits, s.BitmapBits, s.DataLowBit, s.DataHighBit, &width, &mask, &shift);
    const auto length = static_cast<int64_t>(s.LevelLUTLength);
    const bool isSigned = (s.BitmapFlags & RBF_SIGNED) != 0;
    auto one = [&](size_t x) {
      const uint32_t raw = static_cast<uint32_t>(convert::LoadField(s.BitmapBits, row, x));
      int64_t value = (raw >> shift) & mask;
      if (isSigned && width > 0 && (value >> (width - 1)) != 0) value -= int64_t{1} << width;
      if (value < 0) value += length;
      value = std::clamp<int64_t>(value, 0, length - 1);
      row[x] = static_cast<uint8_t>(GrayLevel(s.LevelLUT[value]));
    };
    const auto count = static_cast<size_t>(s.BitmapWidth);
    if (s.BitmapBits < 8) {
      for (size_t x = count; x-- > 0;) one(x);
    } else {
      for (size_t x = 0; x < count; ++x) one(x);
    }
  }

  const RASTERBITMAP &source_;
  int32_t bits_;
  RGBQUAD palette_[256] = {};
  bool hasPalette_ = false;
};

// Every row of source, converted, into gray.
int32_t FillGray(RASTERBITMAP &source, RASTERBITMAP &gray, int32_t bits) {
  const auto width = static_cast<uint32_t>(source.BitmapWidth);
  const uint32_t size = std::max(source.BitmapBytesPerLine,
                                 K_CalcConvertSize(width, static_cast<uint32_t>(source.BitmapBits),
                                                   width, 16));
  HeapBuffer row(size);
  if (!row) return K_ERR_NOMEMORY;
  const GrayRows rows(source, bits);
  BitmapLock sourceLock(&source);
  BitmapLock grayLock(&gray);
  Progress progress;
  int32_t status = progress.Start(0, 100, source.BitmapHeight);
  for (int32_t y = 0; status == K_SUCCESS && y < source.BitmapHeight; ++y) {
    const auto line = static_cast<uint32_t>(y);
    int32_t moved = K_GetBitmapRow(&source, row.get(), line, source.BitmapBytesPerLine);
    if (moved < 0) return moved;
    status = rows.Convert(row.get());
    if (status != K_SUCCESS) return status;
    moved = K_PutBitmapRow(&gray, row.get(), line, gray.BitmapBytesPerLine);
    if (moved < 0) return moved;
    status = progress.Row();
  }
  return status;
}

// Bytes, words or values of a row with their sign bit set become 0.
void ClearNegativeRow(const RASTERBITMAP &bitmap, uint8_t *row) {
  const auto width = static_cast<size_t>(bitmap.BitmapWidth);
  switch (bitmap.BitmapBits) {
    case 12:
      for (size_t x = 0; x < width; ++x) {
        if (convert::LoadField(12, row, x) & 0x800) convert::StoreField(12, row, x, 0);
      }
      break;
    case 16:
    case 48:
    case 64: {
      const size_t words = width * static_cast<size_t>(bitmap.BitmapBits) / 16;
      for (size_t i = 0; i < words; ++i) {
        if (row[2 * i + 1] & 0x80) row[2 * i] = row[2 * i + 1] = 0;
      }
      break;
    }
    default: {  // 24 and 32: every byte, alpha included
      const size_t bytes = width * static_cast<size_t>(bitmap.BitmapBits) / 8;
      for (size_t i = 0; i < bytes; ++i) {
        if (row[i] & 0x80) row[i] = 0;
      }
      break;
    }
  }
}

int32_t ClearNegativePalette(RASTERBITMAP &bitmap) {
  if (bitmap.Palette != nullptr) {
    RGBQUAD palette[256];
    const auto count = static_cast<uint32_t>(std::clamp(bitmap.ColorsCount, 0, 256));
    for (uint32_t i = 0; i < count; ++i) {
      palette[i] = bitmap.Palette[i];
      for (uint8_t *channel : {&palette[i].rgbRed, &palette[i].rgbGreen, &palette[i].rgbBlue}) {
        if (*channel & 0x80) *channel = 0;
      }
    }
    if (K_SetBitmapNewPalette(&bitmap, palette, count) != K_SUCCESS) return K_ERR_NOMEMORY;
  }
  return ReportDone();
}

}  // namespace
}  // namespace kest

using namespace kest;

KEST_API int32_t K_GrayScaleBitmap(RASTERBITMAP *bitmap, int32_t bits) {
  const int32_t check = CheckAllocated(bitmap);
  if (check != K_SUCCESS) return check;
  if ((bitmap->BitmapFlags & RBF_SIGNED) && !(bitmap->BitmapFlags & RBF_USE_LUT)) {
    return K_ERR_SIGNED_DATA;
  }
  if (bits > 16) return K_ERR_BITS;
  if (bits != 8 && bits != 12 && bits != 16) return K_ERR_PARAMETER;
  if (AlreadyGray(*bitmap, bits)) return ReportDone();

  RASTERBITMAP gray;
  int32_t status = MakeGrayTarget(*bitmap, bits, gray);
  if (status != K_SUCCESS) return status;
  status = FillGray(*bitmap, gray, bits);
  if (status != K_SUCCESS) {
    K_FreeBitmap(&gray);
    return status;
  }
  // The gray bitmap takes the source's place; region and overlays stay.
  gray.Region = bitmap->Region;
  gray.Overlays = bitmap->Overlays;
  gray.BitmapFlags |= bitmap->BitmapFlags & RBF_REGION_UNCLIPPED;
  bitmap->Region = nullptr;
  bitmap->Overlays = nullptr;
  K_FreeBitmap(bitmap);
  *bitmap = gray;
  return K_SUCCESS;
}

KEST_API int32_t K_ClearNegativePixels(RASTERBITMAP *bitmap) {
  const int32_t check = CheckAllocated(bitmap);
  if (check != K_SUCCESS) return check;
  const bool colour16 = bitmap->BitmapBits == 16 && bitmap->ColorOrder != K_ORDER_GRAY;
  if (!(bitmap->BitmapFlags & RBF_SIGNED) || colour16) return ReportDone();
  bitmap->BitmapFlags &= ~uint32_t{RBF_SIGNED};
  if (bitmap->BitmapBits <= 8) return ClearNegativePalette(*bitmap);

  HeapBuffer row(bitmap->BitmapBytesPerLine);
  if (!row) return K_ERR_NOMEMORY;
  BitmapLock lock(bitmap);
  Progress progress;
  int32_t status = progress.Start(0, 100, bitmap->BitmapHeight);
  for (int32_t y = 0; status == K_SUCCESS && y < bitmap->BitmapHeight; ++y) {
    const auto line = static_cast<uint32_t>(y);
    int32_t moved = K_GetBitmapRow(bitmap, row.get(), line, bitmap->BitmapBytesPerLine);
    if (moved < 0) return moved;
    ClearNegativeRow(*bitmap, row.get());
    moved = K_PutBitmapRow(bitmap, row.get(), line, bitmap->BitmapBytesPerLine);
    if (moved < 0) return moved;
    status = progress.Row();
  }
  return status;
}
