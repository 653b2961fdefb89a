// Moving a bitmap between memory kinds: K_ChangeBitmapCompression and
// K_ToggleBitmapCompression.
//
// The change builds a new record of the same geometry in the wanted kind,
// copies the rows into it, and puts it in place of the old one. Palette,
// region, overlays and level table go over to the new record by pointer,
// with the settings that describe the image, so the caller keeps the same
// bitmap in other memory. The call reports success even when the new kind
// could not be made; the record then holds what the attempt left.
#include <cstring>

#include "core/alloc.h"
#include "core/bitmap.h"
#include "core/copy_data.h"
#include "kest/compressed.h"
#include "kest/memory.h"
#include "kest/rows.h"

namespace kest {
namespace {

// The flags that describe the image, not its memory.
constexpr uint32_t kImageFlags = RBF_WAIT_INPUT | RBF_TRANSPARENT | RBF_SIGNED | RBF_USE_LUT |
                                 RBF_PAINT_LUT | RBF_REGION_UNCLIPPED;
constexpr uint32_t kCompressionFlags = RBF_COMPRESSED | RBF_SUPERCOMPRESSED;

// Hands what the old record owns besides its pixels to the new one, with
// the fields that describe the image.
void AdoptImage(RASTERBITMAP &fresh, RASTERBITMAP &old) {
  const bool allocated = IsAllocated(fresh);
  const bool paintTable = allocated && fresh.PaintLUT != nullptr && old.PaintLUT != nullptr;
  if (paintTable) std::memcpy(fresh.PaintLUT, old.PaintLUT, 256);
  fresh.BitmapFlags = (fresh.BitmapFlags & ~kImageFlags) | (old.BitmapFlags & kImageFlags);
  if (!paintTable) fresh.BitmapFlags &= ~uint32_t{RBF_PAINT_LUT};
  fresh.ColorsCount = old.ColorsCount;
  fresh.ViewPerspective = old.ViewPerspective;
  fresh.ColorOrder = old.ColorOrder;
  fresh.DitherMode = old.DitherMode;
  fresh.BitmapXRes = old.BitmapXRes;
  fresh.BitmapYRes = old.BitmapYRes;
  fresh.BitmapLeft = old.BitmapLeft;
  fresh.BitmapTop = old.BitmapTop;
  fresh.BitmapDelay = old.BitmapDelay;
  fresh.BitmapBackground = old.BitmapBackground;
  fresh.BitmapTransparentColor = old.BitmapTransparentColor;
  fresh.BitmapDisposalMethod = old.BitmapDisposalMethod;
  fresh.DataLowBit = old.DataLowBit;
  fresh.DataHighBit = old.DataHighBit;
  fresh.LevelMinValue = old.LevelMinValue;
  fresh.LevelMaxValue = old.LevelMaxValue;
  fresh.LevelLowBit = old.LevelLowBit;
  fresh.LevelHighBit = old.LevelHighBit;
  fresh.PaintGamma = old.PaintGamma;
  fresh.PaintContrast = old.PaintContrast;
  fresh.PaintIntensity = old.PaintIntensity;
  fresh.Palette = old.Palette;
  fresh.Region = old.Region;
  fresh.Overlays = old.Overlays;
  old.Palette = nullptr;
  old.Region = nullptr;
  old.Overlays = nullptr;
  // A record without pixels does not free a level table, so one stays
  // with the old record, which frees it.
  if (allocated) {
    fresh.LevelLUT = old.LevelLUT;
    fresh.LevelLUTLength = old.LevelLUTLength;
    old.LevelLUT = nullptr;
  } else {
    fresh.BitmapFlags &= ~uint32_t{RBF_USE_LUT};
  }
}

}  // namespace
}  // namespace kest

using namespace kest;

KEST_API int32_t K_ChangeBitmapCompression(RASTERBITMAP *bitmap, int32_t compression) {
  const int32_t check = CheckAllocated(bitmap);
  if (check != K_SUCCESS) return check;
  const uint32_t flags = bitmap->BitmapFlags;
  uint32_t wanted;
  switch (compression) {
    case COMP_NONE:
      if (!(flags & kCompressionFlags)) return K_SUCCESS;
      wanted = 0;
      break;
    case COMP_RLE:
      if (flags & RBF_COMPRESSED) return K_SUCCESS;
      wanted = RBF_COMPRESSED;
      break;
    case COMP_SUPER:
      if (flags & RBF_SUPERCOMPRESSED) return K_SUCCESS;
      wanted = RBF_SUPERCOMPRESSED;
      break;
    default: return K_ERR_PARAMETER;
  }
  RASTERBITMAP fresh;
  K_InitBitmap(&fresh, RASTERBITMAP_SIZE, static_cast<uint32_t>(bitmap->BitmapWidth),
               static_cast<uint32_t>(bitmap->BitmapHeight),
               static_cast<uint32_t>(bitmap->BitmapBits));
  const uint32_t type = MemoryTypeForFlags((flags & ~kCompressionFlags) | wanted);
  if (K_AllocateBitmap(&fresh, type) == K_SUCCESS && CopyBitmapRows(fresh, *bitmap, RowErrors::Stop) != K_SUCCESS) {
    K_FreeBitmap(&fresh);
  }
  AdoptImage(fresh, *bitmap);
  K_FreeBitmap(bitmap);
  *bitmap = fresh;
  if (bitmap->BitmapFlags & RBF_COMPRESSED) K_TrimBitmapHeap(bitmap);
  return K_SUCCESS;
}

KEST_API int32_t K_ToggleBitmapCompression(RASTERBITMAP *bitmap) {
  if (bitmap == nullptr || !IsAllocated(*bitmap) || bitmap->BitmapBits != 1) return K_ERR_BITMAP;
  if (!HasSize(*bitmap)) return K_ERR_RECORD_SIZE;
  if (bitmap->BitmapFlags & RBF_SIGNED) return K_ERR_SIGNED_DATA;
  return K_ChangeBitmapCompression(
      bitmap, (bitmap->BitmapFlags & kCompressionFlags) ? COMP_NONE : COMP_RLE);
}
