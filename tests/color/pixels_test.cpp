// Single pixels in the colour word, raw pixel bytes, and alpha planes.
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <vector>

#include "kestraster.h"
#include "support/test_support.h"

namespace {

// Pixel tests work on conventional memory.
class Bitmap : public kest::test::OwnedBitmap {
 public:
  Bitmap(int32_t width, int32_t height, int32_t bits, uint32_t order = K_ORDER_BGR)
      : OwnedBitmap(MEMORY_TYPE_CONV, width, height, bits, order) {
    EXPECT_EQ(status(), K_SUCCESS);
  }
};

TEST(PixelColor, ReadsEveryOrderAsTheColourWord) {
  for (uint32_t order : {K_ORDER_BGR, K_ORDER_RGB}) {
    Bitmap bitmap(4, 2, 24, order);
    uint8_t pixel[3] = {1, 2, 3};
    K_PutBitmapRowCol(bitmap.get(), pixel, 1, 2, 3);
    EXPECT_EQ(K_GetPixelColor(bitmap.get(), 1, 2), order == K_ORDER_BGR ? 0x00010203u : 0x00030201u);
  }
  Bitmap gray(4, 2, 16, K_ORDER_GRAY);
  uint8_t level[2] = {0x34, 0x12};
  K_PutBitmapRowCol(gray.get(), level, 0, 1, 2);
  EXPECT_EQ(K_GetPixelColor(gray.get(), 0, 1), 0x04001234u) << "gray levels carry the top byte 4";
  Bitmap twelve(4, 2, 12);
  uint8_t pair[3] = {0x21, 0x43, 0x65};  // pixel 0 = 0x321, pixel 1 = 0x654
  K_PutBitmapRow(twelve.get(), pair, 0, 3);
  EXPECT_EQ(K_GetPixelColor(twelve.get(), 0, 1), 0x04000000u | (0x654u * 65535 / 4095));
  EXPECT_EQ(K_GetPixelColor(twelve.get(), 0, 0), 0x04000000u | (0x321u * 65535 / 4095));

  EXPECT_EQ(K_GetPixelColor(gray.get(), 2, 0), K_INVALID_COLOR);
  EXPECT_EQ(K_GetPixelColor(gray.get(), 0, -1), K_INVALID_COLOR);
  EXPECT_EQ(K_GetPixelColor(nullptr, 0, 0), K_INVALID_COLOR);
}

// A colour every depth stores exactly: palette entries for indexed depths,
// five-bit channels at 16 bits, anything above.
uint32_t ExactColor(RASTERBITMAP *bitmap, std::mt19937 &random) {
  const int32_t bits = bitmap->BitmapBits;
  if (bits <= 8) {
    const RGBQUAD &entry = bitmap->Palette[random() % (1u << bits)];
    return entry.rgbRed | (entry.rgbGreen << 8) | (entry.rgbBlue << 16);
  }
  if (bits == 16) {
    auto grow = [](uint32_t c) { return (c << 3) | (c >> 2); };
    return grow(random() % 32) | (grow(random() % 32) << 8) | (grow(random() % 32) << 16);
  }
  return random() & 0xFFFFFF;
}

TEST(PixelColor, WhatIsPutIsReadBackAtEveryColourDepth) {
  std::mt19937 random(6);
  for (int32_t bits : {1, 2, 3, 4, 5, 6, 7, 8, 16, 24, 32, 48, 64}) {
    for (uint32_t order : {K_ORDER_BGR, K_ORDER_RGB}) {
      Bitmap bitmap(37, 5, bits, order);
      // Pixels written in a random order must not disturb their neighbours.
      std::vector<uint32_t> expected(37 * 5);
      for (int32_t y = 0; y < 5; ++y) {
        for (uint32_t x = 0; x < 37; ++x) {
          expected[y * 37 + x] = ExactColor(bitmap.get(), random);
          ASSERT_EQ(K_PutPixelColor(bitmap.get(), y, x, expected[y * 37 + x]), K_SUCCESS);
        }
      }
      for (int32_t y = 0; y < 5; ++y) {
        for (int32_t x = 0; x < 37; ++x) {
          ASSERT_EQ(K_GetPixelColor(bitmap.get(), y, x), expected[y * 37 + x])
              << bits << " bits, order " << order << " at " << x << "," << y;
        }
      }
    }
  }
}

TEST(PixelColor, IndexesSearchesAndKeepsAlpha) {
  Bitmap indexed(4, 1, 8);
  ASSERT_EQ(K_PutPixelColor(indexed.get(), 0, 1, 0x01000005), K_SUCCESS);
  uint8_t row[4];
  K_GetBitmapRow(indexed.get(), row, 0, 4);
  EXPECT_EQ(row[1], 5) << "an index is written with no search";
  ASSERT_EQ(K_PutPixelColor(indexed.get(), 0, 2, 0x00112233), K_SUCCESS);
  K_GetBitmapRow(indexed.get(), row, 0, 4);
  EXPECT_EQ(row[2], K_FindPaletteIndex(indexed->Palette, 256, 0x33, 0x22, 0x11));

  Bitmap alpha(2, 1, 32);
  uint8_t pixel[4] = {9, 9, 9, 0x7F};
  K_PutBitmapRow(alpha.get(), pixel, 0, 4);
  ASSERT_EQ(K_PutPixelColor(alpha.get(), 0, 0, 0x00102030), K_SUCCESS);
  K_GetBitmapRow(alpha.get(), pixel, 0, 4);
  EXPECT_EQ(pixel[0], 0x10) << "blue first";
  EXPECT_EQ(pixel[2], 0x30);
  EXPECT_EQ(pixel[3], 0x7F) << "the alpha byte stays";

  // A record whose count claims more colours than a palette can hold is
  // read no further than 256 entries.
  indexed->ColorsCount = 100000;
  EXPECT_EQ(K_GetPixelColor(indexed.get(), 0, 1), 0x00000000u | (indexed->Palette[5].rgbRed) |
                                                      (indexed->Palette[5].rgbGreen << 8) |
                                                      (uint32_t{indexed->Palette[5].rgbBlue} << 16));
  EXPECT_EQ(K_PutPixelColor(indexed.get(), 0, 3, 0x00FFFFFF), K_SUCCESS);
  indexed->ColorsCount = 256;

  EXPECT_EQ(K_PutPixelColor(alpha.get(), 1, 0, 0), K_ERR_WIDTH_HEIGHT);
  EXPECT_EQ(K_PutPixelColor(nullptr, 0, 0, 0), K_ERR_BITMAP);
  alpha->BitmapFlags |= RBF_SIGNED;
  EXPECT_EQ(K_PutPixelColor(alpha.get(), 0, 0, 0), K_ERR_SIGNED_DATA);
  alpha->BitmapFlags &= ~uint32_t{RBF_SIGNED};
}

TEST(PixelData, MovesTheBytesThatHoldThePixel) {
  Bitmap bitmap(20, 2, 3);
  uint8_t bytes[2] = {0xAB, 0xCD};
  EXPECT_EQ(K_PutPixelData(bitmap.get(), bytes, 1, 2, 2), K_SUCCESS) << "pixel 2 crosses a byte";
  uint8_t back[2] = {};
  EXPECT_EQ(K_GetPixelData(bitmap.get(), back, 1, 2, 2), K_SUCCESS);
  EXPECT_EQ(back[1], 0xCD);
  EXPECT_EQ(K_GetPixelData(bitmap.get(), back, 1, 2, 1), K_ERR_PARAMETER);
  Bitmap one(8, 1, 1);
  EXPECT_EQ(K_GetPixelData(one.get(), back, 0, 3, 0), K_ERR_PARAMETER);
  EXPECT_EQ(K_GetPixelData(one.get(), nullptr, 0, 3, 1), K_ERR_BITMAP);
}

TEST(Alpha, PlanesComeOutAndGoIn) {
  Bitmap plain(6, 3, 24);
  RASTERBITMAP plane;
  ASSERT_EQ(K_GetBitmapAlpha(plain.get(), &plane, RASTERBITMAP_SIZE), K_SUCCESS);
  EXPECT_EQ(plane.BitmapBits, 8);
  EXPECT_EQ(plane.BitmapWidth, 6);
  EXPECT_GT(K_IsGrayScaleBitmap(&plane), GRAY_NO);
  uint8_t row[8];
  K_GetBitmapRow(&plane, row, 2, 8);
  EXPECT_EQ(row[5], 0) << "no alpha gives a blank plane";
  for (int32_t y = 0; y < 3; ++y) {
    for (int32_t x = 0; x < 6; ++x) row[x] = static_cast<uint8_t>(40 * y + x);
    K_PutBitmapRow(&plane, row, y, 8);
  }
  ASSERT_EQ(K_SetBitmapAlpha(plain.get(), &plane), K_SUCCESS);
  EXPECT_EQ(plain->BitmapBits, 32) << "a 24-bit bitmap gets room for alpha";
  RASTERBITMAP back;
  ASSERT_EQ(K_GetBitmapAlpha(plain.get(), &back, RASTERBITMAP_SIZE), K_SUCCESS);
  K_GetBitmapRow(&back, row, 2, 8);
  EXPECT_EQ(row[5], 85);
  K_FreeBitmap(&back);

  Bitmap deep(3, 2, 48);
  ASSERT_EQ(K_SetBitmapAlpha(deep.get(), &plane), K_SUCCESS);
  EXPECT_EQ(deep->BitmapBits, 64);
  ASSERT_EQ(K_GetBitmapAlpha(deep.get(), &back, RASTERBITMAP_SIZE), K_SUCCESS);
  EXPECT_EQ(back.BitmapBits, 16);
  EXPECT_EQ(back.ColorOrder, uint32_t{K_ORDER_GRAY});
  K_FreeBitmap(&back);

  Bitmap sixteen(6, 3, 16);
  ASSERT_EQ(K_SetBitmapAlpha(sixteen.get(), &plane), K_SUCCESS);
  uint8_t pixels[12];
  K_GetBitmapRow(sixteen.get(), pixels, 2, 12);
  EXPECT_EQ(pixels[1] & 0x80, 0x00) << "80 is below 128";
  K_GetBitmapRow(sixteen.get(), pixels, 1, 12);
  K_FreeBitmap(&plane);
  EXPECT_EQ(K_GetBitmapAlpha(nullptr, &plane, RASTERBITMAP_SIZE), K_ERR_PARAMETER);
  EXPECT_EQ(K_SetBitmapAlpha(sixteen.get(), nullptr), K_ERR_PARAMETER);
}

}  // namespace
