// A record's palette array: K_GetBitmapPaletteEntries, K_GetBitmapColors,
// K_PutBitmapColors, K_SetBitmapNewPalette, K_CopyBitmapPalette.
#include <algorithm>

#include "core/alloc.h"
#include "kest/palette.h"
#include "kest/status.h"

namespace {

bool WrongSize(const RASTERBITMAP &bitmap) {
  return bitmap.RecordSize != static_cast<uint32_t>(RASTERBITMAP_SIZE);
}

void DropPalette(RASTERBITMAP &bitmap) {
  K_OsFree(bitmap.Palette);
  bitmap.Palette = nullptr;
}

}  // namespace

KEST_API uint32_t K_GetBitmapPaletteEntries(const RASTERBITMAP *bitmap, uint32_t first,
                                            uint32_t count, RGBQUAD *out) {
  if (bitmap == nullptr || out == nullptr || bitmap->Palette == nullptr) return 0;
  if (bitmap->ColorsCount <= 0 || first >= static_cast<uint32_t>(bitmap->ColorsCount)) return 0;
  const uint64_t end = std::min<uint64_t>(uint64_t{first} + count,
                                          static_cast<uint32_t>(bitmap->ColorsCount));
  const auto read = static_cast<uint32_t>(end - first);
  std::copy_n(bitmap->Palette + first, read, out);
  return read;
}

KEST_API int32_t K_GetBitmapColors(const RASTERBITMAP *bitmap, uint32_t first, uint32_t count,
                                   RGBQUAD *out) {
  if (bitmap == nullptr) return K_ERR_BITMAP;
  if (WrongSize(*bitmap)) return K_ERR_RECORD_SIZE;
  if (count == 0 || bitmap->BitmapBits >= 9) return K_ERR_PARAMETER;
  if (K_GetBitmapPaletteEntries(bitmap, first, count, out) < count) return K_ERR_PARAMETER;
  return K_SUCCESS;
}

KEST_API int32_t K_PutBitmapColors(RASTERBITMAP *bitmap, int32_t first, uint32_t count,
                                   const RGBQUAD *source) {
  if (bitmap == nullptr || (bitmap->BitmapFlags & RBF_ALLOCATED) == 0) return K_ERR_BITMAP;
  if (WrongSize(*bitmap)) return K_ERR_RECORD_SIZE;
  // Summed in 64 bits: a count with its top bit set is a range past the
  // end, not a negative one.
  if (source == nullptr || first < 0 || int64_t{first} + count > bitmap->ColorsCount ||
      bitmap->BitmapBits > 8) {
    return K_ERR_PARAMETER;
  }
  if (count == 0) return K_SUCCESS;
  if (bitmap->Palette == nullptr) {
    const auto bytes = static_cast<uint32_t>(bitmap->ColorsCount) * sizeof(RGBQUAD);
    bitmap->Palette = static_cast<RGBQUAD *>(K_OsAllocInit(static_cast<uint32_t>(bytes), 1));
    if (bitmap->Palette == nullptr) return K_ERR_NOMEMORY;
  }
  std::copy_n(source, count, bitmap->Palette + first);
  return K_SUCCESS;
}

KEST_API int32_t K_SetBitmapNewPalette(RASTERBITMAP *bitmap, const RGBQUAD *source,
                                       uint32_t count) {
  if (bitmap == nullptr) return K_FAILURE;
  DropPalette(*bitmap);
  if (source == nullptr) return K_SUCCESS;
  bitmap->ColorsCount = static_cast<int32_t>(count);
  bitmap->Palette = K_CreateNewPalette(source, count);
  return bitmap->Palette != nullptr ? K_SUCCESS : K_FAILURE;
}

KEST_API int32_t K_CopyBitmapPalette(RASTERBITMAP *target, const RASTERBITMAP *source) {
  if (target == nullptr || source == nullptr) return K_ERR_PARAMETER;
  if (WrongSize(*target) || WrongSize(*source)) return K_ERR_RECORD_SIZE;
  if (target == source) return K_SUCCESS;  // freeing first would lose it
  DropPalette(*target);
  if (source->Palette == nullptr) {
    target->ColorsCount = 0;
    return K_SUCCESS;
  }
  target->ColorsCount = source->ColorsCount;
  target->Palette =
      K_CreateNewPalette(source->Palette, static_cast<uint32_t>(source->ColorsCount));
  return target->Palette != nullptr ? K_SUCCESS : K_FAILURE;
}
