// The palettes a bitmap gets when it is created: the fixed palette tables
// and gray ramps. K_IntGetFixedPalette, K_CreateNewPalette,
// K_CreateGrayPalette, K_CreateBitmapFixedPalette, K_CreateBitmapGrayPalette.
// They live in the core because creation needs them; the rest of the palette
// family builds on them in the colour layer.
#include <array>

#include "core/alloc.h"
#include "core/palette_levels.h"
#include "kest/palette.h"
#include "kest/status.h"

namespace {

using kest::kLevels4;
using kest::kLevels8;
using kest::kVga16;
using kest::Rgb;

// Start of the table for each bit count. The tables are stored back to back
// in this order: a 4-colour request served from the 1-bit table runs on
// into the 2-bit table, and callers see exactly that.
constexpr int kOffsets[9] = {0, 0, 2, 6, 14, 30, 62, 126, 254};
constexpr int kTotalEntries = 510;

constexpr std::array<RGBQUAD, kTotalEntries> kFixed = [] {
  std::array<RGBQUAD, kTotalEntries> all{};
  RGBQUAD *t = all.data();
  t[0] = Rgb(0, 0, 0);
  t[1] = Rgb(0xFF, 0xFF, 0xFF);
  t = all.data() + kOffsets[2];
  for (int i = 0; i < 4; ++i) t[i] = Rgb(kLevels4[i], kLevels4[i], kLevels4[i]);
  t = all.data() + kOffsets[3];
  for (int i = 0; i < 8; ++i) {
    t[i] = Rgb((i & 4) ? 0xFF : 0, (i & 2) ? 0xFF : 0, (i & 1) ? 0xFF : 0);
  }
  t = all.data() + kOffsets[4];
  for (int i = 0; i < 16; ++i) {
    t[i] = Rgb(static_cast<uint8_t>(kVga16[i] >> 16), static_cast<uint8_t>(kVga16[i] >> 8),
               static_cast<uint8_t>(kVga16[i]));
  }
  t = all.data() + kOffsets[5];  // R 2 bits, G 2 bits, B 1 bit
  for (int i = 0; i < 32; ++i) {
    t[i] = Rgb(kLevels4[(i >> 3) & 3], kLevels4[(i >> 1) & 3], (i & 1) ? 0xFF : 0);
  }
  t = all.data() + kOffsets[6];  // R 2, G 2, B 2
  for (int i = 0; i < 64; ++i) {
    t[i] = Rgb(kLevels4[(i >> 4) & 3], kLevels4[(i >> 2) & 3], kLevels4[i & 3]);
  }
  t = all.data() + kOffsets[7];  // R 2, G 3, B 2
  for (int i = 0; i < 128; ++i) {
    t[i] = Rgb(kLevels4[(i >> 5) & 3], kLevels8[(i >> 2) & 7], kLevels4[i & 3]);
  }
  t = all.data() + kOffsets[8];  // R 3, G 3, B 2
  for (int i = 0; i < 256; ++i) {
    t[i] = Rgb(kLevels8[(i >> 5) & 7], kLevels8[(i >> 2) & 7], kLevels4[i & 3]);
  }
  return all;
}();

RGBQUAD *NewGrayRamp(uint32_t bits) {
  const uint32_t count = 1u << bits;
  auto *ramp = static_cast<RGBQUAD *>(K_OsAlloc(count * sizeof(RGBQUAD)));
  if (ramp == nullptr) return nullptr;
  for (uint32_t i = 0; i < count; ++i) {
    auto level = static_cast<uint8_t>(i * 255 / (count - 1));
    ramp[i] = Rgb(level, level, level);
  }
  return ramp;
}

}  // namespace

KEST_API const RGBQUAD *K_IntGetFixedPalette(uint32_t bits) {
  if (bits < 1 || bits > 8) return nullptr;
  return kFixed.data() + kOffsets[bits];
}

KEST_API RGBQUAD *K_CreateNewPalette(const RGBQUAD *source, uint32_t count) {
  if (source == nullptr || count == 0 || count > 256) return nullptr;
  auto *copy = static_cast<RGBQUAD *>(K_OsAllocInit(count * sizeof(RGBQUAD), 1));
  if (copy == nullptr) return nullptr;
  for (uint32_t i = 0; i < count; ++i) copy[i] = source[i];
  return copy;
}

KEST_API RGBQUAD *K_CreateGrayPalette(uint32_t bits) {
  if (bits > 8) return nullptr;
  return NewGrayRamp(bits == 0 ? 8 : bits);
}

KEST_API int32_t K_CreateBitmapFixedPalette(RASTERBITMAP *bitmap) {
  if (bitmap == nullptr) return K_ERR_PARAMETER;
  uint32_t bits;
  switch (bitmap->ColorsCount) {
    case 2: case 4: bits = 1; break;  // 4 colours come from the 1-bit table, on purpose
    case 8: bits = 3; break;
    case 16: bits = 4; break;
    case 32: bits = 5; break;
    case 64: bits = 6; break;
    case 128: bits = 7; break;
    case 256: bits = 8; break;
    default: return 0;
  }
  RGBQUAD *palette = K_CreateNewPalette(K_IntGetFixedPalette(bits),
                                        static_cast<uint32_t>(bitmap->ColorsCount));
  if (palette == nullptr) return K_ERR_NOMEMORY;
  bitmap->Palette = palette;
  return K_SUCCESS;
}

KEST_API int32_t K_CreateBitmapGrayPalette(RASTERBITMAP *bitmap) {
  if (bitmap == nullptr) return K_ERR_PARAMETER;
  if (bitmap->BitmapBits < 1 || bitmap->BitmapBits > 8) return K_ERR_BITS;
  RGBQUAD *ramp = NewGrayRamp(static_cast<uint32_t>(bitmap->BitmapBits));
  if (ramp == nullptr) return K_ERR_NOMEMORY;
  bitmap->ColorsCount = 1 << bitmap->BitmapBits;
  bitmap->Palette = ramp;
  return K_SUCCESS;
}
