// The nearest-colour rule and the user match table.
#include <gtest/gtest.h>

#include <random>

#include "color/match.h"
#include "color/palette_support.h"
#include "kestraster.h"
#include "support/test_support.h"

namespace {

using kest::test::FailingAllocation;
using kest::test::Palette;

TEST(FindPaletteIndex, ShortCutsTiesAndTheEarlyStop) {
  // Target 646464 is of channel-order class 0; 5A6464 (red below blue) is of
  // class 4, 6E6464 and 64645A of class 0. All three are 10 away.
  struct Case {
    const char *name;
    std::vector<RGBQUAD> palette;
    uint32_t target;
    int32_t expected;
  };
  const Case cases[] = {
      {"black at both ends: the first", Palette({0x000000, 0x808080, 0x000000}), 0x000000, 0},
      {"black at the end only", Palette({0x010101, 0x000000, 0x000000}), 0x000000, 2},
      {"white at both ends: the last", Palette({0xFFFFFF, 0x808080, 0xFFFFFF}), 0xFFFFFF, 2},
      {"white at the start only", Palette({0xFFFFFF, 0xFFFFFF, 0xFEFEFE}), 0xFFFFFF, 0},
      {"black inside only: the scan", Palette({0x808080, 0x000000, 0x000000, 0x404040}),
       0x000000, 1},
      {"later tie of the target's class wins", Palette({0x5A6464, 0x6E6464}), 0x646464, 1},
      {"later tie of another class does not", Palette({0x6E6464, 0x5A6464}), 0x646464, 0},
      {"the last tie of the target's class", Palette({0x6E6464, 0x5A6464, 0x64645A, 0x5A6464}),
       0x646464, 2},
      {"repeated nearest of the target's class: the last",
       Palette({0x6E6464, 0x656464, 0x656464}), 0x646464, 2},
      {"repeated nearest of another class: the first", Palette({0x6E6464, 0x636464, 0x636464}),
       0x646464, 1},
      {"an exact match stops the scan", Palette({0x6E6464, 0x646464, 0x646464}), 0x646464, 1},
  };
  for (const Case &c : cases) {
    const RGBQUAD target = kest::test::Quad(c.target);
    EXPECT_EQ(K_FindPaletteIndex(c.palette.data(), static_cast<uint32_t>(c.palette.size()),
                                 target.rgbRed, target.rgbGreen, target.rgbBlue),
              c.expected)
        << c.name;
  }
  const std::vector<RGBQUAD> some = Palette({0x808080});
  EXPECT_EQ(K_FindPaletteIndex(some.data(), 0, 10, 20, 30), -1);
  EXPECT_EQ(K_FindPaletteIndex(nullptr, 1, 10, 20, 30), 0);
}

TEST(MatchTable, CellsAreIndexedRedHighestAndProbedWithoutLowBits) {
  // The top cell probes 248, which is nearer F4F4F4 than FFFFFF.
  const std::vector<RGBQUAD> palette = Palette({0xFF0000, 0x0000FF, 0xFFFFFF, 0xF4F4F4});
  uint32_t *table = K_CreateUserMatchTable(palette.data(), 4);
  ASSERT_NE(table, nullptr);
  EXPECT_EQ(table[31u << 10], 1u);
  EXPECT_EQ(table[31u], 2u);
  EXPECT_EQ(table[kest::MatchCell(255, 255, 255)], 4u);
  EXPECT_EQ(K_FreeUserMatchTable(table), K_SUCCESS);

  uint32_t *empty = K_CreateUserMatchTable(palette.data(), 0);
  ASSERT_NE(empty, nullptr);
  for (uint32_t cell = 0; cell < kest::kMatchTableCells; ++cell) ASSERT_EQ(empty[cell], 0u);
  K_FreeUserMatchTable(empty);

  EXPECT_EQ(K_CreateUserMatchTable(nullptr, 4), nullptr);
  EXPECT_EQ(K_FreeUserMatchTable(nullptr), K_SUCCESS);
  for (int n : {1, 2}) {  // the table, then the working memory
    FailingAllocation fail(n);
    EXPECT_EQ(K_CreateUserMatchTable(palette.data(), 4), nullptr) << n;
  }
}

// Palettes that stress the matcher's rules: plain random ones; ones on a
// lattice midway between probe levels, where many entries tie; ones drawn
// from a small pool, so entries repeat; and ones on the probe levels
// themselves, with black and white at the ends, so exact matches and the
// short cuts come up.
std::vector<RGBQUAD> RandomPalette(std::mt19937 &random, int kind, uint32_t count) {
  std::uniform_int_distribution<int> byte(0, 255), step(0, 31), coin(0, 1);
  auto channel = [&]() -> uint8_t {
    switch (kind) {
      case 1: return static_cast<uint8_t>(step(random) * 8 + 4);
      case 3: return static_cast<uint8_t>(step(random) * 8);
      default: return static_cast<uint8_t>(byte(random));
    }
  };
  std::vector<RGBQUAD> pool(kind == 2 ? std::max(1u, count / 4) : count);
  for (RGBQUAD &entry : pool) entry = RGBQUAD{channel(), channel(), channel(), 0};
  std::vector<RGBQUAD> palette(count);
  std::uniform_int_distribution<size_t> pick(0, pool.size() - 1);
  for (uint32_t i = 0; i < count; ++i) palette[i] = kind == 2 ? pool[pick(random)] : pool[i];
  if (kind == 3) {
    palette.front() = coin(random) ? RGBQUAD{0, 0, 0, 0} : RGBQUAD{255, 255, 255, 0};
    palette.back() = coin(random) ? RGBQUAD{0, 0, 0, 0} : RGBQUAD{255, 255, 255, 0};
  }
  return palette;
}

TEST(MatchTable, FastFillGivesTheMatchersAnswerForEveryCell) {
  std::mt19937 random(20240611);
  std::uniform_int_distribution<uint32_t> size(2, 256);
  std::vector<uint32_t> plain(kest::kMatchTableCells);
  int tiesDecidedByClass = 0;
  for (int n = 0; n < 200; ++n) {
    const int kind = n % 4;
    const uint32_t count = n < 4 ? (n < 2 ? 2 : 256) : size(random);
    const std::vector<RGBQUAD> palette = RandomPalette(random, kind, count);
    for (uint32_t cell = 0; cell < kest::kMatchTableCells; ++cell) {
      const int32_t red = kest::ProbeLevel(cell >> 10), green = kest::ProbeLevel((cell >> 5) & 31),
                    blue = kest::ProbeLevel(cell & 31);
      plain[cell] = static_cast<uint32_t>(
          K_FindPaletteIndex(palette.data(), count, red, green, blue) + 1);
    }
    uint32_t *table = K_CreateUserMatchTable(palette.data(), count);
    ASSERT_NE(table, nullptr);
    for (uint32_t cell = 0; cell < kest::kMatchTableCells; ++cell) {
      ASSERT_EQ(table[cell], plain[cell])
          << "palette " << n << " (kind " << kind << ", " << count << " entries), cell " << cell;
    }
    K_FreeUserMatchTable(table);
    // Count the cells where a tie went past the first nearest entry, to be
    // sure the palettes exercise the tie rule at all.
    for (uint32_t cell = 1; cell < kest::kMatchTableCells; cell += 97) {
      const int32_t red = kest::ProbeLevel(cell >> 10), green = kest::ProbeLevel((cell >> 5) & 31),
                    blue = kest::ProbeLevel(cell & 31);
      uint32_t best = UINT32_MAX, first = 0;
      for (uint32_t i = 0; i < count; ++i) {
        const int dr = palette[i].rgbRed - red, dg = palette[i].rgbGreen - green,
                  db = palette[i].rgbBlue - blue;
        const auto distance = static_cast<uint32_t>(dr * dr + dg * dg + db * db);
        if (distance < best) best = distance, first = i + 1;
      }
      if (first != plain[cell]) ++tiesDecidedByClass;
    }
  }
  EXPECT_GT(tiesDecidedByClass, 100);
}

}  // namespace
