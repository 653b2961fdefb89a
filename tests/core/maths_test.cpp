// Fixed-point sine and cosine, the integer root and the bit-count table.
#include <gtest/gtest.h>

#include <cmath>

#include "kestraster.h"

namespace {

TEST(SineTable, QuadrantValues) {
  EXPECT_EQ(K_SinValue(0), 0);
  EXPECT_EQ(K_SinValue(9000), 16384);
  EXPECT_EQ(K_SinValue(18000), 0);
  EXPECT_EQ(K_SinValue(27000), -16384);
  EXPECT_EQ(K_CosValue(0), 16384);
  EXPECT_EQ(K_CosValue(9000), 0);
  EXPECT_EQ(K_CosValue(18000), -16384);
  EXPECT_EQ(K_CosValue(36000), 16384);
  EXPECT_EQ(K_SinValue(1), 3);  // the table begins 0, 3, 6
  EXPECT_EQ(K_SinValue(2), 6);
  EXPECT_EQ(K_SinValue(3000), 8192);  // sin 30 degrees is one half exactly
}

TEST(SineTable, EveryAngleIsTheRoundedSine) {
  for (int angle = 0; angle <= 36000; ++angle) {
    const double radians = angle * 3.14159265358979323846 / 18000.0;
    const double sine = std::sin(radians) * 16384.0, cosine = std::cos(radians) * 16384.0;
    ASSERT_LE(std::fabs(K_SinValue(angle) - sine), 0.5 + 1e-6) << angle;
    ASSERT_LE(std::fabs(K_CosValue(angle) - cosine), 0.5 + 1e-6) << angle;
  }
}

TEST(IntegerRoot, StopRuleGivesItsOwnResults) {
  struct Case {
    uint32_t value, root;
  };
  // Worked by hand through the guess, quotient and half steps.
  const Case cases[] = {{0, 0}, {1, 1}, {2, 1}, {3, 1},   {4, 2},     {8, 2},
                        {9, 3}, {15, 3}, {16, 4}, {24, 4}, {10000, 100}, {65536, 256}};
  for (const Case &c : cases) EXPECT_EQ(K_SQRT(c.value), c.root) << c.value;
}

TEST(IntegerRoot, StaysWithinOneOfTheTrueRootOverTheWholeRange) {
  for (uint64_t value = 4; value <= 0xFFFFFFFFull; value = value * 3 / 2 + 7) {
    const double root = std::floor(std::sqrt(static_cast<double>(value)));
    const double got = K_SQRT(static_cast<uint32_t>(value));
    ASSERT_LE(std::fabs(got - root), 1.0) << value;
  }
  EXPECT_LE(std::fabs(K_SQRT(0xFFFFFFFFu) - 65535.0), 1.0);
}

TEST(BitCountTable, EveryByte) {
  const uint8_t *table = K_Get1BitOnTable();
  ASSERT_NE(table, nullptr);
  for (int value = 0; value < 256; ++value) {
    int bits = 0;
    for (int bit = 0; bit < 8; ++bit) bits += (value >> bit) & 1;
    EXPECT_EQ(table[value], bits) << value;
  }
}

}  // namespace
