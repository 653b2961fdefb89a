// Super-compressed bitmaps: allocation and the filter registry, rows
// through the bands at 1, 8 and 24 bits, the stored size, segments and
// pixel bytes, height changes, missing filter libraries, and the band codec
// of the filter libraries themselves.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <vector>

#include "core/filters.h"
#include "core/rows.h"
#include "core/supercompressed.h"
#include "kestraster.h"
#include "support/test_support.h"

namespace {

using Bytes = std::vector<uint8_t>;
using kest::filters::testing::FilterUses;

using Bitmap = kest::test::OwnedBitmap;

// A smooth picture with a little noise, as a photograph has.
Bytes PhotoRow(uint32_t stride, uint32_t y, std::mt19937 &random) {
  Bytes row(stride);
  for (uint32_t x = 0; x < stride; ++x) {
    row[x] = static_cast<uint8_t>((x / 3 + 2 * y + (x % 3) * 40) + random() % 5);
  }
  return row;
}

Bytes ReadRow(RASTERBITMAP *bitmap, uint32_t row) {
  Bytes bytes(bitmap->BitmapBytesPerLine);
  EXPECT_EQ(K_GetBitmapRow(bitmap, bytes.data(), row, bitmap->BitmapBytesPerLine),
            static_cast<int32_t>(bitmap->BitmapBytesPerLine)) << "row " << row;
  return bytes;
}

size_t StoredBytes(RASTERBITMAP *bitmap) {
  size_t sum = 0;
  const kest::supercompressed::BandTable &table = kest::supercompressed::Bands(*bitmap);
  for (uint32_t band = 0; band < table.BandCount; ++band) sum += table.Bands()[band].BandBytes;
  return sum;
}

TEST(SuperCompressed, AllocationByDepth) {
  struct Case {
    int32_t bits;
    uint32_t type;
    int32_t status;
    uint32_t flags;
  };
  const Case cases[] = {
      {8, 1024, K_SUCCESS, 0x8003},  {24, 1024, K_SUCCESS, 0x8003}, {1, 1024, K_SUCCESS, 0x8003},
      {1, 1025, K_SUCCESS, 0x8003},  {4, 1024, K_ERR_PARAMETER, 0}, {4, 1025, K_SUCCESS, 0x3},
      {32, 1025, K_SUCCESS, 0x3},
  };
  for (const Case &c : cases) {
    Bitmap bitmap(c.type, 50, 40, c.bits);
    EXPECT_EQ(bitmap.status(), c.status) << c.bits << " bits, type " << c.type;
    if (c.status != K_SUCCESS) continue;
    EXPECT_EQ(bitmap->BitmapFlags & 0xFFFF, c.flags) << c.bits << " bits, type " << c.type;
    if (c.flags != 0x8003) continue;
    EXPECT_EQ(bitmap->BitmapSize, 0u);
    EXPECT_EQ(bitmap->MemoryHandle, nullptr);
    const kest::supercompressed::BandTable &table = kest::supercompressed::Bands(*bitmap.get());
    EXPECT_EQ(table.BandCount, 3u);
    EXPECT_EQ(table.Bands()[2].BandRows, 8u);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(table.DecodedBand) % 32, 0u);
    // A band never written reads as zeros and costs nothing.
    EXPECT_EQ(ReadRow(bitmap.get(), 39), Bytes(bitmap.stride(), 0));
    EXPECT_EQ(ReadRow(bitmap.get(), 0), Bytes(bitmap.stride(), 0));
    EXPECT_EQ(bitmap->BitmapSize, 0u);
  }
}

TEST(SuperCompressed, RowsRoundTripThroughTheBands) {
  for (int32_t bits : {1, 8, 24}) {
    Bitmap bitmap(MEMORY_TYPE_SUPERCOMPRESSED, 301, 70, bits);
    ASSERT_EQ(bitmap.status(), K_SUCCESS);
    std::mt19937 random(static_cast<uint32_t>(bits));
    std::vector<Bytes> rows;
    for (uint32_t y = 0; y < 70; ++y) {
      rows.push_back(PhotoRow(bitmap.stride(), y, random));
      ASSERT_EQ(K_PutBitmapRow(bitmap.get(), rows.back().data(), y, bitmap.stride()),
                static_cast<int32_t>(bitmap.stride()));
    }
    // The last band is written but not packed until another is needed.
    EXPECT_EQ(bitmap->BitmapSize, StoredBytes(bitmap.get()));
    for (uint32_t y : {69u, 3u, 40u, 17u, 0u, 68u}) EXPECT_EQ(ReadRow(bitmap.get(), y), rows[y]) << bits;
    EXPECT_EQ(bitmap->BitmapSize, StoredBytes(bitmap.get()));
    EXPECT_GT(bitmap->BitmapSize, 0u);
    // Smooth rows pack; as bits the same bytes are noise, kept as they are.
    if (bits != 1) {
      EXPECT_LT(bitmap->BitmapSize, size_t{70} * bitmap.stride());
    }
    ASSERT_EQ(K_UpdateBitmapSize(bitmap.get()), K_SUCCESS);
    EXPECT_EQ(bitmap->BitmapSize, StoredBytes(bitmap.get()));
    // One transfer across a band's end goes on in the next band.
    Bytes two(2 * bitmap.stride());
    EXPECT_EQ(K_GetBitmapRow(bitmap.get(), two.data(), 15, 2 * bitmap.stride()),
              static_cast<int32_t>(two.size()));
    EXPECT_TRUE(std::equal(rows[15].begin(), rows[15].end(), two.begin()));
    EXPECT_TRUE(std::equal(rows[16].begin(), rows[16].end(), two.begin() + bitmap.stride()));
    EXPECT_EQ(K_GetBitmapRow(bitmap.get(), two.data(), 69, 2 * bitmap.stride()), K_ERR_WIDTH_HEIGHT);
  }
}

TEST(SuperCompressed, ColumnsAndPixelBytes) {
  Bitmap gray(MEMORY_TYPE_SUPERCOMPRESSED, 40, 4, 8);
  Bytes row(gray.stride());
  for (size_t i = 0; i < row.size(); ++i) row[i] = static_cast<uint8_t>(i);
  K_PutBitmapRow(gray.get(), row.data(), 1, gray.stride());
  // The band transfer takes three bytes a column at 8 bits as at 24.
  uint8_t byte = 0;
  EXPECT_EQ(K_GetBitmapRowCol(gray.get(), &byte, 1, 5, 1), 1);
  EXPECT_EQ(byte, 15);
  // A pixel's bytes come from its own place.
  EXPECT_EQ(kest::GetPixelBytes(gray.get(), &byte, 1, 5), K_SUCCESS);
  EXPECT_EQ(byte, 5);

  Bitmap colour(MEMORY_TYPE_SUPERCOMPRESSED, 40, 4, 24);
  Bytes wide(colour.stride());
  for (size_t i = 0; i < wide.size(); ++i) wide[i] = static_cast<uint8_t>(i * 7);
  K_PutBitmapRow(colour.get(), wide.data(), 3, colour.stride());
  uint8_t pixel[3] = {};
  EXPECT_EQ(kest::GetPixelBytes(colour.get(), pixel, 3, 10), K_SUCCESS);
  EXPECT_EQ(pixel[0], static_cast<uint8_t>(30 * 7));
  EXPECT_EQ(pixel[2], static_cast<uint8_t>(32 * 7));
  EXPECT_EQ(K_GetBitmapRowCol(colour.get(), pixel, 3, 10, 3), 3);
  EXPECT_EQ(pixel[1], static_cast<uint8_t>(31 * 7));
  EXPECT_EQ(kest::GetPixelBytes(colour.get(), pixel, 4, 0), K_ERR_WIDTH_HEIGHT);

  Bitmap bilevel(MEMORY_TYPE_SUPERCOMPRESSED, 40, 4, 1);
  const Bytes bits = {0x00, 0x81, 0x7E, 0xFF, 0x18, 0, 0, 0};
  K_PutBitmapRow(bilevel.get(), const_cast<uint8_t *>(bits.data()), 2, bilevel.stride());
  EXPECT_EQ(K_GetBitmapRowCol(bilevel.get(), &byte, 2, 17, 1), 1);
  EXPECT_EQ(byte, 0x7E);
}

TEST(SuperCompressed, SegmentsWriteIntoTheBand) {
  for (int32_t bits : {1, 8, 24}) {
    Bitmap super(MEMORY_TYPE_SUPERCOMPRESSED, 90, 40, bits);
    Bitmap plain(MEMORY_TYPE_CONV, 90, 40, bits);
    std::mt19937 random(9);
    for (uint32_t step = 0; step < 60; ++step) {
      const uint32_t row = random() % 40;
      const Bytes source = PhotoRow(plain.stride(), step, random);
      uint32_t spans[4] = {static_cast<uint32_t>(random() % 30), static_cast<uint32_t>(30 + random() % 20),
                           static_cast<uint32_t>(55 + random() % 10), static_cast<uint32_t>(70 + random() % 20)};
      ASSERT_EQ(K_PutBitmapRowSegments(super.get(), const_cast<uint8_t *>(source.data()), row, 0,
                                       spans, 4, 0), K_SUCCESS);
      K_PutBitmapRowSegments(plain.get(), const_cast<uint8_t *>(source.data()), row, 0, spans, 4, 0);
    }
    for (uint32_t y = 0; y < 40; ++y) EXPECT_EQ(ReadRow(super.get(), y), ReadRow(plain.get(), y)) << y;
  }
}

TEST(SuperCompressed, HeightChangesKeepRowsAndClearWhatComesBack) {
  Bitmap bitmap(MEMORY_TYPE_SUPERCOMPRESSED, 64, 40, 8);
  std::mt19937 random(1);
  std::vector<Bytes> rows;
  for (uint32_t y = 0; y < 40; ++y) {
    rows.push_back(PhotoRow(bitmap.stride(), y, random));
    K_PutBitmapRow(bitmap.get(), rows.back().data(), y, bitmap.stride());
  }
  ReadRow(bitmap.get(), 0);  // packs the last band
  const size_t full = bitmap->BitmapSize;
  // Shrinking drops the last band's bytes and clears the rows that leave.
  ASSERT_EQ(K_ChangeBitmapHeight(bitmap.get(), 20), K_SUCCESS);
  EXPECT_LT(bitmap->BitmapSize, full);
  EXPECT_EQ(kest::supercompressed::Bands(*bitmap.get()).BandCount, 2u);
  EXPECT_EQ(kest::supercompressed::Bands(*bitmap.get()).Bands()[1].BandRows, 4u);
  EXPECT_EQ(ReadRow(bitmap.get(), 19), rows[19]);
  ASSERT_EQ(K_ChangeBitmapHeight(bitmap.get(), 50), K_SUCCESS);
  EXPECT_EQ(kest::supercompressed::Bands(*bitmap.get()).BandCount, 4u);
  for (uint32_t y = 0; y < 20; ++y) EXPECT_EQ(ReadRow(bitmap.get(), y), rows[y]) << y;
  for (uint32_t y = 20; y < 50; ++y) EXPECT_EQ(ReadRow(bitmap.get(), y), Bytes(bitmap.stride(), 0)) << y;
  // The same with the shrunk band packed before it grows: its stored form
  // holds two rows, and the rows after them come back as zeros.
  ASSERT_EQ(K_ChangeBitmapHeight(bitmap.get(), 18), K_SUCCESS);
  ReadRow(bitmap.get(), 0);
  ASSERT_EQ(K_ChangeBitmapHeight(bitmap.get(), 33), K_SUCCESS);
  EXPECT_EQ(ReadRow(bitmap.get(), 17), rows[17]);
  EXPECT_EQ(ReadRow(bitmap.get(), 18), Bytes(bitmap.stride(), 0));
  EXPECT_EQ(ReadRow(bitmap.get(), 32), Bytes(bitmap.stride(), 0));
  ASSERT_EQ(K_ChangeBitmapHeight(bitmap.get(), 0), K_SUCCESS);
  EXPECT_EQ(bitmap->BitmapSize, 0u);
}

TEST(SuperCompressed, FilterLibrariesAreSharedAndCounted) {
  ASSERT_EQ(FilterUses(0), 0);
  {
    Bitmap a(MEMORY_TYPE_SUPERCOMPRESSED, 10, 10, 8), b(MEMORY_TYPE_SUPERCOMPRESSED, 10, 10, 24),
        c(MEMORY_TYPE_SUPERCOMPRESSED, 10, 10, 1);
    EXPECT_EQ(FilterUses(0), 2);
    EXPECT_EQ(FilterUses(1), 1);
  }
  EXPECT_EQ(FilterUses(0), 0);
  EXPECT_EQ(FilterUses(1), 0);
}

TEST(SuperCompressed, MissingFilterLibrariesFailAllocation) {
  struct Case {
    int32_t bits;
    uint32_t filter;
    int32_t status;
  };
  for (const Case &c : {Case{8, 0, K_ERR_NO_FILTER_C}, Case{24, 0, K_ERR_NO_FILTER_C},
                        Case{1, 1, K_ERR_NO_FILTER_F}}) {
    kest::filters::testing::FilterNameSetting missing(c.filter, "KFILTNONE.DLL");
    RASTERBITMAP bitmap{};
    K_InitBitmap(&bitmap, RASTERBITMAP_SIZE, 20, 20, static_cast<uint32_t>(c.bits));
    EXPECT_EQ(K_AllocateBitmap(&bitmap, MEMORY_TYPE_SUPERCOMPRESSED), c.status) << c.bits;
    EXPECT_EQ(bitmap.BitmapFlags & RBF_ALLOCATED, 0u);
    EXPECT_EQ(bitmap.PaintLUT, nullptr);
    EXPECT_EQ(FilterUses(c.filter), 0);
  }
}

TEST(SuperCompressed, EveryAllocationFailureIsUndone) {
  for (int n = 1;; ++n) {
    RASTERBITMAP bitmap{};
    K_InitBitmap(&bitmap, RASTERBITMAP_SIZE, 20, 20, 8);
    int32_t status;
    {
      kest::test::FailingAllocation fail(n);
      status = K_AllocateBitmap(&bitmap, MEMORY_TYPE_SUPERCOMPRESSED);
    }
    if (status == K_SUCCESS) {
      K_FreeBitmap(&bitmap);
      EXPECT_GT(n, 4);
      break;
    }
    EXPECT_EQ(status, K_ERR_NOMEMORY) << n;
    EXPECT_EQ(bitmap.PaintLUT, nullptr) << n;
    EXPECT_EQ(FilterUses(0), 0) << n;
  }
  // Packing a band that cannot get its mapping: the write answers -1, the
  // band stays unpacked and written, nothing is lost.
  Bitmap bitmap(MEMORY_TYPE_SUPERCOMPRESSED, 20, 40, 8);
  Bytes row(bitmap.stride(), 0x42), other(bitmap.stride(), 0x17);
  K_PutBitmapRow(bitmap.get(), row.data(), 0, bitmap.stride());
  {
    kest::test::FailingAllocation fail(1);
    EXPECT_EQ(K_PutBitmapRow(bitmap.get(), other.data(), 20, bitmap.stride()), K_ERR_NOMEMORY);
  }
  EXPECT_EQ(ReadRow(bitmap.get(), 0), row);
  EXPECT_EQ(K_PutBitmapRow(bitmap.get(), other.data(), 20, bitmap.stride()),
            static_cast<int32_t>(bitmap.stride()));
  EXPECT_EQ(ReadRow(bitmap.get(), 0), row);
  EXPECT_EQ(ReadRow(bitmap.get(), 20), other);
}

// The band codec of the filter libraries, called through their entries.
TEST(BandFilters, PackAndUnpackBands) {
  ASSERT_EQ(kest::filters::LoadFilter(0), K_SUCCESS);
  ASSERT_EQ(kest::filters::LoadFilter(1), K_SUCCESS);
  const kest::filters::FilterEntry colour = kest::filters::Filter(0);
  const kest::filters::FilterEntry bilevel = kest::filters::Filter(1);
  const int32_t width = 77, stride = 232;  // 24 bits
  std::mt19937 random(4);
  Bytes band;
  for (uint32_t y = 0; y < 5; ++y) {
    const Bytes row = PhotoRow(stride, y, random);
    band.insert(band.end(), row.begin(), row.end());
  }
  BITMAPINFOHEADER header{};
  header.biSize = sizeof header;
  header.biWidth = width;
  header.biHeight = -5;
  header.biBitCount = 24;
  Bytes pack(32 * stride);
  uint32_t size = static_cast<uint32_t>(pack.size());
  ASSERT_EQ(colour.fltSaveBuffer(band.data(), &header, pack.data(), &size, -1, 0, 5, 0, 0), 1);
  EXPECT_LT(size, band.size());
  // Unpacking more rows than were packed leaves the rest zero; fewer takes
  // the first ones.
  Bytes out(16 * stride, 0xEE);
  ASSERT_EQ(colour.fltLoadBuffer(pack.data(), size, out.data(), 5, width, 16, 24, 0, 0), 1);
  EXPECT_TRUE(std::equal(band.begin(), band.end(), out.begin()));
  EXPECT_TRUE(std::all_of(out.begin() + band.size(), out.end(), [](uint8_t b) { return b == 0; }));
  Bytes few(3 * stride);
  ASSERT_EQ(colour.fltLoadBuffer(pack.data(), size, few.data(), 5, width, 3, 24, 0, 0), 1);
  EXPECT_TRUE(std::equal(few.begin(), few.end(), band.begin()));
  // Noise is kept as it is; a damaged stream, a wrong format or a pack
  // buffer too small fail.
  for (auto &b : band) b = static_cast<uint8_t>(random());
  size = static_cast<uint32_t>(pack.size());
  ASSERT_EQ(colour.fltSaveBuffer(band.data(), &header, pack.data(), &size, 9, 0, 5, 0, 0), 1);
  EXPECT_EQ(size, band.size() + 1);
  ASSERT_EQ(colour.fltLoadBuffer(pack.data(), size, out.data(), 5, width, 5, 24, 0, 0), 1);
  EXPECT_TRUE(std::equal(band.begin(), band.end(), out.begin()));
  size = 100;
  EXPECT_EQ(colour.fltSaveBuffer(band.data(), &header, pack.data(), &size, -1, 0, 5, 0, 0), 0);
  size = static_cast<uint32_t>(pack.size());
  EXPECT_EQ(colour.fltSaveBuffer(band.data(), &header, pack.data(), &size, -1, 0, 68, 0, 0), 0);
  const uint8_t damaged[] = {1, 0x12, 0x34, 0x56, 0x78};
  EXPECT_EQ(colour.fltLoadBuffer(damaged, sizeof damaged, out.data(), 5, width, 5, 24, 0, 0), 0);
  // The 1-bit filter answers to its own format only.
  header.biBitCount = 1;
  Bytes bits(5 * 12, 0);
  bits[7] = 0x81;
  size = static_cast<uint32_t>(pack.size());
  ASSERT_EQ(bilevel.fltSaveBuffer(bits.data(), &header, pack.data(), &size, 0, 0, 68, 0, 0), 1);
  Bytes back(bits.size(), 0xEE);
  ASSERT_EQ(bilevel.fltLoadBuffer(pack.data(), size, back.data(), 68, width, 5, 1, 0, 0), 1);
  EXPECT_EQ(back, bits);
  EXPECT_EQ(bilevel.fltLoadBuffer(pack.data(), size, back.data(), 5, width, 5, 1, 0, 0), 0);
  kest::filters::DropFilter(0);
  kest::filters::DropFilter(1);
}

}  // namespace
