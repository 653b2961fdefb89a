// Run-compressed bitmaps: allocation, the row calls on stored runs, the
// compressed row forms on every kind, height changes, the heap calls, the
// mirror of a stored row, the change between kinds, and a long random run
// of writes compared with a plain bitmap after every step.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <vector>

#include "core/compressed.h"
#include "core/rowheap.h"
#include "core/rows.h"
#include "core/runs.h"
#include "kestraster.h"
#include "support/test_support.h"

namespace {

using Runs = std::vector<uint32_t>;
using Bytes = std::vector<uint8_t>;

// Run-compressed bitmaps are 1 bit unless a test says otherwise.
class Bitmap : public kest::test::OwnedBitmap {
 public:
  Bitmap(uint32_t type, int32_t width, int32_t height, int32_t bits = 1)
      : OwnedBitmap(type, width, height, bits) {}
};

Runs Unpack(const uint8_t *packed) {
  Runs runs(kest::runs::LoadCount(packed));
  for (size_t i = 0; i < runs.size(); ++i) runs[i] = kest::runs::LoadRun(packed + 4, i);
  return runs;
}

Bytes Pack(const Runs &runs) {
  Bytes packed(4 + 2 * runs.size());
  kest::runs::StoreCount(packed.data(), static_cast<uint32_t>(runs.size()));
  for (size_t i = 0; i < runs.size(); ++i) kest::runs::StoreRun(packed.data() + 4, i, runs[i]);
  return packed;
}

// The stored runs of a row, empty for a blank row.
Runs Stored(RASTERBITMAP *bitmap, uint32_t row) {
  uint32_t count = 0;
  const uint8_t *stored = kest::compressed::StoredRuns(*bitmap, row, count);
  Runs runs(count);
  for (uint32_t i = 0; i < count; ++i) runs[i] = kest::runs::LoadRun(stored, i);
  return runs;
}

uint32_t HeapTotal(RASTERBITMAP *bitmap) {
  return kest::rowheap::Words(kest::compressed::Table(*bitmap).Heap).HeapTotal;
}

Bytes RandomBits(size_t bytes, std::mt19937 &random) {
  Bytes row(bytes);
  uint64_t bit = 0;
  uint32_t colour = random() & 1;
  while (bit < 8 * bytes) {
    const uint32_t kind = random() % 10;
    const uint64_t length = kind < 5 ? 1 + random() % 6 : kind < 9 ? 1 + random() % 300
                                                                   : 1 + random() % 80000;
    for (uint64_t i = 0; i < length && bit < 8 * bytes; ++i, ++bit) {
      if (colour) row[bit >> 3] |= static_cast<uint8_t>(0x80 >> (bit & 7));
    }
    colour ^= 1;
  }
  return row;
}

// The first `width` pixels of a row read with K_GetBitmapRow, the bits
// past them cleared.
Bytes ReadPixels(RASTERBITMAP *bitmap, uint32_t row) {
  Bytes bytes(bitmap->BitmapBytesPerLine);
  EXPECT_EQ(K_GetBitmapRow(bitmap, bytes.data(), row, bitmap->BitmapBytesPerLine),
            static_cast<int32_t>(bitmap->BitmapBytesPerLine));
  const uint32_t width = static_cast<uint32_t>(bitmap->BitmapWidth);
  bytes.resize((width + 7) / 8);
  if (width & 7) bytes.back() &= static_cast<uint8_t>(0xFF << (8 - (width & 7)));
  return bytes;
}

bool Pixel(const Bytes &row, uint64_t x) { return (row[x >> 3] >> (7 - (x & 7))) & 1; }

TEST(CompressedBitmap, AllocationGivesARowTableAndAHeap) {
  Bitmap bitmap(MEMORY_TYPE_COMPRESSED, 100, 20);
  ASSERT_EQ(bitmap.status(), K_SUCCESS);
  EXPECT_EQ(bitmap->BitmapFlags & 0xFFFF, 0x103u);
  EXPECT_EQ(bitmap->MemoryHandle, nullptr);
  EXPECT_EQ(bitmap->BitmapSize, HeapTotal(bitmap.get()));
  EXPECT_EQ(bitmap->BitmapSize, kest::rowheap::kHeapStep);
  EXPECT_EQ(kest::compressed::Table(*bitmap.get()).ScratchSize, 2u * 100 + 8);
  EXPECT_EQ(kest::compressed::Table(*bitmap.get()).SplitTemplate, nullptr);
  for (uint32_t row = 0; row < 20; ++row) EXPECT_EQ(ReadPixels(bitmap.get(), row), Bytes(13, 0));
  // A blank bitmap has no runs, so its updated size is 0.
  EXPECT_EQ(K_UpdateBitmapSize(bitmap.get()), K_SUCCESS);
  EXPECT_EQ(bitmap->BitmapSize, 0u);

  // Wide rows carry the run list of a blank row for the splice code.
  Bitmap wide(MEMORY_TYPE_COMPRESSED, 140000, 2);
  ASSERT_EQ(wide.status(), K_SUCCESS);
  const uint8_t *blank = kest::compressed::Table(*wide.get()).SplitTemplate;
  ASSERT_NE(blank, nullptr);
  EXPECT_EQ(Unpack(blank), (Runs{65535, 0, 65535, 0, 8930}));
}

TEST(CompressedBitmap, EveryAllocationFailureIsUndone) {
  for (int n = 1;; ++n) {
    RASTERBITMAP bitmap{};
    K_InitBitmap(&bitmap, RASTERBITMAP_SIZE, 70000, 3, 1);
    int32_t status;
    {
      kest::test::FailingAllocation fail(n);
      status = K_AllocateBitmap(&bitmap, MEMORY_TYPE_COMPRESSED);
    }
    if (status == K_SUCCESS) {
      K_FreeBitmap(&bitmap);
      EXPECT_EQ(n, 6);  // paint table, row table, scratch row, blank template, heap
      break;
    }
    EXPECT_EQ(status, K_ERR_NOMEMORY) << n;
    EXPECT_EQ(bitmap.PaintLUT, nullptr) << n;
    EXPECT_EQ(bitmap.BitmapFlags & RBF_ALLOCATED, 0u) << n;
  }
}

TEST(CompressedBitmap, RowsAreStoredAsRuns) {
  struct Case {
    const char *what;
    uint32_t width;
    uint8_t fill;
    Runs runs;
  };
  const Case cases[] = {
      {"a row of only 1 pixels", 20, 0xFF, {0, 20}},
      {"a written row of zeros", 20, 0x00, {20}},
      {"70,000 zeros", 70000, 0x00, {65535, 0, 4465}},
      {"70,000 ones", 70000, 0xFF, {0, 65535, 0, 4465}},
  };
  for (const Case &c : cases) {
    Bitmap bitmap(MEMORY_TYPE_COMPRESSED, static_cast<int32_t>(c.width), 2);
    Bytes row(bitmap.stride(), c.fill);
    EXPECT_EQ(K_PutBitmapRow(bitmap.get(), row.data(), 1, bitmap.stride()),
              static_cast<int32_t>(bitmap.stride())) << c.what;
    EXPECT_EQ(Stored(bitmap.get(), 1), c.runs) << c.what;
    Bytes packed(4 + 2 * (c.width + 1) + 8);
    ASSERT_EQ(K_GetBitmapRowCompressed(bitmap.get(), nullptr, packed.data(), 1, 1), K_SUCCESS);
    EXPECT_EQ(Unpack(packed.data()), c.runs) << c.what;
    EXPECT_TRUE(Stored(bitmap.get(), 0).empty()) << "the other row stays blank";
  }
}

TEST(CompressedBitmap, BlankRowsReadAsOneRun) {
  struct Case {
    uint32_t width;
    Runs whole, colWhole;
  };
  const Case cases[] = {
      {100, {100}, {100}},
      // The whole-row form takes the width as a 16-bit value.
      {70000, {70000 & 0xFFFF}, {32767, 32767, 4466}},
      // The column form chains runs of 32767 above 32,767 pixels.
      {40000, {40000}, {32767, 7233}},
      {32767, {32767}, {32767}},
      {32768, {32768}, {32767, 1}},
  };
  for (const Case &c : cases) {
    Bitmap bitmap(MEMORY_TYPE_COMPRESSED, static_cast<int32_t>(c.width), 1);
    Bytes packed(64);
    ASSERT_EQ(K_GetBitmapRowCompressed(bitmap.get(), nullptr, packed.data(), 0, 1), K_SUCCESS);
    EXPECT_EQ(Unpack(packed.data()), c.whole) << c.width;
    ASSERT_EQ(K_GetBitmapRowColCompressed(bitmap.get(), nullptr, packed.data(), 0, 0, c.width),
              static_cast<int32_t>(c.width));
    EXPECT_EQ(Unpack(packed.data()), c.colWhole) << c.width;
  }
}

TEST(CompressedBitmap, TransfersByByteColumnAndAcrossRows) {
  Bitmap bitmap(MEMORY_TYPE_COMPRESSED, 20, 3);  // stride 4, 3 bytes of pixels
  const Bytes all = {0x12, 0x34, 0x5F, 0x99, 0xAB, 0xCD, 0xE0, 0x77, 0x01, 0x02, 0x03, 0x04};
  EXPECT_EQ(K_PutBitmapRow(bitmap.get(), const_cast<uint8_t *>(all.data()), 0, 12), 12);
  // Bytes past the last pixel are not kept: they read as 0, and the last
  // pixel byte keeps only its first 4 bits.
  Bytes back(12, 0xEE);
  EXPECT_EQ(K_GetBitmapRow(bitmap.get(), back.data(), 0, 12), 12);
  EXPECT_EQ(back, (Bytes{0x12, 0x34, 0x50, 0, 0xAB, 0xCD, 0xE0, 0, 0x01, 0x02, 0x00, 0}));
  // A column inside a byte starts at that byte.
  Bytes two(2);
  EXPECT_EQ(K_GetBitmapRowCol(bitmap.get(), two.data(), 1, 13, 2), 2);
  EXPECT_EQ(two, (Bytes{0xCD, 0xE0}));
  // Writing a part of a row keeps the rest.
  const uint8_t ff = 0xFF;
  EXPECT_EQ(K_PutBitmapRowCol(bitmap.get(), const_cast<uint8_t *>(&ff), 2, 9, 1), 1);
  EXPECT_EQ(ReadPixels(bitmap.get(), 2), (Bytes{0x01, 0xFF, 0x00}));
  // Limits: a column at the width, a row or a count past the bottom.
  EXPECT_EQ(K_GetBitmapRowCol(bitmap.get(), two.data(), 0, 20, 1), K_ERR_PARAMETER);
  EXPECT_EQ(K_GetBitmapRow(bitmap.get(), two.data(), 3, 1), K_ERR_WIDTH_HEIGHT);
  EXPECT_EQ(K_PutBitmapRow(bitmap.get(), back.data(), 2, 5), K_ERR_WIDTH_HEIGHT);
  // A pixel's byte.
  uint8_t pixel = 0;
  EXPECT_EQ(kest::GetPixelBytes(bitmap.get(), &pixel, 1, 10), K_SUCCESS);
  EXPECT_EQ(pixel, 0xCD);
  EXPECT_EQ(kest::GetPixelBytes(bitmap.get(), &pixel, 0, 17), K_SUCCESS);
  EXPECT_EQ(pixel, 0x50);
}

TEST(CompressedBitmap, PackedRowCallsCutAtTheBottom) {
  Bitmap bitmap(MEMORY_TYPE_COMPRESSED, 16, 3);
  Bytes packed;
  for (const Runs &row : {Runs{3, 5, 8}, Runs{0, 16}, Runs{16}, Runs{1, 1, 14}}) {
    const Bytes one = Pack(row);
    packed.insert(packed.end(), one.begin(), one.end());
  }
  // Four rows into the last two: only those are written.
  EXPECT_EQ(K_PutBitmapRowCompressed(bitmap.get(), nullptr, packed.data(), 1, 4), K_SUCCESS);
  EXPECT_TRUE(Stored(bitmap.get(), 0).empty());
  EXPECT_EQ(Stored(bitmap.get(), 1), (Runs{3, 5, 8}));
  EXPECT_EQ(Stored(bitmap.get(), 2), (Runs{0, 16}));
  EXPECT_EQ(bitmap->BitmapSize, HeapTotal(bitmap.get()));
  EXPECT_EQ(K_PutBitmapRowCompressed(bitmap.get(), nullptr, packed.data(), 3, 1), K_SUCCESS);
  EXPECT_EQ(K_PutBitmapRowCompressed(bitmap.get(), nullptr, packed.data(), 0, 0), K_SUCCESS);
  Bytes out(64, 0);
  EXPECT_EQ(K_GetBitmapRowCompressed(bitmap.get(), nullptr, out.data(), 1, 9), K_SUCCESS);
  EXPECT_EQ(Unpack(out.data()), (Runs{3, 5, 8}));
  EXPECT_EQ(Unpack(out.data() + 10), (Runs{0, 16}));
  // The size after updating counts runs, not bytes.
  EXPECT_EQ(K_UpdateBitmapSize(bitmap.get()), K_SUCCESS);
  EXPECT_EQ(bitmap->BitmapSize, 5u);
  EXPECT_EQ(K_GetBitmapRowCompressed(nullptr, nullptr, out.data(), 0, 1), K_ERR_PARAMETER);
  bitmap->RecordSize = 1;
  EXPECT_EQ(K_PutBitmapRowCompressed(bitmap.get(), nullptr, out.data(), 0, 1), K_ERR_RECORD_SIZE);
  bitmap->RecordSize = RASTERBITMAP_SIZE;
}

// The packed forms on a conventional 1-bit bitmap go through its rows.
TEST(CompressedBitmap, PackedFormsOnAPlainBitmap) {
  Bitmap plain(MEMORY_TYPE_CONV, 30, 2);
  const Bytes row = {0x0F, 0xF0, 0xAA, 0x80};
  K_PutBitmapRow(plain.get(), const_cast<uint8_t *>(row.data()), 0, 4);
  Bytes packed(128);
  EXPECT_EQ(K_GetBitmapRowCompressed(plain.get(), nullptr, packed.data(), 0, 1), K_SUCCESS);
  EXPECT_EQ(Unpack(packed.data()), (Runs{4, 8, 4, 1, 1, 1, 1, 1, 1, 1, 1, 1, 5}));
  EXPECT_EQ(K_GetBitmapRowColCompressed(plain.get(), nullptr, packed.data(), 0, 3, 6), 6);
  EXPECT_EQ(Unpack(packed.data()), (Runs{1, 5}));
  EXPECT_EQ(K_PutBitmapRowCompressed(plain.get(), nullptr, packed.data(), 1, 1), K_SUCCESS);
  EXPECT_EQ(ReadPixels(plain.get(), 1), (Bytes{0x7C, 0, 0, 0}));
  const Bytes runs = Pack({2, 3, 3});
  EXPECT_EQ(K_PutBitmapRowColCompressed(plain.get(), nullptr, const_cast<uint8_t *>(runs.data()), 1,
                                        16, 8), 8);
  EXPECT_EQ(ReadPixels(plain.get(), 1), (Bytes{0x7C, 0, 0x38, 0}));
  EXPECT_EQ(K_GetBitmapRowColCompressed(plain.get(), nullptr, packed.data(), 0, 30, 1),
            K_ERR_PARAMETER);
}

TEST(CompressedBitmap, ColumnFormsSpliceAndCut) {
  Bitmap bitmap(MEMORY_TYPE_COMPRESSED, 100, 2);
  const Bytes ones = Pack({0, 10});
  K_PutBitmapRowColCompressed(bitmap.get(), nullptr, const_cast<uint8_t *>(ones.data()), 0, 20, 10);
  EXPECT_EQ(Stored(bitmap.get(), 0), (Runs{20, 10, 70}));
  const Bytes mixed = Pack({5, 5});
  K_PutBitmapRowColCompressed(bitmap.get(), nullptr, const_cast<uint8_t *>(mixed.data()), 0, 25, 10);
  EXPECT_EQ(Stored(bitmap.get(), 0), (Runs{20, 5, 5, 5, 65}));
  // A part of a row comes out cut at both ends, starting with 0 pixels.
  Bytes out(64);
  EXPECT_EQ(K_GetBitmapRowColCompressed(bitmap.get(), nullptr, out.data(), 0, 22, 10), 10);
  EXPECT_EQ(Unpack(out.data()), (Runs{0, 3, 5, 2}));
  // A count past the row goes on at column 0 of the next, a packed row each.
  EXPECT_EQ(K_GetBitmapRowColCompressed(bitmap.get(), nullptr, out.data(), 0, 90, 20), 20);
  EXPECT_EQ(Unpack(out.data()), (Runs{10}));
  EXPECT_EQ(Unpack(out.data() + 6), (Runs{10}));
  // The whole row through the column form replaces the list as given.
  const Bytes whole = Pack({0, 50, 50});
  K_PutBitmapRowColCompressed(bitmap.get(), nullptr, const_cast<uint8_t *>(whole.data()), 1, 0, 100);
  EXPECT_EQ(Stored(bitmap.get(), 1), (Runs{0, 50, 50}));
  EXPECT_EQ(K_PutBitmapRowColCompressed(bitmap.get(), nullptr, const_cast<uint8_t *>(whole.data()),
                                        1, 100, 1), K_ERR_PARAMETER);
}

TEST(CompressedBitmap, SegmentsMergeRunsAndZeroWordsOnlyRefreshTheSize) {
  Bitmap bitmap(MEMORY_TYPE_COMPRESSED, 64, 1);
  const Bytes source(8, 0xFF);
  uint32_t spans[] = {4, 8, 20, 24, 30, 31};
  ASSERT_EQ(K_PutBitmapRowSegments(bitmap.get(), const_cast<uint8_t *>(source.data()), 0, 2, spans,
                                   6, 0), K_SUCCESS);
  EXPECT_EQ(Stored(bitmap.get(), 0), (Runs{6, 4, 12, 4, 6, 1, 31}));
  bitmap->BitmapSize = 1;
  EXPECT_EQ(K_PutBitmapRowSegments(bitmap.get(), const_cast<uint8_t *>(source.data()), 0, 0, spans,
                                   0, 0), K_SUCCESS);
  EXPECT_EQ(bitmap->BitmapSize, HeapTotal(bitmap.get()));
  uint32_t outside[] = {60, 65};
  EXPECT_EQ(K_PutBitmapRowSegments(bitmap.get(), const_cast<uint8_t *>(source.data()), 0, 0,
                                   outside, 2, 0), K_ERR_WIDTH_HEIGHT);
}

TEST(CompressedBitmap, HeightChangesFreeAndAddBlankRows) {
  Bitmap bitmap(MEMORY_TYPE_COMPRESSED, 40, 4);
  const Bytes row(8, 0x3C);
  for (uint32_t y = 0; y < 4; ++y) K_PutBitmapRow(bitmap.get(), const_cast<uint8_t *>(row.data()), y, 8);
  const size_t size = bitmap->BitmapSize;
  ASSERT_EQ(K_ChangeBitmapHeight(bitmap.get(), 2), K_SUCCESS);
  EXPECT_EQ(bitmap->BitmapHeight, 2);
  EXPECT_EQ(bitmap->BitmapSize, size);
  // The dropped rows' blocks went back: the heap is one used block per row
  // and the free rest.
  const uint8_t *heap = kest::compressed::Table(*bitmap.get()).Heap;
  EXPECT_EQ(kest::rowheap::Words(const_cast<uint8_t *>(heap)).HeapFreeHead,
            kest::rowheap::kHeapHeader + 2 * (24 + 24));  // 11 runs each
  ASSERT_EQ(K_ChangeBitmapHeight(bitmap.get(), 6), K_SUCCESS);
  for (uint32_t y = 2; y < 6; ++y) EXPECT_TRUE(Stored(bitmap.get(), y).empty()) << y;
  EXPECT_EQ(ReadPixels(bitmap.get(), 1), Bytes(row.begin(), row.begin() + 5));
  EXPECT_EQ(ReadPixels(bitmap.get(), 5), Bytes(5, 0));
}

TEST(CompressedBitmap, HeapTrimAndGrowAndAFailedWrite) {
  Bitmap bitmap(MEMORY_TYPE_COMPRESSED, 4000, 2);
  Bitmap plain(MEMORY_TYPE_CONV, 4000, 2);
  EXPECT_EQ(K_TrimBitmapHeap(plain.get()), K_ERR_PARAMETER);
  EXPECT_EQ(K_GrowBitmapHeap(nullptr, 1), K_ERR_PARAMETER);
  EXPECT_EQ(K_TrimBitmapHeap(bitmap.get()), K_SUCCESS);
  EXPECT_EQ(bitmap->BitmapSize, HeapTotal(bitmap.get()));
  EXPECT_EQ(bitmap->BitmapSize, kest::rowheap::kHeapHeader + 24 + 128 + 24);
  EXPECT_EQ(K_TrimBitmapHeap(bitmap.get()), K_FAILURE);

  // A row that needs more than the heap holds, when the heap cannot grow:
  // -1, the row as it was, the size refreshed.
  const Bytes small(500, 0xF0);
  ASSERT_EQ(K_PutBitmapRowCol(bitmap.get(), const_cast<uint8_t *>(small.data()), 0, 0, 4), 4);
  const Runs before = Stored(bitmap.get(), 0);
  const Bytes busy(500, 0x55);
  {
    kest::test::FailingAllocation fail(1);
    bitmap->BitmapSize = 0;
    EXPECT_EQ(K_PutBitmapRow(bitmap.get(), const_cast<uint8_t *>(busy.data()), 0, 500),
              K_ERR_NOMEMORY);
  }
  EXPECT_EQ(Stored(bitmap.get(), 0), before);
  EXPECT_EQ(bitmap->BitmapSize, HeapTotal(bitmap.get()));
  EXPECT_EQ(K_PutBitmapRow(bitmap.get(), const_cast<uint8_t *>(busy.data()), 0, 500), 500);
  EXPECT_EQ(Stored(bitmap.get(), 0).size(), 4000u);

  // Growth for more than the free end holds adds whole steps; a wish the
  // free end already holds changes nothing.
  const size_t grown = bitmap->BitmapSize;
  EXPECT_EQ(K_GrowBitmapHeap(bitmap.get(), 1), K_SUCCESS);
  EXPECT_EQ(bitmap->BitmapSize, grown);
  EXPECT_EQ(K_GrowBitmapHeap(bitmap.get(), kest::rowheap::kHeapStep), K_SUCCESS);
  EXPECT_EQ(bitmap->BitmapSize, HeapTotal(bitmap.get()));
  EXPECT_GT(bitmap->BitmapSize, grown);
  kest::test::FailingAllocation fail(1);
  EXPECT_EQ(K_GrowBitmapHeap(bitmap.get(), 4 * kest::rowheap::kHeapStep), K_FAILURE);
  EXPECT_EQ(bitmap->BitmapSize, HeapTotal(bitmap.get()));
}

TEST(CompressedBitmap, MirrorOfAStoredRow) {
  struct Case {
    Runs in, out;
  };
  const Case cases[] = {
      {{3, 5}, {0, 5, 3}},       // ends on 1: an empty run 0 in front, the block grows
      {{0, 4, 4}, {4, 4}},       // starts on 1, ends on 0: the empty run goes
      {{0, 3, 5}, {5, 3}},
      {{0, 2, 6}, {6, 2}},
      {{1, 7}, {0, 7, 1}},
      {{0, 5, 2, 1}, {0, 1, 2, 5}},  // starts and ends on 1
      {{2, 3, 3}, {3, 3, 2}},
  };
  for (const Case &c : cases) {
    Bitmap bitmap(MEMORY_TYPE_COMPRESSED, 8, 1);
    const Bytes packed = Pack(c.in);
    K_PutBitmapRowCompressed(bitmap.get(), nullptr, const_cast<uint8_t *>(packed.data()), 0, 1);
    const Bytes before = ReadPixels(bitmap.get(), 0);
    ASSERT_EQ(kest::compressed::MirrorStoredRow(*bitmap.get(), 0), K_SUCCESS);
    EXPECT_EQ(Stored(bitmap.get(), 0), c.out) << c.in.size() << " runs from " << c.in[0];
    uint8_t reversed = 0;
    for (int bit = 0; bit < 8; ++bit) reversed |= ((before[0] >> bit) & 1) << (7 - bit);
    EXPECT_EQ(ReadPixels(bitmap.get(), 0)[0], reversed);
  }
}

// ---- Changing kinds ----

Bytes AllPixels(RASTERBITMAP *bitmap) {
  Bytes all;
  const uint64_t bits = uint64_t{static_cast<uint32_t>(bitmap->BitmapBits)} *
                        static_cast<uint32_t>(bitmap->BitmapWidth);
  for (int32_t y = 0; y < bitmap->BitmapHeight; ++y) {
    Bytes row(bitmap->BitmapBytesPerLine);
    K_GetBitmapRow(bitmap, row.data(), static_cast<uint32_t>(y), bitmap->BitmapBytesPerLine);
    row.resize((bits + 7) / 8);
    if (bits & 7) row.back() &= static_cast<uint8_t>(0xFF << (8 - (bits & 7)));
    all.insert(all.end(), row.begin(), row.end());
  }
  return all;
}

void FillRandom(RASTERBITMAP *bitmap, uint32_t seed) {
  std::mt19937 random(seed);
  for (int32_t y = 0; y < bitmap->BitmapHeight; ++y) {
    Bytes row = RandomBits(bitmap->BitmapBytesPerLine, random);
    K_PutBitmapRow(bitmap, row.data(), static_cast<uint32_t>(y), bitmap->BitmapBytesPerLine);
  }
}

TEST(ChangeBitmapCompression, MovesThePixelsBetweenKinds) {
  Bitmap bitmap(MEMORY_TYPE_CONV, 203, 37);
  FillRandom(bitmap.get(), 3);
  const Bytes pixels = AllPixels(bitmap.get());
  RGBQUAD *palette = bitmap->Palette;
  bitmap->BitmapXRes = 300;
  struct Step {
    int32_t compression;
    uint32_t flags;
  };
  for (const Step &step : {Step{COMP_RLE, 0x103}, Step{COMP_SUPER, 0x8003}, Step{COMP_RLE, 0x103},
                           Step{COMP_NONE, 0x3}}) {
    ASSERT_EQ(K_ChangeBitmapCompression(bitmap.get(), step.compression), K_SUCCESS);
    EXPECT_EQ(bitmap->BitmapFlags & 0xFFFF, step.flags) << step.compression;
    EXPECT_EQ(AllPixels(bitmap.get()), pixels) << step.compression;
    EXPECT_EQ(bitmap->Palette, palette);
    EXPECT_EQ(bitmap->BitmapXRes, 300);
  }
  // A change to the kind the bitmap has already does nothing.
  void *data = bitmap->BitmapData;
  EXPECT_EQ(K_ChangeBitmapCompression(bitmap.get(), COMP_NONE), K_SUCCESS);
  EXPECT_EQ(bitmap->BitmapData, data);
}

TEST(ChangeBitmapCompression, TheTrimmedHeapOfTheNewBitmap) {
  Bitmap bitmap(MEMORY_TYPE_CONV, 64, 4);
  ASSERT_EQ(K_ChangeBitmapCompression(bitmap.get(), COMP_RLE), K_SUCCESS);
  const uint32_t rowBlock = 24 + 4;  // a blank row written as one run
  EXPECT_EQ(bitmap->BitmapSize, kest::rowheap::kHeapHeader + 4 * rowBlock + 24 + 128 + 24);
}

TEST(ChangeBitmapCompression, DepthsThatCannotTakeTheKind) {
  // Run compression at 8 bits: the request falls back to conventional memory.
  Bitmap gray(MEMORY_TYPE_CONV, 30, 5, 8);
  FillRandom(gray.get(), 4);
  const Bytes pixels = AllPixels(gray.get());
  EXPECT_EQ(K_ChangeBitmapCompression(gray.get(), COMP_RLE), K_SUCCESS);
  EXPECT_EQ(gray->BitmapFlags & 0xFFFF, 0x3u);
  EXPECT_EQ(AllPixels(gray.get()), pixels);
  // Super-compression at 4 bits: the new bitmap cannot be made, the call
  // still answers 1, and the record is left without pixels.
  Bitmap four(MEMORY_TYPE_CONV, 30, 5, 4);
  EXPECT_EQ(K_ChangeBitmapCompression(four.get(), COMP_SUPER), K_SUCCESS);
  EXPECT_EQ(four->BitmapFlags & RBF_ALLOCATED, 0u);
  EXPECT_EQ(four->BitmapData, nullptr);
  EXPECT_NE(four->Palette, nullptr);
}

int32_t StopAtTwenty(int32_t percent, void *calls) {
  ++*static_cast<int *>(calls);
  return percent >= 20 ? 0 : K_SUCCESS;
}

TEST(ChangeBitmapCompression, ReportsOnTheCopyCallback) {
  Bitmap bitmap(MEMORY_TYPE_CONV, 30, 50);
  int calls = 0;
  K_SetCopyStatusCallBack(StopAtTwenty, &calls, nullptr, nullptr);
  EXPECT_EQ(K_ChangeBitmapCompression(bitmap.get(), COMP_RLE), K_SUCCESS);
  K_SetCopyStatusCallBack(nullptr, nullptr, nullptr, nullptr);
  EXPECT_EQ(calls, 11);  // 0, 2, ..., 20: the copy stops there
  EXPECT_EQ(bitmap->BitmapFlags & RBF_ALLOCATED, 0u);
}

TEST(ChangeBitmapCompression, ChecksInOrder) {
  Bitmap bitmap(MEMORY_TYPE_CONV, 30, 5);
  RASTERBITMAP unallocated{};
  K_InitBitmap(&unallocated, RASTERBITMAP_SIZE, 8, 8, 1);
  EXPECT_EQ(K_ChangeBitmapCompression(nullptr, COMP_RLE), K_ERR_BITMAP);
  EXPECT_EQ(K_ChangeBitmapCompression(&unallocated, COMP_RLE), K_ERR_BITMAP);
  EXPECT_EQ(K_ChangeBitmapCompression(bitmap.get(), 3), K_ERR_PARAMETER);
  bitmap->RecordSize = 7;
  EXPECT_EQ(K_ChangeBitmapCompression(bitmap.get(), 3), K_ERR_RECORD_SIZE);
  bitmap->RecordSize = RASTERBITMAP_SIZE;

  Bitmap gray(MEMORY_TYPE_CONV, 30, 5, 8);
  EXPECT_EQ(K_ToggleBitmapCompression(gray.get()), K_ERR_BITMAP);
  bitmap->BitmapFlags |= RBF_SIGNED;
  EXPECT_EQ(K_ToggleBitmapCompression(bitmap.get()), K_ERR_SIGNED_DATA);
  bitmap->BitmapFlags &= ~uint32_t{RBF_SIGNED};
  EXPECT_EQ(K_ToggleBitmapCompression(bitmap.get()), K_SUCCESS);
  EXPECT_EQ(bitmap->BitmapFlags & 0xFFFF, 0x103u);
  EXPECT_EQ(K_ToggleBitmapCompression(bitmap.get()), K_SUCCESS);
  EXPECT_EQ(bitmap->BitmapFlags & 0xFFFF, 0x3u);
}

// ---- Random writes against a plain bitmap ----

// One step of the random test: the same change to a run-compressed bitmap
// and to a conventional one, by the call each kind would be given.
class RandomWriter {
 public:
  RandomWriter(uint32_t width, uint32_t height, uint32_t seed)
      : compressed_(MEMORY_TYPE_COMPRESSED, static_cast<int32_t>(width), static_cast<int32_t>(height)),
        plain_(MEMORY_TYPE_CONV, static_cast<int32_t>(width), static_cast<int32_t>(height)),
        width_(width), height_(height), random_(seed) {}

  bool Ready() const { return compressed_.status() == K_SUCCESS && plain_.status() == K_SUCCESS; }

  std::string Step() {
    const uint32_t row = random_() % height_;
    switch (random_() % 6) {
      case 0: return WholeRow(row);
      case 1: return ByteSpan(row);
      case 2: return SpliceRuns(row);
      case 3: return Segments(row, true);
      case 4: return Segments(row, false);
      default: return PackedRow(row);
    }
  }

  void ExpectSame(const std::string &step) {
    for (uint32_t y = 0; y < height_; ++y) {
      ASSERT_EQ(ReadPixels(compressed_.get(), y), ReadPixels(plain_.get(), y))
          << step << ", row " << y << " of " << width_ << "x" << height_;
    }
    EXPECT_EQ(compressed_->BitmapSize, HeapTotal(compressed_.get()));
  }

  // A stored row is the list the plain row compresses to, and any stretch
  // of it reads as the same runs.
  void ExpectSameRuns(const std::string &step) {
    const uint32_t row = random_() % height_;
    if (Stored(compressed_.get(), row).empty()) return;
    Bytes fromCompressed(4 + 2 * (width_ + 2)), fromPlain(fromCompressed.size());
    K_GetBitmapRowCompressed(compressed_.get(), nullptr, fromCompressed.data(), row, 1);
    K_GetBitmapRowCompressed(plain_.get(), nullptr, fromPlain.data(), row, 1);
    ASSERT_EQ(Unpack(fromCompressed.data()), Unpack(fromPlain.data())) << step << ", row " << row;
    const uint32_t column = random_() % width_, pixels = 1 + random_() % (width_ - column);
    K_GetBitmapRowColCompressed(compressed_.get(), nullptr, fromCompressed.data(), row,
                                static_cast<int32_t>(column), pixels);
    K_GetBitmapRowColCompressed(plain_.get(), nullptr, fromPlain.data(), row,
                                static_cast<int32_t>(column), pixels);
    ASSERT_EQ(Unpack(fromCompressed.data()), Unpack(fromPlain.data()))
        << step << ", row " << row << " from " << column << " for " << pixels;
  }

 private:
  Bytes Bits(size_t bytes) { return RandomBits(bytes, random_); }

  std::string WholeRow(uint32_t row) {
    Bytes bits = Bits(plain_.stride());
    K_PutBitmapRow(compressed_.get(), bits.data(), row, plain_.stride());
    K_PutBitmapRow(plain_.get(), bits.data(), row, plain_.stride());
    return "whole row " + std::to_string(row);
  }

  // K_PutBitmapRowCol of whole bytes, possibly into the next rows.
  std::string ByteSpan(uint32_t row) {
    const uint32_t pixelBytes = (width_ + 7) / 8;
    const uint32_t first = random_() % pixelBytes;
    const uint32_t room = (height_ - row) * plain_.stride() - first;
    const uint32_t count = 1 + random_() % std::min(room, 2 * plain_.stride());
    Bytes bits = Bits(count);
    const auto bytes = static_cast<int32_t>(count);
    EXPECT_EQ(K_PutBitmapRowCol(compressed_.get(), bits.data(), row, 8 * first, bytes), bytes);
    EXPECT_EQ(K_PutBitmapRowCol(plain_.get(), bits.data(), row, 8 * first, bytes), bytes);
    return "bytes " + std::to_string(first) + "+" + std::to_string(count) + " of row " +
           std::to_string(row);
  }

  // A run list at any column; the plain bitmap gets its pixels as a span.
  std::string SpliceRuns(uint32_t row) {
    const bool whole = random_() % 8 == 0;
    const uint32_t column = whole ? 0 : random_() % width_;
    const uint32_t pixels = whole ? width_ : 1 + random_() % (width_ - column);
    Bytes bits = Bits((pixels + 7) / 8 + 1);
    Bytes packed(4 + 2 * (pixels + 1));
    K_CompressRow(packed.data(), bits.data(), 0, pixels);
    EXPECT_EQ(K_PutBitmapRowColCompressed(compressed_.get(), nullptr, packed.data(), row,
                                          static_cast<int32_t>(column), pixels),
              static_cast<int32_t>(pixels));
    Bytes full(plain_.stride() + 1, 0);
    for (uint32_t i = 0; i < pixels; ++i) {
      if (Pixel(bits, i)) full[(column + i) >> 3] |= static_cast<uint8_t>(0x80 >> ((column + i) & 7));
    }
    uint32_t span[] = {column, column + pixels};
    EXPECT_EQ(K_PutBitmapRowSegments(plain_.get(), full.data(), row, 0, span, 2, 0), K_SUCCESS);
    return "runs at " + std::to_string(column) + " for " + std::to_string(pixels) + " in row " +
           std::to_string(row);
  }

  // Spans of a whole row; sorted and apart, or in any order.
  std::string Segments(uint32_t row, bool sorted) {
    const uint32_t shift = random_() % 4 == 0 ? 8 * (random_() % ((width_ + 7) / 8)) : 0;
    const uint32_t room = width_ - shift;
    std::vector<uint32_t> spans;
    const uint32_t count = 1 + random_() % 5;
    for (uint32_t i = 0; i < 2 * count; ++i) spans.push_back(random_() % (room + 1));
    if (sorted) {
      std::sort(spans.begin(), spans.end());
    } else {
      for (uint32_t i = 0; i < count; ++i) {
        if (spans[2 * i] > spans[2 * i + 1]) std::swap(spans[2 * i], spans[2 * i + 1]);
      }
    }
    Bytes bits = Bits(plain_.stride());
    const auto words = static_cast<uint32_t>(spans.size());
    EXPECT_EQ(K_PutBitmapRowSegments(compressed_.get(), bits.data(), row, shift, spans.data(), words, 0),
              K_SUCCESS);
    EXPECT_EQ(K_PutBitmapRowSegments(plain_.get(), bits.data(), row, shift, spans.data(), words, 0),
              K_SUCCESS);
    return std::string(sorted ? "sorted" : "unsorted") + " segments at " + std::to_string(shift) +
           " in row " + std::to_string(row);
  }

  std::string PackedRow(uint32_t row) {
    Bytes bits = Bits(plain_.stride());
    Bytes packed(4 + 2 * (width_ + 1));
    K_CompressRow(packed.data(), bits.data(), 0, width_);
    EXPECT_EQ(K_PutBitmapRowCompressed(compressed_.get(), nullptr, packed.data(), row, 1), K_SUCCESS);
    K_PutBitmapRow(plain_.get(), bits.data(), row, plain_.stride());
    return "packed row " + std::to_string(row);
  }

  Bitmap compressed_, plain_;
  uint32_t width_, height_;
  std::mt19937 random_;
};

TEST(CompressedBitmap, RandomWritesMatchAPlainBitmap) {
  // Narrow and wide rows, both sides of one run's limit, 10,000 steps.
  const uint32_t widths[] = {1, 7, 9, 64, 333, 4099, 32768, 65535, 65536, 70000};
  std::mt19937 random(2024);
  int steps = 0;
  for (uint32_t width : widths) {
    for (int round = 0; round < 2; ++round) {
      const uint32_t w = round == 0 ? width : 1 + random() % 70000;
      RandomWriter writer(w, 1 + random() % 6, random());
      ASSERT_TRUE(writer.Ready());
      for (int i = 0; i < 500; ++i, ++steps) {
        const std::string step = writer.Step();
        writer.ExpectSame(step);
        if (i % 10 == 0) writer.ExpectSameRuns(step);
        if (::testing::Test::HasFatalFailure()) return;
      }
    }
  }
  EXPECT_EQ(steps, 10000);
}

}  // namespace
