// Alpha planes: K_GetBitmapAlpha makes a gray bitmap of a bitmap's alpha,
// K_SetBitmapAlpha writes one in. Alpha lives where the pixel has room:
// bit 15 at 16 bits, the fourth byte at 32, the fourth word at 64.
#include <algorithm>
#include <cstring>

#include "core/alloc.h"
#include "core/bitmap.h"
#include "core/dispatch.h"
#include "core/owned.h"
#include "kest/convert.h"
#include "kest/copy.h"
#include "kest/gray.h"
#include "kest/palette.h"
#include "kest/pixels.h"
#include "kest/rows.h"
#include "kest/status.h"

namespace kest {
namespace {

constexpr int kRegionCopySlot = 1;
using RegionCopy = int32_t (*)(RASTERBITMAP *, RASTERBITMAP *, int32_t, int32_t);

bool HasAlphaRoom(int32_t bits) { return bits == 16 || bits == 32 || bits == 64; }

// One row of alpha values out of a row of pixels.
void ExtractAlpha(const uint8_t *pixels, uint8_t *alpha, int32_t bits, uint32_t width) {
  for (uint32_t x = 0; x < width; ++x) {
    switch (bits) {
      case 64: std::memcpy(alpha + 2 * x, pixels + 8 * x + 6, 2); break;
      case 32: alpha[x] = pixels[4 * x + 3]; break;
      case 16: alpha[x] = (pixels[2 * x + 1] & 0x80) ? 255 : 0; break;
      default: alpha[x] = 0; break;
    }
  }
}

// One row of alpha values into a row of pixels.
void InsertAlpha(uint8_t *pixels, const uint8_t *alpha, int32_t bits, int32_t alphaBits,
                 uint32_t width) {
  for (uint32_t x = 0; x < width; ++x) {
    if (bits == 64) {
      std::memcpy(pixels + 8 * x + 6, alpha + 2 * x, 2);
    } else if (bits == 32) {
      pixels[4 * x + 3] = alpha[x];
    } else {
      const bool set = alphaBits == 1 ? (alpha[x / 8] >> (7 - x % 8)) & 1 : alpha[x] >= 128;
      pixels[2 * x + 1] = static_cast<uint8_t>((pixels[2 * x + 1] & 0x7F) | (set ? 0x80 : 0));
    }
  }
}

// Gives a bitmap without alpha room the room, in place: 48 bits become 64,
// anything else 32, blue first unless it was a red-first colour bitmap.
int32_t MakeAlphaRoom(RASTERBITMAP &bitmap) {
  const int32_t bits = bitmap.BitmapBits, target = bits == 48 ? 64 : 32;
  const uint32_t order = bits >= 16 && bitmap.ColorOrder == K_ORDER_RGB ? K_ORDER_RGB : K_ORDER_BGR;
  const bool gray = bitmap.ColorOrder == K_ORDER_GRAY;
  const auto width = static_cast<uint32_t>(bitmap.BitmapWidth);
  RASTERBITMAP fresh;
  int32_t status = K_DupBitmapNewDim(&fresh, &bitmap, RASTERBITMAP_SIZE, width,
                                     static_cast<uint32_t>(bitmap.BitmapHeight), target, 0);
  // Compressed kinds do not exist at the new depth: memory or disk.
  if (status == K_SUCCESS) {
    status = K_AllocateBitmap(&fresh, (bitmap.BitmapFlags & RBF_DISK) ? MEMORY_TYPE_DISK
                                                                       : MEMORY_TYPE_CONV);
    if (status != K_SUCCESS) K_FreeDuplicateBitmap(&fresh, 0);
  }
  if (status != K_SUCCESS) return status;
  const uint32_t size = K_CalcConvertSize(width, static_cast<uint32_t>(bits), width, target);
  HeapBuffer row(std::max<uint32_t>(size, 1));
  if (!row) {
    K_FreeDuplicateBitmap(&fresh, DUP_PIXELS);
    return K_ERR_NOMEMORY;
  }
  RGBQUAD palette[256] = {};
  const bool indexed = bits <= 8;
  if (indexed) K_GetBitmapPaletteEntries(&bitmap, 0, 1u << bits, palette);
  const uint32_t flags = gray ? CONVERT_SOURCE_WINDOW : 0;
  for (int32_t r = 0; r < bitmap.BitmapHeight && status == K_SUCCESS; ++r) {
    K_GetBitmapRow(&bitmap, row.get(), static_cast<uint32_t>(r), bitmap.BitmapBytesPerLine);
    status = K_ConvertBufferExt(row.get(), static_cast<int32_t>(width), bits, target,
                                bitmap.ColorOrder, order, indexed ? palette : nullptr, nullptr,
                                flags, bitmap.DataLowBit, bitmap.DataHighBit);
    if (status == K_SUCCESS) {
      K_PutBitmapRow(&fresh, row.get(), static_cast<uint32_t>(r), fresh.BitmapBytesPerLine);
    }
  }
  if (status != K_SUCCESS) {
    K_FreeDuplicateBitmap(&fresh, DUP_PIXELS);
    return status;
  }
  // The new record takes the region and overlays over; the palette goes.
  fresh.Palette = nullptr;
  fresh.ColorsCount = 0;
  fresh.ColorOrder = order;
  bitmap.Region = nullptr;
  bitmap.Overlays = nullptr;
  K_FreeBitmap(&bitmap);
  bitmap = fresh;
  return K_SUCCESS;
}

// Whether alpha can be written as it is into a bitmap of bits.
bool FitsDirectly(const RASTERBITMAP &bitmap, RASTERBITMAP &alpha) {
  const int32_t bits = bitmap.BitmapBits, alphaBits = alpha.BitmapBits;
  const bool depth = (bits == 16 && (alphaBits == 1 || alphaBits == 8)) ||
                     (bits == 32 && alphaBits == 8) || (bits == 64 && alphaBits == 16);
  return depth && K_IsGrayScaleBitmap(&alpha) > GRAY_NO &&
         alpha.ViewPerspective == bitmap.ViewPerspective;
}

int32_t WriteAlpha(RASTERBITMAP &bitmap, RASTERBITMAP &alpha) {
  const uint32_t width = static_cast<uint32_t>(std::min(bitmap.BitmapWidth, alpha.BitmapWidth));
  const int32_t height = std::min(bitmap.BitmapHeight, alpha.BitmapHeight);
  HeapBuffer pixels(bitmap.BitmapBytesPerLine), plane(std::max<uint32_t>(alpha.BitmapBytesPerLine, 1));
  if (!pixels || !plane) return K_ERR_NOMEMORY;
  BitmapLock lockBitmap(&bitmap), lockAlpha(&alpha);
  for (int32_t r = 0; r < height; ++r) {
    K_GetBitmapRow(&alpha, plane.get(), static_cast<uint32_t>(r), alpha.BitmapBytesPerLine);
    K_GetBitmapRow(&bitmap, pixels.get(), static_cast<uint32_t>(r), bitmap.BitmapBytesPerLine);
    InsertAlpha(pixels.get(), plane.get(), bitmap.BitmapBits, alpha.BitmapBits, width);
    K_PutBitmapRow(&bitmap, pixels.get(), static_cast<uint32_t>(r), bitmap.BitmapBytesPerLine);
  }
  return K_SUCCESS;
}

}  // namespace
}  // namespace kest

using namespace kest;

KEST_API int32_t K_GetBitmapAlpha(RASTERBITMAP *bitmap, RASTERBITMAP *alpha, int32_t recordSize) {
  if (bitmap == nullptr || !IsAllocated(*bitmap) || alpha == nullptr) return K_ERR_PARAMETER;
  if (!HasSize(*bitmap) || recordSize != RASTERBITMAP_SIZE) return K_ERR_RECORD_SIZE;
  if (bitmap->BitmapFlags & RBF_SIGNED) return K_ERR_SIGNED_DATA;
  const int32_t bits = bitmap->BitmapBits, alphaBits = bits == 64 ? 16 : 8;
  const auto width = static_cast<uint32_t>(bitmap->BitmapWidth);
  K_InitBitmap(alpha, recordSize, width, static_cast<uint32_t>(bitmap->BitmapHeight),
               static_cast<uint32_t>(alphaBits));
  if (alphaBits == 16) alpha->ColorOrder = K_ORDER_GRAY;
  alpha->ViewPerspective = bitmap->ViewPerspective;
  alpha->BitmapXRes = bitmap->BitmapXRes;
  alpha->BitmapYRes = bitmap->BitmapYRes;
  HeapBuffer pixels(bitmap->BitmapBytesPerLine), plane(alpha->BitmapBytesPerLine);
  if (!pixels || !plane) return K_ERR_NOMEMORY;
  int32_t status = K_AllocateBitmap(
      alpha, (bitmap->BitmapFlags & RBF_DISK) ? MEMORY_TYPE_DISK : MEMORY_TYPE_CONV);
  if (status != K_SUCCESS) return status;
  if (auto copy = reinterpret_cast<RegionCopy>(DisDispatchSlot(kRegionCopySlot))) {
    status = copy(alpha, bitmap, 0, 0);
    if (status != K_SUCCESS) {
      K_FreeBitmap(alpha);
      return status;
    }
  }
  if (alphaBits == 8 && K_CreateBitmapGrayPalette(alpha) != K_SUCCESS) {
    K_FreeBitmap(alpha);
    return K_ERR_NOMEMORY;
  }
  BitmapLock lockBitmap(bitmap), lockAlpha(alpha);
  std::memset(plane.get(), 0, alpha->BitmapBytesPerLine);
  for (int32_t r = 0; r < bitmap->BitmapHeight; ++r) {
    if (HasAlphaRoom(bits)) {
      K_GetBitmapRow(bitmap, pixels.get(), static_cast<uint32_t>(r), bitmap->BitmapBytesPerLine);
      ExtractAlpha(pixels.get(), plane.get(), bits, width);
    }
    K_PutBitmapRow(alpha, plane.get(), static_cast<uint32_t>(r), alpha->BitmapBytesPerLine);
  }
  return K_SUCCESS;
}

KEST_API int32_t K_SetBitmapAlpha(RASTERBITMAP *bitmap, RASTERBITMAP *alpha) {
  if (bitmap == nullptr || alpha == nullptr || !IsAllocated(*bitmap) || !IsAllocated(*alpha)) {
    return K_ERR_PARAMETER;
  }
  if (!HasSize(*bitmap) || !HasSize(*alpha)) return K_ERR_RECORD_SIZE;
  if (bitmap->BitmapFlags & RBF_SIGNED) return K_ERR_SIGNED_DATA;
  if (!HasAlphaRoom(bitmap->BitmapBits)) {
    const int32_t status = MakeAlphaRoom(*bitmap);
    if (status != K_SUCCESS) return status;
  }
  if (FitsDirectly(*bitmap, *alpha)) return WriteAlpha(*bitmap, *alpha);
  // Turning the plane to the bitmap's view waits for the geometry layer.
  if (alpha->ViewPerspective != bitmap->ViewPerspective) return K_ERR_NOT_AVAILABLE;
  RASTERBITMAP gray;
  int32_t status = K_CopyBitmap(&gray, alpha, RASTERBITMAP_SIZE);
  if (status != K_SUCCESS) return status;
  status = K_GrayScaleBitmap(&gray, bitmap->BitmapBits == 64 ? 16 : 8);
  if (status == K_SUCCESS) status = WriteAlpha(*bitmap, gray);
  K_FreeBitmap(&gray);
  return status;
}
