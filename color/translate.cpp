// Colour values between bitmaps: K_TranslateBitmapColor, and
// K_CopyPlaybackParms, which carries a frame's fields and colours from one
// record to another.
#include "core/bitmap.h"
#include "kest/copy.h"
#include "kest/palette.h"
#include "kest/status.h"

namespace kest {
namespace {

constexpr uint32_t kIndexTag = 0x01000000;
constexpr uint32_t kFrameFlags = RBF_WAIT_INPUT | RBF_TRANSPARENT;

uint32_t TopByte(uint32_t color) { return color >> 24; }
uint32_t AsColorRef(const RGBQUAD &entry) {
  return entry.rgbRed | (uint32_t{entry.rgbGreen} << 8) | (uint32_t{entry.rgbBlue} << 16);
}
bool IsGrayOrder(const RASTERBITMAP &bitmap) { return bitmap.ColorOrder == K_ORDER_GRAY; }
bool IsIndexed(const RASTERBITMAP &bitmap) { return bitmap.BitmapBits <= 8; }

uint32_t NearestIndex(const RASTERBITMAP &target, uint32_t colorRef) {
  return K_GetNearestPaletteIndex(&target, colorRef) | kIndexTag;
}

}  // namespace
}  // namespace kest

using namespace kest;

KEST_API uint32_t K_TranslateBitmapColor(RASTERBITMAP *target, const RASTERBITMAP *source,
                                         uint32_t color) {
  if (target == nullptr) return color;
  if (TopByte(color) == 4) {
    if (IsGrayOrder(*target)) {
      const bool table = (target->BitmapFlags & RBF_USE_LUT) && target->LevelLUT != nullptr;
      if (!table) return color;
      const uint32_t length = target->LevelLUTLength == 65536 ? 65535 : target->LevelLUTLength;
      const int32_t index = K_FindPaletteIndex(target->LevelLUT, length, color & 0xFF,
                                               (color >> 8) & 0xFF, (color >> 16) & 0xFF);
      return static_cast<uint32_t>(index) | kIndexTag;
    }
    color = ((color >> 8) & 0xFF) * 0x010101u;  // a gray level becomes a direct colour
  } else if (TopByte(color) == 1) {
    RGBQUAD entry{};
    const uint32_t index = color & 0x00FFFFFF;
    const bool read = source != nullptr && IsIndexed(*source) &&
                      K_GetBitmapColors(source, index, 1, &entry) == K_SUCCESS;
    if (!IsIndexed(*target)) return read ? AsColorRef(entry) : 0;
    RGBQUAD own{};
    if (read && K_GetBitmapColors(target, index, 1, &own) == K_SUCCESS &&
        own.rgbRed == entry.rgbRed && own.rgbGreen == entry.rgbGreen &&
        own.rgbBlue == entry.rgbBlue) {
      return color;
    }
    return NearestIndex(*target, read ? AsColorRef(entry) : 0);
  }
  return IsIndexed(*target) ? NearestIndex(*target, color) : color;
}

KEST_API int32_t K_CopyPlaybackParms(RASTERBITMAP *destination, const RASTERBITMAP *source) {
  if (destination == nullptr || source == nullptr) return K_ERR_PARAMETER;
  destination->BitmapFlags =
      (destination->BitmapFlags & ~kFrameFlags) | (source->BitmapFlags & kFrameFlags);
  destination->BitmapLeft = source->BitmapLeft;
  destination->BitmapTop = source->BitmapTop;
  destination->BitmapDelay = source->BitmapDelay;
  destination->BitmapBackground =
      K_TranslateBitmapColor(destination, source, source->BitmapBackground);
  destination->BitmapTransparentColor =
      K_TranslateBitmapColor(destination, source, source->BitmapTransparentColor);
  destination->BitmapDisposalMethod = source->BitmapDisposalMethod;
  return K_SUCCESS;
}
