// Buffer conversion by its rules: the entry checks, the pixel layouts, the
// widening and narrowing of channels and gray levels, windows, palettes and
// the index map, alpha, the extended order, and work in place.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "color/palette_support.h"
#include "core/alloc.h"
#include "kestraster.h"

namespace {

using Bytes = std::vector<uint8_t>;
using kest::test::Quad;

struct Call {
  int32_t width;
  int32_t sourceBits;
  uint32_t sourceOrder;
  int32_t targetBits;
  uint32_t targetOrder;
  uint32_t flags = 0;
  int32_t lowBit = -1;
  int32_t highBit = -1;
  const RGBQUAD *sourcePalette = nullptr;
  const RGBQUAD *targetPalette = nullptr;
};

// Converts a copy of bytes, grown to at least size with zeros, and returns
// all of it.
Bytes Convert(const Call &c, Bytes bytes, size_t size = 64, int32_t *status = nullptr) {
  if (bytes.size() < size) bytes.resize(size);
  const int32_t result = K_ConvertBufferExt(bytes.data(), c.width, c.sourceBits, c.targetBits,
                                            c.sourceOrder, c.targetOrder, c.sourcePalette,
                                            c.targetPalette, c.flags, c.lowBit, c.highBit);
  if (status != nullptr) *status = result;
  EXPECT_EQ(result, K_SUCCESS);
  return bytes;
}

Bytes Head(const Bytes &bytes, size_t count) { return Bytes(bytes.begin(), bytes.begin() + count); }

constexpr uint32_t G = K_ORDER_GRAY, RGB = K_ORDER_RGB, BGR = K_ORDER_BGR, EXT = K_ORDER_EXTENDED;

TEST(ConvertBuffer, RefusesBeforeWriting) {
  struct Case {
    const char *name;
    Call call;
  };
  const Case cases[] = {
      {"zero width", {0, 8, RGB, 24, BGR}},
      {"negative width", {-3, 8, RGB, 24, BGR}},
      {"12 bits from a colour order", {4, 12, BGR, 16, G}},
      {"12 bits to a colour order", {4, 16, G, 12, RGB}},
      {"both windows", {4, 16, G, 16, G, CONVERT_SOURCE_WINDOW | CONVERT_TARGET_WINDOW, 2, 9}},
      {"target window on colour", {4, 16, G, 24, BGR, CONVERT_TARGET_WINDOW, 2, 9}},
      {"window past the word", {4, 16, G, 0, G, CONVERT_SOURCE_WINDOW, 4, 16}},
      {"window low above high", {4, 16, G, 0, G, CONVERT_SOURCE_WINDOW, 9, 2}},
      {"window on a gray byte", {4, 0, G, 16, G, CONVERT_SOURCE_WINDOW, 2, 5}},
      {"source bits 9", {4, 9, RGB, 24, BGR}},
      {"target bits 10", {4, 24, BGR, 10, RGB}},
      {"source bits 65", {4, 65, BGR, 24, BGR}},
      {"order 3", {4, 24, 3, 24, BGR}},
      {"order 4 target", {4, 24, BGR, 24, 4}},
      {"extended order at 32 bits", {4, 32, EXT, 24, BGR}},
      {"extended order of an index", {4, 8, EXT, 24, BGR}},
      {"extended target at 32 bits", {4, 24, BGR, 32, EXT}},
      {"extended target from indices", {4, 8, RGB, 24, EXT}},
      {"gray order at 24 bits", {4, 24, G, 8, RGB}},
      {"gray target at 32 bits", {4, 24, BGR, 32, G}},
  };
  const Bytes row = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20,
                     21, 22, 23, 24, 25, 26, 27, 28, 29, 30, 31, 32};
  for (const Case &c : cases) {
    Bytes bytes = row;
    EXPECT_EQ(K_ConvertBufferExt(bytes.data(), c.call.width, c.call.sourceBits, c.call.targetBits,
                                 c.call.sourceOrder, c.call.targetOrder, nullptr, nullptr,
                                 c.call.flags, c.call.lowBit, c.call.highBit),
              K_ERR_PARAMETER)
        << c.name;
    EXPECT_EQ(bytes, row) << c.name;
  }
  Bytes bytes = row;
  EXPECT_EQ(K_ConvertBuffer(bytes.data(), 0, 8, 24, RGB, BGR, nullptr, nullptr), K_ERR_PARAMETER);
  EXPECT_EQ(K_ConvertBuffer(nullptr, 4, 8, 24, RGB, BGR, nullptr, nullptr), K_ERR_PARAMETER);
  // A window of the whole word is no window, so a colour target does not
  // refuse it.
  EXPECT_EQ(K_ConvertBufferExt(bytes.data(), 4, 16, 24, G, BGR, nullptr, nullptr,
                               CONVERT_TARGET_WINDOW, 0, 15),
            K_ERR_PARAMETER);
  EXPECT_EQ(K_ConvertBufferExt(bytes.data(), 4, 16, 16, G, G, nullptr, nullptr,
                               CONVERT_SOURCE_WINDOW, 0, 15),
            K_SUCCESS);
}

TEST(ConvertBuffer, SizeOfTheBuffer) {
  EXPECT_EQ(K_CalcConvertSize(100, 1, 100, 24), 300u);
  EXPECT_EQ(K_CalcConvertSize(3, 0, 1, 1), 4u);
  EXPECT_EQ(K_CalcConvertSize(10, 24, 100, 1), 300u);  // the output width at the input bits
  EXPECT_EQ(K_CalcConvertSize(0x40000000, 64, 1, 1), 0u);
}

TEST(ConvertBuffer, RulesOfEachPair) {
  std::vector<RGBQUAD> indices(256, Quad(0x000000));
  indices[1] = Quad(0xFFFFFF);
  indices[2] = Quad(0x102030);
  std::vector<RGBQUAD> grayLookUp(256);
  for (int i = 0; i < 256; ++i) grayLookUp[i] = Quad(0x010203u * static_cast<uint32_t>(i % 64));
  const std::vector<RGBQUAD> two = kest::test::Palette({0x000000, 0x102030, 0xFFFFFF, 0x808080});

  struct Case {
    const char *name;
    Call call;
    Bytes source;
    Bytes expected;  // the first bytes of the result
  };
  const Case cases[] = {
      {"gray byte to 16-bit gray is v * 257", {3, 0, G, 16, G}, {255, 1, 128},
       {0xFF, 0xFF, 0x01, 0x01, 0x80, 0x80}},
      {"gray byte to 12-bit gray is ((v << 12) - v) / 255", {2, 0, G, 12, G}, {128, 255},
       {0x07, 0xF8, 0xFF}},
      {"gray byte into an 8-bit window is shifted up", {1, 0, G, 16, G, CONVERT_TARGET_WINDOW, 4, 11},
       {0xAB}, {0xB0, 0x0A}},
      {"gray byte into a 12-bit window", {1, 0, G, 16, G, CONVERT_TARGET_WINDOW, 2, 13}, {128},
       {0x1C, 0x20}},
      {"window of 4 bits to a gray byte is w * 255 / 15", {2, 16, G, 0, G, CONVERT_SOURCE_WINDOW, 2, 5},
       {40, 0, 0xFF, 0xFF}, {170, 255}},
      {"whole 16-bit word to a gray byte is its high byte", {1, 16, G, 0, G}, {0xFF, 0x12}, {0x12}},
      {"12-bit pairs to 16 bits are w * 65535 / 4095", {2, 12, G, 16, G}, {0xBC, 0xFA, 0xDE},
       {0xCA, 0xAB, 0xFD, 0xDE}},
      {"16-bit level into a narrower window", {1, 16, G, 16, G, CONVERT_TARGET_WINDOW, 4, 11},
       {0xCD, 0xAB}, {0xB0, 0x0A}},
      {"48 bits to 16-bit gray is the level of the words", {1, 48, BGR, 16, G, CONVERT_TARGET_WINDOW, 0, 11},
       {0xBC, 0x9A, 0x78, 0x56, 0x34, 0x12}, {0xDF, 0x04}},
      {"48 bits to a gray byte is the level of the high bytes", {1, 48, BGR, 0, G},
       {0, 0, 0, 0, 0x00, 0xFF}, {64}},
      {"5-bit channels widen as (c << 3) | (c >> 2)", {1, 16, BGR, 24, BGR}, {0x30, 0x7C},
       {0x84, 0x08, 0xFF}},
      {"8-bit channels narrow to 5, red low when red first", {1, 24, BGR, 16, RGB}, {0x84, 0x08, 0xFF},
       {0x3F, 0x40}},
      {"5-5-5 in the other order keeps bit 15", {1, 16, BGR, 16, RGB}, {0x30, 0xFC}, {0x3F, 0xC0}},
      {"32 to 64 bits: every byte times 257", {1, 32, BGR, 64, BGR}, {1, 2, 3, 4},
       {1, 1, 2, 2, 3, 3, 4, 4}},
      {"64 to 32 bits: the high bytes, alpha too", {1, 64, BGR, 32, RGB},
       {0xFF, 0x12, 0xFF, 0x34, 0xFF, 0x56, 0xFF, 0x78}, {0x56, 0x34, 0x12, 0x78}},
      {"new alpha is 0 without a flag", {1, 24, BGR, 32, BGR}, {1, 2, 3}, {1, 2, 3, 0}},
      {"opaque alpha", {1, 24, BGR, 32, BGR, CONVERT_ALPHA_OPAQUE}, {1, 2, 3}, {1, 2, 3, 255}},
      {"the caller's alpha at 64 bits", {1, 24, BGR, 64, BGR, CONVERT_ALPHA_VALUE}, {1, 2, 3},
       {1, 1, 2, 2, 3, 3, 0xFF, 0xFF}},
      {"indices read their palette", {3, 8, RGB, 24, RGB, 0, -1, -1, indices.data()}, {2, 1, 0},
       {0x10, 0x20, 0x30, 0xFF, 0xFF, 0xFF, 0, 0, 0}},
      {"colours match the target palette", {2, 24, RGB, 2, RGB, 0, -1, -1, nullptr, two.data()},
       {0x11, 0x21, 0x2F, 0x70, 0x90, 0x80}, {0x71}},
      {"a gray byte matches the fixed 4-bit palette", {2, 0, G, 4, RGB}, {128, 192}, {0x78}},
      {"3-bit values cross bytes", {3, 3, RGB, 0, G}, {0xAB, 0x80}, {96, 159, 255}},
      {"1 bit widens in place", {3, 1, RGB, 24, BGR}, {0xA0},
       {0xFF, 0xFF, 0xFF, 0, 0, 0, 0xFF, 0xFF, 0xFF}},
      {"8 to 1 bit keeps the last byte's other bits", {3, 8, RGB, 1, RGB, 0, -1, -1, indices.data()},
       {1, 0, 1}, {0xA1}},
      {"odd 12-bit row keeps the last half byte", {1, 16, G, 12, G}, {0xCD, 0xAB}, {0xBC, 0xAA}},
      {"gray index reads the palette through the window",
       {2, 16, G, 24, RGB, CONVERT_SOURCE_WINDOW, 8, 15, grayLookUp.data()}, {0x00, 0x41, 0xFF, 0x02},
       {0x01, 0x02, 0x03, 0x02, 0x04, 0x06}},
      {"the 12-bit palette is not read for a gray 16-bit target",
       {2, 12, G, 16, G, 0, -1, -1, grayLookUp.data()}, {0xBC, 0xFA, 0xDE}, {0xCA, 0xAB, 0xFD, 0xDE}},
      {"forward matrix to the extended order", {1, 24, BGR, 24, EXT}, {255, 0, 0}, {223, 12, 33}},
      {"inverse matrix, held at 0 and 255", {2, 24, EXT, 24, BGR}, {10, 200, 10, 120, 130, 140},
       {0, 247, 0, 118, 128, 153}},
      {"forward matrix at 16 bits holds white", {1, 48, BGR, 48, EXT},
       {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}, {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}},
      {"extended to extended skips both matrices", {1, 24, EXT, 48, EXT}, {10, 200, 10},
       {10, 10, 200, 200, 10, 10}},
  };
  for (const Case &c : cases) {
    const Bytes result = Convert(c.call, c.source);
    EXPECT_EQ(Head(result, c.expected.size()), c.expected) << c.name;
  }
}

TEST(ConvertBuffer, LeavesEqualFormatsAlone) {
  // Entries 0 and 5 are both black: the matcher would take 5 to 0, but an
  // index map between equal palettes keeps every index.
  std::vector<RGBQUAD> palette(256, Quad(0x336699));
  palette[0] = palette[5] = Quad(0x000000);
  std::vector<RGBQUAD> longer = palette;
  const std::vector<RGBQUAD> shortPalette(palette.begin(), palette.begin() + 16);
  const Bytes indices = {5, 0, 5, 7};
  EXPECT_EQ(Head(Convert({4, 8, RGB, 8, RGB, 0, -1, -1, palette.data(), longer.data()}, indices), 4),
            indices);
  EXPECT_EQ(Head(Convert({4, 4, RGB, 8, RGB, 0, -1, -1, shortPalette.data(), palette.data()}, {0x50, 0x57}), 4),
            indices);
  // Without that, each index goes to its nearest entry.
  longer[5] = Quad(0x010101);
  EXPECT_EQ(Head(Convert({4, 8, RGB, 8, RGB, 0, -1, -1, palette.data(), longer.data()}, indices), 4),
            Bytes({0, 0, 0, 1}));

  const Bytes colours = {1, 2, 3, 4, 5, 6, 7, 8, 9};
  EXPECT_EQ(Head(Convert({3, 24, BGR, 24, BGR}, colours), 9), colours);
  EXPECT_EQ(Head(Convert({3, 24, EXT, 24, EXT}, colours), 9), colours);
  EXPECT_EQ(Head(Convert({3, 24, RGB, 24, BGR}, colours), 9), Bytes({3, 2, 1, 6, 5, 4, 9, 8, 7}));
}

TEST(ConvertBuffer, LongRowsInPlaceBothWays) {
  // Rows that span many blocks: growing runs from the end, shrinking from
  // the start, and neither reads a pixel already overwritten.
  std::vector<RGBQUAD> palette(256);
  for (int i = 0; i < 256; ++i) {
    palette[i] = RGBQUAD{static_cast<uint8_t>(i), static_cast<uint8_t>(255 - i),
                         static_cast<uint8_t>(i * 7), 0};
  }
  const int32_t width = 1000;
  Bytes row(static_cast<size_t>(width) * 4);
  for (int32_t x = 0; x < width; ++x) row[static_cast<size_t>(x)] = static_cast<uint8_t>(x * 13);

  Bytes wide = Convert({width, 8, RGB, 32, BGR, CONVERT_ALPHA_OPAQUE, -1, -1, palette.data()}, row);
  for (int32_t x = 0; x < width; ++x) {
    const RGBQUAD &entry = palette[static_cast<uint8_t>(x * 13)];
    const uint8_t *p = &wide[static_cast<size_t>(x) * 4];
    ASSERT_EQ(Bytes(p, p + 4), Bytes({entry.rgbBlue, entry.rgbGreen, entry.rgbRed, 255})) << x;
  }
  Bytes narrow = Convert({width, 32, BGR, 8, RGB, 0, -1, -1, nullptr, palette.data()}, wide);
  EXPECT_EQ(Head(narrow, static_cast<size_t>(width)), Head(row, static_cast<size_t>(width)));
}

TEST(ConvertBuffer, AllocatesNothing) {
  Bytes row(4096 * 4, 7);
  kest::testing::FailAllocation(0);
  EXPECT_EQ(K_ConvertBuffer(row.data(), 4096, 8, 32, RGB, BGR, nullptr, nullptr), K_SUCCESS);
  EXPECT_EQ(K_ConvertBuffer(row.data(), 4096, 32, 4, BGR, RGB, nullptr, nullptr), K_SUCCESS);
  EXPECT_EQ(kest::testing::AllocationsCounted(), 0);
}

}  // namespace
