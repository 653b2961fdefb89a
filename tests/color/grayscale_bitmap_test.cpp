// Whole bitmaps to gray, and signed bitmaps made unsigned: the values of
// each source kind, the cases with nothing to do, progress and stopping,
// and failures that leave the bitmap as it was.
#include <gtest/gtest.h>

#include <vector>

#include "color/palette_support.h"
#include "core/bitmap.h"
#include "kestraster.h"
#include "support/test_support.h"

namespace {

using Bytes = std::vector<uint8_t>;
using kest::test::Quad;

struct Recorder {
  std::vector<int32_t> seen;
  int32_t stopAt = -1;
  static int32_t Callback(int32_t percent, void *userData) {
    auto *self = static_cast<Recorder *>(userData);
    self->seen.push_back(percent);
    return percent == self->stopAt ? K_ERR_USER_ABORT : K_SUCCESS;
  }
};

class CallbackScope {
 public:
  explicit CallbackScope(Recorder &recorder) {
    K_SetStatusCallBack(Recorder::Callback, &recorder, nullptr, nullptr);
  }
  ~CallbackScope() { K_SetStatusCallBack(nullptr, nullptr, nullptr, nullptr); }
};

// A conventional bitmap of one or more rows, each holding `row` (padded).
class Bitmap {
 public:
  Bitmap(int32_t width, int32_t height, int32_t bits, uint32_t order, const Bytes &row,
         const RGBQUAD *palette = nullptr) {
    EXPECT_EQ(K_CreateBitmap(&record_, RASTERBITMAP_SIZE, MEMORY_TYPE_CONV, width, height, bits,
                             order, const_cast<RGBQUAD *>(palette), 1, nullptr, 0),
              K_SUCCESS);
    Bytes padded = row;
    padded.resize(record_.BitmapBytesPerLine);
    for (int32_t y = 0; y < height; ++y) {
      K_PutBitmapRow(&record_, padded.data(), static_cast<uint32_t>(y), record_.BitmapBytesPerLine);
    }
  }
  ~Bitmap() { K_FreeBitmap(&record_); }
  Bitmap(const Bitmap &) = delete;
  Bitmap &operator=(const Bitmap &) = delete;
  RASTERBITMAP *get() { return &record_; }
  RASTERBITMAP *operator->() { return &record_; }
  Bytes Row(uint32_t y, size_t count) {
    Bytes bytes(record_.BitmapBytesPerLine);
    K_GetBitmapRow(&record_, bytes.data(), y, record_.BitmapBytesPerLine);
    bytes.resize(count);
    return bytes;
  }

 private:
  RASTERBITMAP record_{};
};

TEST(GrayScaleBitmap, EachSourceKind) {
  std::vector<RGBQUAD> palette(16, Quad(0));
  palette[1] = Quad(0xFF0000);
  palette[2] = Quad(0x808080);
  struct Case {
    const char *name;
    int32_t bits;
    uint32_t order;
    Bytes row;
    int32_t target;
    Bytes expected;
  };
  const Case cases[] = {
      // (2 * red + 5 * green + blue + 4) >> 3 of each colour.
      {"24 bits, blue first", 24, K_ORDER_BGR, {0, 0, 255, 0, 255, 0}, 8, {64, 159}},
      {"24 bits, red first, to 16 bits: v * 257", 24, K_ORDER_RGB, {255, 0, 0, 0, 0, 255}, 16,
       {64, 64, 32, 32}},
      {"48 bits: the level of the words, then its high byte", 48, K_ORDER_BGR,
       {0, 0, 0, 0, 0x00, 0xFF}, 8, {63}},
      {"4-bit indices through the palette", 4, K_ORDER_RGB, {0x12}, 8, {64, 128}},
      {"16-bit gray whole to 12 bits", 16, K_ORDER_GRAY, {0xCD, 0xAB}, 12, {0xBC, 0x0A}},
  };
  for (const Case &c : cases) {
    Bitmap bitmap(2, 3, c.bits, c.order, c.row, c.bits == 4 ? palette.data() : nullptr);
    ASSERT_EQ(K_GrayScaleBitmap(bitmap.get(), c.target), K_SUCCESS) << c.name;
    EXPECT_EQ(bitmap->BitmapBits, c.target) << c.name;
    for (uint32_t y = 0; y < 3; ++y) {
      EXPECT_EQ(bitmap.Row(y, c.expected.size()), c.expected) << c.name << " row " << y;
    }
    if (c.target == 8) {
      EXPECT_EQ(K_IsGrayScaleBitmap(bitmap.get()), GRAY_ORDEREDNORMAL) << c.name;
    } else {
      EXPECT_EQ(bitmap->ColorOrder, K_ORDER_GRAY) << c.name;
      EXPECT_EQ(bitmap->DataHighBit, c.target - 1) << c.name;
    }
  }
}

TEST(GrayScaleBitmap, WindowsAndLookUpTables) {
  // 12-bit data whose window is bits 4 to 11: a gray byte is that window.
  Bitmap windowed(2, 1, 12, K_ORDER_GRAY, {0xBC, 0xFA, 0xDE});
  windowed->DataLowBit = 4;
  windowed->DataHighBit = 11;
  ASSERT_EQ(K_GrayScaleBitmap(windowed.get(), 8), K_SUCCESS);
  EXPECT_EQ(windowed.Row(0, 2), Bytes({0xAB, 0xDE}));

  // Signed 16-bit data read through a table of 16 entries over the low 4
  // bits: -1 is the last entry, 1 the second.
  Bitmap table(2, 1, 16, K_ORDER_GRAY, {0x0F, 0x00, 0x01, 0x00});
  std::vector<RGBQUAD> levels(16, Quad(0x000000));
  levels[15] = Quad(0xFFFFFF);
  levels[1] = Quad(0x404040);
  ASSERT_EQ(K_WindowLevel(table.get(), 0, 3, levels.data(), 16, 1), K_SUCCESS);
  table->BitmapFlags |= RBF_SIGNED;
  ASSERT_EQ(K_GrayScaleBitmap(table.get(), 16), K_SUCCESS);
  EXPECT_EQ(table.Row(0, 4), Bytes({0xFF, 0xFF, 0x40, 0x40}));
  EXPECT_FALSE(table->BitmapFlags & RBF_SIGNED);
  EXPECT_EQ(table->LevelLUT, nullptr);
}

TEST(GrayScaleBitmap, NothingToDoReportsOnce) {
  Recorder recorder;
  CallbackScope scope(recorder);
  Bitmap gray(4, 4, 16, K_ORDER_GRAY, {1, 2, 3, 4});
  const void *pixels = gray->BitmapData;
  ASSERT_EQ(K_GrayScaleBitmap(gray.get(), 16), K_SUCCESS);
  EXPECT_EQ(gray->BitmapData, pixels);
  EXPECT_EQ(recorder.seen, std::vector<int32_t>({0, 100}));

  // A narrower window is work to do.
  gray->DataHighBit = 11;
  recorder.seen.clear();
  ASSERT_EQ(K_GrayScaleBitmap(gray.get(), 16), K_SUCCESS);
  EXPECT_NE(gray->BitmapData, pixels);
  EXPECT_EQ(recorder.seen, std::vector<int32_t>({0, 25, 50, 75, 100}));
}

TEST(GrayScaleBitmap, RefusalsAndFailuresLeaveTheBitmap) {
  Bitmap colour(3, 4, 24, K_ORDER_BGR, {1, 2, 3, 4, 5, 6, 7, 8, 9});
  EXPECT_EQ(K_GrayScaleBitmap(nullptr, 8), K_ERR_BITMAP);
  EXPECT_EQ(K_GrayScaleBitmap(colour.get(), 24), K_ERR_BITS);
  EXPECT_EQ(K_GrayScaleBitmap(colour.get(), 10), K_ERR_PARAMETER);
  colour->BitmapFlags |= RBF_SIGNED;
  EXPECT_EQ(K_GrayScaleBitmap(colour.get(), 8), K_ERR_SIGNED_DATA);
  colour->BitmapFlags &= ~uint32_t{RBF_SIGNED};

  Recorder recorder;
  recorder.stopAt = 50;
  {
    CallbackScope scope(recorder);
    EXPECT_EQ(K_GrayScaleBitmap(colour.get(), 8), K_ERR_USER_ABORT);
  }
  // Each allocation in turn fails: the bitmap stays as it was and nothing
  // is left behind. (A failed mapping is made good by other memory.)
  const int mappings = kest::testing::LiveConventionalMappings();
  int failures = 0;
  for (int n = 1; n <= 6; ++n) {
    Bitmap bitmap(3, 4, 24, K_ORDER_BGR, {1, 2, 3, 4, 5, 6, 7, 8, 9});
    kest::test::FailingAllocation fail(n);
    const int32_t status = K_GrayScaleBitmap(bitmap.get(), 12);
    if (status == K_SUCCESS) {
      EXPECT_EQ(bitmap->BitmapBits, 12) << n;
      continue;
    }
    ++failures;
    EXPECT_EQ(status, K_ERR_NOMEMORY) << n;
    EXPECT_EQ(bitmap->BitmapBits, 24) << n;
    EXPECT_EQ(bitmap.Row(3, 9), Bytes({1, 2, 3, 4, 5, 6, 7, 8, 9})) << n;
  }
  EXPECT_GE(failures, 2);
  EXPECT_EQ(kest::testing::LiveConventionalMappings(), mappings);
}

TEST(ClearNegativePixels, SignBitsBecomeZero) {
  struct Case {
    const char *name;
    int32_t bits;
    uint32_t order;
    Bytes row;
    Bytes expected;
  };
  const Case cases[] = {
      {"24 bits, every byte", 24, K_ORDER_BGR, {0x7F, 0x80, 0xFF, 0x01, 0x00, 0x90},
       {0x7F, 0, 0, 0x01, 0, 0}},
      {"32 bits, alpha too", 32, K_ORDER_BGR, {1, 2, 3, 0x80, 0x81, 2, 3, 4}, {1, 2, 3, 0, 0, 2, 3, 4}},
      {"48 bits, by words", 48, K_ORDER_BGR, {0xFF, 0x7F, 0x00, 0x80, 0xFF, 0xFF, 1, 0, 2, 0, 3, 0},
       {0xFF, 0x7F, 0, 0, 0, 0, 1, 0, 2, 0, 3, 0}},
      {"16-bit gray below 0", 16, K_ORDER_GRAY, {0x00, 0x80, 0xFF, 0x7F}, {0, 0, 0xFF, 0x7F}},
      {"12-bit gray with bit 11", 12, K_ORDER_GRAY, {0xFF, 0x07, 0x80}, {0xFF, 0x07, 0x00}},
  };
  for (const Case &c : cases) {
    Recorder recorder;
    CallbackScope scope(recorder);
    Bitmap bitmap(2, 2, c.bits, c.order, c.row);
    bitmap->BitmapFlags |= RBF_SIGNED;
    ASSERT_EQ(K_ClearNegativePixels(bitmap.get()), K_SUCCESS) << c.name;
    EXPECT_EQ(bitmap.Row(1, c.expected.size()), c.expected) << c.name;
    EXPECT_EQ(recorder.seen, std::vector<int32_t>({0, 50, 100})) << c.name;
  }
}

TEST(ClearNegativePixels, PalettesAndUnsignedBitmaps) {
  const std::vector<RGBQUAD> palette = kest::test::Palette({0x7F80FF, 0x102030, 0x808080, 0x00FF7F});
  Bitmap indexed(2, 2, 2, K_ORDER_RGB, {0x1B}, palette.data());
  indexed->BitmapFlags |= RBF_SIGNED;
  ASSERT_EQ(K_ClearNegativePixels(indexed.get()), K_SUCCESS);
  EXPECT_FALSE(indexed->BitmapFlags & RBF_SIGNED);
  EXPECT_EQ(kest::test::Colors(indexed->Palette, 4),
            std::vector<uint32_t>({0x7F0000, 0x102030, 0x000000, 0x00007F}));
  EXPECT_EQ(indexed.Row(0, 1), Bytes({0x1B}));

  Recorder recorder;
  CallbackScope scope(recorder);
  Bitmap plain(2, 2, 24, K_ORDER_BGR, {0x80, 0x80, 0x80});
  ASSERT_EQ(K_ClearNegativePixels(plain.get()), K_SUCCESS);
  EXPECT_EQ(plain.Row(0, 3), Bytes({0x80, 0x80, 0x80}));
  EXPECT_EQ(recorder.seen, std::vector<int32_t>({0, 100}));
  // 16-bit colour has no sign to clear, and stays signed.
  recorder.seen.clear();
  Bitmap colour(2, 2, 16, K_ORDER_BGR, {0x00, 0x80, 0xFF, 0xFF});
  colour->BitmapFlags |= RBF_SIGNED;
  ASSERT_EQ(K_ClearNegativePixels(colour.get()), K_SUCCESS);
  EXPECT_EQ(colour.Row(0, 4), Bytes({0x00, 0x80, 0xFF, 0xFF}));
  EXPECT_EQ(recorder.seen, std::vector<int32_t>({0, 100}));
  EXPECT_EQ(K_ClearNegativePixels(nullptr), K_ERR_BITMAP);
}

}  // namespace
