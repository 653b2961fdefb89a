// Gray parameters of a record, the level window and its look-up table, and
// the two ways of filling such a table.
#include <gtest/gtest.h>

#include <vector>

#include "color/palette_support.h"
#include "kestraster.h"
#include "support/test_support.h"

namespace {

using kest::test::Quad;
using kest::test::Rrggbb;
using kest::test::TestBitmap;

TEST(GrayParams, WindowKeepsItsTopBits) {
  struct Case {
    int32_t total, maximum, low, high;
    int32_t width;
    uint32_t mask;
    int32_t shift;
  };
  const Case cases[] = {
      {12, 12, 2, 9, 8, 0xFF, 2},
      {12, 5, 2, 9, 5, 0x1F, 5},
      {16, 16, -1, -1, 16, 0xFFFF, 0},
      {16, 8, -5, -1, 8, 0xFF, 8},
      {12, 16, 4, -1, 8, 0xFF, 4},
  };
  for (const Case &c : cases) {
    int32_t width = -7, shift = -7;
    uint32_t mask = 7;
    K_GetGrayParams(c.total, c.maximum, c.low, c.high, &width, &mask, &shift);
    EXPECT_EQ(width, c.width) << c.total << " " << c.low << ".." << c.high;
    EXPECT_EQ(mask, c.mask);
    EXPECT_EQ(shift, c.shift);
  }
  int32_t width = -7, shift = -7;
  K_GetGrayParams(12, 12, 2, 9, &width, nullptr, &shift);
  EXPECT_EQ(width, -7);  // nothing is written without a mask
  uint32_t mask = 0;
  K_GetGrayParams(12, 12, 2, 9, nullptr, &mask, &shift);
  EXPECT_EQ(mask, 0xFFu);
}

std::vector<RGBQUAD> Table(size_t count, uint32_t rrggbb) { return std::vector<RGBQUAD>(count, Quad(rrggbb)); }

void GiveTable(TestBitmap &bitmap, size_t count) {
  const std::vector<RGBQUAD> table = Table(count, 0x112233);
  ASSERT_EQ(K_WindowLevel(bitmap.get(), -1, -1, table.data(), static_cast<uint32_t>(count), 1), K_SUCCESS);
}

TEST(GrayParams, InitAndCopy) {
  TestBitmap source(12, 0);
  GiveTable(source, 4);
  source->DataLowBit = 2;
  source->DataHighBit = 9;
  source->LevelMinValue = 5;
  K_InitGrayParams(source.get());
  EXPECT_EQ(source->DataLowBit, 0);
  EXPECT_EQ(source->DataHighBit, 11);
  EXPECT_EQ(source->LevelHighBit, 11);
  EXPECT_EQ(source->LevelMinValue, 0);
  EXPECT_EQ(source->LevelMaxValue, 4095);
  EXPECT_EQ(source->LevelLUT, nullptr);
  EXPECT_EQ(source->LevelLUTLength, 0u);
  K_InitGrayParams(nullptr);

  GiveTable(source, 3);
  source->DataLowBit = 1;
  source->LevelMaxValue = 99;
  TestBitmap target(16, 0);
  GiveTable(target, 9);
  target->BitmapFlags &= ~uint32_t{RBF_USE_LUT};
  {
    kest::test::FailingAllocation fail(1);
    EXPECT_EQ(K_CopyGrayParams(target.get(), source.get()), K_ERR_NOMEMORY);
  }
  EXPECT_EQ(target->LevelLUTLength, 9u);  // as it was
  EXPECT_EQ(target->DataLowBit, 0);
  ASSERT_EQ(K_CopyGrayParams(target.get(), source.get()), K_SUCCESS);
  EXPECT_EQ(target->DataLowBit, 1);
  EXPECT_EQ(target->LevelMaxValue, 99);
  EXPECT_TRUE(target->BitmapFlags & RBF_USE_LUT);
  ASSERT_EQ(target->LevelLUTLength, 3u);
  EXPECT_NE(target->LevelLUT, source->LevelLUT);
  EXPECT_EQ(Rrggbb(target->LevelLUT[2]), 0x112233u);

  // A source without table leaves the target without one.
  K_InitGrayParams(source.get());
  ASSERT_EQ(K_CopyGrayParams(target.get(), source.get()), K_SUCCESS);
  EXPECT_EQ(target->LevelLUT, nullptr);
  EXPECT_EQ(target->LevelLUTLength, 0u);
  EXPECT_EQ(K_CopyGrayParams(nullptr, source.get()), K_ERR_PARAMETER);
  EXPECT_EQ(K_CopyGrayParams(target.get(), nullptr), K_ERR_PARAMETER);
}

TEST(WindowLevel, ChecksThenWindowsThenTable) {
  TestBitmap bitmap(16, 0);
  const std::vector<RGBQUAD> table = Table(16, 0x445566);
  EXPECT_EQ(K_WindowLevel(nullptr, 0, 7, nullptr, 0, 0), K_ERR_BITMAP);
  bitmap->RecordSize = 12;
  EXPECT_EQ(K_WindowLevel(bitmap.get(), 0, 7, nullptr, 0, 0), K_ERR_RECORD_SIZE);
  bitmap->RecordSize = static_cast<uint32_t>(RASTERBITMAP_SIZE);
  EXPECT_EQ(K_WindowLevel(bitmap.get(), 8, 7, nullptr, 0, 0), K_ERR_PARAMETER);
  EXPECT_EQ(K_WindowLevel(bitmap.get(), 0, 7, nullptr, 4, 0), K_ERR_PARAMETER);
  EXPECT_EQ(K_WindowLevel(bitmap.get(), 0, 7, nullptr, 0, 2), K_ERR_PARAMETER);
  EXPECT_EQ(bitmap->LevelHighBit, 0);  // nothing set by a refused call

  // Mode 0 records the level window only.
  ASSERT_EQ(K_WindowLevel(bitmap.get(), 2, 9, table.data(), 16, 0), K_SUCCESS);
  EXPECT_EQ(bitmap->LevelLowBit, 2);
  EXPECT_EQ(bitmap->LevelHighBit, 9);
  EXPECT_EQ(bitmap->DataHighBit, -1);
  EXPECT_FALSE(bitmap->BitmapFlags & RBF_USE_LUT);
  ASSERT_EQ(bitmap->LevelLUTLength, 16u);
  EXPECT_NE(bitmap->LevelLUT, table.data());

  // Mode 1 sets the data window, and a changed window resets the levels.
  bitmap->LevelMinValue = 3;
  ASSERT_EQ(K_WindowLevel(bitmap.get(), 2, -1, bitmap->LevelLUT, 8, 1), K_SUCCESS);
  EXPECT_EQ(bitmap->DataLowBit, 2);
  EXPECT_EQ(bitmap->DataHighBit, 15);
  EXPECT_EQ(bitmap->LevelMinValue, 0);
  EXPECT_EQ(bitmap->LevelMaxValue, 16383);
  EXPECT_TRUE(bitmap->BitmapFlags & RBF_USE_LUT);
  const RGBQUAD *own = bitmap->LevelLUT;
  EXPECT_EQ(bitmap->LevelLUTLength, 8u);
  bitmap->LevelMaxValue = 77;
  ASSERT_EQ(K_WindowLevel(bitmap.get(), 2, 15, own, 8, 1), K_SUCCESS);
  EXPECT_EQ(bitmap->LevelLUT, own);  // its own table is not copied
  EXPECT_EQ(bitmap->LevelMaxValue, 77);  // the same window keeps the levels

  {
    kest::test::FailingAllocation fail(1);
    EXPECT_EQ(K_WindowLevel(bitmap.get(), 0, 7, table.data(), 16, 0), K_ERR_NOMEMORY);
  }
  EXPECT_EQ(bitmap->LevelLUT, own);
  EXPECT_TRUE(bitmap->BitmapFlags & RBF_USE_LUT);  // flags are left before the table

  ASSERT_EQ(K_WindowLevel(bitmap.get(), 0, 7, nullptr, 0, 0), K_SUCCESS);
  EXPECT_EQ(bitmap->LevelLUT, nullptr);
  EXPECT_EQ(bitmap->LevelLUTLength, 0u);
}

// A table prefilled with a colour that no fill writes, read back as
// RRGGBB numbers.
struct FillResult {
  int32_t status;
  std::vector<uint32_t> colors;
};
constexpr uint32_t kUntouched = 0x5A5A5A;

using FillFunction = int32_t (*)(RGBQUAD *, uint32_t, COLORREF, COLORREF, int32_t, int32_t,
                                 int32_t, int32_t, int32_t, int32_t, int32_t, uint32_t);

FillResult Fill(FillFunction fill, uint32_t length, COLORREF start, COLORREF end, int32_t low,
                int32_t high, int32_t lowBit, int32_t highBit, int32_t minimum, int32_t maximum,
                int32_t factor, uint32_t flags) {
  std::vector<RGBQUAD> table = Table(length, kUntouched);
  FillResult result;
  result.status = fill(table.data(), length, start, end, low, high, lowBit, highBit, minimum,
                       maximum, factor, flags);
  result.colors = kest::test::Colors(table.data(), length);
  return result;
}

std::vector<uint32_t> Grays(std::initializer_list<uint32_t> levels) {
  std::vector<uint32_t> colors;
  for (uint32_t level : levels) colors.push_back(level == kUntouched ? kUntouched : level * 0x010101u);
  return colors;
}

constexpr COLORREF kBlackRef = 0x000000, kWhiteRef = 0xFFFFFF;
constexpr uint32_t kLinear = FILLLUT_LINEAR;
constexpr uint32_t U = kUntouched;

TEST(FillLut, RefusesBeforeTouchingTheTable) {
  struct Case {
    const char *name;
    FillFunction fill;
    uint32_t length;
    int32_t low, high, lowBit, highBit, minimum, maximum, factor;
    uint32_t flags;
  };
  const FillFunction one = K_WindowLevelFillLUT, two = K_WindowLevelFillLUT2;
  const uint32_t inside = FILLLUT_INSIDE | kLinear;
  const Case cases[] = {
      {"zero length", one, 0, 0, 4, 0, 15, 0, 15, 0, inside},
      {"no side", one, 16, 0, 4, 0, 15, 0, 15, 0, kLinear},
      {"both sides", one, 16, 0, 4, 0, 15, 0, 15, 0, 3 | kLinear},
      {"sign field 512", two, 16, 0, 4, 0, 15, 0, 15, 0, inside | 0x200},
      {"negative level in an unsigned table", one, 16, -1, 4, 0, 15, -5, 15, 0, inside},
      {"no ramp", one, 16, 0, 4, 0, 15, 0, 15, 0, FILLLUT_INSIDE},
      {"ramp 80", two, 16, 0, 4, 0, 15, 0, 15, 0, FILLLUT_INSIDE | 0x50},
      {"logarithmic with factor -1", one, 16, 0, 4, 0, 15, 0, 15, -1, FILLLUT_INSIDE | FILLLUT_LOGARITHMIC},
      {"low bit above high bit", two, 16, 0, 4, 9, 8, 0, 15, 0, inside},
      {"minimum above maximum", one, 16, 0, 4, 0, 15, 9, 8, 0, inside},
      {"low above high", two, 16, 5, 4, 0, 15, 0, 15, 0, inside},
      {"signed below -32768", two, 16, -40000, 4, 0, 15, -50000, 15, 0, inside | FILLLUT_SIGNED},
      {"unsigned above 65535", one, 16, 0, 70000, 0, 15, 0, 80000, 0, inside},
  };
  for (const Case &c : cases) {
    const FillResult r = Fill(c.fill, c.length, kBlackRef, kWhiteRef, c.low, c.high, c.lowBit,
                              c.highBit, c.minimum, c.maximum, c.factor, c.flags);
    EXPECT_EQ(r.status, K_ERR_PARAMETER) << c.name;
    EXPECT_EQ(r.colors, std::vector<uint32_t>(c.length, kUntouched)) << c.name;
  }
  EXPECT_EQ(K_WindowLevelFillLUT(nullptr, 16, 0, 0, 0, 4, 0, 15, 0, 15, 0, FILLLUT_INSIDE | kLinear),
            K_ERR_PARAMETER);
  // The second fill takes negative levels in an unsigned table.
  EXPECT_EQ(Fill(two, 16, kBlackRef, kWhiteRef, -1, 4, 0, 15, -5, 15, 0, FILLLUT_INSIDE | kLinear).status,
            K_SUCCESS);
}

TEST(FillLut, RampsAndWhatLiesOutside) {
  const FillFunction one = K_WindowLevelFillLUT, two = K_WindowLevelFillLUT2;
  const uint32_t inside = FILLLUT_INSIDE, outside = FILLLUT_OUTSIDE;
  const COLORREF red = 0x0000FF, blue = 0xFF0000;
  struct Case {
    const char *name;
    FillFunction fill;
    uint32_t length;
    COLORREF start, end;
    int32_t low, high, lowBit, minimum, maximum, factor;
    uint32_t flags;
    std::vector<uint32_t> expected;
  };
  const Case cases[] = {
      {"inside: black below, ramp, white above", one, 12, kBlackRef, kWhiteRef, 4, 8, 0, 0, 11, 0,
       inside | kLinear, Grays({0, 0, 0, 0, 0, 63, 127, 191, 255, 255, 255, 255})},
      {"inside, keeping the range", one, 12, kBlackRef, kWhiteRef, 4, 8, 0, 0, 11, 0,
       inside | kLinear | FILLLUT_KEEPRANGE, Grays({U, U, U, U, 0, 63, 127, 191, 255, U, U, U})},
      {"outside: colours beyond, black to white between", one, 8, red, blue, 2, 5, 0, 0, 7, 0,
       outside | kLinear, {0xFF0000, 0xFF0000, 0, 0x555555, 0xAAAAAA, 0xFFFFFF, 0x0000FF, 0x0000FF}},
      {"outside, keeping the range: the colours' ramp", one, 8, red, blue, 2, 5, 0, 0, 7, 0,
       outside | kLinear | FILLLUT_KEEPRANGE,
       {0xFF0000, 0xFF0000, 0xFF0000, 0xAA0055, 0x5500AA, 0x0000FF, 0x0000FF, 0x0000FF}},
      {"outside with high = low + 1 writes no ramp", one, 6, red, blue, 2, 3, 0, 0, 5, 0,
       outside | kLinear, {0xFF0000, 0xFF0000, U, U, 0x0000FF, 0x0000FF}},
      {"second fill, outside, high = low + 1 has a ramp", two, 6, red, blue, 2, 3, 0, 0, 5, 0,
       outside | kLinear, {0xFF0000, 0xFF0000, 0xFF0000, 0x0000FF, 0x0000FF, 0x0000FF}},
      {"second fill, inside, writes the ramp only", two, 8, kBlackRef, kWhiteRef, 2, 5, 0, 0, 7, 0,
       inside | kLinear, Grays({U, U, 0, 85, 170, 255, U, U})},
      {"clipped range keeps the unclipped curve", one, 12, kBlackRef, kWhiteRef, 0, 20, 0, 5, 10, 0,
       inside | kLinear, Grays({0, 0, 0, 0, 0, 63, 76, 89, 102, 114, 127, U})},  // 20 is past the end
      {"low bit shifts the levels", two, 16, kBlackRef, kWhiteRef, 0, 255, 4, 0, 255, 0,
       inside | kLinear, Grays({0, 17, 34, 51, 68, 85, 102, 119, 136, 153, 170, 187, 204, 221, 238, 255})},
      {"exponential", two, 5, kBlackRef, kWhiteRef, 0, 4, 0, 0, 4, 10, inside | FILLLUT_EXPONENTIAL,
       Grays({0, 42, 96, 165, 255})},
      {"logarithmic", two, 5, kBlackRef, kWhiteRef, 0, 4, 0, 0, 4, 20, inside | FILLLUT_LOGARITHMIC,
       Grays({0, 94, 160, 212, 255})},
      {"sigmoid", two, 5, kBlackRef, kWhiteRef, 0, 4, 0, 0, 4, 30, inside | FILLLUT_SIGMOID,
       Grays({0, 38, 127, 216, 255})},
      {"sigmoid with factor 0 is linear", two, 5, kBlackRef, kWhiteRef, 0, 4, 0, 0, 4, 0,
       inside | FILLLUT_SIGMOID, Grays({0, 63, 127, 191, 255})},
      {"a span of zero takes the end colour", two, 5, red, blue, 2, 2, 0, 0, 4, 0, inside | kLinear,
       {U, U, 0x0000FF, U, U}},
  };
  for (const Case &c : cases) {
    const FillResult r = Fill(c.fill, c.length, c.start, c.end, c.low, c.high, c.lowBit, 15,
                              c.minimum, c.maximum, c.factor, c.flags);
    EXPECT_EQ(r.status, K_SUCCESS) << c.name;
    EXPECT_EQ(r.colors, c.expected) << c.name;
  }
}

TEST(FillLut, SignedTableKeepsNegativesAtTheEnd) {
  const FillResult r = Fill(K_WindowLevelFillLUT, 4096, kBlackRef, kWhiteRef, -10, 10, 0, 15, -2048,
                            2047, 0, FILLLUT_INSIDE | kLinear | FILLLUT_SIGNED);
  ASSERT_EQ(r.status, K_SUCCESS);
  EXPECT_EQ(r.colors[4095], 114 * 0x010101u);  // value -1
  EXPECT_EQ(r.colors[0], 127 * 0x010101u);     // value 0
  EXPECT_EQ(r.colors[4086], 0u);               // value -10, the start of the ramp
  EXPECT_EQ(r.colors[2048], 0u);               // value -2048, black below
  EXPECT_EQ(r.colors[10], 0xFFFFFFu);
  EXPECT_EQ(r.colors[2047], 0xFFFFFFu);        // white above
}

}  // namespace
