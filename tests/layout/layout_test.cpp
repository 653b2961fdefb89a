// The published layouts: the bitmap record is 41 words, 164 bytes, on a
// 32-bit target, with every field at its word; on a 64-bit target the same
// order with pointer-sized fields widened. The version record is 108 bytes
// on both. Also built into the native test
// programs, where the widened form is checked.
#include <gtest/gtest.h>

#include <cstddef>

#include "kestraster.h"

namespace {

struct FieldOffset {
  const char *name;
  size_t offset;
};

#define KEST_FIELD(f) FieldOffset{#f, offsetof(RASTERBITMAP, f)}
const FieldOffset kRecordFields[] = {
    KEST_FIELD(RecordSize), KEST_FIELD(MemoryHandle), KEST_FIELD(BitmapData),
    KEST_FIELD(BitmapWidth), KEST_FIELD(BitmapHeight), KEST_FIELD(BitmapBits),
    KEST_FIELD(BitmapBytesPerLine), KEST_FIELD(RowCursorOffset), KEST_FIELD(RowCursorRow),
    KEST_FIELD(BitmapFlags), KEST_FIELD(ColorsCount), KEST_FIELD(Palette),
    KEST_FIELD(ViewPerspective), KEST_FIELD(ColorOrder), KEST_FIELD(BitmapSize),
    KEST_FIELD(DitherState), KEST_FIELD(DitherMode), KEST_FIELD(Region),
    KEST_FIELD(BitmapXRes), KEST_FIELD(BitmapYRes), KEST_FIELD(BitmapLeft),
    KEST_FIELD(BitmapTop), KEST_FIELD(BitmapDelay), KEST_FIELD(BitmapBackground),
    KEST_FIELD(BitmapTransparentColor), KEST_FIELD(BitmapDisposalMethod),
    KEST_FIELD(DataLowBit), KEST_FIELD(DataHighBit), KEST_FIELD(LevelLUT),
    KEST_FIELD(LevelLUTLength), KEST_FIELD(AlignmentSlack), KEST_FIELD(LevelMinValue),
    KEST_FIELD(LevelMaxValue), KEST_FIELD(LevelLowBit), KEST_FIELD(LevelHighBit),
    KEST_FIELD(PaintGamma), KEST_FIELD(PaintContrast), KEST_FIELD(PaintIntensity),
    KEST_FIELD(PaintLUT), KEST_FIELD(Overlays), KEST_FIELD(reserved),
};
#undef KEST_FIELD

TEST(RecordLayout, FortyOneFieldsInTheirOrder) {
  ASSERT_EQ(std::size(kRecordFields), 41u);
  for (size_t i = 1; i < std::size(kRecordFields); ++i) {
    EXPECT_LT(kRecordFields[i - 1].offset, kRecordFields[i].offset) << kRecordFields[i].name;
  }
  EXPECT_EQ(RASTERBITMAP_SIZE, static_cast<int32_t>(sizeof(RASTERBITMAP)));
}

#if UINTPTR_MAX == 0xFFFFFFFFu
static_assert(sizeof(RASTERBITMAP) == 164, "the record is 164 bytes on 32-bit targets");

TEST(RecordLayout, EveryFieldAtItsWordOn32Bit) {
  for (size_t i = 0; i < std::size(kRecordFields); ++i) {
    EXPECT_EQ(kRecordFields[i].offset, 4 * i) << kRecordFields[i].name;
  }
  EXPECT_EQ(RASTERBITMAP_SIZE, 164);
}
#else
TEST(RecordLayout, PointersWidenNaturallyOn64Bit) {
  EXPECT_EQ(offsetof(RASTERBITMAP, MemoryHandle), 8u);
  EXPECT_EQ(sizeof(RASTERBITMAP) % alignof(void *), 0u);
  EXPECT_GT(sizeof(RASTERBITMAP), 164u);
}
#endif

// The version record holds no pointers: the same 108 bytes everywhere.
static_assert(sizeof(LIBRARYVERSION) == 108, "the version record is 108 bytes on every target");

TEST(VersionRecordLayout, PublishedOffsets) {
  EXPECT_EQ(LIBRARYVERSION_SIZE, 108);
  EXPECT_EQ(offsetof(LIBRARYVERSION, VersionRecordSize), 0u);
  EXPECT_EQ(offsetof(LIBRARYVERSION, VersionProduct), 4u);
  EXPECT_EQ(sizeof(LIBRARYVERSION::VersionProduct), 60u);
  EXPECT_EQ(offsetof(LIBRARYVERSION, VersionLevel), 64u);
  EXPECT_EQ(offsetof(LIBRARYVERSION, VersionMajor), 68u);
  EXPECT_EQ(offsetof(LIBRARYVERSION, VersionMinor), 72u);
  EXPECT_EQ(offsetof(LIBRARYVERSION, VersionDate), 76u);
  EXPECT_EQ(sizeof(LIBRARYVERSION::VersionDate), 16u);
  EXPECT_EQ(offsetof(LIBRARYVERSION, VersionTime), 92u);
  EXPECT_EQ(sizeof(LIBRARYVERSION::VersionTime), 9u);
  EXPECT_EQ(offsetof(LIBRARYVERSION, reserved), 101u);
  EXPECT_EQ(sizeof(LIBRARYVERSION::reserved), 7u);
}

TEST(Win32Layouts, MatchTheSystemRecords) {
  EXPECT_EQ(sizeof(RGBQUAD), 4u);
  EXPECT_EQ(offsetof(RGBQUAD, rgbBlue), 0u);
  EXPECT_EQ(offsetof(RGBQUAD, rgbRed), 2u);
  EXPECT_EQ(sizeof(PALETTEENTRY), 4u);
  EXPECT_EQ(sizeof(RECT), 16u);
  EXPECT_EQ(sizeof(POINT), 8u);
  EXPECT_EQ(sizeof(BITMAPINFOHEADER), 40u);
  EXPECT_EQ(offsetof(BITMAPINFOHEADER, biBitCount), 14u);
  EXPECT_EQ(offsetof(BITMAPINFOHEADER, biClrImportant), 36u);
  EXPECT_EQ(sizeof(BITMAPINFO), 44u);
  EXPECT_EQ(sizeof(COLORREF), 4u);
}

}  // namespace
