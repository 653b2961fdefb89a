// Palettes as values: K_GetFixedPalette, K_CreateFixedPalette, the painter's
// tables Cube256, Cube332 and Cube16, and the gray classification
// K_IsGrayScalePalette, K_IsGrayScaleBitmap, with K_CompareBitmapToPalette.
#include "color/palette.h"

#include <algorithm>

#include "kest/gray.h"
#include "kest/palette.h"
#include "core/palette_levels.h"
#include "kest/status.h"

namespace kest {
namespace {


bool IsGrayEntry(const RGBQUAD &entry) {
  return entry.rgbRed == entry.rgbGreen && entry.rgbGreen == entry.rgbBlue;
}

int32_t GrayClassOfLevel(uint8_t level) {
  return level == 0 ? GRAY_ORDEREDNORMAL : level == 255 ? GRAY_ORDEREDREVERSE : GRAY_NOTORDERED;
}

// A record in gray order is classed by its look-up table, where one is in
// force: the entries the window can reach must be gray, and the entry the
// lowest value maps to (the middle one for signed data) tells the order.
int32_t GrayClassOfLookUp(const RASTERBITMAP &bitmap) {
  if (bitmap.LevelLUT == nullptr || (bitmap.BitmapFlags & RBF_USE_LUT) == 0 ||
      bitmap.LevelLUTLength == 0) {
    return GRAY_ORDEREDNORMAL;
  }
  int32_t width = 0, shift = 0;
  uint32_t mask = 0;
  K_GetGrayParams(bitmap.BitmapBits, bitmap.BitmapBits, bitmap.DataLowBit, bitmap.DataHighBit,
                  &width, &mask, &shift);
  // Entries past the table's end are not there to be read.
  uint32_t reach = bitmap.LevelLUTLength;
  if (width < 0) {
    reach = 0;
  } else if (width < 32) {
    reach = std::min(reach, uint32_t{1} << width);
  }
  for (uint32_t i = 0; i < reach; ++i) {
    if (!IsGrayEntry(bitmap.LevelLUT[i])) return GRAY_NO;
  }
  const uint32_t lowest = (bitmap.BitmapFlags & RBF_SIGNED) ? bitmap.LevelLUTLength / 2 : 0;
  return GrayClassOfLevel(bitmap.LevelLUT[lowest].rgbRed);
}

}  // namespace

constinit const std::array<RGBQUAD, 256> Cube256 = [] {
  std::array<RGBQUAD, 256> table{};  // 216 to 255 stay black
  for (int i = 0; i < 216; ++i) {
    table[i] = Rgb(kLevels6[i / 36], kLevels6[i / 6 % 6], kLevels6[i % 6]);
  }
  return table;
}();

constinit const std::array<RGBQUAD, 256> Cube332 = [] {
  std::array<RGBQUAD, 256> table{};
  for (int i = 0; i < 256; ++i) {
    table[i] = Rgb(kLevels8[(i >> 5) & 7], kLevels8[(i >> 2) & 7], kLevels4[i & 3]);
  }
  return table;
}();

constinit const std::array<RGBQUAD, 16> Cube16 = [] {
  std::array<RGBQUAD, 16> table{};
  for (int i = 0; i < 16; ++i) {
    table[i] = Rgb(static_cast<uint8_t>(kVga16[i] >> 16), static_cast<uint8_t>(kVga16[i] >> 8),
                   static_cast<uint8_t>(kVga16[i]));
  }
  return table;
}();

}  // namespace kest

KEST_API int32_t K_GetFixedPalette(RGBQUAD *out, uint32_t bits) {
  if (out == nullptr || bits > 8) return K_ERR_PARAMETER;
  if (bits == 0) {
    for (int i = 0; i < 256; ++i) {
      const auto level = static_cast<uint8_t>(i);
      out[i] = kest::Rgb(level, level, level);
    }
    return K_SUCCESS;
  }
  std::copy_n(K_IntGetFixedPalette(bits), size_t{1} << bits, out);
  return K_SUCCESS;
}

KEST_API RGBQUAD *K_CreateFixedPalette(uint32_t bits) {
  if (bits > 8) return nullptr;
  if (bits == 0) bits = 1;
  return K_CreateNewPalette(K_IntGetFixedPalette(bits), 1u << bits);
}

KEST_API int32_t K_IsGrayScalePalette(const RGBQUAD *palette, uint32_t count) {
  if (palette == nullptr) return K_ERR_PARAMETER;
  if (count == 0) return GRAY_NO;  // no entry to be gray
  for (uint32_t i = 0; i < count; ++i) {
    if (!kest::IsGrayEntry(palette[i])) return GRAY_NO;
  }
  if (count < 2) return kest::GrayClassOfLevel(palette[0].rgbRed);
  // The step is truncated, so of the power-of-two sizes only 2, 4, 16 and
  // 256 can come out ordered; a ramp of 8 levels is "not ordered", and that
  // is what callers have always been told.
  const auto step = static_cast<uint8_t>(255 / (count - 1));
  const bool reverse = palette[0].rgbRed != 0;
  uint8_t expected = reverse ? 255 : 0;
  for (uint32_t i = 0; i < count; ++i) {
    if (palette[i].rgbRed != expected) return GRAY_NOTORDERED;
    expected = static_cast<uint8_t>(reverse ? expected - step : expected + step);
  }
  return reverse ? GRAY_ORDEREDREVERSE : GRAY_ORDEREDNORMAL;
}

KEST_API int32_t K_IsGrayScaleBitmap(const RASTERBITMAP *bitmap) {
  if (bitmap == nullptr) return K_ERR_PARAMETER;
  if (bitmap->RecordSize != static_cast<uint32_t>(RASTERBITMAP_SIZE)) return K_ERR_RECORD_SIZE;
  if (bitmap->ColorOrder == K_ORDER_GRAY) return kest::GrayClassOfLookUp(*bitmap);
  if (bitmap->BitmapBits > 8) return GRAY_NO;
  if (bitmap->ColorsCount <= 0 || bitmap->Palette == nullptr) return GRAY_NO;
  const auto count = static_cast<uint32_t>(bitmap->ColorsCount);
  const int32_t kind = K_IsGrayScalePalette(bitmap->Palette, count);
  // A ramp that does not cover every pixel value is gray but not ordered.
  const bool fullSize = bitmap->BitmapBits >= 0 && count == (1u << bitmap->BitmapBits);
  return (!fullSize && kind != GRAY_NO) ? GRAY_NOTORDERED : kind;
}

KEST_API int32_t K_CompareBitmapToPalette(const RASTERBITMAP *bitmap, const RGBQUAD *palette,
                                          uint32_t count) {
  if (bitmap == nullptr) return 0;
  const uint32_t read =
      (bitmap->Palette == nullptr || bitmap->ColorsCount <= 0)
          ? 0
          : std::min(count, static_cast<uint32_t>(bitmap->ColorsCount));
  if (read == 0) return 1;  // nothing to differ
  if (palette == nullptr) return 0;
  for (uint32_t i = 0; i < read; ++i) {
    const RGBQUAD &a = bitmap->Palette[i], &b = palette[i];
    if (a.rgbRed != b.rgbRed || a.rgbGreen != b.rgbGreen || a.rgbBlue != b.rgbBlue) return 0;
  }
  return 1;
}
