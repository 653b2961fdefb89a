// Run lists: the exported run buffers against a bit-by-bit reference on
// random rows, the split rule, mirror and flip.
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <vector>

#include "core/runs.h"
#include "kestraster.h"

namespace {

using Runs = std::vector<uint32_t>;

// The reference: one pixel at a time, then the split of long runs.
Runs ReferenceRuns(const std::vector<uint8_t> &row, uint64_t startBit, uint64_t pixels) {
  Runs plain{0};
  uint32_t colour = 0;
  for (uint64_t i = 0; i < pixels; ++i) {
    const uint64_t bit = startBit + i;
    const uint32_t value = (row[bit >> 3] >> (7 - (bit & 7))) & 1;
    if (value != colour) {
      plain.push_back(0);
      colour = value;
    }
    ++plain.back();
  }
  Runs split;
  for (uint32_t run : plain) {
    while (run > 65535) {
      split.push_back(65535);
      split.push_back(0);
      run -= 65535;
    }
    split.push_back(run);
  }
  return split;
}

// A packed row as numbers.
Runs Unpack(const uint8_t *packed) {
  Runs runs(kest::runs::LoadCount(packed));
  for (size_t i = 0; i < runs.size(); ++i) runs[i] = kest::runs::LoadRun(packed + 4, i);
  return runs;
}

std::vector<uint8_t> Pack(const Runs &runs) {
  std::vector<uint8_t> packed(4 + 2 * runs.size());
  kest::runs::StoreCount(packed.data(), static_cast<uint32_t>(runs.size()));
  for (size_t i = 0; i < runs.size(); ++i) kest::runs::StoreRun(packed.data() + 4, i, runs[i]);
  return packed;
}

// Rows of runs of mixed lengths: single pixels, words, and long stretches.
std::vector<uint8_t> RandomRow(size_t bytes, std::mt19937 &random) {
  std::vector<uint8_t> row(bytes);
  uint64_t bit = 0;
  uint32_t colour = random() & 1;
  while (bit < 8 * bytes) {
    const uint32_t kind = random() % 10;
    const uint64_t length = kind < 5 ? 1 + random() % 8 : kind < 8 ? 1 + random() % 200
                                                                   : 1 + random() % 90000;
    for (uint64_t i = 0; i < length && bit < 8 * bytes; ++i, ++bit) {
      if (colour) row[bit >> 3] |= static_cast<uint8_t>(0x80 >> (bit & 7));
    }
    colour ^= 1;
  }
  return row;
}

TEST(CompressRow, KnownRows) {
  struct Case {
    const char *what;
    std::vector<uint8_t> row;
    uint32_t startBit, pixels;
    Runs runs;
  };
  const Case cases[] = {
      {"all ones is an empty run 0 and the width", {0xFF, 0xFF}, 0, 13, {0, 13}},
      {"blank is one run", {0, 0, 0}, 0, 20, {20}},
      {"pixels start after startBit & 7", {0x1F, 0x80}, 3, 6, {0, 6}},
      {"startBit above 7 counts only its low bits", {0x1F, 0x80}, 11, 6, {0, 6}},
      {"the tail byte is cut", {0xF0, 0xFF}, 0, 10, {0, 4, 4, 2}},
      {"within one byte", {0x5A}, 2, 4, {1, 2, 1}},
  };
  for (const Case &c : cases) {
    std::vector<uint8_t> row = c.row, packed(4 + 2 * (c.pixels + 1));
    EXPECT_EQ(K_CompressRow(packed.data(), row.data(), c.startBit, c.pixels),
              static_cast<int32_t>(c.pixels)) << c.what;
    EXPECT_EQ(Unpack(packed.data()), c.runs) << c.what;
    EXPECT_EQ(row, c.row) << c.what << ": the caller's bytes are left as they were";
  }
}

TEST(CompressRow, LongRunsSplitAt65535) {
  struct Case {
    uint32_t zeros, ones;
    Runs runs;
  };
  const Case cases[] = {
      {70000, 0, {65535, 0, 4465}},
      {65535, 0, {65535}},
      {65536, 0, {65535, 0, 1}},
      {131070, 8, {65535, 0, 65535, 8}},
      {0, 70000, {0, 65535, 0, 4465}},
      {8, 65536, {8, 65535, 0, 1}},
  };
  for (const Case &c : cases) {
    const uint32_t pixels = c.zeros + c.ones;
    std::vector<uint8_t> row((pixels + 7) / 8), packed(4 + 2 * (pixels + 1));
    for (uint32_t i = c.zeros; i < pixels; ++i) row[i >> 3] |= static_cast<uint8_t>(0x80 >> (i & 7));
    K_CompressRow(packed.data(), row.data(), 0, pixels);
    EXPECT_EQ(Unpack(packed.data()), c.runs) << c.zeros << " zeros, " << c.ones << " ones";
    std::vector<uint8_t> back(row.size(), 0xA5);
    K_ExpandRow(packed.data(), back.data(), 0, static_cast<int32_t>(pixels));
    EXPECT_EQ(back, row);
  }
}

TEST(CompressRow, MatchesTheReferenceOnRandomRows) {
  std::mt19937 random(11);
  for (int trial = 0; trial < 300; ++trial) {
    const size_t bytes = 1 + random() % (trial % 10 == 0 ? 30000 : 300);
    const std::vector<uint8_t> row = RandomRow(bytes, random);
    const uint32_t startBit = random() % std::min<size_t>(8 * bytes, 64);
    const uint32_t pixels = random() % (8 * bytes - startBit) + 1;
    std::vector<uint8_t> packed(4 + 2 * (pixels + 1));
    std::vector<uint8_t> source = row;
    K_CompressRow(packed.data(), source.data() + startBit / 8, startBit, pixels);
    ASSERT_EQ(Unpack(packed.data()), ReferenceRuns(row, startBit, pixels)) << "trial " << trial;

    // Expanding any stretch gives those bits from bit 7 of byte 0.
    const uint32_t from = random() % pixels, count = 1 + random() % (pixels - from);
    std::vector<uint8_t> out((count + 7) / 8 + 1, 0xCC);
    ASSERT_EQ(K_ExpandRow(packed.data(), out.data(), from, static_cast<int32_t>(count)), K_SUCCESS);
    for (uint32_t i = 0; i < count; ++i) {
      const uint64_t bit = startBit + from + i;
      ASSERT_EQ((out[i >> 3] >> (7 - (i & 7))) & 1, (row[bit >> 3] >> (7 - (bit & 7))) & 1)
          << "trial " << trial << " pixel " << i;
    }
    EXPECT_EQ(out[(count - 1) / 8] & (0xFF >> (((count - 1) & 7) + 1)), 0) << "tail bits cleared";
    EXPECT_EQ(out.back(), 0xCC) << "nothing written past (count + 7) / 8 bytes";
  }
}

TEST(CompressRows, RoundTripOfABufferOfRows) {
  std::mt19937 random(5);
  for (uint32_t width : {1u, 31u, 32u, 33u, 1000u, 70001u}) {
    const uint32_t rows = 5;
    const size_t stride = ((width + 31) >> 3) & ~size_t{3};
    std::vector<uint8_t> image = RandomRow(stride * rows, random), packed(rows * (4 + 2 * (width + 1)));
    ASSERT_EQ(K_CompressRows(packed.data(), image.data(), width, rows), K_SUCCESS);
    std::vector<uint8_t> back(image.size(), 0);
    ASSERT_EQ(K_ExpandRows(packed.data(), back.data(), width, rows), K_SUCCESS);
    const uint8_t *row = packed.data();
    for (uint32_t y = 0; y < rows; ++y) {
      const std::vector<uint8_t> one(image.begin() + y * stride, image.begin() + (y + 1) * stride);
      EXPECT_EQ(Unpack(row), ReferenceRuns(one, 0, width)) << width << " row " << y;
      row += kest::runs::PackedBytes(row);
      for (uint32_t x = 0; x < width; ++x) {
        const size_t at = y * stride + x / 8;
        ASSERT_EQ((back[at] ^ image[at]) & (0x80 >> (x & 7)), 0) << width << " row " << y;
      }
    }
  }
}

TEST(MirrorCompressedBuffer, ReversesEachRowKeepingTheColours) {
  struct Case {
    Runs in, out;
  };
  const Case cases[] = {
      {{3, 5}, {0, 5, 3}},        // ends on 1 pixels: an empty run 0 in front
      {{0, 4, 2}, {2, 4}},        // starts with 1 pixels: the empty run 0 goes
      {{0, 5}, {0, 5}},
      {{7}, {7}},
      {{2, 3, 4}, {4, 3, 2}},
      {{65535, 0, 4465}, {4465, 0, 65535}},
  };
  std::vector<uint8_t> source, expected;
  for (const Case &c : cases) {
    const auto in = Pack(c.in), out = Pack(c.out);
    source.insert(source.end(), in.begin(), in.end());
    expected.insert(expected.end(), out.begin(), out.end());
  }
  std::vector<uint8_t> mirrored(expected.size() + 16, 0xEE);
  ASSERT_EQ(K_MirrorCompressedBuffer(source.data(), mirrored.data(), std::size(cases)), K_SUCCESS);
  EXPECT_EQ(std::vector<uint8_t>(mirrored.begin(), mirrored.begin() + expected.size()), expected);
  EXPECT_EQ(mirrored[expected.size()], 0xEE);
}

TEST(FlipCompressedBuffer, ReversesTheRowOrder) {
  const Runs rows[] = {{3, 5}, {0, 4, 2, 2}, {8}};
  std::vector<uint8_t> source, expected;
  for (const Runs &row : rows) {
    const auto packed = Pack(row);
    source.insert(source.end(), packed.begin(), packed.end());
    expected.insert(expected.begin(), packed.begin(), packed.end());
  }
  std::vector<uint8_t> flipped(source.size());
  ASSERT_EQ(K_FlipCompressedBuffer(source.data(), flipped.data(), 3), K_SUCCESS);
  EXPECT_EQ(flipped, expected);
}

TEST(RunBuffers, NullPointersAndEmptyCounts) {
  uint8_t buffer[64] = {};
  EXPECT_EQ(K_CompressRow(nullptr, buffer, 0, 8), K_ERR_PARAMETER);
  EXPECT_EQ(K_CompressRow(buffer, nullptr, 0, 8), K_ERR_PARAMETER);
  EXPECT_EQ(K_CompressRows(nullptr, buffer, 8, 1), K_ERR_PARAMETER);
  EXPECT_EQ(K_ExpandRow(buffer, nullptr, 0, 8), K_ERR_PARAMETER);
  EXPECT_EQ(K_ExpandRows(nullptr, buffer, 8, 1), K_ERR_PARAMETER);
  EXPECT_EQ(K_MirrorCompressedBuffer(buffer, nullptr, 1), K_ERR_PARAMETER);
  EXPECT_EQ(K_FlipCompressedBuffer(nullptr, buffer, 1), K_ERR_PARAMETER);
  EXPECT_EQ(K_CompressRows(buffer, buffer, 8, 0), K_SUCCESS);
  EXPECT_EQ(K_ExpandRows(buffer, buffer, 8, 0), K_SUCCESS);
  EXPECT_EQ(K_MirrorCompressedBuffer(buffer, buffer + 32, 0), K_SUCCESS);
}

}  // namespace
