// Palette handles, the system's side of palettes: K_CreatePalette,
// K_OsDeletePalette, K_GetPaletteSize, K_GetPaletteEntries,
// K_SetPaletteEntries, K_DupPalette, K_CreateSystemPalette,
// K_DupBitmapPalette, K_SetBitmapPalette, K_GetNearestPaletteIndex, and the
// system's static colours that colour resolution keeps at the ends of a
// palette.
#include <algorithm>
#include <cstddef>

#include "color/palette.h"
#include "core/alloc.h"
#include "core/os/gdi.h"
#include "kest/palette.h"
#include "kest/status.h"

namespace kest {
namespace {

constexpr uint16_t kPaletteVersion = 0x300;
// Entries moved per call to the system; the stack holds one such batch.
constexpr uint32_t kBatch = 256;

PALETTEENTRY ToEntry(const RGBQUAD &quad) {
  return PALETTEENTRY{quad.rgbRed, quad.rgbGreen, quad.rgbBlue, quad.rgbReserved};
}
RGBQUAD ToQuad(const PALETTEENTRY &entry) {
  return RGBQUAD{entry.peBlue, entry.peGreen, entry.peRed, entry.peFlags};
}

// A LOGPALETTE of count entries in a K_Malloc block.
LOGPALETTE *NewLogPalette(uint32_t count) {
  const size_t bytes = offsetof(LOGPALETTE, palPalEntry) +
                       std::max<uint32_t>(count, 1) * sizeof(PALETTEENTRY);
  auto *palette = static_cast<LOGPALETTE *>(K_Malloc(static_cast<uint32_t>(bytes)));
  if (palette == nullptr) return nullptr;
  palette->palVersion = kPaletteVersion;
  palette->palNumEntries = static_cast<uint16_t>(count);
  return palette;
}

bool WrongSize(const RASTERBITMAP &bitmap) {
  return bitmap.RecordSize != static_cast<uint32_t>(RASTERBITMAP_SIZE);
}

}  // namespace

uint32_t PlaceStaticColors(const PALETTEENTRY *system, uint32_t systemSize, uint32_t reserved,
                           RGBQUAD *palette, uint32_t count) {
  const uint32_t c = std::min({reserved, count, systemSize});
  const uint32_t head = c / 2, tail = c - head;
  for (uint32_t i = 0; i < head; ++i) {
    palette[i] = ToQuad(system[i]);
    palette[i].rgbReserved = 0;
  }
  for (uint32_t i = 0; i < tail; ++i) {
    palette[count - tail + i] = ToQuad(system[systemSize - tail + i]);
    palette[count - tail + i].rgbReserved = 0;
  }
  return c;
}

uint32_t GetSystemStaticColors(RGBQUAD *palette, uint32_t count) {
  const os::ScreenPaletteCaps caps = os::GetScreenPaletteCaps();
  if (!caps.hasPalette || palette == nullptr || caps.size == 0) return 0;
  HeapBuffer buffer(caps.size * sizeof(PALETTEENTRY));
  if (!buffer) return 0;
  auto *system = reinterpret_cast<PALETTEENTRY *>(buffer.get());
  const uint32_t read = os::GetSystemPaletteEntries(0, caps.size, system);
  if (read != caps.size) return 0;
  return PlaceStaticColors(system, caps.size, caps.reserved, palette, count);
}

}  // namespace kest

using kest::ToEntry;
using kest::ToQuad;

KEST_API HPALETTE K_CreatePalette(const RGBQUAD *source, uint32_t count) {
  if (source == nullptr || count > 256) return nullptr;
  // Room for 256 entries on the stack: no allocation to fail.
  union {
    LOGPALETTE header;
    uint8_t bytes[offsetof(LOGPALETTE, palPalEntry) + 256 * sizeof(PALETTEENTRY)];
  } storage;
  LOGPALETTE &palette = storage.header;
  palette.palVersion = kest::kPaletteVersion;
  palette.palNumEntries = static_cast<uint16_t>(count);
  PALETTEENTRY *entries = palette.palPalEntry;
  for (uint32_t i = 0; i < count; ++i) entries[i] = ToEntry(source[i]);
  return kest::os::CreatePalette(&palette);
}

KEST_API int32_t K_OsDeletePalette(HPALETTE palette) {
  return kest::os::DeleteObject(palette) ? K_SUCCESS : K_FAILURE;
}

KEST_API uint32_t K_GetPaletteSize(HPALETTE palette) {
  return palette == nullptr ? 0 : kest::os::GetPaletteEntryCount(palette);
}

KEST_API uint32_t K_GetPaletteEntries(HPALETTE palette, uint32_t first, uint32_t count,
                                      RGBQUAD *out) {
  // A count of 0 is passed over: the system answers it with the palette's
  // size and reads nothing.
  if (out == nullptr || count == 0) return 0;
  PALETTEENTRY batch[kest::kBatch];
  uint32_t done = 0;
  while (done < count) {
    const uint32_t want = std::min(count - done, kest::kBatch);
    const uint32_t got = kest::os::GetPaletteEntries(palette, first + done, want, batch);
    for (uint32_t i = 0; i < got; ++i) out[done + i] = ToQuad(batch[i]);
    done += got;
    if (got < want) break;
  }
  return done;
}

KEST_API uint32_t K_SetPaletteEntries(HPALETTE palette, uint32_t first, uint32_t count,
                                      const RGBQUAD *source) {
  if (source == nullptr) return 0;
  PALETTEENTRY batch[kest::kBatch];
  uint32_t done = 0;
  while (done < count) {
    const uint32_t want = std::min(count - done, kest::kBatch);
    for (uint32_t i = 0; i < want; ++i) batch[i] = ToEntry(source[done + i]);
    const uint32_t put = kest::os::SetPaletteEntries(palette, first + done, want, batch);
    done += put;
    if (put < want) break;
  }
  return done;
}

KEST_API HPALETTE K_DupPalette(HPALETTE palette) {
  const uint32_t size = K_GetPaletteSize(palette);
  if (size == 0) return nullptr;
  LOGPALETTE *copy = kest::NewLogPalette(size);
  if (copy == nullptr) return nullptr;
  HPALETTE duplicate = nullptr;
  if (kest::os::GetPaletteEntries(palette, 0, size, copy->palPalEntry) == size) {
    duplicate = kest::os::CreatePalette(copy);
  }
  K_Free(copy);
  return duplicate;
}

KEST_API HPALETTE K_CreateSystemPalette(void) {
  const kest::os::ScreenPaletteCaps caps = kest::os::GetScreenPaletteCaps();
  if (!caps.hasPalette || caps.size == 0) return nullptr;
  LOGPALETTE *system = kest::NewLogPalette(caps.size);
  if (system == nullptr) return nullptr;
  HPALETTE palette = nullptr;
  if (kest::os::GetSystemPaletteEntries(0, caps.size, system->palPalEntry) == caps.size) {
    palette = kest::os::CreatePalette(system);
  }
  K_Free(system);
  return palette;
}

KEST_API HPALETTE K_DupBitmapPalette(const RASTERBITMAP *bitmap) {
  if (bitmap == nullptr || kest::WrongSize(*bitmap) || bitmap->Palette == nullptr) return nullptr;
  return K_CreatePalette(bitmap->Palette, static_cast<uint32_t>(bitmap->ColorsCount));
}

KEST_API int32_t K_SetBitmapPalette(RASTERBITMAP *bitmap, HPALETTE palette) {
  if (bitmap == nullptr) return K_ERR_BITMAP;
  if (kest::WrongSize(*bitmap)) return K_ERR_RECORD_SIZE;
  if (palette == nullptr) return K_ERR_PARAMETER;
  const uint32_t size = K_GetPaletteSize(palette);
  if (size < 2 || size > 256) return K_ERR_PARAMETER;
  K_OsFree(bitmap->Palette);
  bitmap->Palette = static_cast<RGBQUAD *>(K_OsAlloc(size * sizeof(RGBQUAD)));
  if (bitmap->Palette == nullptr) return K_ERR_NOMEMORY;
  K_GetPaletteEntries(palette, 0, size, bitmap->Palette);
  bitmap->ColorsCount = static_cast<int32_t>(size);
  return K_SUCCESS;
}

KEST_API uint32_t K_GetNearestPaletteIndex(const RASTERBITMAP *bitmap, COLORREF color) {
  if (bitmap == nullptr) return 0;
  // K_CreatePalette refuses a count outside 0 to 256, and the system is
  // then asked with a null handle.
  HPALETTE palette = nullptr;
  if (bitmap->Palette != nullptr) {
    palette = K_CreatePalette(bitmap->Palette, static_cast<uint32_t>(bitmap->ColorsCount));
  }
  const uint32_t index = kest::os::GetNearestPaletteIndex(palette, color);
  if (palette != nullptr) kest::os::DeleteObject(palette);
  return index;
}
