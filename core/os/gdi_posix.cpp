// The POSIX side of the graphics boundary: stand-alone palette objects with
// the behaviour of the system's, and a screen without a palette.
//
// A palette handle is the address of a heap object that begins with a magic
// word. Live objects are kept on one list, and a handle is looked up there
// before anything is read through it, so that a null, stale or foreign
// handle is refused instead of being read. Every operation holds the list's
// spin word while it works, so a handle deleted on one thread is never read
// half-freed on another.
#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "core/os/gdi.h"
#include "core/os/os.h"

namespace kest::os {
namespace {

constexpr uint32_t kPaletteMagic = 0x4B50414C;  // "KPAL"

struct PaletteObject {
  uint32_t magic;
  uint32_t count;
  PaletteObject *previous;
  PaletteObject *next;
  PALETTEENTRY *entries() { return reinterpret_cast<PALETTEENTRY *>(this + 1); }
};

SpinWord g_paletteLock{0};
PaletteObject *g_livePalettes = nullptr;

// The live object behind a handle, or null. Call with the lock held.
PaletteObject *Find(HPALETTE handle) {
  for (PaletteObject *object = g_livePalettes; object != nullptr; object = object->next) {
    if (reinterpret_cast<HPALETTE>(object) == handle) {
      return object->magic == kPaletteMagic ? object : nullptr;
    }
  }
  return nullptr;
}

}  // namespace

HPALETTE CreatePalette(const LOGPALETTE *palette) {
  if (palette == nullptr) return nullptr;
  const uint32_t count = palette->palNumEntries;
  auto *object = static_cast<PaletteObject *>(
      std::malloc(sizeof(PaletteObject) + count * sizeof(PALETTEENTRY)));
  if (object == nullptr) {
    SetLastError(kErrorNotEnoughMemory);
    return nullptr;
  }
  object->magic = kPaletteMagic;
  object->count = count;
  if (count != 0) {
    std::memcpy(object->entries(), palette->palPalEntry, count * sizeof(PALETTEENTRY));
  }
  SpinGuard guard(g_paletteLock);
  object->previous = nullptr;
  object->next = g_livePalettes;
  if (g_livePalettes != nullptr) g_livePalettes->previous = object;
  g_livePalettes = object;
  return reinterpret_cast<HPALETTE>(object);
}

uint32_t GetPaletteEntryCount(HPALETTE palette) {
  SpinGuard guard(g_paletteLock);
  PaletteObject *object = Find(palette);
  return object == nullptr ? 0 : object->count;
}

uint32_t GetPaletteEntries(HPALETTE palette, uint32_t first, uint32_t count,
                           PALETTEENTRY *entries) {
  SpinGuard guard(g_paletteLock);
  PaletteObject *object = Find(palette);
  if (object == nullptr) return 0;
  // With nowhere to put entries, or none asked for, the answer is the size.
  if (entries == nullptr || count == 0) return object->count;
  if (first >= object->count) return 0;
  const uint32_t moved = std::min(count, object->count - first);
  std::memcpy(entries, object->entries() + first, moved * sizeof(PALETTEENTRY));
  return moved;
}

uint32_t SetPaletteEntries(HPALETTE palette, uint32_t first, uint32_t count,
                           const PALETTEENTRY *entries) {
  if (entries == nullptr) return 0;
  SpinGuard guard(g_paletteLock);
  PaletteObject *object = Find(palette);
  if (object == nullptr || first >= object->count) return 0;
  const uint32_t moved = std::min(count, object->count - first);
  std::memcpy(object->entries() + first, entries, moved * sizeof(PALETTEENTRY));
  return moved;
}

uint32_t GetNearestPaletteIndex(HPALETTE palette, COLORREF color) {
  SpinGuard guard(g_paletteLock);
  PaletteObject *object = Find(palette);
  if (object == nullptr) return kClrInvalid;
  const int red = static_cast<int>(color & 0xFF);
  const int green = static_cast<int>((color >> 8) & 0xFF);
  const int blue = static_cast<int>((color >> 16) & 0xFF);
  const PALETTEENTRY *entries = object->entries();
  uint32_t best = 0;
  int bestDistance = 0x7FFFFFFF;
  for (uint32_t i = 0; i < object->count && bestDistance != 0; ++i) {
    const int dr = entries[i].peRed - red;
    const int dg = entries[i].peGreen - green;
    const int db = entries[i].peBlue - blue;
    const int distance = dr * dr + dg * dg + db * db;
    if (distance < bestDistance) {
      bestDistance = distance;
      best = i;
    }
  }
  return best;
}

bool DeleteObject(HPALETTE palette) {
  PaletteObject *object;
  {
    SpinGuard guard(g_paletteLock);
    object = Find(palette);
    if (object == nullptr) return false;
    if (object->previous != nullptr) {
      object->previous->next = object->next;
    } else {
      g_livePalettes = object->next;
    }
    if (object->next != nullptr) object->next->previous = object->previous;
  }
  object->magic = 0;
  std::free(object);
  return true;
}

// The stand-alone device is a true-colour surface: no system palette.
ScreenPaletteCaps GetScreenPaletteCaps() { return {false, 0, 0}; }

uint32_t GetSystemPaletteEntries(uint32_t, uint32_t, PALETTEENTRY *) { return 0; }

}  // namespace kest::os
