// Copying bitmaps: K_CopyBitmapHandle, K_DupBitmapNewDim,
// K_FreeDuplicateBitmap, K_CopyBitmap, K_CopyBitmap2, K_CopyBitmapRect,
// K_CopyBitmapRect2, K_TrimBitmap. The row copy itself, K_CopyBitmapData,
// is the core's (core/copy_data.cpp).
//
// Copying sits above the core because a copy takes the palette, the gray
// parameters and the frame colours along, which are colour services. A
// copy that fails after allocating frees its destination; the source is
// never changed.
#include <algorithm>
#include <cstring>

#include "core/alloc.h"
#include "core/bitmap.h"
#include "core/copy_data.h"
#include "core/dispatch.h"
#include "core/owned.h"
#include "core/progress.h"
#include "core/rows.h"
#include "kest/copy.h"
#include "kest/gray.h"
#include "kest/palette.h"
#include "kest/rows.h"
#include "kest/status.h"

namespace kest {
namespace {

constexpr uint32_t kFlagsFromSource =
    RBF_REGION_UNCLIPPED | RBF_COMPRESSED | RBF_SUPERCOMPRESSED | RBF_DISK | RBF_SIGNED;
constexpr uint32_t kFullCopy = DUP_PIXELS | DUP_PALETTE | DUP_REGION | DUP_OVERLAYS;
constexpr uint32_t kAllButPixels = DUP_PALETTE | DUP_REGION | DUP_OVERLAYS;
constexpr int kRegionCopySlot = 1;

// The region slot: (target, source, dx, dy) puts into target a copy of
// source's region moved by (dx, dy).
using RegionCopy = int32_t (*)(RASTERBITMAP *, RASTERBITMAP *, int32_t, int32_t);

RegionCopy RegionCopier() { return reinterpret_cast<RegionCopy>(DisDispatchSlot(kRegionCopySlot)); }

bool IsGray(const RASTERBITMAP &bitmap) { return bitmap.ColorOrder == K_ORDER_GRAY; }

// Drops the parts a duplicate shares, then releases what it owns.
void ReleaseDuplicate(RASTERBITMAP &bitmap, uint32_t options) {
  if (!(options & DUP_PALETTE)) bitmap.Palette = nullptr;
  if (!(options & DUP_REGION)) bitmap.Region = nullptr;
  if (!(options & DUP_OVERLAYS)) bitmap.Overlays = nullptr;
  if (IsAllocated(bitmap)) {
    K_FreeBitmap(&bitmap);
  } else {
    K_OsFree(bitmap.Palette);
    bitmap.Palette = nullptr;
    ReleaseRegion(bitmap.Region);
    ReleaseOverlays(bitmap.Overlays);
    K_FreeGrayParams(&bitmap);
  }
}

// The bit phase of pixel column p in its byte.
uint32_t Phase(int32_t bits, int64_t p) {
  switch (bits) {
    case 1: return p & 7;
    case 2: return (p & 3) << 1;
    case 3: return (3 * p) & 7;
    case 4: case 12: return (p & 1) << 2;
    case 5: return (5 * p) & 7;
    case 6: return (6 * p) & 7;
    case 7: return (7 * p) & 7;
    default: return 0;
  }
}

// Moves a buffer by bits, big-endian across bytes: a positive shift towards
// the start, a negative one towards the end.
void ShiftBits(uint8_t *buffer, size_t size, int32_t shift) {
  if (size == 0 || shift == 0) return;
  if (shift > 0) {
    for (size_t i = 0; i + 1 < size; ++i) {
      buffer[i] = static_cast<uint8_t>((buffer[i] << shift) | (buffer[i + 1] >> (8 - shift)));
    }
    buffer[size - 1] = static_cast<uint8_t>(buffer[size - 1] << shift);
  } else {
    for (size_t i = size - 1; i > 0; --i) {
      buffer[i] = static_cast<uint8_t>((buffer[i - 1] << (8 + shift)) | (buffer[i] >> -shift));
    }
    buffer[0] = static_cast<uint8_t>(buffer[0] >> -shift);
  }
}

// 12-bit pixels: the even one in the low 12 bits of its first two bytes,
// the odd one in the top 12 bits of the next two. A row buffer begins at the
// byte of its first pixel, so pixel x of a buffer whose first pixel has
// parity origin sits ColumnToByte(x) - ColumnToByte(origin) bytes in.
size_t BufferByte12(size_t x, size_t origin) { return ColumnToByte(12, x) - ColumnToByte(12, origin); }
unsigned Pixel12(const uint8_t *buffer, size_t x, size_t origin) {
  const size_t at = BufferByte12(x, origin);
  const unsigned word = buffer[at] | (buffer[at + 1] << 8);
  return x % 2 == 0 ? word & 0x0FFF : word >> 4;
}
void SetPixel12(uint8_t *buffer, size_t x, size_t origin, unsigned value) {
  const size_t at = BufferByte12(x, origin);
  unsigned word = buffer[at] | (buffer[at + 1] << 8);
  word = x % 2 == 0 ? (word & 0xF000) | value : (word & 0x000F) | (value << 4);
  buffer[at] = static_cast<uint8_t>(word);
  buffer[at + 1] = static_cast<uint8_t>(word >> 8);
}

// At 12 bits the shift is a nibble: the pixels move one by one in 16-bit
// steps. The nibbles before the first and after the last pixel are zero,
// as the shifted-in bits of the packed depths are, so that a fresh
// destination keeps its blank pixels next to the rectangle.
void ShiftPixels12(uint8_t *buffer, uint8_t *scratch, size_t size, size_t pixels,
                   uint32_t fromPhase, uint32_t toPhase) {
  std::memcpy(scratch, buffer, size);
  std::memset(buffer, 0, size);
  const size_t from = fromPhase / 4, to = toPhase / 4;
  for (size_t i = 0; i < pixels; ++i) {
    SetPixel12(buffer, to + i, to, Pixel12(scratch, from + i, from));
  }
}

int32_t DuplicateRegion(RASTERBITMAP &destination, RASTERBITMAP &source) {
  RegionCopy copy = RegionCopier();
  if (copy == nullptr) {
    destination.Region = nullptr;
    return K_SUCCESS;
  }
  // The slot replaces the source's region by a copy; the copy goes to the
  // destination and the source gets its own pointer back.
  void *own = source.Region;
  const int32_t status = copy(&source, &source, 0, 0);
  destination.Region = status == K_SUCCESS ? source.Region : nullptr;
  source.Region = own;
  return status;
}

struct Rect {
  int32_t x0, y0, x1, y1;
};

int32_t CopyRectRows(RASTERBITMAP &destination, RASTERBITMAP &source, const Rect &clip,
                     int32_t left, int32_t top) {
  const int32_t bits = source.BitmapBits;
  const uint32_t sourcePhase = Phase(bits, clip.x0), destinationPhase = Phase(bits, clip.x0 - left);
  const uint64_t bitCount = uint64_t(clip.x1 - clip.x0) * static_cast<uint32_t>(bits);
  const size_t sourceBytes = (sourcePhase + 7 + bitCount) >> 3;
  const size_t destinationBytes = (destinationPhase + 7 + bitCount) >> 3;
  const size_t bytes = std::max(sourceBytes, destinationBytes) + 2;
  HeapBuffer buffer(static_cast<uint32_t>(bits == 12 ? 2 * bytes : bytes));
  if (!buffer) return K_ERR_NOMEMORY;
  std::memset(buffer.get(), 0, bytes);
  const int32_t shift = static_cast<int32_t>(sourcePhase) - static_cast<int32_t>(destinationPhase);

  BitmapLock lockSource(&source), lockDestination(&destination);
  Progress progress;
  int32_t status = progress.StartCopy(0, 100, clip.y1 - clip.y0);
  for (int32_t y = clip.y0; y < clip.y1 && status == K_SUCCESS; ++y) {
    K_GetBitmapRowCol(&source, buffer.get(), static_cast<uint32_t>(y), static_cast<uint32_t>(clip.x0),
                      static_cast<int32_t>(sourceBytes));
    if (bits == 12 && shift != 0) {
      ShiftPixels12(buffer.get(), buffer.get() + bytes, bytes, static_cast<size_t>(clip.x1 - clip.x0),
                    sourcePhase, destinationPhase);
    } else {
      ShiftBits(buffer.get(), bytes, shift);
    }
    K_PutBitmapRowCol(&destination, buffer.get(), static_cast<uint32_t>(y - top),
                      static_cast<uint32_t>(clip.x0 - left), static_cast<int32_t>(destinationBytes));
    status = progress.Row();
  }
  return status;
}

// The rectangle copy of K_CopyBitmapRect and K_CopyBitmapRect2; options 15,
// or 14 and then memoryType.
int32_t CopyRect(RASTERBITMAP *destination, RASTERBITMAP *source, int32_t recordSize,
                 int32_t left, int32_t top, int32_t width, int32_t height, bool withType,
                 uint32_t memoryType) {
  if (source == nullptr || !IsAllocated(*source)) return K_ERR_PARAMETER;
  RASTERBITMAP temporary;
  const bool inPlace = destination == nullptr || destination == source;
  RASTERBITMAP &target = inPlace ? temporary : *destination;
  if (!HasSize(*source) || recordSize != RASTERBITMAP_SIZE) return K_ERR_RECORD_SIZE;

  int32_t status = K_DupBitmapNewDim(&target, source, recordSize, static_cast<uint32_t>(width),
                                     static_cast<uint32_t>(height),
                                     static_cast<uint32_t>(source->BitmapBits),
                                     withType ? kAllButPixels : kFullCopy);
  if (status == K_SUCCESS && withType) {
    status = K_AllocateBitmap(&target, memoryType);
    if (status != K_SUCCESS) ReleaseDuplicate(target, kAllButPixels);
  }
  if (status != K_SUCCESS) return status;

  if (RegionCopy copy = RegionCopier()) {
    ReleaseRegion(target.Region);
    status = copy(&target, &target, -left, -top);
    if (status != K_SUCCESS) {
      target.Region = nullptr;
      K_FreeBitmap(&target);
      return status;
    }
  }
  const Rect clip{std::max(left, 0), std::max(top, 0),
                  static_cast<int32_t>(std::min<int64_t>(int64_t{left} + width, source->BitmapWidth)),
                  static_cast<int32_t>(std::min<int64_t>(int64_t{top} + height, source->BitmapHeight))};
  if (clip.x1 > clip.x0 && clip.y1 > clip.y0) {
    status = CopyRectRows(target, *source, clip, left, top);
    if (status == K_ERR_NOMEMORY) {
      K_FreeBitmap(&target);
      return status;
    }
  }
  if (inPlace) {
    K_FreeBitmap(source);
    *source = temporary;
  }
  return status;
}

}  // namespace
}  // namespace kest

using namespace kest;

KEST_API int32_t K_CopyBitmapHandle(RASTERBITMAP *destination, const RASTERBITMAP *source,
                                    int32_t recordSize) {
  if (source == nullptr) return K_ERR_PARAMETER;
  if (!HasSize(*source) || recordSize != RASTERBITMAP_SIZE) return K_ERR_RECORD_SIZE;
  if (destination != nullptr) *destination = *source;
  return K_SUCCESS;
}

KEST_API int32_t K_DupBitmapNewDim(RASTERBITMAP *destination, RASTERBITMAP *source,
                                   int32_t recordSize, uint32_t width, uint32_t height,
                                   uint32_t bits, uint32_t options) {
  if (destination == nullptr || source == nullptr || !IsAllocated(*source)) return K_ERR_BITMAP;
  if (!HasSize(*source) || recordSize != RASTERBITMAP_SIZE) return K_ERR_RECORD_SIZE;
  K_InitBitmap(destination, recordSize, width, height, bits);
  destination->BitmapFlags |= source->BitmapFlags & kFlagsFromSource;
  destination->ViewPerspective = source->ViewPerspective;
  destination->BitmapXRes = source->BitmapXRes;
  destination->BitmapYRes = source->BitmapYRes;
  destination->ColorOrder = source->ColorOrder;

  if (options & DUP_PIXELS) {
    const int32_t status = K_AllocateBitmap(destination, MemoryTypeForFlags(destination->BitmapFlags));
    if (status != K_SUCCESS) return status;
  }
  if (options & DUP_PALETTE) {
    K_CopyBitmapPalette(destination, source);
  } else {
    destination->Palette = source->Palette;
  }
  destination->ColorsCount = source->ColorsCount;
  K_CopyPlaybackParms(destination, source);

  int32_t status = K_SUCCESS;
  if (options & DUP_REGION) {
    status = DuplicateRegion(*destination, *source);
  } else {
    destination->Region = source->Region;
  }
  // No overlay layer can have made a list to copy: an own copy of none is
  // none.
  destination->Overlays = (options & DUP_OVERLAYS) ? nullptr : source->Overlays;
  if (status == K_SUCCESS && (options & DUP_PIXELS) && IsGray(*source) &&
      static_cast<int32_t>(bits) == source->BitmapBits) {
    destination->ColorOrder = K_ORDER_GRAY;
    status = K_CopyGrayParams(destination, source);
  }
  if (status != K_SUCCESS) {
    ReleaseDuplicate(*destination, options);
    return status;
  }
  if (destination->PaintLUT != nullptr && source->PaintLUT != nullptr) {
    std::memcpy(destination->PaintLUT, source->PaintLUT, 256);
    destination->BitmapFlags |= source->BitmapFlags & RBF_PAINT_LUT;
  }
  return K_SUCCESS;
}

KEST_API int32_t K_FreeDuplicateBitmap(RASTERBITMAP *bitmap, uint8_t options) {
  if (bitmap == nullptr) return K_ERR_PARAMETER;
  if (!(options & DUP_PALETTE)) bitmap->Palette = nullptr;
  if (!(options & DUP_REGION)) bitmap->Region = nullptr;
  if (!(options & DUP_OVERLAYS)) bitmap->Overlays = nullptr;
  if (options & DUP_PIXELS) {
    K_FreeBitmap(bitmap);
    return K_SUCCESS;
  }
  // Without pixels the palette and region still standing are freed; the
  // overlays stay.
  K_OsFree(bitmap->Palette);
  bitmap->Palette = nullptr;
  ReleaseRegion(bitmap->Region);
  return K_SUCCESS;
}

namespace kest {
namespace {

// The deep copy of K_CopyBitmap (the source's memory kind) and K_CopyBitmap2
// (withType: a full duplicate but the pixels, then memoryType). A failure
// after the duplicate frees everything it made.
int32_t DeepCopy(RASTERBITMAP *destination, RASTERBITMAP *source, int32_t recordSize,
                 bool withType, uint32_t memoryType) {
  if (destination == nullptr || source == nullptr || !IsAllocated(*source)) return K_ERR_PARAMETER;
  if (destination == source) return K_SUCCESS;
  if (!HasSize(*source) || recordSize != RASTERBITMAP_SIZE) return K_ERR_RECORD_SIZE;
  int32_t status = K_DupBitmapNewDim(destination, source, recordSize,
                                     static_cast<uint32_t>(source->BitmapWidth),
                                     static_cast<uint32_t>(source->BitmapHeight),
                                     static_cast<uint32_t>(source->BitmapBits),
                                     withType ? kAllButPixels : kFullCopy);
  if (status != K_SUCCESS) return status;
  if (withType) {
    if (IsGray(*source)) {
      destination->ColorOrder = K_ORDER_GRAY;
      status = K_CopyGrayParams(destination, source);
    }
    if (status == K_SUCCESS) status = K_AllocateBitmap(destination, memoryType);
    if (status != K_SUCCESS) {
      ReleaseDuplicate(*destination, kAllButPixels);
      return status;
    }
  }
  status = K_CopyBitmapData(destination, source);
  if (status != K_SUCCESS) K_FreeBitmap(destination);
  return status;
}

}  // namespace
}  // namespace kest

KEST_API int32_t K_CopyBitmap(RASTERBITMAP *destination, RASTERBITMAP *source, int32_t recordSize) {
  return DeepCopy(destination, source, recordSize, false, 0);
}

KEST_API int32_t K_CopyBitmap2(RASTERBITMAP *destination, RASTERBITMAP *source,
                               uint32_t memoryType, int32_t recordSize) {
  return DeepCopy(destination, source, recordSize, true, memoryType);
}

KEST_API int32_t K_CopyBitmapRect(RASTERBITMAP *destination, RASTERBITMAP *source,
                                  int32_t recordSize, int32_t left, int32_t top, int32_t width,
                                  int32_t height) {
  return CopyRect(destination, source, recordSize, left, top, width, height, false, 0);
}

KEST_API int32_t K_CopyBitmapRect2(RASTERBITMAP *destination, RASTERBITMAP *source,
                                   int32_t recordSize, int32_t left, int32_t top, int32_t width,
                                   int32_t height, uint32_t memoryType) {
  return CopyRect(destination, source, recordSize, left, top, width, height, true, memoryType);
}

KEST_API int32_t K_TrimBitmap(RASTERBITMAP *bitmap, int32_t left, int32_t top, int32_t width,
                              int32_t height) {
  if (bitmap == nullptr || !IsAllocated(*bitmap)) return K_ERR_PARAMETER;
  if (!HasSize(*bitmap)) return K_ERR_RECORD_SIZE;
  const int64_t right = std::min<int64_t>(int64_t{left} + width, bitmap->BitmapWidth);
  const int64_t bottom = std::min<int64_t>(int64_t{top} + height, bitmap->BitmapHeight);
  const int64_t newWidth = right - std::max(left, 0), newHeight = bottom - std::max(top, 0);
  if (newWidth < 0 || newHeight < 0) return K_ERR_WIDTH_HEIGHT;
  return K_CopyBitmapRect(nullptr, bitmap, RASTERBITMAP_SIZE, std::max(left, 0), std::max(top, 0),
                          static_cast<int32_t>(newWidth), static_cast<int32_t>(newHeight));
}
