// Row access: packing, the row cursor, transfers on every linear kind,
// pixel bytes and row segments.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <vector>

#include "core/bitmap.h"
#include "core/files.h"
#include "core/os/os.h"
#include "core/rows.h"
#include "kestraster.h"
#include "support/test_support.h"

namespace {

using kest::ColumnToByte;
using kest::test::TempDirectorySetting;
using kest::test::TempFolder;

const int32_t kAllDepths[] = {1, 2, 3, 4, 5, 6, 7, 8, 12, 16, 24, 32, 48, 64};

TEST(ColumnToByte, PackingOfEveryDepth) {
  struct Case {
    int32_t bits;
    size_t x, byte;
  };
  const Case cases[] = {{1, 15, 1},   {2, 7, 1},    {3, 3, 1},    {3, 2, 0},  {4, 5, 2},
                        {5, 3, 1},    {5, 5, 3},    {6, 3, 2},    {7, 7, 6},  {8, 9, 9},
                        {12, 3, 4},   {12, 4, 6},   {16, 3, 6},   {24, 3, 9}, {32, 3, 12},
                        {48, 3, 18},  {64, 3, 24},  {9, 77, 77},  {0, 5, 5}};
  for (const Case &c : cases) EXPECT_EQ(ColumnToByte(c.bits, c.x), c.byte) << c.bits << "@" << c.x;
}

// A bitmap of each linear kind.
enum class Kind { Conventional, User, Disk, GlobalBlock };

class LinearBitmap {
 public:
  LinearBitmap(Kind kind, int32_t width, int32_t height, int32_t bits) : temp_(folder_.path()) {
    switch (kind) {
      case Kind::Conventional: Create(MEMORY_TYPE_CONV, width, height, bits); break;
      case Kind::Disk: Create(MEMORY_TYPE_DISK, width, height, bits); break;
      case Kind::User:
        K_InitBitmap(&bitmap_, RASTERBITMAP_SIZE, width, height, bits);
        user_.assign(bitmap_.BitmapSize, 0);
        K_CreateBitmap(&bitmap_, RASTERBITMAP_SIZE, MEMORY_TYPE_USER, width, height, bits, 1,
                       nullptr, 0, user_.data(), static_cast<uint32_t>(user_.size()));
        break;
      case Kind::GlobalBlock:
        K_InitBitmap(&bitmap_, RASTERBITMAP_SIZE, width, height, bits);
        bitmap_.MemoryHandle = kest::os::GlobalAlloc(kest::os::kGmemMoveable | kest::os::kGmemZeroInit,
                                                     bitmap_.BitmapSize);
        bitmap_.BitmapFlags = RBF_ALLOCATED | RBF_CONVENTIONAL | RBF_GLOBAL_BLOCK;
        break;
    }
  }
  ~LinearBitmap() { K_FreeBitmap(&bitmap_); }
  RASTERBITMAP *get() { return &bitmap_; }

 private:
  void Create(uint32_t type, int32_t width, int32_t height, int32_t bits) {
    EXPECT_EQ(K_CreateBitmap(&bitmap_, RASTERBITMAP_SIZE, type, width, height, bits, 1, nullptr, 0,
                             nullptr, 0), K_SUCCESS);
  }
  TempFolder folder_;
  TempDirectorySetting temp_;
  RASTERBITMAP bitmap_{};
  std::vector<uint8_t> user_;
};

std::vector<uint8_t> RandomBytes(size_t size, std::mt19937 &random) {
  std::vector<uint8_t> bytes(size);
  for (auto &byte : bytes) byte = static_cast<uint8_t>(random());
  return bytes;
}

class RowsOnEveryKind : public ::testing::TestWithParam<Kind> {};

TEST_P(RowsOnEveryKind, RowsComeBackInAnyOrderOfAccess) {
  std::mt19937 random(7);
  LinearBitmap holder(GetParam(), 37, 23, 24);
  RASTERBITMAP *bitmap = holder.get();
  kest::BitmapLock lock(bitmap);
  const uint32_t stride = bitmap->BitmapBytesPerLine;
  std::vector<std::vector<uint8_t>> rows;
  // Bottom to top, so the cursor walks down by subtraction.
  for (int32_t r = 0; r < 23; ++r) rows.push_back(RandomBytes(stride, random));
  for (int32_t r = 22; r >= 0; --r) {
    ASSERT_EQ(K_PutBitmapRow(bitmap, rows[r].data(), r, stride), static_cast<int32_t>(stride));
  }
  std::vector<uint8_t> got(2 * stride);
  for (int i = 0; i < 200; ++i) {
    const uint32_t r = random() % 23;
    ASSERT_EQ(K_GetBitmapRow(bitmap, got.data(), r, stride), static_cast<int32_t>(stride));
    ASSERT_EQ(std::memcmp(got.data(), rows[r].data(), stride), 0) << "row " << r;
    EXPECT_EQ(bitmap->RowCursorRow, r);
    EXPECT_EQ(bitmap->RowCursorOffset, size_t{stride} * r);
  }
  // A count past the row's end reads on into the next row.
  ASSERT_EQ(K_GetBitmapRow(bitmap, got.data(), 4, 2 * stride), static_cast<int32_t>(2 * stride));
  EXPECT_EQ(std::memcmp(got.data() + stride, rows[5].data(), stride), 0);
  // Columns start at their byte.
  ASSERT_EQ(K_GetBitmapRowCol(bitmap, got.data(), 9, 5, 6), 6);
  EXPECT_EQ(std::memcmp(got.data(), rows[9].data() + 15, 6), 0);
  std::vector<uint8_t> pixel = {1, 2, 3};
  ASSERT_EQ(K_PutBitmapRowCol(bitmap, pixel.data(), 9, 36, 3), 3);
  ASSERT_EQ(K_GetBitmapRow(bitmap, got.data(), 9, stride), static_cast<int32_t>(stride));
  EXPECT_EQ(std::memcmp(got.data() + 108, pixel.data(), 3), 0);
}

TEST_P(RowsOnEveryKind, GetAndPutShareTheCursor) {
  LinearBitmap holder(GetParam(), 8, 10, 8);
  RASTERBITMAP *bitmap = holder.get();
  kest::BitmapLock lock(bitmap);
  uint8_t row[8] = {};
  K_GetBitmapRow(bitmap, row, 6, 8);
  std::fill(row, row + 8, 0x77);
  K_PutBitmapRow(bitmap, row, 7, 8);
  EXPECT_EQ(bitmap->RowCursorRow, 7u);
  EXPECT_EQ(bitmap->RowCursorOffset, 56u);
  uint8_t back[8] = {};
  K_GetBitmapRow(bitmap, back, 7, 8);
  EXPECT_EQ(back[7], 0x77);
}

INSTANTIATE_TEST_SUITE_P(Kinds, RowsOnEveryKind,
                         ::testing::Values(Kind::Conventional, Kind::User, Kind::Disk,
                                           Kind::GlobalBlock));

TEST(Rows, RefusalsAndFailures) {
  uint8_t row[64] = {};
  RASTERBITMAP bitmap;
  ASSERT_EQ(K_CreateBitmap(&bitmap, RASTERBITMAP_SIZE, MEMORY_TYPE_CONV, 4, 4, 8, 0, nullptr, 0,
                           nullptr, 0), K_SUCCESS);
  EXPECT_EQ(K_GetBitmapRow(nullptr, row, 0, 4), K_ERR_PARAMETER);
  EXPECT_EQ(K_PutBitmapRow(&bitmap, nullptr, 0, 4), K_ERR_PARAMETER);
  EXPECT_EQ(K_GetBitmapRowCol(&bitmap, row, 0, 0, -1), K_ERR_PARAMETER);
  EXPECT_EQ(K_GetBitmapRow(&bitmap, row, 3, 5), K_ERR_WIDTH_HEIGHT) << "past the last pixel";
  EXPECT_EQ(K_GetBitmapRow(&bitmap, row, 4, 1), K_ERR_WIDTH_HEIGHT);
  EXPECT_EQ(K_GetBitmapRow(&bitmap, row, 3, 4), 4);
  bitmap.RecordSize = 0;
  EXPECT_EQ(K_GetBitmapRow(&bitmap, row, 0, 4), K_ERR_RECORD_SIZE);
  bitmap.RecordSize = RASTERBITMAP_SIZE;
  const uint32_t flags = bitmap.BitmapFlags;
  bitmap.BitmapFlags = RBF_ALLOCATED;
  EXPECT_EQ(K_GetBitmapRow(&bitmap, row, 0, 4), K_ERR_NOMEMORY) << "neither memory nor disk";
  bitmap.BitmapFlags = flags;
  K_FreeBitmap(&bitmap);

  ASSERT_EQ(K_CreateBitmap(&bitmap, RASTERBITMAP_SIZE, MEMORY_TYPE_USER, 4, 4, 8, 0, nullptr, 0,
                           nullptr, 0), K_SUCCESS);
  EXPECT_EQ(K_GetBitmapRow(&bitmap, row, 0, 4), K_ERR_BITMAP) << "no pixels attached";
  K_FreeBitmap(&bitmap);
}

TEST(Rows, DiskFailuresGiveTheirStatuses) {
  TempFolder folder;
  TempDirectorySetting temp(folder.path());
  RASTERBITMAP bitmap;
  ASSERT_EQ(K_CreateBitmap(&bitmap, RASTERBITMAP_SIZE, MEMORY_TYPE_DISK, 4, 4, 8, 0, nullptr, 0,
                           nullptr, 0), K_SUCCESS);
  HANDLE own = bitmap.MemoryHandle;
  uint8_t row[4] = {1, 2, 3, 4};

  const std::string readOnly = folder.File("ro.bin"), writeOnly = folder.File("wo.bin");
  kest::test::WriteFileBytes(readOnly, std::string(64, 'x'));
  kest::test::WriteFileBytes(writeOnly, std::string(64, 'x'));
  const int32_t reader = K_OsOpen(readOnly.c_str(), K_OPEN_READ, 0x180, 0);
  const int32_t writer = K_OsOpen(writeOnly.c_str(), K_OPEN_WRITE, 0x180, 0);
  bitmap.MemoryHandle = kest::FileAsHandle(reader);
  EXPECT_EQ(K_PutBitmapRow(&bitmap, row, 1, 4), K_ERR_WRITE);
  bitmap.MemoryHandle = kest::FileAsHandle(writer);
  EXPECT_EQ(K_GetBitmapRow(&bitmap, row, 2, 4), K_ERR_READ);
  bitmap.MemoryHandle = kest::FileAsHandle(-1);
  EXPECT_EQ(K_GetBitmapRow(&bitmap, row, 3, 4), K_ERR_SEEK);
  K_OsClose(reader, 0);
  K_OsClose(writer, 0);
  bitmap.MemoryHandle = own;
  EXPECT_EQ(K_PutBitmapRow(&bitmap, row, 2, 0), 0) << "an empty write moves nothing";
  EXPECT_EQ(K_GetBitmapRow(&bitmap, row, 3, 4), 4) << "and cuts nothing";
  K_FreeBitmap(&bitmap);
}

TEST(PixelBytes, CountsAndBytesOfEveryDepth) {
  struct Case {
    int32_t bits;
    uint32_t column;
    size_t count;
  };
  const Case cases[] = {{1, 9, 1},  {2, 3, 1},  {3, 2, 2},  {3, 1, 1},  {5, 1, 2},  {5, 3, 2},
                        {6, 1, 2},  {6, 2, 2},  {6, 0, 1},  {7, 1, 2},  {7, 7, 1},  {8, 3, 1},
                        {12, 3, 2}, {16, 1, 2}, {24, 1, 3}, {32, 1, 4}, {48, 1, 6}, {64, 1, 8}};
  for (const Case &c : cases) {
    EXPECT_EQ(kest::PixelByteCount(c.bits, c.column), c.count) << c.bits << "@" << c.column;
    LinearBitmap holder(Kind::Conventional, 20, 3, c.bits);
    RASTERBITMAP *bitmap = holder.get();
    std::vector<uint8_t> row(bitmap->BitmapBytesPerLine);
    for (size_t i = 0; i < row.size(); ++i) row[i] = static_cast<uint8_t>(i * 11 + 3);
    K_PutBitmapRow(bitmap, row.data(), 2, static_cast<uint32_t>(row.size()));
    uint8_t got[10];
    std::memset(got, 0xEE, sizeof got);
    ASSERT_EQ(kest::GetPixelBytes(bitmap, got, 2, c.column), K_SUCCESS);
    const size_t at = ColumnToByte(c.bits, c.column);
    EXPECT_EQ(std::memcmp(got, row.data() + at, c.count), 0) << c.bits;
    EXPECT_EQ(got[c.count], 0xEE) << "no more than the pixel's bytes";
  }
}

// Reference for segments: pixels are read and written one at a time, by
// their bit position.
uint64_t PixelAt(const uint8_t *row, int32_t bits, size_t x) {
  if (bits == 12) {
    const size_t at = ColumnToByte(12, x);
    const unsigned word = row[at] | (row[at + 1] << 8);
    return x % 2 == 0 ? (word & 0x0FFF) : (word >> 4);
  }
  if (bits < 8) {
    uint64_t value = 0;
    for (int b = 0; b < bits; ++b) {
      const size_t bit = x * bits + b;
      value = (value << 1) | ((row[bit / 8] >> (7 - bit % 8)) & 1);
    }
    return value;
  }
  uint64_t value = 0;
  std::memcpy(&value, row + x * (bits / 8), bits / 8);
  return value;
}

void SetPixel(uint8_t *row, int32_t bits, size_t x, uint64_t value) {
  if (bits == 12) {
    const size_t at = ColumnToByte(12, x);
    unsigned word = row[at] | (row[at + 1] << 8);
    word = x % 2 == 0 ? (word & 0xF000) | (value & 0x0FFF) : (word & 0x000F) | ((value & 0x0FFF) << 4);
    row[at] = static_cast<uint8_t>(word);
    row[at + 1] = static_cast<uint8_t>(word >> 8);
    return;
  }
  if (bits < 8) {
    for (int b = 0; b < bits; ++b) {
      const size_t bit = x * bits + b;
      const int set = (value >> (bits - 1 - b)) & 1;
      row[bit / 8] = static_cast<uint8_t>((row[bit / 8] & ~(0x80 >> (bit % 8))) | (set << (7 - bit % 8)));
    }
    return;
  }
  std::memcpy(row + x * (bits / 8), &value, bits / 8);
}

uint64_t KeptBits(int32_t bits, uint32_t order) {
  switch (bits) {
    case 16: return order == K_ORDER_GRAY ? 0 : 0x8000;
    case 32: return 0xFF000000u;
    case 64: return 0xFFFF000000000000ull;
    default: return 0;
  }
}

void ReferenceSegments(uint8_t *destination, const uint8_t *source, int32_t bits, uint32_t order,
                       size_t column, const std::vector<uint32_t> &segments, bool keepAlpha) {
  const uint64_t kept = keepAlpha ? KeptBits(bits, order) : 0;
  for (size_t i = 0; i + 1 < segments.size(); i += 2) {
    for (size_t x = segments[i]; x < segments[i + 1]; ++x) {
      // A 2-bit span that begins at the third pixel of a byte leaves the
      // fourth as it was.
      if (bits == 2 && segments[i] % 4 == 2 && x == segments[i] + 1) continue;
      const uint64_t old = PixelAt(destination, bits, column + x);
      SetPixel(destination, bits, column + x, (old & kept) | (PixelAt(source, bits, x) & ~kept));
    }
  }
}

// Sorted, disjoint spans inside [0, limit).
std::vector<uint32_t> RandomSpans(std::mt19937 &random, uint32_t limit) {
  std::vector<uint32_t> points;
  const int count = 2 * (1 + static_cast<int>(random() % 6));
  for (int i = 0; i < count; ++i) points.push_back(random() % (limit + 1));
  std::sort(points.begin(), points.end());
  return points;
}

class SegmentsOnKind : public ::testing::TestWithParam<Kind> {};

TEST_P(SegmentsOnKind, EveryDepthMatchesThePixelReference) {
  std::mt19937 random(11);
  for (int32_t bits : kAllDepths) {
    for (int trial = 0; trial < 12; ++trial) {
      const int32_t width = 40 + static_cast<int32_t>(random() % 60);
      LinearBitmap holder(GetParam(), width, 3, bits);
      RASTERBITMAP *bitmap = holder.get();
      kest::BitmapLock lock(bitmap);
      if (bits == 16 && trial % 2 == 1) bitmap->ColorOrder = K_ORDER_GRAY;
      const uint32_t stride = bitmap->BitmapBytesPerLine;
      std::vector<uint8_t> before = RandomBytes(stride, random), source = RandomBytes(stride, random);
      ASSERT_EQ(K_PutBitmapRow(bitmap, before.data(), 1, stride), static_cast<int32_t>(stride));
      // The column keeps the bit phase of the buffer: a whole number of bytes.
      const uint32_t phase = bits < 8 ? 8 : bits == 12 ? 2 : 1;
      const uint32_t column = phase * (random() % 3);
      std::vector<uint32_t> spans = RandomSpans(random, static_cast<uint32_t>(width) - column);
      const bool keepAlpha = trial % 3 == 0;
      std::vector<uint8_t> expected = before;
      ReferenceSegments(expected.data(), source.data(), bits, bitmap->ColorOrder, column, spans,
                        keepAlpha);
      ASSERT_EQ(K_PutBitmapRowSegments(bitmap, source.data(), 1, column, spans.data(),
                                       static_cast<uint32_t>(spans.size()), keepAlpha ? 1 : 0),
                K_SUCCESS);
      std::vector<uint8_t> got(stride);
      ASSERT_EQ(K_GetBitmapRow(bitmap, got.data(), 1, stride), static_cast<int32_t>(stride));
      ASSERT_EQ(got, expected) << bits << " bits, trial " << trial;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Kinds, SegmentsOnKind, ::testing::Values(Kind::Conventional, Kind::Disk));

TEST(Segments, QuirksAndRefusals) {
  LinearBitmap holder(Kind::Conventional, 16, 2, 2);
  RASTERBITMAP *bitmap = holder.get();
  uint8_t zero[4] = {}, ones[4] = {0xFF, 0xFF, 0xFF, 0xFF};
  K_PutBitmapRow(bitmap, zero, 0, 4);
  uint32_t span[2] = {2, 8};
  ASSERT_EQ(K_PutBitmapRowSegments(bitmap, ones, 0, 0, span, 2, 0), K_SUCCESS);
  uint8_t got[4];
  K_GetBitmapRow(bitmap, got, 0, 4);
  EXPECT_EQ(got[0], 0x0C) << "from pixel 2 the first byte takes pixel 2 only";
  EXPECT_EQ(got[1], 0xFF);

  EXPECT_EQ(K_PutBitmapRowSegments(bitmap, ones, 0, 0, span, 0, 0), K_SUCCESS);
  EXPECT_EQ(K_PutBitmapRowSegments(nullptr, ones, 0, 0, span, 2, 0), K_ERR_PARAMETER);
  EXPECT_EQ(K_PutBitmapRowSegments(bitmap, nullptr, 0, 0, span, 2, 0), K_ERR_PARAMETER);
  EXPECT_EQ(K_PutBitmapRowSegments(bitmap, ones, 0, 0, nullptr, 2, 0), K_ERR_PARAMETER);
  uint32_t outside[2] = {10, 17};
  EXPECT_EQ(K_PutBitmapRowSegments(bitmap, ones, 0, 0, outside, 2, 0), K_ERR_WIDTH_HEIGHT);
  EXPECT_EQ(K_PutBitmapRowSegments(bitmap, ones, 0, 12, span, 2, 0), K_ERR_WIDTH_HEIGHT);
  EXPECT_EQ(K_PutBitmapRowSegments(bitmap, ones, 2, 0, span, 2, 0), K_ERR_WIDTH_HEIGHT);
  bitmap->RecordSize = 0;
  EXPECT_EQ(K_PutBitmapRowSegments(bitmap, ones, 0, 0, span, 2, 0), K_ERR_RECORD_SIZE);
  bitmap->RecordSize = RASTERBITMAP_SIZE;
}

// Resident memory stays small while a large disk bitmap is written and read
// row by row: the rows go to the file, not to memory. Skipped without room.
TEST(DiskBitmap, TwoGigabytesInLittleMemory) {
  TempFolder folder;
  constexpr int32_t kWidth = 16384, kHeight = 43691;  // 24 bits: 49,152 bytes a row, 2 GiB
  const uint64_t needed = uint64_t{49152} * kHeight + (uint64_t{1} << 30);
  if (kest::test::FreeBytesAt(folder.path()) < needed) {
    GTEST_SKIP() << "the temporary directory has less than 3 GiB free";
  }
  TempDirectorySetting temp(folder.path());
  RASTERBITMAP bitmap;
  ASSERT_EQ(K_CreateBitmap(&bitmap, RASTERBITMAP_SIZE, MEMORY_TYPE_DISK, kWidth, kHeight, 24, 1,
                           nullptr, 0, nullptr, 0), K_SUCCESS);
  const uint32_t stride = bitmap.BitmapBytesPerLine;
  std::vector<uint8_t> row(stride);
  const size_t before = kest::test::ResidentBytes();
  for (int32_t r = 0; r < kHeight; ++r) {
    std::memset(row.data(), r & 0xFF, 64);
    ASSERT_EQ(K_PutBitmapRow(&bitmap, row.data(), r, stride), static_cast<int32_t>(stride));
  }
  uint64_t sum = 0;
  for (int32_t r = 0; r < kHeight; r += 1) {
    ASSERT_EQ(K_GetBitmapRow(&bitmap, row.data(), r, stride), static_cast<int32_t>(stride));
    sum += row[63];
  }
  const size_t after = kest::test::ResidentBytes();
  K_FreeBitmap(&bitmap);
  uint64_t expected = 0;
  for (int32_t r = 0; r < kHeight; ++r) expected += r & 0xFF;
  EXPECT_EQ(sum, expected);
  if (before != 0) {
    EXPECT_LT(after - std::min(after, before), size_t{64} << 20);
  }
}

}  // namespace
