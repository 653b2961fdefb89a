// The fixed palettes, the painter's tables and the gray ramps.
#include <gtest/gtest.h>

#include <cstring>

#include "color/palette.h"
#include "color/palette_support.h"
#include "kestraster.h"
#include "support/test_support.h"

namespace {

using kest::test::Colors;
using kest::test::Quad;
using kest::test::Rrggbb;
using kest::test::TestBitmap;
using Rgb = std::vector<uint32_t>;

TEST(FixedPalette, EntriesFollowTheLayoutOfEachBitCount) {
  struct Case {
    uint32_t bits, index, rrggbb;
  };
  const Case cases[] = {
      {1, 0, 0x000000}, {1, 1, 0xFFFFFF},
      {2, 1, 0x555555}, {2, 2, 0xAAAAAA},
      {3, 5, 0xFF00FF}, {3, 6, 0xFFFF00},  // R G B, one bit each, red highest
      {4, 3, 0x808000}, {4, 7, 0x808080}, {4, 8, 0xC0C0C0}, {4, 9, 0xFF0000}, {4, 14, 0x00FFFF},
      {5, 19, 0xAA55FF},  // R 2, G 1, B 1
      {6, 50, 0xFF00AA},  // R 3, G 0, B 2
      {7, 55, 0x55B6FF},  // R 1, G 5, B 3
      {8, 233, 0xFF4955}, {8, 78, 0x496DAA},  // R 7 G 2 B 1; R 2 G 3 B 2
      {8, 255, 0xFFFFFF},
  };
  for (const Case &c : cases) {
    const RGBQUAD *table = K_IntGetFixedPalette(c.bits);
    ASSERT_NE(table, nullptr) << c.bits;
    EXPECT_EQ(Rrggbb(table[c.index]), c.rrggbb) << c.bits << " bits, entry " << c.index;
  }
  for (uint32_t bits = 1; bits <= 8; ++bits) {
    const RGBQUAD *table = K_IntGetFixedPalette(bits);
    for (uint32_t i = 0; i < (1u << bits); ++i) EXPECT_EQ(table[i].rgbReserved, 0);
  }
  EXPECT_EQ(K_IntGetFixedPalette(0), nullptr);
  EXPECT_EQ(K_IntGetFixedPalette(9), nullptr);
}

TEST(FixedPalette, BitsZeroMeansAGrayRampOnlyWhenCopied) {
  RGBQUAD out[257];
  std::memset(out, 0x7E, sizeof out);
  ASSERT_EQ(K_GetFixedPalette(out, 0), K_SUCCESS);
  for (int i = 0; i < 256; ++i) EXPECT_EQ(Rrggbb(out[i]), 0x010101u * i) << i;
  EXPECT_EQ(out[256].rgbRed, 0x7E);  // exactly 256 written

  std::memset(out, 0x7E, sizeof out);
  ASSERT_EQ(K_GetFixedPalette(out, 2), K_SUCCESS);
  EXPECT_EQ(Colors(out, 4), (Rgb{0x000000, 0x555555, 0xAAAAAA, 0xFFFFFF}));
  EXPECT_EQ(out[4].rgbRed, 0x7E);
  EXPECT_EQ(K_GetFixedPalette(nullptr, 1), K_ERR_PARAMETER);
  EXPECT_EQ(K_GetFixedPalette(out, 9), K_ERR_PARAMETER);

  RGBQUAD *two = K_CreateFixedPalette(0);
  ASSERT_NE(two, nullptr);
  EXPECT_EQ(Colors(two, 2), (Rgb{0x000000, 0xFFFFFF}));
  K_OsFree(two);
  RGBQUAD *sixteen = K_CreateFixedPalette(4);
  ASSERT_NE(sixteen, nullptr);
  EXPECT_EQ(std::memcmp(sixteen, K_IntGetFixedPalette(4), 16 * sizeof(RGBQUAD)), 0);
  K_OsFree(sixteen);
  EXPECT_EQ(K_CreateFixedPalette(9), nullptr);
}

TEST(FixedPalette, BitmapOfFourColoursRunsOnFromTheOneBitTable) {
  TestBitmap four(2, 4);
  ASSERT_EQ(K_CreateBitmapFixedPalette(four.get()), K_SUCCESS);
  EXPECT_EQ(Colors(four->Palette, 4), (Rgb{0x000000, 0xFFFFFF, 0x000000, 0x555555}));

  TestBitmap full(8, 256);
  ASSERT_EQ(K_CreateBitmapFixedPalette(full.get()), K_SUCCESS);
  EXPECT_EQ(std::memcmp(full->Palette, K_IntGetFixedPalette(8), 256 * sizeof(RGBQUAD)), 0);

  TestBitmap three(2, 3);
  EXPECT_EQ(K_CreateBitmapFixedPalette(three.get()), 0);
  EXPECT_EQ(three->Palette, nullptr);
  EXPECT_EQ(K_CreateBitmapFixedPalette(nullptr), K_ERR_PARAMETER);

  TestBitmap starved(4, 16);
  {
    kest::test::FailingAllocation fail(1);
    EXPECT_EQ(K_CreateBitmapFixedPalette(starved.get()), K_ERR_NOMEMORY);
  }
  EXPECT_EQ(starved->Palette, nullptr);
}

TEST(GrayRamp, LevelsAreTruncatedNotRounded) {
  RGBQUAD *eight = K_CreateGrayPalette(3);
  ASSERT_NE(eight, nullptr);
  // 2 * 255 / 7 is 72.86: the ramp says 72 where the fixed palette says 0x49.
  EXPECT_EQ(Colors(eight, 8), (Rgb{0x000000, 0x242424, 0x484848, 0x6D6D6D, 0x919191, 0xB6B6B6,
                                   0xDADADA, 0xFFFFFF}));
  K_OsFree(eight);
  RGBQUAD *full = K_CreateGrayPalette(0);
  ASSERT_NE(full, nullptr);
  EXPECT_EQ(Rrggbb(full[200]), 0xC8C8C8u);
  K_OsFree(full);
  EXPECT_EQ(K_CreateGrayPalette(9), nullptr);

  TestBitmap bitmap(4, 0);
  ASSERT_EQ(K_CreateBitmapGrayPalette(bitmap.get()), K_SUCCESS);
  EXPECT_EQ(bitmap->ColorsCount, 16);
  EXPECT_EQ(Rrggbb(bitmap->Palette[1]), 0x111111u);
  EXPECT_EQ(Rrggbb(bitmap->Palette[15]), 0xFFFFFFu);

  for (int32_t bits : {0, 9, 24}) {
    TestBitmap wrong(bits, 0);
    EXPECT_EQ(K_CreateBitmapGrayPalette(wrong.get()), K_ERR_BITS) << bits;
    EXPECT_EQ(wrong->ColorsCount, 0);
  }
  EXPECT_EQ(K_CreateBitmapGrayPalette(nullptr), K_ERR_PARAMETER);
}

TEST(PainterTables, CubeAndTheFixedPalettesTheyMirror) {
  EXPECT_EQ(Rrggbb(kest::Cube256[0]), 0x000000u);
  EXPECT_EQ(Rrggbb(kest::Cube256[36 * 5 + 6 * 2 + 1]), 0xFF6633u);
  EXPECT_EQ(Rrggbb(kest::Cube256[215]), 0xFFFFFFu);
  for (int i = 216; i < 256; ++i) EXPECT_EQ(Rrggbb(kest::Cube256[i]), 0u) << i;
  EXPECT_EQ(std::memcmp(kest::Cube332.data(), K_IntGetFixedPalette(8), sizeof kest::Cube332), 0);
  EXPECT_EQ(std::memcmp(kest::Cube16.data(), K_IntGetFixedPalette(4), sizeof kest::Cube16), 0);
}

}  // namespace
