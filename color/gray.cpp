// Gray parameters of a record and window levelling: K_GetGrayParams,
// K_InitGrayParams, K_CopyGrayParams, K_WindowLevel, K_WindowLevelFillLUT,
// K_WindowLevelFillLUT2. (K_FreeGrayParams lives with the bitmap life
// cycle, which needs it.)
#include <algorithm>
#include <cmath>
#include <cstring>

#include "core/bitmap.h"
#include "kest/gray.h"
#include "kest/memory.h"
#include "kest/status.h"

namespace kest {
namespace {

// 2^bits - 1 in a 32-bit field; all ones from 32 bits on.
int32_t TopValue(int32_t bits) {
  if (bits <= 0) return 0;
  if (bits >= 32) return -1;
  return static_cast<int32_t>((uint32_t{1} << bits) - 1);
}

// A copy of count entries with K_OsAlloc; null when out of memory or when
// the size does not fit the allocator.
RGBQUAD *CopyTable(const RGBQUAD *table, uint32_t count) {
  if (count > UINT32_MAX / sizeof(RGBQUAD)) return nullptr;
  auto *copy = static_cast<RGBQUAD *>(K_OsAlloc(count * static_cast<uint32_t>(sizeof(RGBQUAD))));
  if (copy != nullptr) std::memcpy(copy, table, count * sizeof(RGBQUAD));
  return copy;
}

// ---- Filling a look-up table ----

enum class Ramp : uint32_t { Linear = 16, Exponential = 32, Logarithmic = 48, Sigmoid = 64 };

struct Channels {
  int32_t red, green, blue;
};
constexpr Channels FromColorRef(COLORREF color) {
  return {static_cast<int32_t>(color & 0xFF), static_cast<int32_t>((color >> 8) & 0xFF),
          static_cast<int32_t>((color >> 16) & 0xFF)};
}
constexpr Channels kBlack{0, 0, 0};
constexpr Channels kWhite{255, 255, 255};

// A checked fill: table limits, the ramp's span and where it is written.
struct Fill {
  RGBQUAD *table;
  int64_t length;
  int64_t first, last;  // entries the table covers: F and T
  int64_t low, high;    // the ramp's span, unclipped, shifted
  int64_t clippedLow, clippedHigh;
  Ramp ramp;
  long double t;        // factor * 0.1
};

// Values out of the integer range (a curve that overflowed) come out as 0.
int64_t Truncate(long double value) {
  if (std::isnan(value)) return 0;
  value = std::clamp(value, -2147483648.0L, 2147483647.0L);
  return static_cast<int64_t>(value);
}

void Put(const Fill &fill, int64_t value, const Channels &c) {
  if (value < fill.first || value > fill.last) return;
  const int64_t index = value < 0 ? value + fill.length : value;
  fill.table[index] = RGBQUAD{static_cast<uint8_t>(c.blue), static_cast<uint8_t>(c.green),
                              static_cast<uint8_t>(c.red), 0};
}

// Entries from..to that the table has, in one colour.
void PutRange(const Fill &fill, int64_t from, int64_t to, const Channels &c) {
  for (int64_t value = std::max(from, fill.first); value <= std::min(to, fill.last); ++value) {
    Put(fill, value, c);
  }
}

// The curve at x, in 0 to 1, for the curved ramps.
long double Curve(const Fill &fill, int64_t x) {
  const long double span = static_cast<long double>(fill.high - fill.low);
  const long double d = static_cast<long double>(x - fill.low);
  const long double t = fill.t;
  switch (fill.ramp) {
    case Ramp::Exponential: return (std::exp(d * t / span) - 1) / (std::exp(t) - 1);
    case Ramp::Logarithmic: return std::log(d * t / span + 1) / std::log(t + 1);
    case Ramp::Sigmoid: {
      const long double middle = static_cast<long double>(fill.low + fill.high) * 0.5L;
      auto g = [&](long double at) { return 1 / (std::exp(2 * (at - middle) * t / span) + 1); };
      const long double from = g(static_cast<long double>(fill.low));
      const long double to = g(static_cast<long double>(fill.high));
      return (g(static_cast<long double>(x)) - from) / (to - from);
    }
    case Ramp::Linear: break;
  }
  return 0;
}

// The ramp from one colour to another over the span, written on the
// clipped range. Sums wrap in the byte, except at a range of one entry,
// where they are held to 0 to 255. A span of zero (low equal to high) has
// no slope to follow: its one entry takes the end colour, so that the
// values from the level up are the ones that reach it.
void PutRamp(const Fill &fill, const Channels &from, const Channels &to) {
  const bool single = fill.clippedLow == fill.clippedHigh;
  const int64_t span = fill.high - fill.low;
  const bool linear = fill.ramp == Ramp::Linear || fill.t == 0;
  auto channel = [&](int64_t x, int32_t start, int32_t end) -> int32_t {
    int64_t value;
    if (span == 0) {
      value = end;
    } else if (linear) {
      value = start + (x - fill.low) * (end - start) / span;
    } else {
      value = start + Truncate(Curve(fill, x) * (end - start) + 0.000005L);
    }
    if (single) return static_cast<int32_t>(std::clamp<int64_t>(value, 0, 255));
    return static_cast<int32_t>(value & 0xFF);
  };
  for (int64_t x = std::max(fill.clippedLow, fill.first);
       x <= std::min(fill.clippedHigh, fill.last); ++x) {
    Put(fill, x, {channel(x, from.red, to.red), channel(x, from.green, to.green),
                  channel(x, from.blue, to.blue)});
  }
}

// The checks both fill functions share, in their order, and the limits.
// `first` marks K_WindowLevelFillLUT, which also refuses negative levels in
// an unsigned table.
int32_t PrepareFill(RGBQUAD *table, uint32_t length, int32_t low, int32_t high, int32_t lowBit,
                    int32_t highBit, int32_t minimum, int32_t maximum, int32_t factor,
                    uint32_t flags, bool first, Fill &fill) {
  if (table == nullptr || length == 0) return K_ERR_PARAMETER;
  const uint32_t side = flags & 0xF;
  const uint32_t sign = flags & 0xF00;
  if ((side != FILLLUT_INSIDE && side != FILLLUT_OUTSIDE) ||
      (sign != FILLLUT_UNSIGNED && sign != FILLLUT_SIGNED)) {
    return K_ERR_PARAMETER;
  }
  const bool isSigned = sign == FILLLUT_SIGNED;
  if (first && !isSigned && (low < 0 || high < 0)) return K_ERR_PARAMETER;
  const uint32_t ramp = flags & 0xF0;
  if (ramp != FILLLUT_LINEAR && ramp != FILLLUT_EXPONENTIAL && ramp != FILLLUT_LOGARITHMIC &&
      ramp != FILLLUT_SIGMOID) {
    return K_ERR_PARAMETER;
  }
  if (ramp == FILLLUT_LOGARITHMIC && factor < 0) return K_ERR_PARAMETER;
  if (lowBit > highBit || minimum > maximum || low > high) return K_ERR_PARAMETER;
  int64_t clippedLow = std::clamp(low, minimum, maximum);
  int64_t clippedHigh = std::clamp(high, minimum, maximum);
  if (isSigned && (clippedLow < -32768 || clippedHigh > 32767)) return K_ERR_PARAMETER;
  if (!isSigned && clippedHigh > 65535) return K_ERR_PARAMETER;

  // A negative low bit shifts by nothing; the levels are at most 17 bits.
  const int32_t shift = std::clamp(lowBit, 0, 31);
  fill.table = table;
  fill.length = length;
  fill.first = isSigned ? -static_cast<int64_t>(length / 2) : 0;
  fill.last = isSigned ? (static_cast<int64_t>(length) - 1) / 2 : static_cast<int64_t>(length) - 1;
  fill.low = int64_t{low} >> shift;
  fill.high = int64_t{high} >> shift;
  fill.clippedLow = clippedLow >> shift;
  fill.clippedHigh = clippedHigh >> shift;
  fill.ramp = static_cast<Ramp>(ramp);
  fill.t = static_cast<long double>(factor) * 0.1L;
  return K_SUCCESS;
}

}  // namespace
}  // namespace kest

using namespace kest;

KEST_API void K_GetGrayParams(int32_t totalBits, int32_t maxWidth, int32_t lowBit,
                              int32_t highBit, int32_t *width, uint32_t *mask, int32_t *shift) {
  if (mask == nullptr || shift == nullptr) return;
  if (lowBit < 0) lowBit = 0;
  if (highBit < 0) highBit = totalBits - 1;
  const int32_t n = std::min(highBit - lowBit + 1, maxWidth);
  if (width != nullptr) *width = n;
  *mask = static_cast<uint32_t>(TopValue(n));
  *shift = highBit - n + 1;
}

KEST_API void K_InitGrayParams(RASTERBITMAP *bitmap) {
  if (bitmap == nullptr) return;
  bitmap->DataLowBit = 0;
  bitmap->LevelLowBit = 0;
  bitmap->LevelMinValue = 0;
  bitmap->DataHighBit = bitmap->BitmapBits - 1;
  bitmap->LevelHighBit = bitmap->BitmapBits - 1;
  bitmap->LevelMaxValue = TopValue(bitmap->BitmapBits);
  K_OsFree(bitmap->LevelLUT);
  bitmap->LevelLUT = nullptr;
  bitmap->LevelLUTLength = 0;
}

KEST_API int32_t K_CopyGrayParams(RASTERBITMAP *target, const RASTERBITMAP *source) {
  if (target == nullptr || source == nullptr) return K_ERR_PARAMETER;
  RGBQUAD *table = nullptr;
  const uint32_t length = source->LevelLUT != nullptr ? source->LevelLUTLength : 0;
  if (length != 0) {
    table = CopyTable(source->LevelLUT, length);
    if (table == nullptr) return K_ERR_NOMEMORY;
  }
  target->LevelLowBit = source->LevelLowBit;
  target->LevelHighBit = source->LevelHighBit;
  target->DataLowBit = source->DataLowBit;
  target->DataHighBit = source->DataHighBit;
  target->LevelMinValue = source->LevelMinValue;
  target->LevelMaxValue = source->LevelMaxValue;
  target->BitmapFlags = (target->BitmapFlags & ~uint32_t{RBF_USE_LUT}) |
                        (source->BitmapFlags & RBF_USE_LUT);
  // A table that two records share (a duplicate) stays with the other one.
  if (target == source || target->LevelLUT != source->LevelLUT) K_OsFree(target->LevelLUT);
  target->LevelLUT = table;
  target->LevelLUTLength = length;
  return K_SUCCESS;
}

KEST_API int32_t K_WindowLevel(RASTERBITMAP *bitmap, int32_t lowBit, int32_t highBit,
                               const RGBQUAD *table, uint32_t length, uint32_t mode) {
  if (bitmap == nullptr) return K_ERR_BITMAP;
  if (!HasSize(*bitmap)) return K_ERR_RECORD_SIZE;
  const int32_t low = std::max(lowBit, 0);
  const int32_t high = highBit < 0 ? bitmap->BitmapBits - 1 : highBit;
  if (low > high || (length > 0 && table == nullptr) || mode > 1) return K_ERR_PARAMETER;

  bitmap->LevelLowBit = low;
  bitmap->LevelHighBit = high;
  if (mode == 1) {
    if (bitmap->DataLowBit != low || bitmap->DataHighBit != high) {
      bitmap->LevelMinValue = 0;
      bitmap->LevelMaxValue = TopValue(high - low + 1);
    }
    bitmap->DataLowBit = low;
    bitmap->DataHighBit = high;
  }

  if (table != nullptr && length > 0) {
    if (table != bitmap->LevelLUT) {
      RGBQUAD *copy = CopyTable(table, length);
      if (copy == nullptr) return K_ERR_NOMEMORY;
      K_OsFree(bitmap->LevelLUT);
      bitmap->LevelLUT = copy;
    }
    bitmap->LevelLUTLength = length;
  } else {
    K_OsFree(bitmap->LevelLUT);
    bitmap->LevelLUT = nullptr;
    bitmap->LevelLUTLength = 0;
  }
  if (mode == 1) {
    bitmap->BitmapFlags |= RBF_USE_LUT;
  } else {
    bitmap->BitmapFlags &= ~uint32_t{RBF_USE_LUT};
  }
  return K_SUCCESS;
}

KEST_API int32_t K_WindowLevelFillLUT(RGBQUAD *table, uint32_t length, COLORREF start,
                                      COLORREF end, int32_t low, int32_t high, int32_t lowBit,
                                      int32_t highBit, int32_t minimum, int32_t maximum,
                                      int32_t factor, uint32_t flags) {
  Fill fill{};
  const int32_t status = PrepareFill(table, length, low, high, lowBit, highBit, minimum, maximum,
                                     factor, flags, true, fill);
  if (status != K_SUCCESS) return status;
  const Channels from = FromColorRef(start), to = FromColorRef(end);
  const bool keep = (flags & FILLLUT_KEEPRANGE) != 0;
  if ((flags & 0xF) == FILLLUT_OUTSIDE) {
    PutRange(fill, fill.first, fill.clippedLow - 1, from);
    if (fill.low + 1 < fill.high) {
      if (keep) {
        PutRamp(fill, from, to);
      } else {
        PutRamp(fill, kBlack, kWhite);
      }
    }
    PutRange(fill, fill.clippedHigh + 1, fill.last, to);
  } else {
    if (!keep && fill.clippedLow > fill.first) {
      PutRange(fill, fill.first, fill.clippedLow - 1, kBlack);
    }
    PutRamp(fill, from, to);
    if (!keep && fill.high < fill.last) PutRange(fill, fill.clippedHigh + 1, fill.last, kWhite);
  }
  return K_SUCCESS;
}

KEST_API int32_t K_WindowLevelFillLUT2(RGBQUAD *table, uint32_t length, COLORREF start,
                                       COLORREF end, int32_t low, int32_t high, int32_t lowBit,
                                       int32_t highBit, int32_t minimum, int32_t maximum,
                                       int32_t factor, uint32_t flags) {
  Fill fill{};
  const int32_t status = PrepareFill(table, length, low, high, lowBit, highBit, minimum, maximum,
                                     factor, flags, false, fill);
  if (status != K_SUCCESS) return status;
  const Channels from = FromColorRef(start), to = FromColorRef(end);
  if ((flags & 0xF) == FILLLUT_OUTSIDE) {
    PutRange(fill, fill.first, fill.clippedLow - 1, from);
    if (fill.low < fill.high) PutRamp(fill, from, to);
    PutRange(fill, fill.clippedHigh + 1, fill.last, to);
  } else {
    PutRamp(fill, from, to);
  }
  return K_SUCCESS;
}
