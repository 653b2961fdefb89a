// The bitmap life cycle: K_InitBitmap, K_CreateBitmap, K_AllocateBitmap and
// its choice between conventional, tiled and disk memory, K_FreeBitmap,
// K_AccessBitmap, K_ReleaseBitmap, K_LockBitmap, K_UnlockBitmap,
// K_SetBitmapDataPointer, K_ChangeBitmapHeight, K_UpdateBitmapSize,
// K_FreeGrayParams.
#include "core/bitmap.h"

#include <algorithm>
#include <atomic>
#include <cstring>

#include "core/alloc.h"
#include "core/files.h"
#include "core/os/os.h"
#include "core/owned.h"
#include "core/settings.h"
#include "core/storage.h"
#include "kest/gray.h"
#include "kest/memory.h"
#include "kest/palette.h"

namespace kest {
namespace {

std::atomic<BlockReleaser> g_regionReleaser{nullptr};
std::atomic<BlockReleaser> g_overlayReleaser{nullptr};
std::atomic<int> g_liveMappings{0};

bool ValidBits(uint32_t bits) {
  return (bits >= 1 && bits <= 8) || bits == 12 || bits == 16 || bits == 24 || bits == 32 ||
         bits == 48 || bits == 64;
}

// The memory types that pass once compression has been fitted to the depth.
bool AllowedMemoryType(uint32_t type) {
  switch (type) {
    case 1: case 2: case 4: case 8: case 9: case 128: case 256: case 768: case 1024: case 1025:
      return true;
    default:
      return false;
  }
}

// Compressed memory exists for 1 bit only, super-compressed for 1, 8 and
// 24 bits; elsewhere the request loses that bit.
uint32_t FitTypeToDepth(uint32_t type, int32_t bits) {
  if (type & MEMORY_TYPE_COMPRESSED) {
    type = bits == 1 ? MEMORY_TYPE_COMPRESSED | MEMORY_TYPE_NODISK
                     : type & ~uint32_t{MEMORY_TYPE_COMPRESSED};
  }
  if ((type & MEMORY_TYPE_SUPERCOMPRESSED) && bits != 1 && bits != 8 && bits != 24) {
    type &= ~uint32_t{MEMORY_TYPE_SUPERCOMPRESSED};
  }
  return type;
}

uint64_t SaturatingSub(uint64_t a, uint64_t b) { return a > b ? a - b : 0; }

// Large requests that memory cannot hold, or that exceed the thread's
// conventional limit, are turned to tiles. headroom is what memory can take
// beyond the threshold, 0 for a bitmap within the tile limit.
uint32_t AddTilesWhenLarge(uint32_t type, uint64_t size, uint64_t tileLimit,
                           const ThreadSettings &settings, uint64_t &headroom) {
  headroom = 0;
  if (size <= tileLimit) {
    // Small bitmaps are never tiled.
    if (type & MEMORY_TYPE_TILED) type = (type & ~uint32_t{MEMORY_TYPE_TILED}) | MEMORY_TYPE_CONV;
    return type;
  }
  os::MemoryStatus status = os::GlobalMemoryStatus();
  uint64_t threshold = 0;
  if (settings.MemoryTiledThreshold < 0) {
    threshold = (status.totalPhys + status.totalPageFile) / 100 *
                static_cast<uint64_t>(-static_cast<int64_t>(settings.MemoryTiledThreshold));
  } else {
    threshold = static_cast<uint64_t>(settings.MemoryTiledThreshold);
  }
  headroom = SaturatingSub(status.availPhys + status.availPageFile, threshold);
  if (size > headroom) return type | MEMORY_TYPE_TILED;
  uint64_t maxConventional;
  if (settings.MaxConventionalSize < 0) {
    status = os::GlobalMemoryStatus();
    maxConventional = (status.availPhys + status.availPageFile) / 100 *
                      static_cast<uint64_t>(-static_cast<int64_t>(settings.MaxConventionalSize));
  } else {
    maxConventional = static_cast<uint64_t>(settings.MaxConventionalSize);
  }
  return size > maxConventional ? type | MEMORY_TYPE_TILED : type;
}

// A file of its own, deleted when closed, of BitmapSize + 1 bytes so that
// every row exists from the start.
int32_t AllocateDisk(RASTERBITMAP &bitmap) {
  char name[MAX_PATH];
  if (K_OsGetTempName(name) != 0 || name[0] == '\0') return K_ERR_NOMEMORY;
  const int32_t file = K_OsCreat(name, K_CREAT_DELETE_ON_CLOSE);
  if (file == K_INVALID_FILE) {
    K_OsDelete(name);
    return K_ERR_NOMEMORY;
  }
  const auto size = static_cast<int64_t>(bitmap.BitmapSize);
  uint8_t zero = 0;
  if (OsSeek64(file, size - 1, 0) != size - 1 || K_OsWrite(file, &zero, 1, 0) != 1) {
    K_OsClose(file, 0);
    return K_ERR_NOMEMORY;
  }
  if (OsSeek64(file, size, 0) != size) {
    K_OsClose(file, 0);
    return K_ERR_NOMEMORY;
  }
  if (K_OsWrite(file, &zero, 1, 0) != 1) {
    K_OsClose(file, 0);
    return K_ERR_WRITE;
  }
  OsSeek64(file, 0, 0);
  bitmap.MemoryHandle = FileAsHandle(file);
  bitmap.BitmapData = nullptr;
  bitmap.BitmapFlags = (bitmap.BitmapFlags & ~uint32_t{RBF_GLOBAL_BLOCK | RBF_USER}) | kDiskFlags;
  return K_SUCCESS;
}

// The choice between conventional, tiled and disk memory.
int32_t AllocateLinearOrTiled(RASTERBITMAP &bitmap, uint32_t type) {
  const ThreadSettings &settings = GetThreadSettings();
  const uint64_t tileLimit =
      settings.TiledBitmapsSize < 1 ? uint64_t{kDefaultTileSize}
                                    : static_cast<uint64_t>(settings.TiledBitmapsSize);
  uint64_t headroom = 0;
  type = AddTilesWhenLarge(type, bitmap.BitmapSize, tileLimit, settings, headroom);

  if (!(type & (MEMORY_TYPE_TILED | MEMORY_TYPE_DISK)) && MapConventional(bitmap, bitmap.BitmapSize)) {
    bitmap.BitmapFlags |= kConventionalFlags;
    return K_SUCCESS;
  }
  if (!(type & (MEMORY_TYPE_DISK | MEMORY_TYPE_NOTILED)) &&
      storage::AllocateTiled(bitmap, tileLimit, headroom, type != MEMORY_TYPE_NODISK) ==
          K_SUCCESS) {
    bitmap.BitmapFlags |= kTiledFlags;
    return K_SUCCESS;
  }
  // Equality on purpose: a no-disk request that the size turned to tiles is
  // no longer exactly that, and may end on disk.
  if (type != MEMORY_TYPE_NODISK) return AllocateDisk(bitmap);
  return K_ERR_NOMEMORY;
}

uint8_t *NewIdentityTable() {
  auto *table = static_cast<uint8_t *>(K_OsAlloc(256));
  if (table != nullptr) {
    for (int i = 0; i < 256; ++i) table[i] = static_cast<uint8_t>(i);
  }
  return table;
}

void FreePaintTable(RASTERBITMAP &bitmap) {
  K_OsFree(bitmap.PaintLUT);
  bitmap.PaintLUT = nullptr;
}

}  // namespace

void SetRegionReleaser(BlockReleaser releaser) { g_regionReleaser = releaser; }
void SetOverlayReleaser(BlockReleaser releaser) { g_overlayReleaser = releaser; }

void ReleaseRegion(void *&region) {
  if (region != nullptr) {
    if (BlockReleaser release = g_regionReleaser.load()) release(region);
  }
  region = nullptr;
}

void ReleaseOverlays(void *&overlays) {
  if (overlays != nullptr) {
    if (BlockReleaser release = g_overlayReleaser.load()) release(overlays);
  }
  overlays = nullptr;
}

uint32_t BytesPerLine(uint32_t bits, uint32_t width) {
  const uint64_t bytes = (uint64_t{bits} * width + 31) >> 3;
  if (bytes > 0x1FFFFFFC) return 0;
  return static_cast<uint32_t>(bytes) & 0x1FFFFFFC;
}

BitmapLock::BitmapLock(RASTERBITMAP *bitmap) : bitmap_(bitmap), wasLocked_(K_LockBitmap(bitmap)) {}
BitmapLock::~BitmapLock() { K_UnlockBitmap(bitmap_, wasLocked_); }

bool MapConventional(RASTERBITMAP &bitmap, size_t size) {
  if (size > SIZE_MAX - kRowAlignment || !AllocationAllowed()) return false;
  const size_t mapped = size + kRowAlignment - 1;
  HANDLE mapping = os::CreateAnonymousMapping(mapped);
  if (mapping == nullptr) return false;
  void *view = os::MapViewOfFile(mapping, 0, mapped);
  if (view == nullptr) {
    os::CloseMapping(mapping);
    return false;
  }
  const auto address = reinterpret_cast<uintptr_t>(view);
  const uintptr_t aligned = (address + kRowAlignment - 1) & ~uintptr_t{kRowAlignment - 1};
  bitmap.MemoryHandle = mapping;
  bitmap.BitmapData = reinterpret_cast<void *>(aligned);
  bitmap.AlignmentSlack = static_cast<uint32_t>(aligned - address);
  ++g_liveMappings;
  return true;
}

void UnmapConventional(HANDLE mapping, void *data, uint32_t slack) {
  if (data != nullptr) {
    os::UnmapViewOfFile(static_cast<uint8_t *>(data) - slack, os::MappingSize(mapping));
  }
  os::CloseMapping(mapping);
  --g_liveMappings;
}

namespace testing {
int LiveConventionalMappings() { return g_liveMappings.load(); }
}  // namespace testing

}  // namespace kest

using namespace kest;

KEST_API int32_t K_InitBitmap(RASTERBITMAP *bitmap, int32_t recordSize, uint32_t width,
                              uint32_t height, uint32_t bits) {
  if (bitmap == nullptr) return K_ERR_PARAMETER;
  if (recordSize != RASTERBITMAP_SIZE) return K_ERR_RECORD_SIZE;
  std::memset(bitmap, 0, sizeof *bitmap);
  bitmap->RecordSize = static_cast<uint32_t>(RASTERBITMAP_SIZE);
  if (width == 0 && height == 0 && bits == 0) return K_SUCCESS;
  if (!ValidBits(bits)) return K_ERR_BITS;
  // Beyond the published rules: sizes that the signed fields or the row
  // stride cannot hold are refused rather than wrapped.
  const uint32_t stride = BytesPerLine(bits, width);
  if (width > INT32_MAX || height > INT32_MAX || (width != 0 && stride == 0) ||
      (stride != 0 && height > SIZE_MAX / stride)) {
    return K_ERR_WIDTH_HEIGHT;
  }
  bitmap->BitmapBytesPerLine = stride;
  bitmap->BitmapHeight = static_cast<int32_t>(height);
  bitmap->BitmapWidth = static_cast<int32_t>(width);
  bitmap->BitmapBits = static_cast<int32_t>(bits);
  bitmap->BitmapSize = size_t{height} * stride;

  const ThreadSettings &settings = GetThreadSettings();
  bitmap->DitherMode = settings.DefaultDither;
  bitmap->ViewPerspective = 4;
  if (bits < 9) {
    bitmap->ColorOrder = K_ORDER_RGB;
    bitmap->ColorsCount = 1 << bits;
  } else {
    bitmap->ColorOrder = bits == 12 ? K_ORDER_GRAY : K_ORDER_BGR;
  }
  bitmap->BitmapXRes = settings.DefaultXRes > 0 ? settings.DefaultXRes : kDefaultResolution;
  bitmap->BitmapYRes = settings.DefaultYRes > 0 ? settings.DefaultYRes : kDefaultResolution;
  const int32_t highBit = (bits == 16 || bits == 48 || bits == 64) ? 15
                          : (bits == 24 || bits == 32)             ? 7
                                                                   : static_cast<int32_t>(bits) - 1;
  bitmap->DataLowBit = 0;
  bitmap->LevelLowBit = 0;
  bitmap->LevelHighBit = highBit;
  bitmap->DataHighBit = highBit;
  bitmap->PaintGamma = 100;
  return K_SUCCESS;
}

KEST_API int32_t K_AllocateBitmap(RASTERBITMAP *bitmap, uint32_t memoryType) {
  if (bitmap == nullptr) return K_ERR_PARAMETER;
  if (!HasSize(*bitmap)) return K_ERR_RECORD_SIZE;
  if (bitmap->BitmapSize == 0) return K_ERR_WIDTH_HEIGHT;
  bitmap->BitmapFlags &= ~kStorageFlags;
  const uint32_t type = FitTypeToDepth(memoryType, bitmap->BitmapBits);
  if (!AllowedMemoryType(type)) return K_ERR_PARAMETER;

  bitmap->PaintLUT = NewIdentityTable();
  if (bitmap->PaintLUT == nullptr) return K_ERR_NOMEMORY;

  int32_t status;
  if (type == MEMORY_TYPE_USER) {
    bitmap->MemoryHandle = nullptr;
    bitmap->BitmapData = nullptr;
    bitmap->BitmapFlags |= kUserFlags;
    return K_SUCCESS;
  }
  if (type == (MEMORY_TYPE_COMPRESSED | MEMORY_TYPE_NODISK)) {
    status = storage::AllocateCompressed(*bitmap);
    if (status == K_SUCCESS) bitmap->BitmapFlags |= kCompressedFlags;
  } else if (type & MEMORY_TYPE_SUPERCOMPRESSED) {
    status = storage::AllocateSuperCompressed(*bitmap);
    if (status == K_SUCCESS) bitmap->BitmapFlags |= kSuperCompressedFlags;
  } else {
    status = AllocateLinearOrTiled(*bitmap, type);
  }
  if (status != K_SUCCESS) FreePaintTable(*bitmap);
  return status;
}

KEST_API int32_t K_CreateBitmap(RASTERBITMAP *bitmap, int32_t recordSize, uint32_t memoryType,
                                int32_t width, int32_t height, int32_t bits, uint32_t colorOrder,
                                RGBQUAD *palette, uint32_t viewPerspective, void *data,
                                uint32_t dataSize) {
  if (bitmap == nullptr) return K_ERR_PARAMETER;
  if (recordSize != RASTERBITMAP_SIZE) return K_ERR_RECORD_SIZE;
  int32_t status = K_InitBitmap(bitmap, recordSize, static_cast<uint32_t>(width),
                                static_cast<uint32_t>(height),
                                bits == 0 ? 8u : static_cast<uint32_t>(bits));
  if (status != K_SUCCESS) return status;
  if (colorOrder == K_ORDER_EXTENDED && bitmap->BitmapBits != 24 && bitmap->BitmapBits != 48) {
    return K_ERR_BITS;
  }
  status = K_AllocateBitmap(bitmap, memoryType);
  if (status != K_SUCCESS) return status;

  if (bitmap->BitmapBits > 8) {
    bitmap->ColorOrder = colorOrder;
  } else {
    if (bits == 0) {
      status = K_CreateBitmapGrayPalette(bitmap);
    } else if (palette != nullptr) {
      bitmap->Palette = K_CreateNewPalette(palette, static_cast<uint32_t>(bitmap->ColorsCount));
      status = bitmap->Palette != nullptr ? K_SUCCESS : K_ERR_NOMEMORY;
    } else {
      status = K_CreateBitmapFixedPalette(bitmap);
      if (status == 0) status = K_SUCCESS;  // a count without a fixed table gets no palette
    }
    if (status != K_SUCCESS) {
      // Every allocation failure is undone: the bitmap goes with it.
      K_FreeBitmap(bitmap);
      return status;
    }
  }
  // A perspective above 8 is refused after allocation, and the caller frees.
  bitmap->ViewPerspective = viewPerspective == 0 ? 1 : viewPerspective;
  if (viewPerspective > 8) return K_ERR_PARAMETER;
  if (memoryType == MEMORY_TYPE_USER && data != nullptr) {
    return K_SetBitmapDataPointer(bitmap, data, dataSize);
  }
  return K_SUCCESS;
}

KEST_API int32_t K_FreeGrayParams(RASTERBITMAP *bitmap) {
  if (bitmap == nullptr) return K_ERR_PARAMETER;
  K_OsFree(bitmap->LevelLUT);
  bitmap->LevelLUT = nullptr;
  FreePaintTable(*bitmap);
  return K_SUCCESS;
}

KEST_API void K_FreeBitmap(RASTERBITMAP *bitmap) {
  if (bitmap == nullptr || !HasSize(*bitmap)) return;
  ReleaseRegion(bitmap->Region);
  K_OsFree(bitmap->Palette);
  bitmap->Palette = nullptr;
  ReleaseOverlays(bitmap->Overlays);
  if (!IsAllocated(*bitmap)) return;  // an initialised record keeps its LevelLUT

  const uint32_t flags = bitmap->BitmapFlags;
  if (flags & RBF_USER) {
    // The pixels stay the caller's, and BitmapData still points at them.
    bitmap->BitmapFlags &= ~uint32_t{RBF_COMPRESSED | RBF_CONVENTIONAL | RBF_DISK | RBF_USER};
  } else if (flags & RBF_COMPRESSED) {
    storage::FreeCompressed(*bitmap);
  } else if (flags & RBF_TILED) {
    storage::FreeTiled(*bitmap);
  } else if (flags & RBF_SUPERCOMPRESSED) {
    storage::FreeSuperCompressed(*bitmap);
  } else if (flags & RBF_CONVENTIONAL) {
    K_ReleaseBitmap(bitmap);
    if (flags & RBF_GLOBAL_BLOCK) {
      os::GlobalFree(bitmap->MemoryHandle);
    } else {
      UnmapConventional(bitmap->MemoryHandle, bitmap->BitmapData, bitmap->AlignmentSlack);
      bitmap->BitmapData = nullptr;
    }
    bitmap->MemoryHandle = nullptr;
  } else if (flags & RBF_DISK) {
    K_OsClose(DiskFile(*bitmap), 0);  // deletes the file
    bitmap->MemoryHandle = nullptr;
  }
  bitmap->BitmapFlags &= ~uint32_t{RBF_ALLOCATED};
  K_FreeGrayParams(bitmap);
}

namespace {
// Access and release act only on a conventional record of one block.
bool LockableRecord(const RASTERBITMAP *bitmap) {
  return bitmap != nullptr && HasSize(*bitmap) && (bitmap->BitmapFlags & RBF_CONVENTIONAL) &&
         !(bitmap->BitmapFlags & kNonLinearFlags);
}
}  // namespace

KEST_API void K_AccessBitmap(RASTERBITMAP *bitmap) {
  if (!LockableRecord(bitmap) || (bitmap->BitmapFlags & RBF_LOCKED)) return;
  // A mapped bitmap stays mapped all its life; a caller's own block is left
  // alone. Only a global block is locked here.
  if (!(bitmap->BitmapFlags & RBF_GLOBAL_BLOCK)) return;
  void *pointer = os::GlobalLock(bitmap->MemoryHandle);
  if (pointer == nullptr) return;
  bitmap->BitmapData = static_cast<uint8_t *>(pointer) + bitmap->AlignmentSlack;
  bitmap->BitmapFlags |= RBF_LOCKED;
}

KEST_API void K_ReleaseBitmap(RASTERBITMAP *bitmap) {
  if (!LockableRecord(bitmap) || !(bitmap->BitmapFlags & RBF_LOCKED)) return;
  os::GlobalUnlock(bitmap->MemoryHandle);
  bitmap->BitmapData = nullptr;
  bitmap->BitmapFlags &= ~uint32_t{RBF_LOCKED};
}

KEST_API int32_t K_LockBitmap(RASTERBITMAP *bitmap) {
  if (bitmap == nullptr) return 0;
  if (bitmap->BitmapFlags & RBF_LOCKED) return 1;
  K_AccessBitmap(bitmap);
  return 0;
}

KEST_API void K_UnlockBitmap(RASTERBITMAP *bitmap, int32_t wasLocked) {
  if (wasLocked == 0) K_ReleaseBitmap(bitmap);
}

KEST_API int32_t K_SetBitmapDataPointer(RASTERBITMAP *bitmap, void *data, uint32_t dataSize) {
  if (bitmap == nullptr) return K_ERR_PARAMETER;
  const uint32_t flags = bitmap->BitmapFlags;
  if (!(flags & RBF_ALLOCATED) || !(flags & RBF_USER) || (flags & RBF_GLOBAL_BLOCK)) {
    return K_ERR_PARAMETER;
  }
  // The size of the block is checked before the record's: the order is
  // deliberate.
  if (data != nullptr && bitmap->BitmapSize > dataSize) return K_ERR_PARAMETER;
  if (!HasSize(*bitmap)) return K_ERR_RECORD_SIZE;
  bitmap->BitmapData = data;
  return K_SUCCESS;
}

namespace {

int32_t ChangeMappedHeight(RASTERBITMAP &bitmap, int32_t height, size_t newSize) {
  RASTERBITMAP fresh = bitmap;
  if (!MapConventional(fresh, newSize)) return K_ERR_NOMEMORY;
  const size_t stride = bitmap.BitmapBytesPerLine;
  const size_t rows = static_cast<size_t>(std::min(bitmap.BitmapHeight, height));
  if (bitmap.BitmapData != nullptr) std::memcpy(fresh.BitmapData, bitmap.BitmapData, rows * stride);
  UnmapConventional(bitmap.MemoryHandle, bitmap.BitmapData, bitmap.AlignmentSlack);
  bitmap.MemoryHandle = fresh.MemoryHandle;
  bitmap.BitmapData = fresh.BitmapData;
  bitmap.AlignmentSlack = fresh.AlignmentSlack;
  return K_SUCCESS;
}

}  // namespace

KEST_API int32_t K_ChangeBitmapHeight(RASTERBITMAP *bitmap, int32_t height) {
  const int32_t check = CheckAllocated(bitmap);
  if (check != K_SUCCESS) return check;
  if (bitmap->BitmapFlags & (RBF_USER | RBF_LOCKED)) return K_ERR_PARAMETER;
  if (height == bitmap->BitmapHeight) return K_SUCCESS;
  if (height < 0) return K_ERR_WIDTH_HEIGHT;

  int32_t status;
  switch (KindOf(*bitmap)) {
    case MemoryKind::Compressed: status = storage::ChangeCompressedHeight(*bitmap, height); break;
    case MemoryKind::Tiled: status = storage::ChangeTiledHeight(*bitmap, height); break;
    case MemoryKind::SuperCompressed:
      status = storage::ChangeSuperCompressedHeight(*bitmap, height);
      break;
    case MemoryKind::Conventional:
    case MemoryKind::Disk: {
      const size_t stride = bitmap->BitmapBytesPerLine;
      if (stride != 0 && static_cast<size_t>(height) > (SIZE_MAX - 64) / stride) {
        return K_ERR_NOMEMORY;
      }
      const size_t newSize = stride * static_cast<size_t>(height) + bitmap->AlignmentSlack;
      if (bitmap->BitmapFlags & RBF_CONVENTIONAL) {
        if (bitmap->BitmapFlags & RBF_GLOBAL_BLOCK) {
          HGLOBAL moved = os::GlobalReAlloc(bitmap->MemoryHandle, newSize, os::kGmemMoveable);
          status = moved != nullptr ? K_SUCCESS : K_ERR_NOMEMORY;
          if (moved != nullptr) bitmap->MemoryHandle = moved;
        } else {
          status = ChangeMappedHeight(*bitmap, height, newSize);
        }
      } else {
        status = OsTruncate(DiskFile(*bitmap), static_cast<int64_t>(newSize)) == 0 ? K_SUCCESS
                                                                                 : K_ERR_NOMEMORY;
      }
      // The slack stays counted until K_UpdateBitmapSize, on purpose.
      if (status == K_SUCCESS) bitmap->BitmapSize = newSize;
      break;
    }
    case MemoryKind::None:
    default: return K_ERR_BITMAP;
  }
  if (status != K_SUCCESS && !(KindOf(*bitmap) == MemoryKind::Compressed &&
                               height < bitmap->BitmapHeight)) {
    return status;
  }
  bitmap->RowCursorOffset = 0;
  bitmap->RowCursorRow = 0;
  bitmap->BitmapHeight = height;
  return status;
}

KEST_API int32_t K_UpdateBitmapSize(RASTERBITMAP *bitmap) {
  const int32_t check = CheckAllocated(bitmap);
  if (check != K_SUCCESS) return check;
  size_t size = 0;
  int32_t status = K_SUCCESS;
  switch (KindOf(*bitmap)) {
    case MemoryKind::Compressed:
      if (bitmap->BitmapData == nullptr) return K_ERR_BITMAP;
      status = storage::CompressedSize(*bitmap, size);
      break;
    case MemoryKind::SuperCompressed: status = storage::SuperCompressedSize(*bitmap, size); break;
    default:
      size = size_t{bitmap->BitmapBytesPerLine} * static_cast<size_t>(bitmap->BitmapHeight);
      break;
  }
  if (status == K_SUCCESS) bitmap->BitmapSize = size;
  return status;
}
