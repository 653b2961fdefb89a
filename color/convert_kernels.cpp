// The fast kernels of buffer conversion. A kernel works a block of pixels
// at a time with plain loops over bytes that the compiler turns into vector
// code: fixed channel positions, no branch per pixel, and source and target
// that do not overlap. The row is converted in place, so each block's
// source bytes are first copied aside when the block's target would write
// over them; blocks run from the last to the first when the row grows.
#include "color/convert_kernels.h"

#include <algorithm>
#include <cstring>
#include <bit>
#include <type_traits>

namespace kest::convert::kernels {
namespace {

// Rows are little-endian; the kernels move multi-byte fields as words.
static_assert(std::endian::native == std::endian::little);

// Pixels of a block: a multiple of 8, so that every block starts on a byte
// boundary at every bit count.
constexpr size_t kBlock = 256;

#if defined(__GNUC__)
#  define KEST_RESTRICT __restrict__
#else
#  define KEST_RESTRICT
#endif

// Calls fn(source, target, count) for each block of the row, with a source
// that the block's writes cannot reach.
template <typename Fn>
void ForEachBlock(uint8_t *buffer, const Plan &plan, Fn &&fn) {
  const size_t sourceBits = static_cast<size_t>(StoredBits(plan.sourceBits));
  const size_t targetBits = static_cast<size_t>(StoredBits(plan.targetBits));
  alignas(64) uint8_t copy[kBlock * 8];
  auto run = [&](size_t block) {
    const size_t first = block * kBlock;
    const size_t count = std::min(kBlock, plan.width - first);
    const size_t sourceBegin = first * sourceBits / 8;
    const size_t sourceEnd = ((first + count) * sourceBits + 7) / 8;
    const size_t targetBegin = first * targetBits / 8;
    const size_t targetEnd = ((first + count) * targetBits + 7) / 8;
    const uint8_t *source = buffer + sourceBegin;
    if (sourceBegin < targetEnd && targetBegin < sourceEnd) {
      std::memcpy(copy, source, sourceEnd - sourceBegin);
      source = copy;
    }
    fn(source, buffer + targetBegin, count);
  };
  const size_t blocks = (plan.width + kBlock - 1) / kBlock;
  if (plan.widening) {
    for (size_t block = blocks; block-- > 0;) run(block);
  } else {
    for (size_t block = 0; block < blocks; ++block) run(block);
  }
}

// ---- 24 and 32 bits ----

// A pixel as a 32-bit word: three bytes and alpha on top. The last pixel of
// a block is read byte by byte, as the word would reach past the block.
template <bool Swap>
inline uint32_t Word24(const uint8_t *p, uint32_t top) {
  const uint32_t b0 = p[0], b1 = p[1], b2 = p[2];
  return (Swap ? b2 | b1 << 8 | b0 << 16 : b0 | b1 << 8 | b2 << 16) | top;
}

template <bool Swap>
void Block24To32(const uint8_t *KEST_RESTRICT s, uint8_t *KEST_RESTRICT d, size_t n,
                 uint8_t alpha) {
  const uint32_t top = uint32_t{alpha} << 24;
  for (size_t i = 0; i + 1 < n; ++i) {
    uint32_t word;
    std::memcpy(&word, s + 3 * i, 4);
    if constexpr (Swap) {
      word = (word & 0x00FF00u) | (word >> 16 & 0xFFu) | (word & 0xFFu) << 16;
    }
    word = (word & 0xFFFFFFu) | top;
    std::memcpy(d + 4 * i, &word, 4);
  }
  const uint32_t last = Word24<Swap>(s + 3 * (n - 1), top);
  std::memcpy(d + 4 * (n - 1), &last, 4);
}

template <bool Swap>
void Block32To24(const uint8_t *KEST_RESTRICT s, uint8_t *KEST_RESTRICT d, size_t n) {
  for (size_t i = 0; i < n; ++i) {
    d[3 * i + 0] = s[4 * i + (Swap ? 2 : 0)];
    d[3 * i + 1] = s[4 * i + 1];
    d[3 * i + 2] = s[4 * i + (Swap ? 0 : 2)];
  }
}

void Block24Swap(const uint8_t *KEST_RESTRICT s, uint8_t *KEST_RESTRICT d, size_t n) {
  for (size_t i = 0; i < n; ++i) {
    d[3 * i + 0] = s[3 * i + 2];
    d[3 * i + 1] = s[3 * i + 1];
    d[3 * i + 2] = s[3 * i + 0];
  }
}

void Block32Swap(const uint8_t *KEST_RESTRICT s, uint8_t *KEST_RESTRICT d, size_t n) {
  for (size_t i = 0; i < n; ++i) {
    d[4 * i + 0] = s[4 * i + 2];
    d[4 * i + 1] = s[4 * i + 1];
    d[4 * i + 2] = s[4 * i + 0];
    d[4 * i + 3] = s[4 * i + 3];
  }
}

template <bool Swap>
void Block48To24(const uint8_t *KEST_RESTRICT s, uint8_t *KEST_RESTRICT d, size_t n) {
  for (size_t i = 0; i < n; ++i) {
    d[3 * i + 0] = s[6 * i + (Swap ? 5 : 1)];
    d[3 * i + 1] = s[6 * i + 3];
    d[3 * i + 2] = s[6 * i + (Swap ? 1 : 5)];
  }
}

// (2 * red + 5 * green + blue + 4) >> 3 fits 16 bits, so the compiler can
// work eight pixels to a register.
template <size_t Bytes, bool RedFirst>
void BlockGray(const uint8_t *KEST_RESTRICT s, uint8_t *KEST_RESTRICT d, size_t n) {
  for (size_t i = 0; i < n; ++i) {
    const uint16_t red = s[Bytes * i + (RedFirst ? 0 : 2)];
    const uint16_t green = s[Bytes * i + 1];
    const uint16_t blue = s[Bytes * i + (RedFirst ? 2 : 0)];
    d[i] = static_cast<uint8_t>((2 * red + 5 * green + blue + 4) >> 3);
  }
}

bool SameOrder(const Plan &plan) { return plan.sourceRedFirst == plan.targetRedFirst; }

// ---- Tables of the generic path ----

// The target field of each source value 0 .. count - 1, placed at
// value << shift of the source word.
template <typename Entry>
void FillTable(const Plan &plan, uint32_t count, int32_t shift, Entry *table) {
  uint64_t fields[256];
  EncodeValues(plan, count, shift, fields);
  for (uint32_t value = 0; value < count; ++value) table[value] = static_cast<Entry>(fields[value]);
}

uint32_t SourceValues(const Plan &plan) { return 1u << StoredBits(plan.sourceBits); }

// Value i of a block of Bits-bit pixels packed from the top of each byte.
template <int Bits>
inline uint32_t Unpack(const uint8_t *s, size_t i) {
  if constexpr (Bits == 8) {
    return s[i];
  } else {
    constexpr size_t perByte = 8 / Bits;
    const uint32_t shift = static_cast<uint32_t>(8 - Bits - (i % perByte) * Bits);
    return (s[i / perByte] >> shift) & ((1u << Bits) - 1);
  }
}

template <int Bits>
void BlockBytes(const uint8_t *KEST_RESTRICT s, uint8_t *KEST_RESTRICT d, size_t n,
                const uint8_t *table) {
  for (size_t i = 0; i < n; ++i) d[i] = table[Unpack<Bits>(s, i)];
}

// Each pixel stores four bytes, the fourth overwritten by the next pixel;
// the block's last pixel stores three, as the block after it is done.
template <int Bits>
void Block24(const uint8_t *KEST_RESTRICT s, uint8_t *KEST_RESTRICT d, size_t n,
             const uint32_t *table) {
  for (size_t i = 0; i + 1 < n; ++i) {
    const uint32_t entry = table[Unpack<Bits>(s, i)];
    std::memcpy(d + 3 * i, &entry, 4);
  }
  const uint32_t last = table[Unpack<Bits>(s, n - 1)];
  std::memcpy(d + 3 * (n - 1), &last, 3);
}

template <int Bits>
void Block32(const uint8_t *KEST_RESTRICT s, uint8_t *KEST_RESTRICT d, size_t n,
             const uint32_t *table) {
  for (size_t i = 0; i < n; ++i) {
    const uint32_t entry = table[Unpack<Bits>(s, i)];
    std::memcpy(d + 4 * i, &entry, 4);
  }
}

// Table fields of Bits bits packed from the top of each byte; the bits of
// a last byte that the row does not fill keep what they held.
template <int Bits>
void BlockPacked(const uint8_t *KEST_RESTRICT s, uint8_t *KEST_RESTRICT d, size_t n,
                 const uint8_t *table) {
  constexpr size_t perByte = 8 / Bits;
  const size_t whole = n / perByte;
  for (size_t j = 0; j < whole; ++j) {
    uint32_t byte = 0;
    for (size_t k = 0; k < perByte; ++k) byte = byte << Bits | table[s[j * perByte + k]];
    d[j] = static_cast<uint8_t>(byte);
  }
  const size_t rest = n % perByte;
  if (rest != 0) {
    uint32_t bits = 0;
    for (size_t k = 0; k < rest; ++k) bits = bits << Bits | table[s[whole * perByte + k]];
    const uint32_t used = static_cast<uint32_t>(rest * Bits);
    const uint32_t keep = 0xFFu >> used;
    d[whole] = static_cast<uint8_t>((d[whole] & keep) | (bits << (8 - used)));
  }
}

// Calls fn with the source bit count as a constant.
template <typename Fn>
void WithSourceBits(int32_t bits, Fn &&fn) {
  switch (bits) {
    case 1: fn(std::integral_constant<int, 1>{}); break;
    case 2: fn(std::integral_constant<int, 2>{}); break;
    case 4: fn(std::integral_constant<int, 4>{}); break;
    default: fn(std::integral_constant<int, 8>{}); break;  // 8, and 0 read as bytes
  }
}

}  // namespace

void Expand24To32(uint8_t *buffer, const Plan &plan) {
  const uint8_t alpha = plan.alpha8;
  if (SameOrder(plan)) {
    ForEachBlock(buffer, plan, [&](const uint8_t *s, uint8_t *d, size_t n) {
      Block24To32<false>(s, d, n, alpha);
    });
  } else {
    ForEachBlock(buffer, plan, [&](const uint8_t *s, uint8_t *d, size_t n) {
      Block24To32<true>(s, d, n, alpha);
    });
  }
}

void Narrow32To24(uint8_t *buffer, const Plan &plan) {
  if (SameOrder(plan)) {
    ForEachBlock(buffer, plan, Block32To24<false>);
  } else {
    ForEachBlock(buffer, plan, Block32To24<true>);
  }
}

void Swap24(uint8_t *buffer, const Plan &plan) { ForEachBlock(buffer, plan, Block24Swap); }
void Swap32(uint8_t *buffer, const Plan &plan) { ForEachBlock(buffer, plan, Block32Swap); }

void Narrow48To24(uint8_t *buffer, const Plan &plan) {
  if (SameOrder(plan)) {
    ForEachBlock(buffer, plan, Block48To24<false>);
  } else {
    ForEachBlock(buffer, plan, Block48To24<true>);
  }
}

void Gray24(uint8_t *buffer, const Plan &plan) {
  if (plan.sourceRedFirst) {
    ForEachBlock(buffer, plan, BlockGray<3, true>);
  } else {
    ForEachBlock(buffer, plan, BlockGray<3, false>);
  }
}

void Gray32(uint8_t *buffer, const Plan &plan) {
  if (plan.sourceRedFirst) {
    ForEachBlock(buffer, plan, BlockGray<4, true>);
  } else {
    ForEachBlock(buffer, plan, BlockGray<4, false>);
  }
}

void TableToBytes(uint8_t *buffer, const Plan &plan) {
  uint8_t table[256];
  FillTable(plan, SourceValues(plan), 0, table);
  if (StoredBits(plan.sourceBits) == 8) {
    // One byte to one byte: each pixel is read before it is written.
    for (size_t i = 0; i < plan.width; ++i) buffer[i] = table[buffer[i]];
    return;
  }
  WithSourceBits(plan.sourceBits, [&](auto bits) {
    ForEachBlock(buffer, plan, [&](const uint8_t *s, uint8_t *d, size_t n) {
      BlockBytes<decltype(bits)::value>(s, d, n, table);
    });
  });
}

void TableTo24(uint8_t *buffer, const Plan &plan) {
  uint32_t table[256];
  FillTable(plan, SourceValues(plan), 0, table);
  WithSourceBits(plan.sourceBits, [&](auto bits) {
    ForEachBlock(buffer, plan, [&](const uint8_t *s, uint8_t *d, size_t n) {
      Block24<decltype(bits)::value>(s, d, n, table);
    });
  });
}

void TableTo32(uint8_t *buffer, const Plan &plan) {
  uint32_t table[256];
  FillTable(plan, SourceValues(plan), 0, table);
  WithSourceBits(plan.sourceBits, [&](auto bits) {
    ForEachBlock(buffer, plan, [&](const uint8_t *s, uint8_t *d, size_t n) {
      Block32<decltype(bits)::value>(s, d, n, table);
    });
  });
}

void TableToPacked(uint8_t *buffer, const Plan &plan) {
  uint8_t table[256];
  FillTable(plan, 256, 0, table);
  auto run = [&](auto blockFunction) {
    ForEachBlock(buffer, plan, [&](const uint8_t *s, uint8_t *d, size_t n) {
      blockFunction(s, d, n, table);
    });
  };
  switch (plan.targetBits) {
    case 1: run(BlockPacked<1>); break;
    case 2: run(BlockPacked<2>); break;
    default: run(BlockPacked<4>); break;
  }
}

void Window16ToBytes(uint8_t *buffer, const Plan &plan) {
  const uint32_t shift = static_cast<uint32_t>(plan.sourceShift);
  const uint32_t mask = plan.sourceMask;
  if (mask == 0xFF && plan.target == Target::GrayByte) {
    // A gray byte of an 8-bit window is the window's value (w * 255 / 255):
    // a shift, which the compiler does eight words at a time.
    ForEachBlock(buffer, plan, [&](const uint8_t *KEST_RESTRICT s, uint8_t *KEST_RESTRICT d,
                                   size_t n) {
      for (size_t i = 0; i < n; ++i) {
        uint16_t word;
        std::memcpy(&word, s + 2 * i, 2);
        d[i] = static_cast<uint8_t>(word >> shift);
      }
    });
    return;
  }
  uint8_t table[256];
  FillTable(plan, mask + 1, plan.sourceShift, table);
  ForEachBlock(buffer, plan, [&](const uint8_t *s, uint8_t *d, size_t n) {
    for (size_t i = 0; i < n; ++i) {
      const uint32_t word = s[2 * i] | uint32_t{s[2 * i + 1]} << 8;
      d[i] = table[(word >> shift) & mask];
    }
  });
}

}  // namespace kest::convert::kernels
