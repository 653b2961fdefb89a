// The band filter registry: the two filter libraries that pack the bands
// of super-compressed bitmaps, loaded at run time on first use and freed
// when the last bitmap that uses them goes.
#pragma once

#include <cstdint>

namespace kest::filters {

// Filter 0, "KFILTC.DLL", packs 8 and 24-bit bands (format 5); filter 1,
// "KFILTF.DLL", 1-bit bands (format 68).
inline constexpr uint32_t kFilterCount = 2;

// The entries of a filter library. Each returns 1 on success.
// fltSaveBuffer(band, header, pack, size, quality, 0, format, 0, 0) packs the
// rows that header (a BITMAPINFOHEADER with biHeight minus the rows) tells
// of, from band into pack, and puts the packed size in *size, which holds
// the room of pack on entry.
using SaveBuffer = int32_t (*)(void *band, void *header, void *pack, uint32_t *size,
                               int32_t quality, int32_t, int32_t format, int32_t, int32_t);
// fltLoadBuffer(data, bytes, band, format, width, rows, bits, 0, 0) unpacks
// what fltSaveBuffer made into rows of band.
using LoadBuffer = int32_t (*)(const void *data, uint32_t bytes, void *band, int32_t format,
                               int32_t width, int32_t rows, int32_t bits, int32_t, int32_t);

struct FilterEntry {
  void *FilterModule;
  LoadBuffer fltLoadBuffer;
  SaveBuffer fltSaveBuffer;
  int32_t FilterUses;
};

// Takes a use of a filter, loading its library when it has none.
// 1, or -356 (filter 0) or -357 (filter 1) when the library or one of its
// entries is missing.
int32_t LoadFilter(uint32_t index);
// Gives a use back; the last frees the library.
void DropFilter(uint32_t index);
// The entries of a filter that the caller holds a use of.
const FilterEntry &Filter(uint32_t index);

namespace testing {
// Loads filter index from another library name while it lives, so a test
// can see what a missing library does. Only while no use is held.
class FilterNameSetting {
 public:
  FilterNameSetting(uint32_t index, const char *name);
  ~FilterNameSetting();
  FilterNameSetting(const FilterNameSetting &) = delete;
  FilterNameSetting &operator=(const FilterNameSetting &) = delete;

 private:
  uint32_t index_;
  const char *saved_;
};
int32_t FilterUses(uint32_t index);
}  // namespace testing

}  // namespace kest::filters
