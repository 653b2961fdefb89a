// Every pair of bit counts and orders, on random rows: the entry's path
// (a kernel where the table has one, in its plain and its shuffled form)
// gives the generic path's bytes, the bits past the row included; both
// equal the same conversion done out of place; and a refused combination
// writes nothing.
#include <gtest/gtest.h>

#include <random>
#include <set>
#include <vector>

#include "color/convert.h"
#include "color/convert_kernels.h"
#include "kestraster.h"

namespace {

using kest::convert::Plan;
using kest::convert::Request;

constexpr int32_t kBits[] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 12, 16, 24, 32, 48, 64};
constexpr uint32_t kOrders[] = {K_ORDER_RGB, K_ORDER_BGR, K_ORDER_GRAY, 3, K_ORDER_EXTENDED};

class Trial {
 public:
  explicit Trial(uint32_t seed) : random_(seed) {}

  int Pick(int from, int to) { return std::uniform_int_distribution<int>(from, to)(random_); }
  uint8_t Byte() { return static_cast<uint8_t>(Pick(0, 255)); }

  std::vector<RGBQUAD> Palette(size_t count) {
    std::vector<RGBQUAD> palette(count);
    for (RGBQUAD &entry : palette) entry = RGBQUAD{Byte(), Byte(), Byte(), Byte()};
    return palette;
  }

  // Widths of one pixel, of a few, near the ends of the kernels' groups of
  // 4 and 16 pixels and blocks of 256, and anything up to several blocks.
  int32_t Width() {
    switch (Pick(0, 5)) {
      case 0: return 1;
      case 1: return Pick(2, 20);
      case 2: return std::max(1, 16 * Pick(1, 40) + Pick(-2, 2));
      case 3: return 256 * Pick(1, 2) + Pick(-2, 2);
      default: return Pick(21, 700);
    }
  }

  // A window inside bits (sometimes outside, to be refused) as low, high.
  std::pair<int32_t, int32_t> Window(int32_t bits) {
    const int32_t top = std::max(bits, 1) - 1;
    int32_t low = Pick(-1, top), high = Pick(-1, top);
    if (low > high && high >= 0 && Pick(0, 3) != 0) std::swap(low, high);
    if (Pick(0, 15) == 0) high = top + 1;
    return {low, high};
  }

 private:
  std::mt19937 random_;
};

enum class Outcome { Same, Differs, Refused };

// One row of random bytes, and random bytes beyond it that must survive,
// through the entry and through the generic path.
Outcome Compare(Trial &trial, const Request &r,
                std::set<kest::convert::KernelFunction> &kernelsSeen) {
  const uint32_t size = K_CalcConvertSize(static_cast<uint32_t>(r.width),
                                          static_cast<uint32_t>(r.sourceBits),
                                          static_cast<uint32_t>(r.width),
                                          static_cast<uint32_t>(r.targetBits)) + 8;
  std::vector<uint8_t> generic(size);
  for (uint8_t &byte : generic) byte = trial.Byte();
  std::vector<uint8_t> entry = generic;
  const std::vector<uint8_t> before = generic;

  Plan plan;
  const int32_t planned = kest::convert::MakePlan(r, plan);
  const int32_t status = K_ConvertBufferExt(entry.data(), r.width, r.sourceBits, r.targetBits,
                                            r.sourceOrder, r.targetOrder, r.sourcePalette,
                                            r.targetPalette, r.flags, r.lowBit, r.highBit);
  if (status != planned) return Outcome::Differs;
  if (planned != K_SUCCESS) {
    return status == K_ERR_PARAMETER && entry == before ? Outcome::Refused : Outcome::Differs;
  }
  if (!plan.unchanged) {
    kest::convert::ConvertGeneric(generic.data(), plan);
    if (const auto kernel = kest::convert::FindKernel(plan)) kernelsSeen.insert(kernel);
  }
  // Out of place: each pixel read from the untouched row and written over
  // the old bytes. Working in place must come to the same, and a conversion
  // the entry leaves alone must leave the row as this does.
  std::vector<uint8_t> apart = before;
  for (size_t x = 0; x < plan.width; ++x) {
    const uint64_t field = kest::convert::LoadField(r.sourceBits, before.data(), x);
    kest::convert::StoreField(r.targetBits, apart.data(), x,
                              kest::convert::Encode(plan, kest::convert::Decode(plan, field)));
  }
  return entry == generic && generic == apart ? Outcome::Same : Outcome::Differs;
}

TEST(ConvertRandom, EntryPathGivesTheGenericBytes) {
  Trial trial(20240611);
  std::set<kest::convert::KernelFunction> kernelsSeen;
  int converted = 0, refused = 0;
  const std::vector<RGBQUAD> widePalette = trial.Palette(65536);
  for (int32_t sourceBits : kBits) {
    for (int32_t targetBits : kBits) {
      for (uint32_t sourceOrder : kOrders) {
        for (uint32_t targetOrder : kOrders) {
          for (int round = 0; round < 4; ++round) {
            // Every other round with the plain-loop kernels only.
            kest::convert::testing::UseShuffledKernels(round % 2 == 0);
            Request r;
            r.width = trial.Width();
            r.sourceBits = sourceBits;
            r.targetBits = targetBits;
            r.sourceOrder = sourceOrder;
            r.targetOrder = targetOrder;
            r.flags = static_cast<uint32_t>(trial.Pick(0, 1) * CONVERT_ALPHA_VALUE |
                                            trial.Pick(0, 1) * CONVERT_ALPHA_OPAQUE);
            switch (trial.Pick(0, 3)) {
              case 0: {
                r.flags |= CONVERT_SOURCE_WINDOW;
                std::tie(r.lowBit, r.highBit) = trial.Window(sourceBits);
                break;
              }
              case 1: {
                r.flags |= CONVERT_TARGET_WINDOW;
                std::tie(r.lowBit, r.highBit) = trial.Window(targetBits);
                break;
              }
              default: break;
            }
            // Source palettes: 2^bits entries, so that a gray index of 12 or
            // 16 bits finds one; sometimes none, for the fixed palettes.
            std::vector<RGBQUAD> sourcePalette = trial.Palette(256);
            std::vector<RGBQUAD> targetPalette = trial.Palette(256);
            if (trial.Pick(0, 3) == 0) {
              // A target palette that begins with the source's: the index map
              // is the identity.
              std::copy(sourcePalette.begin(), sourcePalette.begin() + 256, targetPalette.begin());
            }
            r.sourcePalette = trial.Pick(0, 2) == 0 ? nullptr
                              : sourceBits == 12 || sourceBits == 16 ? widePalette.data()
                                                                     : sourcePalette.data();
            r.targetPalette = trial.Pick(0, 2) == 0 ? nullptr : targetPalette.data();

            Plan plan;
            const int32_t planned = kest::convert::MakePlan(r, plan);
            // Formats that have a kernel are tried on more widths.
            const bool kernel = planned == K_SUCCESS && kest::convert::FindKernel(plan) != nullptr;
            for (int widths = kernel ? 6 : 1; widths > 0; --widths) {
              if (kernel) r.width = trial.Width();
              const Outcome outcome = Compare(trial, r, kernelsSeen);
              ASSERT_NE(outcome, Outcome::Differs)
                  << sourceBits << "/" << sourceOrder << " -> " << targetBits << "/" << targetOrder
                  << " width " << r.width << " flags " << r.flags << " window " << r.lowBit
                  << ".." << r.highBit;
              ++(outcome == Outcome::Refused ? refused : converted);
            }
          }
        }
      }
    }
  }
  kest::convert::testing::UseShuffledKernels(true);
  const size_t shuffled =
      kest::convert::kernels::HaveByteShuffles() ? kest::convert::testing::ShuffledKernelCount() : 0;
  EXPECT_EQ(kernelsSeen.size(), kest::convert::testing::KernelCount() + shuffled);
  EXPECT_GT(converted, 3000);
  EXPECT_GT(refused, 3000);
}

}  // namespace
