// Single pixels in the library's colour word: K_GetPixelColor,
// K_PutPixelColor, and the raw bytes of a pixel: K_GetPixelData,
// K_PutPixelData. They stand on the row calls, so every memory kind works.
#include <algorithm>
#include <cstring>

#include "core/bitmap.h"
#include "core/dispatch.h"
#include "core/rows.h"
#include "kest/convert.h"
#include "kest/gray.h"
#include "kest/palette.h"
#include "kest/pixels.h"
#include "kest/rows.h"
#include "kest/status.h"

namespace kest {
namespace {

constexpr uint32_t kIndexTag = 0x01000000, kGrayTag = 0x04000000;
constexpr int kPositionSlot = 16;  // the region's test of a position

uint32_t ColorRef(uint32_t red, uint32_t green, uint32_t blue) {
  return red | (green << 8) | (blue << 16);
}
uint32_t ColorRef(const RGBQUAD &entry) { return ColorRef(entry.rgbRed, entry.rgbGreen, entry.rgbBlue); }

bool IsGrayOrder(const RASTERBITMAP &bitmap) { return bitmap.ColorOrder == K_ORDER_GRAY; }

// Entries read from a record's palette: never more than a palette can
// have, whatever the record's count says.
uint32_t PaletteCount(const RASTERBITMAP &bitmap) {
  return static_cast<uint32_t>(std::clamp(bitmap.ColorsCount, 0, 256));
}
bool TableInUse(const RASTERBITMAP &bitmap) {
  return (bitmap.BitmapFlags & RBF_USE_LUT) && bitmap.LevelLUT != nullptr && bitmap.LevelLUTLength > 0;
}
bool Inside(const RASTERBITMAP &bitmap, int64_t row, int64_t column) {
  return row >= 0 && row < bitmap.BitmapHeight && column >= 0 && column < bitmap.BitmapWidth;
}

// The level table entry as a colour: byte 0 is the top byte of the value.
uint32_t TableColor(const RASTERBITMAP &bitmap, uint32_t index) {
  const RGBQUAD &entry = bitmap.LevelLUT[std::min(index, bitmap.LevelLUTLength - 1)];
  return (uint32_t{entry.rgbBlue} << 16) | (uint32_t{entry.rgbGreen} << 8) | entry.rgbRed;
}

struct GrayWindow {
  uint32_t mask = 0;
  int32_t shift = 0;
};
GrayWindow WindowOf(const RASTERBITMAP &bitmap) {
  GrayWindow window;
  K_GetGrayParams(bitmap.BitmapBits, bitmap.BitmapBits, bitmap.DataLowBit, bitmap.DataHighBit,
                  nullptr, &window.mask, &window.shift);
  if (window.mask == 0) window.mask = 1;
  return window;
}

// A sub-byte field of bits at column in the one or two bytes read from
// its first byte, taken as a big-endian pair.
uint32_t PackedField(const uint8_t *bytes, int32_t bits, uint32_t column) {
  const uint32_t phase = static_cast<uint32_t>((uint64_t{static_cast<uint32_t>(bits)} * column) & 7);
  const uint32_t pair = (uint32_t{bytes[0]} << 8) | bytes[1];
  return (pair >> (16 - phase - bits)) & ((1u << bits) - 1);
}
void SetPackedField(uint8_t *bytes, int32_t bits, uint32_t column, uint32_t value) {
  const uint32_t phase = static_cast<uint32_t>((uint64_t{static_cast<uint32_t>(bits)} * column) & 7);
  const uint32_t shift = 16 - phase - bits, mask = ((1u << bits) - 1) << shift;
  const uint32_t pair = (((uint32_t{bytes[0]} << 8) | bytes[1]) & ~mask) | ((value << shift) & mask);
  bytes[0] = static_cast<uint8_t>(pair >> 8);
  bytes[1] = static_cast<uint8_t>(pair);
}

uint16_t Word(const uint8_t *bytes) { return static_cast<uint16_t>(bytes[0] | (bytes[1] << 8)); }
void SetWord(uint8_t *bytes, uint32_t value) {
  bytes[0] = static_cast<uint8_t>(value);
  bytes[1] = static_cast<uint8_t>(value >> 8);
}

// Three channels from 24 or 48 bits in BGR or RGB order; other orders are
// brought to BGR by the converter first.
uint32_t DirectColor(uint8_t *bytes, int32_t bits, uint32_t order) {
  const int step = bits >= 48 ? 2 : 1, high = step - 1;
  if (order != K_ORDER_BGR && order != K_ORDER_RGB) {
    K_ConvertBuffer(bytes, 1, bits >= 48 ? 48 : 24, bits >= 48 ? 48 : 24, order, K_ORDER_BGR,
                    nullptr, nullptr);
    order = K_ORDER_BGR;
  }
  const uint32_t first = bytes[high], second = bytes[step + high], third = bytes[2 * step + high];
  return order == K_ORDER_BGR ? ColorRef(third, second, first) : ColorRef(first, second, third);
}

// The gray value of a colour word for a window of bitCount bits.
uint32_t GrayLevel(uint32_t color) {
  if ((color >> 24) == 4) return color & 0xFFFF;
  const uint32_t red = color & 0xFF, green = (color >> 8) & 0xFF, blue = (color >> 16) & 0xFF;
  return ((2 * red + 5 * green + blue + 4) >> 3) * 257;
}
uint32_t ScaleGray(uint32_t gray, int32_t bitCount) {
  if (bitCount >= 16) return gray;
  return static_cast<uint32_t>(((uint64_t{gray} << bitCount) - gray + 65534) / 65535);
}

}  // namespace
}  // namespace kest

using namespace kest;

KEST_API uint32_t K_GetPixelColor(RASTERBITMAP *bitmap, int32_t row, int32_t column) {
  if (bitmap == nullptr || !IsAllocated(*bitmap) || !HasSize(*bitmap) ||
      !Inside(*bitmap, row, column)) {
    return K_INVALID_COLOR;
  }
  const int32_t bits = bitmap->BitmapBits;
  RGBQUAD palette[256] = {};
  if (bits <= 8) {
    K_GetBitmapPaletteEntries(bitmap, 0, PaletteCount(*bitmap), palette);
  }
  const GrayWindow window = bits == 12 || IsGrayOrder(*bitmap) ? WindowOf(*bitmap) : GrayWindow{1, 0};
  const auto x = static_cast<uint32_t>(column);
  // The byte of a 1- or 4-bit pixel is found by a 16-bit mask, as it always
  // was: a bitmap wider than 65,535 pixels wraps there.
  const uint32_t readAt = bits == 1 ? x & 0xFFF8 : bits == 4 ? x & 0xFFFE : x;
  uint8_t bytes[10] = {};
  BitmapLock lock(bitmap);
  GetPixelBytes(bitmap, bytes, static_cast<uint32_t>(row), readAt);
  switch (bits) {
    case 1: return ColorRef(palette[(bytes[0] >> (7 - (x & 7))) & 1]);
    case 2: return ColorRef(palette[(bytes[0] >> (6 - 2 * (x & 3))) & 3]);
    case 4: return ColorRef(palette[(x & 1) ? bytes[0] & 0x0F : bytes[0] >> 4]);
    case 3: case 5: case 6: case 7: return ColorRef(palette[PackedField(bytes, bits, x)]);
    case 8: return ColorRef(palette[bytes[0]]);
    case 12: case 16: {
      const uint32_t raw = bits == 12 ? ((x & 1) ? Word(bytes) >> 4 : Word(bytes) & 0xFFF) : Word(bytes);
      if (bits == 16 && !IsGrayOrder(*bitmap)) {
        const uint32_t low = raw & 0x1F, middle = (raw >> 5) & 0x1F, top = (raw >> 10) & 0x1F;
        auto grow = [](uint32_t c) { return (c << 3) | (c >> 2); };
        return bitmap->ColorOrder == K_ORDER_BGR ? ColorRef(grow(top), grow(middle), grow(low))
                                                 : ColorRef(grow(low), grow(middle), grow(top));
      }
      const uint32_t value = (raw >> window.shift) & window.mask;
      if (TableInUse(*bitmap)) return TableColor(*bitmap, value);
      if (bits == 12) return kGrayTag | (value * 65535 / window.mask);
      return kGrayTag | (window.mask < 65535 ? value * (65535 / window.mask) : value);
    }
    case 24: case 48: return DirectColor(bytes, bits, bitmap->ColorOrder);
    case 32: case 64: {
      const uint32_t order = bitmap->ColorOrder == K_ORDER_BGR ? K_ORDER_BGR : K_ORDER_RGB;
      return DirectColor(bytes, bits, order);
    }
    default: return K_INVALID_COLOR;
  }
}

namespace {

using PositionTest = int32_t (*)(RASTERBITMAP *, int32_t, uint32_t);

int32_t PutIndexed(RASTERBITMAP &bitmap, uint8_t *bytes, uint32_t column, uint32_t color) {
  const int32_t bits = bitmap.BitmapBits;
  uint32_t index;
  if ((color >> 24) == 1) {
    index = color & ((1u << bits) - 1);
  } else {
    RGBQUAD palette[256] = {};
    const uint32_t count = bits == 1 ? 2 : bits == 4 ? 16 : bits == 8 ? 256 : PaletteCount(bitmap);
    K_GetBitmapPaletteEntries(&bitmap, 0, count, palette);
    index = static_cast<uint32_t>(
        K_FindPaletteIndex(palette, count, color & 0xFF, (color >> 8) & 0xFF, (color >> 16) & 0xFF));
  }
  SetPackedField(bytes, bits, column, index);
  return K_SUCCESS;
}

// The word written for a colour in a gray bitmap of 12 or 16 bits.
uint32_t GrayValue(const RASTERBITMAP &bitmap, uint32_t color) {
  const int32_t lowBit = std::max(bitmap.DataLowBit, 0);
  const int32_t highBit = bitmap.DataHighBit < 0 ? bitmap.BitmapBits - 1 : bitmap.DataHighBit;
  if (TableInUse(bitmap)) {
    const uint32_t length = bitmap.BitmapBits == 16 ? std::min(bitmap.LevelLUTLength, 65535u)
                                                    : bitmap.LevelLUTLength;
    const int32_t index = K_FindPaletteIndex(bitmap.LevelLUT, length, color & 0xFF,
                                             (color >> 8) & 0xFF, (color >> 16) & 0xFF);
    return static_cast<uint32_t>(index) << lowBit;
  }
  return ScaleGray(GrayLevel(color), highBit - lowBit + 1) << lowBit;
}

void PutDirect(const RASTERBITMAP &bitmap, uint8_t *bytes, uint32_t color) {
  const int32_t bits = bitmap.BitmapBits;
  const uint32_t order = bitmap.ColorOrder;
  const bool blueFirst = order == K_ORDER_BGR || (order == K_ORDER_EXTENDED && bits % 24 == 0);
  const uint32_t red = color & 0xFF, green = (color >> 8) & 0xFF, blue = (color >> 16) & 0xFF;
  const uint32_t channels[3] = {blueFirst ? blue : red, green, blueFirst ? red : blue};
  for (int c = 0; c < 3; ++c) {
    if (bits >= 48) SetWord(bytes + 2 * c, channels[c] * 257);
    else bytes[c] = static_cast<uint8_t>(channels[c]);
  }
  if (order == K_ORDER_EXTENDED && (bits == 24 || bits == 48)) {
    K_ConvertBuffer(bytes, 1, bits, bits, K_ORDER_BGR, K_ORDER_EXTENDED, nullptr, nullptr);
  }
}

}  // namespace

KEST_API int32_t K_PutPixelColor(RASTERBITMAP *bitmap, int32_t row, uint32_t column, uint32_t color) {
  const int32_t check = CheckAllocated(bitmap);
  if (check != K_SUCCESS) return check;
  if (bitmap->BitmapFlags & RBF_SIGNED) return K_ERR_SIGNED_DATA;
  if (auto test = reinterpret_cast<PositionTest>(DisDispatchSlot(kPositionSlot))) {
    if (test(bitmap, row, column) == 0) return K_ERR_WIDTH_HEIGHT;
  }
  // Without the region's test the bitmap's own bounds still hold.
  if (!Inside(*bitmap, row, column)) return K_ERR_WIDTH_HEIGHT;
  const int32_t bits = bitmap->BitmapBits;
  if ((color >> 24) == 4 && (!IsGrayOrder(*bitmap) || TableInUse(*bitmap))) {
    color = ((color >> 8) & 0xFF) * 65793;
  }
  BitmapLock lock(bitmap);
  const uint32_t at = bits == 12 ? column & ~1u : column;
  uint8_t bytes[10] = {};
  const int32_t count =
      bits == 12 ? 3 : static_cast<int32_t>(PixelByteCount(bits, column));
  int32_t status = K_GetBitmapRowCol(bitmap, bytes, static_cast<uint32_t>(row), at, count);
  if (status < 0) return status;
  if (bits <= 8) {
    PutIndexed(*bitmap, bytes, column, color);
  } else if (bits == 12) {
    const uint32_t value = GrayValue(*bitmap, color) & 0xFFF;
    if (column & 1) SetWord(bytes + 1, (Word(bytes + 1) & 0x000F) | (value << 4));
    else SetWord(bytes, (Word(bytes) & 0xF000) | value);
  } else if (bits == 16 && IsGrayOrder(*bitmap)) {
    SetWord(bytes, GrayValue(*bitmap, color));
  } else if (bits == 16) {
    const uint32_t red = (color & 0xFF) >> 3, green = ((color >> 8) & 0xFF) >> 3,
                   blue = ((color >> 16) & 0xFF) >> 3;
    SetWord(bytes, bitmap->ColorOrder == K_ORDER_BGR ? blue | (green << 5) | (red << 10)
                                                     : red | (green << 5) | (blue << 10));
  } else {
    PutDirect(*bitmap, bytes, color);
  }
  status = K_PutBitmapRowCol(bitmap, bytes, static_cast<uint32_t>(row), at, count);
  return status < 0 ? status : K_SUCCESS;
}

namespace {

int32_t MovePixelData(RASTERBITMAP *bitmap, void *buffer, int32_t row, uint32_t column,
                      int32_t bufferSize, bool put) {
  if (bitmap == nullptr || !IsAllocated(*bitmap) || buffer == nullptr) return K_ERR_BITMAP;
  if (!HasSize(*bitmap)) return K_ERR_RECORD_SIZE;
  const uint64_t bits = static_cast<uint32_t>(bitmap->BitmapBits);
  const auto bytes = static_cast<int32_t>(((column + uint64_t{1}) * bits + 7) / 8 - (column * bits) / 8);
  if (bufferSize < bytes) return K_ERR_PARAMETER;
  BitmapLock lock(bitmap);
  const int32_t moved = put ? K_PutBitmapRowCol(bitmap, buffer, static_cast<uint32_t>(row), column, bytes)
                            : K_GetBitmapRowCol(bitmap, buffer, static_cast<uint32_t>(row), column, bytes);
  return moved == bytes ? K_SUCCESS : K_ERR_NOMEMORY;
}

}  // namespace

KEST_API int32_t K_GetPixelData(RASTERBITMAP *bitmap, void *buffer, int32_t row, uint32_t column,
                                int32_t bufferSize) {
  return MovePixelData(bitmap, buffer, row, column, bufferSize, false);
}

KEST_API int32_t K_PutPixelData(RASTERBITMAP *bitmap, void *buffer, int32_t row, uint32_t column,
                                int32_t bufferSize) {
  return MovePixelData(bitmap, buffer, row, column, bufferSize, true);
}
