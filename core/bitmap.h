// What every operation on a record shares: the argument checks in their
// documented order, the memory kind, the lock guard and the conventional
// pixel mapping.
#pragma once

#include <cstddef>
#include <cstdint>

#include "kest/bitmap.h"
#include "kest/status.h"

namespace kest {

// The storage bits that K_AllocateBitmap clears before it decides.
inline constexpr uint32_t kStorageFlags = 0xD517;
// The flag sets of each memory kind after a successful allocation.
inline constexpr uint32_t kConventionalFlags = RBF_ALLOCATED | RBF_CONVENTIONAL;
inline constexpr uint32_t kUserFlags = kConventionalFlags | RBF_USER;
inline constexpr uint32_t kCompressedFlags = kConventionalFlags | RBF_COMPRESSED;
inline constexpr uint32_t kTiledFlags = kConventionalFlags | RBF_TILED;
inline constexpr uint32_t kSuperCompressedFlags = kConventionalFlags | RBF_SUPERCOMPRESSED;
inline constexpr uint32_t kDiskFlags = RBF_ALLOCATED | RBF_DISK;
// Bitmaps whose pixels are not one linear block in memory.
inline constexpr uint32_t kNonLinearFlags = RBF_COMPRESSED | RBF_TILED | RBF_SUPERCOMPRESSED;

// A conventional mapping has this many spare bytes so that the first row
// can start on a 32-byte boundary.
inline constexpr size_t kRowAlignment = 32;

enum class MemoryKind { Compressed, Tiled, SuperCompressed, Conventional, Disk, None };

// The kind, told by flags in their order of precedence.
inline MemoryKind KindOf(const RASTERBITMAP &bitmap) {
  const uint32_t flags = bitmap.BitmapFlags;
  if (flags & RBF_COMPRESSED) return MemoryKind::Compressed;
  if (flags & RBF_TILED) return MemoryKind::Tiled;
  if (flags & RBF_SUPERCOMPRESSED) return MemoryKind::SuperCompressed;
  if (flags & RBF_CONVENTIONAL) return MemoryKind::Conventional;
  if (flags & RBF_DISK) return MemoryKind::Disk;
  return MemoryKind::None;
}

inline bool HasSize(const RASTERBITMAP &bitmap) {
  return bitmap.RecordSize == static_cast<uint32_t>(RASTERBITMAP_SIZE);
}
inline bool IsAllocated(const RASTERBITMAP &bitmap) {
  return (bitmap.BitmapFlags & RBF_ALLOCATED) != 0;
}

// The usual checks for a call that needs pixels: null and unallocated give
// nullStatus, then the record size -789. 1 when the record may be used.
inline int32_t CheckAllocated(const RASTERBITMAP *bitmap, int32_t nullStatus = K_ERR_BITMAP) {
  if (bitmap == nullptr || !IsAllocated(*bitmap)) return nullStatus;
  if (!HasSize(*bitmap)) return K_ERR_RECORD_SIZE;
  return K_SUCCESS;
}

// The disk file of a disk bitmap travels in MemoryHandle.
inline int32_t DiskFile(const RASTERBITMAP &bitmap) {
  return static_cast<int32_t>(reinterpret_cast<intptr_t>(bitmap.MemoryHandle));
}
inline HANDLE FileAsHandle(int32_t file) {
  return reinterpret_cast<HANDLE>(static_cast<intptr_t>(file));
}

// Row stride: whole 32-bit words. 0 when the row would not fit the mask.
uint32_t BytesPerLine(uint32_t bits, uint32_t width);

// Brackets work on pixels with K_LockBitmap and K_UnlockBitmap.
class BitmapLock {
 public:
  explicit BitmapLock(RASTERBITMAP *bitmap);
  ~BitmapLock();
  BitmapLock(const BitmapLock &) = delete;
  BitmapLock &operator=(const BitmapLock &) = delete;

 private:
  RASTERBITMAP *bitmap_;
  int32_t wasLocked_;
};

// Anonymous committed memory of size + 31 bytes for conventional pixels:
// sets MemoryHandle, BitmapData (aligned to 32 bytes) and AlignmentSlack.
bool MapConventional(RASTERBITMAP &bitmap, size_t size);
// Releases what MapConventional made, given the record's fields.
void UnmapConventional(HANDLE mapping, void *data, uint32_t slack);

namespace testing {
// Conventional pixel mappings alive in the process, so tests can see that
// none is lost.
int LiveConventionalMappings();
}  // namespace testing

}  // namespace kest
