// The graphics side of the platform boundary: palette objects and what the
// screen says about its palette. Each operation is named after the Win32
// call it stands for. The Win32 side (gdi_win32.cpp) forwards to the
// system's palette manager; the POSIX side (gdi_posix.cpp) keeps palette
// objects of its own with the same behaviour, on a device that has no
// palette of its own.
//
// Behaviour both sides give, and the tests hold both to:
// - CreatePalette copies palNumEntries entries, peFlags included, and
//   accepts 0 entries.
// - A handle that is null, deleted or of another kind is refused: counts
//   and reads give 0, DeleteObject false, GetNearestPaletteIndex
//   kClrInvalid as documented (Wine gives 0 there).
// - GetPaletteEntries and SetPaletteEntries clip to the palette's size and
//   return the number of entries moved, 0 when first is at or past the end.
//   GetPaletteEntries with a count of 0 returns the palette's size and
//   moves nothing; so it does, as documented, with null entries (Wine
//   returns the clipped count there, wrapped below zero past the end, so
//   the library never asks that way).
// - GetNearestPaletteIndex looks at red, green and blue of the colour (its
//   top byte is ignored), measures by the sum of squared differences, and
//   the first entry at the smallest distance wins.
#pragma once

#include <cstdint>

#include "kest/platform.h"

namespace kest::os {

// What GetNearestPaletteIndex returns for a handle that is not a palette.
inline constexpr uint32_t kClrInvalid = 0xFFFFFFFFu;

HPALETTE CreatePalette(const LOGPALETTE *palette);
// GetObject of a palette: its number of entries, 0 for a bad handle.
uint32_t GetPaletteEntryCount(HPALETTE palette);
uint32_t GetPaletteEntries(HPALETTE palette, uint32_t first, uint32_t count,
                           PALETTEENTRY *entries);
uint32_t SetPaletteEntries(HPALETTE palette, uint32_t first, uint32_t count,
                           const PALETTEENTRY *entries);
uint32_t GetNearestPaletteIndex(HPALETTE palette, COLORREF color);
bool DeleteObject(HPALETTE palette);

// GetDeviceCaps of the screen's device context: RC_PALETTE in RASTERCAPS,
// SIZEPALETTE and NUMRESERVED. All zero where the screen has no palette,
// and always on the POSIX side, whose device has none.
struct ScreenPaletteCaps {
  bool hasPalette;
  uint32_t size;      // entries of the system palette
  uint32_t reserved;  // static colours, half at each end of it
};
ScreenPaletteCaps GetScreenPaletteCaps();

// GetSystemPaletteEntries of the screen: the number of entries read, 0 on a
// screen without a palette.
uint32_t GetSystemPaletteEntries(uint32_t first, uint32_t count, PALETTEENTRY *entries);

}  // namespace kest::os
