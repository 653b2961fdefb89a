// SSSE3 forms of the cheapest kernels: 24 and 32 bits among themselves and
// to gray bytes. Their work is moving bytes within a pixel, which the
// baseline instruction set of x86-64 (SSE2) cannot do but one byte at a
// time; SSSE3's byte shuffle does sixteen at once. The library is built for
// the baseline, so these functions alone are compiled for SSSE3 and are
// chosen at run time where the processor has it.
//
// They work in place without copying blocks aside: each group of 16 pixels
// is loaded whole before it is stored, a growing row is worked from its
// last group to its first and a shrinking one from its first to its last,
// so no store reaches source bytes still to be read. Pixels that do not
// fill a group are done one at a time, in the same direction.
#include "color/convert_kernels.h"

#if defined(__GNUC__) && (defined(__x86_64__) || defined(__i386__))
#  include <tmmintrin.h>

#  include <array>
#  include <utility>

namespace kest::convert::kernels {
namespace {

#  define KEST_SSSE3 __attribute__((target("ssse3")))

using Mask = std::array<int8_t, 16>;

// A shuffle mask that takes byte `from(k)` of a 16-byte vector into byte k,
// or zero where from(k) is outside it.
template <typename From>
constexpr Mask MakeMask(From from) {
  Mask mask{};
  for (int k = 0; k < 16; ++k) {
    const int source = from(k);
    mask[static_cast<size_t>(k)] = static_cast<int8_t>(source >= 0 && source < 16 ? source : -128);
  }
  return mask;
}

// Three bytes of each of four pixels to the first three of four words, in
// the same or the other order; the fourth byte zero.
constexpr Mask kSpread = MakeMask([](int k) { return k % 4 == 3 ? -1 : k / 4 * 3 + k % 4; });
constexpr Mask kSpreadSwapped =
    MakeMask([](int k) { return k % 4 == 3 ? -1 : k / 4 * 3 + 2 - k % 4; });
// The first three bytes of four words packed into twelve.
constexpr Mask kPack = MakeMask([](int k) { return k < 12 ? k / 3 * 4 + k % 3 : -1; });
constexpr Mask kPackSwapped = MakeMask([](int k) { return k < 12 ? k / 3 * 4 + 2 - k % 3 : -1; });
constexpr Mask kSwapWords = MakeMask([](int k) { return k % 4 == 3 ? k : k / 4 * 4 + 2 - k % 4; });

// Byte k of the 48 bytes of 16 swapped 24-bit pixels comes from byte
// 3 * (k / 3) + 2 - k % 3; output vector `out` takes from input vector `in`
// the bytes that lie in it.
constexpr Mask SwapMask(int out, int in) {
  return MakeMask([=](int k) {
    const int byte = 16 * out + k;
    return 3 * (byte / 3) + 2 - byte % 3 - 16 * in;
  });
}
constexpr std::array<std::array<Mask, 3>, 3> kSwap3 = {{
    {SwapMask(0, 0), SwapMask(0, 1), SwapMask(0, 2)},
    {SwapMask(1, 0), SwapMask(1, 1), SwapMask(1, 2)},
    {SwapMask(2, 0), SwapMask(2, 1), SwapMask(2, 2)},
}};

constexpr bool Empty(const Mask &mask) {
  for (int8_t byte : mask) {
    if (byte >= 0) return false;
  }
  return true;
}
static_assert(Empty(kSwap3[0][2]) && Empty(kSwap3[2][0]));

KEST_SSSE3 inline __m128i Load(const uint8_t *p) {
  return _mm_loadu_si128(reinterpret_cast<const __m128i *>(p));
}
KEST_SSSE3 inline void Store(uint8_t *p, __m128i v) {
  _mm_storeu_si128(reinterpret_cast<__m128i *>(p), v);
}
KEST_SSSE3 inline __m128i Use(const Mask &mask) {
  return _mm_loadu_si128(reinterpret_cast<const __m128i *>(mask.data()));
}

bool SameOrder(const Plan &plan) { return plan.sourceRedFirst == plan.targetRedFirst; }

// Groups of 16 pixels that a shrinking kernel may take, leaving at least
// two pixels after them: its last store and its last load run four bytes
// past the group, and those bytes must lie within the row.
size_t ShrinkingGroups(size_t width) { return width < 2 ? 0 : (width - 2) / 16; }

// The gray level of four pixels of [blue green red 0] words, as four 32-bit
// sums of 2 * red + 5 * green + blue.
KEST_SSSE3 inline __m128i GraySums(__m128i words, __m128i weights) {
  return _mm_madd_epi16(_mm_maddubs_epi16(words, weights), _mm_set1_epi16(1));
}

// Sixteen 32-bit sums to sixteen gray bytes: (sum + 4) >> 3.
KEST_SSSE3 inline __m128i GrayBytes(__m128i s0, __m128i s1, __m128i s2, __m128i s3) {
  const __m128i four = _mm_set1_epi16(4);
  const __m128i low = _mm_srli_epi16(_mm_add_epi16(_mm_packs_epi32(s0, s1), four), 3);
  const __m128i high = _mm_srli_epi16(_mm_add_epi16(_mm_packs_epi32(s2, s3), four), 3);
  return _mm_packus_epi16(low, high);
}

KEST_SSSE3 __m128i GrayWeights(bool redFirst) {
  return redFirst ? _mm_setr_epi8(2, 5, 1, 0, 2, 5, 1, 0, 2, 5, 1, 0, 2, 5, 1, 0)
                  : _mm_setr_epi8(1, 5, 2, 0, 1, 5, 2, 0, 1, 5, 2, 0, 1, 5, 2, 0);
}

uint8_t GrayOf(const uint8_t *p, bool redFirst) {
  const uint32_t red = p[redFirst ? 0 : 2], green = p[1], blue = p[redFirst ? 2 : 0];
  return static_cast<uint8_t>((2 * red + 5 * green + blue + 4) >> 3);
}

}  // namespace

bool HaveByteShuffles() { return __builtin_cpu_supports("ssse3"); }

KEST_SSSE3 void Expand24To32Shuffled(uint8_t *buffer, const Plan &plan) {
  const bool swap = !SameOrder(plan);
  const uint8_t alpha = plan.alpha8;
  const size_t width = plan.width;
  const size_t groups = width / 16;
  for (size_t x = width; x-- > groups * 16;) {
    const uint8_t b0 = buffer[3 * x], b1 = buffer[3 * x + 1], b2 = buffer[3 * x + 2];
    uint8_t *d = buffer + 4 * x;
    d[0] = swap ? b2 : b0;
    d[1] = b1;
    d[2] = swap ? b0 : b2;
    d[3] = alpha;
  }
  // The last load of a group reads four bytes past it, inside the buffer's
  // 4 * width bytes.
  const __m128i mask = Use(swap ? kSpreadSwapped : kSpread);
  const __m128i top = _mm_set1_epi32(static_cast<int>(uint32_t{alpha} << 24));
  for (size_t group = groups; group-- > 0;) {
    const uint8_t *s = buffer + 48 * group;
    uint8_t *d = buffer + 64 * group;
    const __m128i v0 = Load(s), v1 = Load(s + 12), v2 = Load(s + 24), v3 = Load(s + 36);
    Store(d, _mm_or_si128(_mm_shuffle_epi8(v0, mask), top));
    Store(d + 16, _mm_or_si128(_mm_shuffle_epi8(v1, mask), top));
    Store(d + 32, _mm_or_si128(_mm_shuffle_epi8(v2, mask), top));
    Store(d + 48, _mm_or_si128(_mm_shuffle_epi8(v3, mask), top));
  }
}

KEST_SSSE3 void Narrow32To24Shuffled(uint8_t *buffer, const Plan &plan) {
  const bool swap = !SameOrder(plan);
  const size_t width = plan.width;
  const size_t groups = ShrinkingGroups(width);
  // Four overlapping stores of 16 bytes: the four zero bytes of each are
  // covered by the next, those of the last by the pixels after the group.
  const __m128i mask = Use(swap ? kPackSwapped : kPack);
  for (size_t group = 0; group < groups; ++group) {
    const uint8_t *s = buffer + 64 * group;
    uint8_t *d = buffer + 48 * group;
    const __m128i v0 = Load(s), v1 = Load(s + 16), v2 = Load(s + 32), v3 = Load(s + 48);
    Store(d, _mm_shuffle_epi8(v0, mask));
    Store(d + 12, _mm_shuffle_epi8(v1, mask));
    Store(d + 24, _mm_shuffle_epi8(v2, mask));
    Store(d + 36, _mm_shuffle_epi8(v3, mask));
  }
  for (size_t x = groups * 16; x < width; ++x) {
    const uint8_t b0 = buffer[4 * x], b1 = buffer[4 * x + 1], b2 = buffer[4 * x + 2];
    uint8_t *d = buffer + 3 * x;
    d[0] = swap ? b2 : b0;
    d[1] = b1;
    d[2] = swap ? b0 : b2;
  }
}

KEST_SSSE3 void Swap24Shuffled(uint8_t *buffer, const Plan &plan) {
  const size_t width = plan.width;
  const size_t groups = width / 16;
  // The first output vector reaches only into the second input vector, the
  // last only back into the second: seven shuffles, not nine.
  const __m128i m00 = Use(kSwap3[0][0]), m01 = Use(kSwap3[0][1]);
  const __m128i m10 = Use(kSwap3[1][0]), m11 = Use(kSwap3[1][1]), m12 = Use(kSwap3[1][2]);
  const __m128i m21 = Use(kSwap3[2][1]), m22 = Use(kSwap3[2][2]);
  for (size_t group = 0; group < groups; ++group) {
    uint8_t *p = buffer + 48 * group;
    const __m128i v0 = Load(p), v1 = Load(p + 16), v2 = Load(p + 32);
    Store(p, _mm_or_si128(_mm_shuffle_epi8(v0, m00), _mm_shuffle_epi8(v1, m01)));
    Store(p + 16, _mm_or_si128(_mm_or_si128(_mm_shuffle_epi8(v0, m10), _mm_shuffle_epi8(v1, m11)),
                               _mm_shuffle_epi8(v2, m12)));
    Store(p + 32, _mm_or_si128(_mm_shuffle_epi8(v1, m21), _mm_shuffle_epi8(v2, m22)));
  }
  for (size_t x = groups * 16; x < width; ++x) std::swap(buffer[3 * x], buffer[3 * x + 2]);
}

KEST_SSSE3 void Swap32Shuffled(uint8_t *buffer, const Plan &plan) {
  const size_t width = plan.width;
  const size_t groups = width / 4;
  const __m128i mask = Use(kSwapWords);
  for (size_t group = 0; group < groups; ++group) {
    uint8_t *p = buffer + 16 * group;
    Store(p, _mm_shuffle_epi8(Load(p), mask));
  }
  for (size_t x = groups * 4; x < width; ++x) std::swap(buffer[4 * x], buffer[4 * x + 2]);
}

KEST_SSSE3 void Gray24Shuffled(uint8_t *buffer, const Plan &plan) {
  const bool redFirst = plan.sourceRedFirst;
  const size_t width = plan.width;
  const size_t groups = ShrinkingGroups(width);
  const __m128i spread = Use(kSpread);
  const __m128i weights = GrayWeights(redFirst);
  for (size_t group = 0; group < groups; ++group) {
    const uint8_t *s = buffer + 48 * group;
    const __m128i s0 = GraySums(_mm_shuffle_epi8(Load(s), spread), weights);
    const __m128i s1 = GraySums(_mm_shuffle_epi8(Load(s + 12), spread), weights);
    const __m128i s2 = GraySums(_mm_shuffle_epi8(Load(s + 24), spread), weights);
    const __m128i s3 = GraySums(_mm_shuffle_epi8(Load(s + 36), spread), weights);
    Store(buffer + 16 * group, GrayBytes(s0, s1, s2, s3));
  }
  for (size_t x = groups * 16; x < width; ++x) buffer[x] = GrayOf(buffer + 3 * x, redFirst);
}

KEST_SSSE3 void Gray32Shuffled(uint8_t *buffer, const Plan &plan) {
  const bool redFirst = plan.sourceRedFirst;
  const size_t width = plan.width;
  const size_t groups = width / 16;
  const __m128i weights = GrayWeights(redFirst);  // alpha weighs 0
  for (size_t group = 0; group < groups; ++group) {
    const uint8_t *s = buffer + 64 * group;
    const __m128i s0 = GraySums(Load(s), weights);
    const __m128i s1 = GraySums(Load(s + 16), weights);
    const __m128i s2 = GraySums(Load(s + 32), weights);
    const __m128i s3 = GraySums(Load(s + 48), weights);
    Store(buffer + 16 * group, GrayBytes(s0, s1, s2, s3));
  }
  for (size_t x = groups * 16; x < width; ++x) buffer[x] = GrayOf(buffer + 4 * x, redFirst);
}

}  // namespace kest::convert::kernels

#else  // no SSSE3 forms on other processors: the table never picks them

namespace kest::convert::kernels {
bool HaveByteShuffles() { return false; }
void Expand24To32Shuffled(uint8_t *buffer, const Plan &plan) { Expand24To32(buffer, plan); }
void Narrow32To24Shuffled(uint8_t *buffer, const Plan &plan) { Narrow32To24(buffer, plan); }
void Swap24Shuffled(uint8_t *buffer, const Plan &plan) { Swap24(buffer, plan); }
void Swap32Shuffled(uint8_t *buffer, const Plan &plan) { Swap32(buffer, plan); }
void Gray24Shuffled(uint8_t *buffer, const Plan &plan) { Gray24(buffer, plan); }
void Gray32Shuffled(uint8_t *buffer, const Plan &plan) { Gray32(buffer, plan); }
}  // namespace kest::convert::kernels

#endif
