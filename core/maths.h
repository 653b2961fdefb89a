// Internal arithmetic helpers of the core.
#pragma once

#include <cstdint>

namespace kest {

// a * b / c with a 64-bit product, rounded to the nearest (halves away from
// zero). -1 when c is 0.
constexpr int64_t MulDiv(int64_t a, int64_t b, int64_t c) {
  if (c == 0) return -1;
  const int64_t product = a * b;
  const bool negative = (product < 0) != (c < 0);
  const int64_t n = product < 0 ? -product : product;
  const int64_t d = c < 0 ? -c : c;
  const int64_t quotient = (n + d / 2) / d;
  return negative ? -quotient : quotient;
}

}  // namespace kest
