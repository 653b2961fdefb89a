// Palette data and services the other colour and display code shares: the
// painter's constant tables and the system's static colours.
#pragma once

#include <array>
#include <cstdint>

#include "kest/platform.h"

namespace kest {

// The 6-level colour cube, index 36*r + 6*g + b over the levels 00, 33, 66,
// 99, CC, FF; entries 216 to 255 are black.
extern const std::array<RGBQUAD, 256> Cube256;
// The painter's tables for comparing a bitmap's palette: the values of the
// 8-bit fixed palette (R 3, G 3, B 2 bits) and of the 4-bit one.
extern const std::array<RGBQUAD, 256> Cube332;
extern const std::array<RGBQUAD, 16> Cube16;

// Writes the system's static colours at the two ends of palette (count
// entries): with c = min(reserved, count), the first c/2 system entries at
// the start and the last c - c/2 at the end, reserved byte 0. Returns c; 0,
// writing nothing, where the screen has no palette.
uint32_t GetSystemStaticColors(RGBQUAD *palette, uint32_t count);

// The placement of GetSystemStaticColors, from a given system palette of
// systemSize entries with reserved static colours.
uint32_t PlaceStaticColors(const PALETTEENTRY *system, uint32_t systemSize, uint32_t reserved,
                           RGBQUAD *palette, uint32_t count);

}  // namespace kest
