// Fixed-point maths shared by the geometry code: K_SinValue, K_CosValue,
// K_SQRT and the bit-count table of K_Get1BitOnTable.
#include <array>
#include <cmath>

#include "kest/memory.h"

namespace {

constexpr int kTableEntries = 9001;  // 0 to 90 degrees in hundredths

// Entry a is sin(a / 100 degrees) * 16384, rounded to the nearest integer.
const std::array<int32_t, kTableEntries> &SineTable() {
  static const std::array<int32_t, kTableEntries> table = [] {
    std::array<int32_t, kTableEntries> values{};
    const long double pi = 3.141592653589793238462643383279502884L;
    for (int angle = 0; angle < kTableEntries; ++angle) {
      values[angle] = static_cast<int32_t>(std::lround(
          static_cast<double>(std::sin(angle * pi / 18000.0L) * 16384.0L)));
    }
    return values;
  }();
  return table;
}

constexpr std::array<uint8_t, 256> kBitCounts = [] {
  std::array<uint8_t, 256> counts{};
  for (int value = 0; value < 256; ++value) {
    int bits = 0;
    for (int rest = value; rest != 0; rest >>= 1) bits += rest & 1;
    counts[value] = static_cast<uint8_t>(bits);
  }
  return counts;
}();

}  // namespace

// The callers bring the angle into 0..36000 themselves, as rotation does;
// the table index is taken by quadrant without normalising.
KEST_API int32_t K_SinValue(int32_t angle) {
  const auto &table = SineTable();
  if (angle <= 9000) return table[angle];
  if (angle <= 18000) return table[18000 - angle];
  if (angle <= 27000) return -table[angle - 18000];
  return -table[36000 - angle];
}

KEST_API int32_t K_CosValue(int32_t angle) {
  const auto &table = SineTable();
  if (angle <= 9000) return table[9000 - angle];
  if (angle <= 18000) return -table[angle - 9000];
  if (angle <= 27000) return -table[27000 - angle];
  return table[angle - 27000];
}

// Newton's method in integers. The stop rule (half the distance between
// the guess and the quotient reaching 0) is part of the result: 15 gives 3.
KEST_API uint32_t K_SQRT(uint32_t value) {
  if (value == 0) return 0;
  if (value < 4) return 1;
  uint32_t guess = value >> 1;
  for (;;) {
    uint32_t quotient = value / guess;
    uint32_t half = (guess > quotient ? guess - quotient : quotient - guess) / 2;
    guess = (guess < quotient ? guess : quotient) + half;
    if (half == 0) return guess;
  }
}

KEST_API const uint8_t *K_Get1BitOnTable(void) { return kBitCounts.data(); }
