// The Win32 side of the graphics boundary: palette objects and the screen's
// palette, forwarded to the system's palette manager.
#include "core/os/gdi.h"

#include <windows.h>

namespace kest::os {

HPALETTE CreatePalette(const LOGPALETTE *palette) {
  return palette == nullptr ? nullptr : ::CreatePalette(palette);
}

uint32_t GetPaletteEntryCount(HPALETTE palette) {
  // GetObject of another kind of object would fill the word with something
  // else, so the kind is asked first.
  if (palette == nullptr || ::GetObjectType(palette) != OBJ_PAL) return 0;
  WORD count = 0;
  if (::GetObjectW(palette, sizeof count, &count) != sizeof count) return 0;
  return count;
}

uint32_t GetPaletteEntries(HPALETTE palette, uint32_t first, uint32_t count,
                           PALETTEENTRY *entries) {
  return ::GetPaletteEntries(palette, first, count, entries);
}

uint32_t SetPaletteEntries(HPALETTE palette, uint32_t first, uint32_t count,
                           const PALETTEENTRY *entries) {
  if (entries == nullptr) return 0;
  return ::SetPaletteEntries(palette, first, count, entries);
}

uint32_t GetNearestPaletteIndex(HPALETTE palette, COLORREF color) {
  return ::GetNearestPaletteIndex(palette, color);
}

bool DeleteObject(HPALETTE palette) { return palette != nullptr && ::DeleteObject(palette) != 0; }

ScreenPaletteCaps GetScreenPaletteCaps() {
  ScreenPaletteCaps caps{false, 0, 0};
  HDC screen = ::GetDC(nullptr);
  if (screen == nullptr) return caps;
  if (::GetDeviceCaps(screen, RASTERCAPS) & RC_PALETTE) {
    caps.hasPalette = true;
    caps.size = static_cast<uint32_t>(::GetDeviceCaps(screen, SIZEPALETTE));
    caps.reserved = static_cast<uint32_t>(::GetDeviceCaps(screen, NUMRESERVED));
  }
  ::ReleaseDC(nullptr, screen);
  return caps;
}

uint32_t GetSystemPaletteEntries(uint32_t first, uint32_t count, PALETTEENTRY *entries) {
  HDC screen = ::GetDC(nullptr);
  if (screen == nullptr) return 0;
  UINT read = 0;
  if (::GetDeviceCaps(screen, RASTERCAPS) & RC_PALETTE) {
    read = ::GetSystemPaletteEntries(screen, first, count, entries);
  }
  ::ReleaseDC(nullptr, screen);
  return read;
}

}  // namespace kest::os
