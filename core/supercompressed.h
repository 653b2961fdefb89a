// Super-compressed bitmaps: rows kept in bands of 16, each packed by a
// band filter library (filters.h) into an anonymous mapping of its own.
// One band at a time is unpacked in DecodedBand; row calls read and write
// there, and a band that was written is packed again when another band is
// needed. A band never written has no mapping and reads as zeros.
#pragma once

#include <cstdint>

#include "kest/bitmap.h"
#include "kest/platform.h"

namespace kest::supercompressed {

inline constexpr uint32_t kBandRows = 16;
// CurrentRow when no band is unpacked.
inline constexpr int32_t kNoBand = -16;

struct BandEntry {
  HANDLE BandMapping;  // the packed band, null while it has never been stored
  uint8_t *BandData;   // its bytes, 32-byte aligned in the view
  uint32_t BandBytes;  // packed size
  uint32_t BandRows;   // 16, or the rest for the last band
};

// What BitmapData of a super-compressed bitmap points at, from
// K_OsAllocInit; the band entries follow it.
struct BandTable {
  uint32_t BandCount;
  int32_t CurrentRow;         // first row of the unpacked band, or kNoBand
  uint8_t *DecodedBand;       // DecodedBlock rounded up to 32 bytes: 16 rows
  void *DecodedBlock;         // 16 * BitmapBytesPerLine + 31 bytes
  uint32_t BandDirty;         // the unpacked band differs from its stored form
  BITMAPINFOHEADER *FilterHeader;
  uint8_t *PackBuffer;        // where a band is packed: PackBufferSize bytes
  uint32_t PackBufferSize;    // 32 * BitmapBytesPerLine
  uint32_t FilterIndex;       // 0 for 8 and 24 bits, 1 for 1 bit
  int32_t FilterFormat;       // 5 for 8 and 24 bits, 68 for 1 bit
  int32_t FilterQuality;      // -1 for 8 and 24 bits, 0 for 1 bit
  uint32_t Spare;
  BandEntry *Bands() { return reinterpret_cast<BandEntry *>(this + 1); }
  const BandEntry *Bands() const { return reinterpret_cast<const BandEntry *>(this + 1); }
};

inline BandTable &Bands(const RASTERBITMAP &bitmap) {
  return *static_cast<BandTable *>(bitmap.BitmapData);
}

// GetBandRow and its writing twin: byteCount bytes from row on, starting at
// the column's byte (column >> 3 at 1 bit, column * 3 at the other depths),
// going on into the next rows and bands. The bytes moved; reading gives 0
// or a short count when a band cannot be unpacked or packed, writing -1;
// both -11 for a transfer that would leave the bitmap.
int32_t GetBandRow(RASTERBITMAP &bitmap, void *destination, uint32_t row, uint32_t column,
                   uint32_t byteCount);
int32_t PutBandRow(RASTERBITMAP &bitmap, const void *source, uint32_t row, uint32_t column,
                   uint32_t byteCount);
// The row's address in the unpacked band, the band marked as written.
// Null when the band cannot be unpacked.
uint8_t *BandRowForWriting(RASTERBITMAP &bitmap, uint32_t row);
// The bytes of one pixel. 1, -11 outside the bitmap, -7 when the band
// cannot be unpacked.
int32_t PixelBytes(RASTERBITMAP &bitmap, void *destination, uint32_t row, uint32_t column);

}  // namespace kest::supercompressed
