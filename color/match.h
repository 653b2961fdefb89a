// Colour matching: the library's one nearest-colour rule and the 32,768-cell
// user match table built from it.
#pragma once

#include <cstdint>

#include "kest/platform.h"

namespace kest {

// Cells of a match table: one per colour of five bits a channel.
inline constexpr uint32_t kMatchTableCells = 32768;

// The channel-order class of a colour: bit 2 red below blue, bit 1 green
// below both others, bit 0 green above both. Two colours of one class have
// their channels in like order; the matcher breaks ties with it.
constexpr uint32_t ChannelOrderClass(int32_t red, int32_t green, int32_t blue) {
  return (red < blue ? 4u : 0u) | (green < red && green < blue ? 2u : 0u) |
         (green > red && green > blue ? 1u : 0u);
}

// The cell of a colour: the top five bits of red, green and blue, red
// highest.
constexpr uint32_t MatchCell(uint32_t red, uint32_t green, uint32_t blue) {
  return ((red & 0xF8u) << 7) | ((green & 0xF8u) << 2) | (blue >> 3);
}

// The colour a cell stands for when the table is built: each channel is its
// five bits shifted up by three with the low bits left clear, so the probe
// values run 0, 8, ... 248. The dithering engine probes its lazily filled
// cells with (channel & 248), and a cell must give the same index whether it
// was filled eagerly here or lazily there; filling the low bits (c << 3 |
// c >> 2) would make the two disagree.
constexpr int32_t ProbeLevel(uint32_t bits5) { return static_cast<int32_t>(bits5 << 3); }

// The matcher behind K_FindPaletteIndex, for a palette that is not null.
int32_t FindPaletteIndex(const RGBQUAD *palette, uint32_t count, int32_t red, int32_t green,
                         int32_t blue);

// Fills every cell of table with the matcher's index for the cell's probe
// colour, plus one: the plain definition, one matcher call per cell.
void FillMatchTablePlain(const RGBQUAD *palette, uint32_t count, uint32_t *table);

// The same table, cell for cell, in a small part of the time. False if its
// working memory could not be had; the table is then not filled.
bool FillMatchTable(const RGBQUAD *palette, uint32_t count, uint32_t *table);

}  // namespace kest
