// Helpers of the colour tests: palettes written as RRGGBB numbers, and
// records filled by hand with what the palette code reads.
#pragma once

#include <cstdint>
#include <vector>

#include "kestraster.h"

namespace kest::test {

inline RGBQUAD Quad(uint32_t rrggbb) {
  return RGBQUAD{static_cast<uint8_t>(rrggbb), static_cast<uint8_t>(rrggbb >> 8),
                 static_cast<uint8_t>(rrggbb >> 16), 0};
}
inline uint32_t Rrggbb(const RGBQUAD &quad) {
  return uint32_t{quad.rgbRed} << 16 | uint32_t{quad.rgbGreen} << 8 | quad.rgbBlue;
}
inline std::vector<RGBQUAD> Palette(std::initializer_list<uint32_t> rrggbb) {
  std::vector<RGBQUAD> palette;
  for (uint32_t color : rrggbb) palette.push_back(Quad(color));
  return palette;
}
// The entries as RRGGBB, reserved bytes dropped, for readable comparisons.
inline std::vector<uint32_t> Colors(const RGBQUAD *palette, uint32_t count) {
  std::vector<uint32_t> colors;
  for (uint32_t i = 0; i < count; ++i) colors.push_back(Rrggbb(palette[i]));
  return colors;
}

// A record as bitmap creation leaves it, as far as palettes go: size, bits,
// flags, colour count, and a palette of its own (K_OsAlloc) if one is given.
// The record's palette and gray table are freed with it.
class TestBitmap {
 public:
  TestBitmap(int32_t bits, int32_t colors, const std::vector<RGBQUAD> &palette = {}) {
    record_.RecordSize = static_cast<uint32_t>(RASTERBITMAP_SIZE);
    record_.BitmapBits = bits;
    record_.BitmapFlags = RBF_ALLOCATED | RBF_CONVENTIONAL;
    record_.ColorsCount = colors;
    record_.ColorOrder = K_ORDER_BGR;
    record_.DataHighBit = -1;
    if (!palette.empty()) {
      record_.Palette = static_cast<RGBQUAD *>(
          K_OsAlloc(static_cast<uint32_t>(palette.size() * sizeof(RGBQUAD))));
      for (size_t i = 0; i < palette.size(); ++i) record_.Palette[i] = palette[i];
    }
  }
  ~TestBitmap() {
    K_OsFree(record_.Palette);
    K_OsFree(record_.LevelLUT);
  }
  TestBitmap(const TestBitmap &) = delete;
  TestBitmap &operator=(const TestBitmap &) = delete;
  RASTERBITMAP *get() { return &record_; }
  RASTERBITMAP *operator->() { return &record_; }

 private:
  RASTERBITMAP record_{};
};

// True when the Windows build runs under Wine rather than on Windows.
inline bool RunningUnderWine() {
#if defined(_WIN32)
  HMODULE ntdll = GetModuleHandleA("ntdll.dll");
  return ntdll != nullptr && GetProcAddress(ntdll, "wine_get_version") != nullptr;
#else
  return false;
#endif
}

}  // namespace kest::test
