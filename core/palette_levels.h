// The colour levels and tables that the fixed palettes are built from,
// shared by the palette tables of bitmap creation and the palette family.
#pragma once

#include <cstdint>

#include "kest/platform.h"

namespace kest {

inline constexpr uint8_t kLevels4[4] = {0x00, 0x55, 0xAA, 0xFF};
inline constexpr uint8_t kLevels6[6] = {0x00, 0x33, 0x66, 0x99, 0xCC, 0xFF};
inline constexpr uint8_t kLevels8[8] = {0x00, 0x24, 0x49, 0x6D, 0x92, 0xB6, 0xDB, 0xFF};
// The 16-colour table, as RRGGBB.
inline constexpr uint32_t kVga16[16] = {0x000000, 0x800000, 0x008000, 0x808000,
                                        0x000080, 0x800080, 0x008080, 0x808080,
                                        0xC0C0C0, 0xFF0000, 0x00FF00, 0xFFFF00,
                                        0x0000FF, 0xFF00FF, 0x00FFFF, 0xFFFFFF};

constexpr RGBQUAD Rgb(uint8_t red, uint8_t green, uint8_t blue) {
  return RGBQUAD{blue, green, red, 0};
}

}  // namespace kest
