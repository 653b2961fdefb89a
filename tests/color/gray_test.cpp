// Gray classification of palettes and records, and comparing a record's
// palette with another.
#include <gtest/gtest.h>

#include <algorithm>

#include "color/palette_support.h"
#include "kestraster.h"

namespace {

using kest::test::Palette;
using kest::test::Quad;
using kest::test::TestBitmap;

std::vector<RGBQUAD> Ramp(uint32_t bits) {
  RGBQUAD *ramp = K_CreateGrayPalette(bits);
  std::vector<RGBQUAD> out(ramp, ramp + (1u << bits));
  K_OsFree(ramp);
  return out;
}
std::vector<RGBQUAD> Reversed(std::vector<RGBQUAD> palette) {
  std::reverse(palette.begin(), palette.end());
  return palette;
}

TEST(GrayPalette, OrderedOnlyForRampsWhoseStepDividesEvenly) {
  std::vector<RGBQUAD> bent = Ramp(8);
  bent[100] = Quad(0x656565);  // one level off the ramp
  std::vector<RGBQUAD> tinted = Ramp(4);
  tinted[5] = Quad(0x555556);
  struct Case {
    const char *name;
    std::vector<RGBQUAD> palette;
    int32_t expected;
  };
  const Case cases[] = {
      {"256 rising", Ramp(8), GRAY_ORDEREDNORMAL},
      {"256 falling", Reversed(Ramp(8)), GRAY_ORDEREDREVERSE},
      {"16 rising", Ramp(4), GRAY_ORDEREDNORMAL},
      {"4 falling", Reversed(Ramp(2)), GRAY_ORDEREDREVERSE},
      {"2 black white", Ramp(1), GRAY_ORDEREDNORMAL},
      {"32 rising, step 8 truncated", Ramp(5), GRAY_NOTORDERED},
      {"8 rising, step 36 truncated", Ramp(3), GRAY_NOTORDERED},
      {"one level off", bent, GRAY_NOTORDERED},
      {"rising from 128", Palette({0x808080, 0xFFFFFF}), GRAY_NOTORDERED},
      {"one tinted entry", tinted, GRAY_NO},
      {"single black", Palette({0x000000}), GRAY_ORDEREDNORMAL},
      {"single white", Palette({0xFFFFFF}), GRAY_ORDEREDREVERSE},
      {"single mid gray", Palette({0x808080}), GRAY_NOTORDERED},
      {"single colour", Palette({0x102030}), GRAY_NO},
  };
  for (const Case &c : cases) {
    EXPECT_EQ(K_IsGrayScalePalette(c.palette.data(), static_cast<uint32_t>(c.palette.size())),
              c.expected)
        << c.name;
  }
  EXPECT_EQ(K_IsGrayScalePalette(nullptr, 2), K_ERR_PARAMETER);
}

TEST(GrayBitmap, PaletteClassAndItsSize) {
  struct Case {
    const char *name;
    int32_t bits;
    std::vector<RGBQUAD> palette;
    int32_t expected;
  };
  const Case cases[] = {
      {"8 bits, 256 ramp", 8, Ramp(8), GRAY_ORDEREDNORMAL},
      {"8 bits, 16 ramp", 8, Ramp(4), GRAY_NOTORDERED},  // count is not 2^bits
      {"4 bits, 16 falling", 4, Reversed(Ramp(4)), GRAY_ORDEREDREVERSE},
      {"4 bits, 16 colours", 4, Palette({0x000000, 0xFF0000}), GRAY_NO},
      {"24 bits", 24, Ramp(8), GRAY_NO},
  };
  for (const Case &c : cases) {
    TestBitmap bitmap(c.bits, static_cast<int32_t>(c.palette.size()), c.palette);
    EXPECT_EQ(K_IsGrayScaleBitmap(bitmap.get()), c.expected) << c.name;
  }
  TestBitmap noPalette(8, 256);
  EXPECT_EQ(K_IsGrayScaleBitmap(noPalette.get()), GRAY_NO);
  EXPECT_EQ(K_IsGrayScaleBitmap(nullptr), K_ERR_PARAMETER);
  noPalette->RecordSize = 164 + 4;
  EXPECT_EQ(K_IsGrayScaleBitmap(noPalette.get()), K_ERR_RECORD_SIZE);
}

TEST(GrayBitmap, GrayOrderIsClassedByItsLookUpTableWhereOneIsInForce) {
  // 12-bit data whose window is bits 0 to 7: only entries 0 to 255 of the
  // table can be reached.
  auto makeGray = [](TestBitmap &bitmap, uint32_t length) {
    bitmap->ColorOrder = K_ORDER_GRAY;
    bitmap->DataLowBit = 0;
    bitmap->DataHighBit = 7;
    bitmap->LevelLUTLength = length;
    bitmap->LevelLUT = static_cast<RGBQUAD *>(K_OsAlloc(length * sizeof(RGBQUAD)));
    for (uint32_t i = 0; i < length; ++i) {
      const auto level = static_cast<uint8_t>(i * 255 / (length - 1));
      bitmap->LevelLUT[i] = RGBQUAD{level, level, level, 0};
    }
    bitmap->BitmapFlags |= RBF_USE_LUT;
  };
  TestBitmap plain(12, 0);
  plain->ColorOrder = K_ORDER_GRAY;
  EXPECT_EQ(K_IsGrayScaleBitmap(plain.get()), GRAY_ORDEREDNORMAL);  // no table

  TestBitmap rising(12, 0);
  makeGray(rising, 4096);
  rising->LevelLUT[300] = Quad(0xFF0000);  // outside the window: not looked at
  EXPECT_EQ(K_IsGrayScaleBitmap(rising.get()), GRAY_ORDEREDNORMAL);
  rising->LevelLUT[200] = Quad(0xFF0000);
  EXPECT_EQ(K_IsGrayScaleBitmap(rising.get()), GRAY_NO);
  rising->BitmapFlags &= ~RBF_USE_LUT;
  EXPECT_EQ(K_IsGrayScaleBitmap(rising.get()), GRAY_ORDEREDNORMAL);

  // Signed data: the lowest value maps to the middle of the table.
  TestBitmap signedData(12, 0);
  makeGray(signedData, 4096);
  signedData->BitmapFlags |= RBF_SIGNED;
  EXPECT_EQ(K_IsGrayScaleBitmap(signedData.get()), GRAY_NOTORDERED);  // entry 2048 is mid gray
  signedData->LevelLUT[2048] = Quad(0xFFFFFF);
  EXPECT_EQ(K_IsGrayScaleBitmap(signedData.get()), GRAY_ORDEREDREVERSE);
}

TEST(ComparePalette, RedGreenBlueOfTheEntriesTheRecordHas) {
  const std::vector<RGBQUAD> mine = Palette({0x000000, 0x123456, 0xFFFFFF});
  TestBitmap bitmap(2, 3, mine);
  std::vector<RGBQUAD> other = mine;
  other[1].rgbReserved = 7;
  other.push_back(Quad(0xABCDEF));  // beyond the record's count: not compared
  EXPECT_EQ(K_CompareBitmapToPalette(bitmap.get(), other.data(), 4), 1);
  other[2] = Quad(0xFFFFFE);
  EXPECT_EQ(K_CompareBitmapToPalette(bitmap.get(), other.data(), 4), 0);
  EXPECT_EQ(K_CompareBitmapToPalette(bitmap.get(), other.data(), 2), 1);

  TestBitmap none(8, 256);
  EXPECT_EQ(K_CompareBitmapToPalette(none.get(), other.data(), 4), 1);  // nothing read
  EXPECT_EQ(K_CompareBitmapToPalette(nullptr, other.data(), 4), 0);
}

}  // namespace
