// Buffer conversion: K_ConvertBufferExt, K_ConvertBuffer, K_CalcConvertSize,
// the entry checks in their documented order, the plan they resolve, and
// the table that picks a kernel for a plan.
#include "color/convert.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstring>
#include <iterator>

#include "color/convert_kernels.h"
#include "kest/gray.h"
#include "kest/palette.h"
#include "kest/status.h"

namespace kest::convert {
namespace {

bool ListedBits(int32_t bits) {
  return (bits >= 0 && bits <= 8) || bits == 12 || bits == 16 || bits == 24 || bits == 32 ||
         bits == 48 || bits == 64;
}

bool ColorOrder(uint32_t order) { return order == K_ORDER_RGB || order == K_ORDER_BGR; }

// The orders a source of these bits may have. The extended order is read
// only by the 24- and 48-bit converters.
bool SourceOrderAccepted(int32_t bits, uint32_t order) {
  switch (bits) {
    case 12: return order == K_ORDER_GRAY;
    case 24:
    case 48: return ColorOrder(order) || order == K_ORDER_EXTENDED;
    case 32:
    case 64: return ColorOrder(order);
    default: return ColorOrder(order) || order == K_ORDER_GRAY;  // 0 to 8, 16
  }
}

// The orders a target may have; the extended order only at 24 and 48 bits
// from a 24- or 48-bit source.
bool TargetOrderAccepted(int32_t sourceBits, int32_t bits, uint32_t order) {
  switch (bits) {
    case 12: return order == K_ORDER_GRAY;
    case 24:
    case 48:
      return ColorOrder(order) ||
             (order == K_ORDER_EXTENDED && (sourceBits == 24 || sourceBits == 48));
    case 32:
    case 64: return ColorOrder(order);
    default: return ColorOrder(order) || order == K_ORDER_GRAY;  // 0 to 8, 16
  }
}

// A window that flag 4 or 8 leaves standing has to lie inside the word:
// a negative low bit counts as 0 and a negative high bit as the top bit.
bool WindowInside(int32_t bits, int32_t lowBit, int32_t highBit) {
  if (bits == 0) return false;  // a gray byte is read whole
  const int32_t low = std::max(lowBit, 0);
  const int32_t high = highBit < 0 ? bits - 1 : highBit;
  return low <= high && high < bits;
}

// The widest source window the target can use when the source has no
// palette to look its values up in.
int32_t SourceWindowLimit(int32_t sourceBits, int32_t targetBits, bool targetGray) {
  if (sourceBits == 12) {
    const bool wide = targetBits == 48 || targetBits == 64 ||
                      (targetGray && targetBits >= 1 && targetBits <= 16);
    return wide ? 16 : 8;
  }
  if (targetBits == 48 || targetBits == 64) return 16;
  if (targetBits >= 1 && targetBits <= 15) return targetBits;
  if (targetBits == 16) return targetGray ? 16 : 8;
  return 8;
}

void ResolveSource(const Request &r, uint32_t flags, Plan &plan) {
  const int32_t bits = r.sourceBits;
  const bool gray = (flags & CONVERT_SOURCE_GRAY) != 0;
  const bool window = (flags & CONVERT_SOURCE_WINDOW) != 0;
  const int32_t low = window ? r.lowBit : -1, high = window ? r.highBit : -1;
  const bool targetGray = (flags & CONVERT_TARGET_GRAY) != 0;
  plan.sourceRedFirst = r.sourceOrder == K_ORDER_RGB;
  plan.sourceMatrix = r.sourceOrder == K_ORDER_EXTENDED && r.targetOrder != K_ORDER_EXTENDED;

  if (bits == 0) {
    plan.source = Source::GrayByte;
    return;
  }
  if (bits == 24 || bits == 32) {
    plan.source = Source::Color8;
    return;
  }
  if (bits == 48 || bits == 64) {
    plan.source = Source::Color16;
    return;
  }
  if (bits == 16 && !gray) {
    plan.source = Source::Color555;
    return;
  }
  int32_t width = 0;
  if (!gray) {
    // Indices of 1 to 8 bits, into the palette or the fixed one.
    plan.source = Source::Index;
    plan.sourcePalette = r.sourcePalette != nullptr
                             ? r.sourcePalette
                             : K_IntGetFixedPalette(static_cast<uint32_t>(bits));
    K_GetGrayParams(bits, bits, -1, -1, &width, &plan.sourceMask,
                    &plan.sourceShift);
    return;
  }
  // Gray data: with a palette every window value is an index into it (the
  // palette serves as a colour table for the gray values), except that the
  // 12-bit converter reads a gray 12- or 16-bit target's source directly.
  const bool palette = r.sourcePalette != nullptr &&
                       !(bits == 12 && targetGray && (r.targetBits == 12 || r.targetBits == 16));
  const int32_t limit = palette ? bits : SourceWindowLimit(bits, r.targetBits, targetGray);
  plan.source = palette ? Source::Index : Source::GrayWindow;
  plan.sourcePalette = palette ? r.sourcePalette : nullptr;
  K_GetGrayParams(bits, limit, low, high, &width, &plan.sourceMask,
                  &plan.sourceShift);
}

void ResolveTarget(const Request &r, uint32_t flags, Plan &plan) {
  const int32_t bits = r.targetBits;
  const bool gray = (flags & CONVERT_TARGET_GRAY) != 0;
  const bool window = (flags & CONVERT_TARGET_WINDOW) != 0;
  plan.targetRedFirst = r.targetOrder == K_ORDER_RGB;
  plan.targetMatrix = r.targetOrder == K_ORDER_EXTENDED && r.sourceOrder != K_ORDER_EXTENDED;

  if (bits == 0) {
    plan.target = Target::GrayByte;
  } else if (bits == 24 || bits == 32) {
    plan.target = Target::Color8;
  } else if (bits == 48 || bits == 64) {
    plan.target = Target::Color16;
  } else if (gray) {
    plan.target = Target::GrayWindow;
    uint32_t mask = 0;
    K_GetGrayParams(bits, bits, window ? r.lowBit : -1, window ? r.highBit : -1,
                    &plan.targetWidth, &mask, &plan.targetShift);
  } else if (bits == 16) {
    plan.target = Target::Color555;
  } else {
    plan.target = Target::Index;
    plan.targetPalette = r.targetPalette != nullptr
                             ? r.targetPalette
                             : K_IntGetFixedPalette(static_cast<uint32_t>(bits));
    plan.targetCount = 1u << bits;
  }

  const uint32_t flagsAlpha = flags & (CONVERT_ALPHA_VALUE | CONVERT_ALPHA_OPAQUE);
  if (flagsAlpha & CONVERT_ALPHA_VALUE) {
    plan.alpha8 = static_cast<uint8_t>(r.alpha);
    plan.alpha16 = r.alpha;
  } else if (flagsAlpha & CONVERT_ALPHA_OPAQUE) {
    plan.alpha8 = 0xFF;
    plan.alpha16 = 0xFFFF;
  }
}

// The index map of an indexed source keeps every index when the target
// palette begins with the source palette, byte for byte.
bool IdentityMap(const Plan &plan) {
  if (plan.source != Source::Index || plan.target != Target::Index) return false;
  if (plan.sourceBits > 8) return false;
  const uint32_t sourceCount = 1u << plan.sourceBits;
  return plan.targetCount >= sourceCount &&
         std::memcmp(plan.sourcePalette, plan.targetPalette, sourceCount * sizeof(RGBQUAD)) == 0;
}

// Conversions whose every pixel comes out as it went in.
bool LeavesUnchanged(const Plan &plan, const Request &r) {
  if (plan.sourceBits != plan.targetBits) return false;
  const uint32_t wholeMask = plan.sourceBits >= 1 && plan.sourceBits <= 16
                                 ? (1u << plan.sourceBits) - 1 : 0;
  switch (plan.source) {
    case Source::GrayByte: return plan.target == Target::GrayByte;
    case Source::Index:
      return plan.identityMap && plan.sourceShift == 0 && plan.sourceMask == wholeMask;
    case Source::GrayWindow:
      return plan.target == Target::GrayWindow && plan.sourceShift == 0 &&
             plan.sourceMask == wholeMask && plan.targetShift == 0 &&
             plan.targetWidth == plan.targetBits;
    case Source::Color555:
    case Source::Color8:
    case Source::Color16:
      return plan.target != Target::GrayWindow && r.sourceOrder == r.targetOrder;
  }
  return false;
}

// ---- The kernel table ----

// Which sources and targets a row of the table takes.
enum class From : uint8_t {
  Color8,      // 24 or 32 bits
  Color16,     // 48 or 64 bits
  Value,       // 0 to 8 bits: every pixel a function of its value
  GrayWindow,  // gray through a window of at most 8 bits
};
enum class To : uint8_t { Color8, GrayByte, Any };
// How the channel orders of a colour pair relate.
enum class Orders : uint8_t { Any, Same, Swapped };

struct KernelRow {
  std::array<int8_t, 5> sourceBits;  // the bit counts taken; -1 is no entry
  From from;
  std::array<int8_t, 3> targetBits;
  To to;
  Orders orders;
  KernelFunction kernel;    // plain loops, for every processor
  KernelFunction shuffled;  // the SSSE3 form, or null
};

using namespace kernels;
// A row that takes one bit count.
constexpr std::array<int8_t, 5> SourceBits(int8_t bits) { return {bits, -1, -1, -1, -1}; }
constexpr std::array<int8_t, 3> TargetBits(int8_t bits) { return {bits, -1, -1}; }
constexpr std::array<int8_t, 5> kValues = {0, 1, 2, 4, 8};

// Columns: source bits, source, target bits, target, orders, the plain
// kernel, its shuffled form.
constexpr KernelRow kKernels[] = {
    {SourceBits(24), From::Color8, TargetBits(32), To::Color8, Orders::Any,  //
     Expand24To32, Expand24To32Shuffled},
    {SourceBits(32), From::Color8, TargetBits(24), To::Color8, Orders::Any,  //
     Narrow32To24, Narrow32To24Shuffled},
    {SourceBits(24), From::Color8, TargetBits(24), To::Color8, Orders::Swapped,  //
     Swap24, Swap24Shuffled},
    {SourceBits(32), From::Color8, TargetBits(32), To::Color8, Orders::Swapped,  //
     Swap32, Swap32Shuffled},
    {SourceBits(24), From::Color8, TargetBits(0), To::GrayByte, Orders::Any,  //
     Gray24, Gray24Shuffled},
    {SourceBits(32), From::Color8, TargetBits(0), To::GrayByte, Orders::Any,  //
     Gray32, Gray32Shuffled},
    {SourceBits(48), From::Color16, TargetBits(24), To::Color8, Orders::Any,  //
     Narrow48To24, nullptr},
    {kValues, From::Value, {0, 8, -1}, To::Any, Orders::Any, TableToBytes, nullptr},
    {kValues, From::Value, TargetBits(24), To::Color8, Orders::Any, TableTo24, nullptr},
    {kValues, From::Value, TargetBits(32), To::Color8, Orders::Any, TableTo32, nullptr},
    {{0, 8, -1, -1, -1}, From::Value, {1, 2, 4}, To::Any, Orders::Any, TableToPacked, nullptr},
    {SourceBits(16), From::GrayWindow, {0, 8, -1}, To::Any, Orders::Any,  //
     Window16ToBytes, nullptr},
};

// The shuffled forms are taken where the processor has them, unless a test
// has asked for the plain loops.
std::atomic<bool> g_useShuffled{true};
bool ShuffledKernels() {
  static const bool have = HaveByteShuffles();
  return have && g_useShuffled.load(std::memory_order_relaxed);
}

template <size_t N>
bool Holds(const std::array<int8_t, N> &list, int32_t bits) {
  return std::find(list.begin(), list.end(), bits) != list.end();
}

bool Takes(From from, const Plan &plan) {
  switch (from) {
    case From::Color8: return plan.source == Source::Color8;
    case From::Color16: return plan.source == Source::Color16;
    case From::Value: return plan.source != Source::Color555 && plan.sourceBits <= 8;
    case From::GrayWindow: return plan.source == Source::GrayWindow && plan.sourceMask <= 0xFF;
  }
  return false;
}

bool Takes(To to, const Plan &plan) {
  switch (to) {
    case To::Color8: return plan.target == Target::Color8;
    case To::GrayByte: return plan.target == Target::GrayByte;
    case To::Any: return true;
  }
  return false;
}

bool Takes(Orders orders, const Plan &plan) {
  if (orders == Orders::Any) return true;
  const bool same = plan.sourceRedFirst == plan.targetRedFirst;
  return same == (orders == Orders::Same);
}

}  // namespace

KernelFunction FindKernel(const Plan &plan) {
  // The extended order is left to the generic path.
  if (plan.sourceMatrix || plan.targetMatrix) return nullptr;
  // A table of every source value pays only on rows about as long as it.
  if (plan.sourceBits <= 8 && (uint64_t{1} << StoredBits(plan.sourceBits)) > 4 * plan.width) {
    return nullptr;
  }
  for (const KernelRow &row : kKernels) {
    if (Holds(row.sourceBits, plan.sourceBits) && Holds(row.targetBits, plan.targetBits) &&
        Takes(row.from, plan) && Takes(row.to, plan) && Takes(row.orders, plan)) {
      return row.shuffled != nullptr && ShuffledKernels() ? row.shuffled : row.kernel;
    }
  }
  return nullptr;
}

namespace testing {
size_t KernelCount() { return std::size(kKernels); }
size_t ShuffledKernelCount() {
  return static_cast<size_t>(std::count_if(std::begin(kKernels), std::end(kKernels),
                                           [](const KernelRow &row) { return row.shuffled; }));
}
void UseShuffledKernels(bool use) { g_useShuffled = use; }
}  // namespace testing

int32_t MakePlan(const Request &r, Plan &plan) {
  if (r.width <= 0) return K_ERR_PARAMETER;

  // The gray flags follow the orders alone; a source window needs a gray
  // source. A target window on a colour target is refused below.
  uint32_t flags = r.flags;
  if (r.sourceOrder == K_ORDER_GRAY) {
    flags |= CONVERT_SOURCE_GRAY;
  } else {
    flags &= ~uint32_t{CONVERT_SOURCE_GRAY | CONVERT_SOURCE_WINDOW};
  }
  if (r.targetOrder == K_ORDER_GRAY) {
    flags |= CONVERT_TARGET_GRAY;
  } else {
    flags &= ~uint32_t{CONVERT_TARGET_GRAY};
  }
  if ((flags & CONVERT_SOURCE_WINDOW) && (flags & CONVERT_TARGET_WINDOW)) return K_ERR_PARAMETER;
  if ((flags & CONVERT_TARGET_WINDOW) && r.targetOrder != K_ORDER_GRAY) return K_ERR_PARAMETER;
  if (r.sourceBits == 12 && r.sourceOrder != K_ORDER_GRAY) return K_ERR_PARAMETER;
  if (r.targetBits == 12 && r.targetOrder != K_ORDER_GRAY) return K_ERR_PARAMETER;

  // A window that is the whole word is no window.
  if ((flags & CONVERT_SOURCE_WINDOW) && r.lowBit < 1 &&
      (r.highBit == r.sourceBits - 1 || r.highBit < 0)) {
    flags &= ~uint32_t{CONVERT_SOURCE_WINDOW};
  }
  if ((flags & CONVERT_TARGET_WINDOW) && !(flags & CONVERT_SOURCE_WINDOW) && r.lowBit < 1 &&
      (r.highBit == r.targetBits - 1 || r.highBit < 0)) {
    flags &= ~uint32_t{CONVERT_TARGET_WINDOW};
  }

  // The converter of the source bit count, and its own first checks.
  if (!ListedBits(r.sourceBits) || !ListedBits(r.targetBits)) return K_ERR_PARAMETER;
  if (!SourceOrderAccepted(r.sourceBits, r.sourceOrder) ||
      !TargetOrderAccepted(r.sourceBits, r.targetBits, r.targetOrder)) {
    return K_ERR_PARAMETER;
  }
  if ((flags & CONVERT_SOURCE_WINDOW) && !WindowInside(r.sourceBits, r.lowBit, r.highBit)) {
    return K_ERR_PARAMETER;
  }
  if ((flags & CONVERT_TARGET_WINDOW) && !WindowInside(r.targetBits, r.lowBit, r.highBit)) {
    return K_ERR_PARAMETER;
  }

  plan = Plan{};
  plan.width = static_cast<size_t>(r.width);
  plan.sourceBits = r.sourceBits;
  plan.targetBits = r.targetBits;
  ResolveSource(r, flags, plan);
  ResolveTarget(r, flags, plan);
  plan.identityMap = IdentityMap(plan);
  plan.widening = StoredBits(plan.targetBits) > StoredBits(plan.sourceBits);
  plan.unchanged = LeavesUnchanged(plan, r);
  return K_SUCCESS;
}

void ConvertAuto(uint8_t *buffer, const Plan &plan) {
  if (const KernelFunction kernel = FindKernel(plan)) {
    kernel(buffer, plan);
  } else {
    ConvertGeneric(buffer, plan);
  }
}

int32_t ConvertBuffer(void *buffer, const Request &request) {
  if (buffer == nullptr) return K_ERR_PARAMETER;
  Plan plan;
  const int32_t status = MakePlan(request, plan);
  if (status != K_SUCCESS) return status;
  if (!plan.unchanged) ConvertAuto(static_cast<uint8_t *>(buffer), plan);
  return K_SUCCESS;
}

}  // namespace kest::convert

using kest::convert::Request;

KEST_API int32_t K_ConvertBufferExt(void *buffer, int32_t width, int32_t sourceBits,
                                    int32_t targetBits, uint32_t sourceOrder,
                                    uint32_t targetOrder, const RGBQUAD *sourcePalette,
                                    const RGBQUAD *targetPalette, uint32_t flags, int32_t lowBit,
                                    int32_t highBit) {
  Request request;
  request.width = width;
  request.sourceBits = sourceBits;
  request.targetBits = targetBits;
  request.sourceOrder = sourceOrder;
  request.targetOrder = targetOrder;
  request.sourcePalette = sourcePalette;
  request.targetPalette = targetPalette;
  request.flags = flags;
  request.lowBit = lowBit;
  request.highBit = highBit;
  return kest::convert::ConvertBuffer(buffer, request);
}

KEST_API int32_t K_ConvertBuffer(void *buffer, int32_t width, int32_t sourceBits,
                                 int32_t targetBits, uint32_t sourceOrder, uint32_t targetOrder,
                                 const RGBQUAD *sourcePalette, const RGBQUAD *targetPalette) {
  const uint32_t flags = (sourceOrder == K_ORDER_GRAY ? CONVERT_SOURCE_GRAY : 0u) |
                         (targetOrder == K_ORDER_GRAY ? CONVERT_TARGET_GRAY : 0u);
  return K_ConvertBufferExt(buffer, width, sourceBits, targetBits, sourceOrder, targetOrder,
                            sourcePalette, targetPalette, flags, -1, -1);
}

KEST_API uint32_t K_CalcConvertSize(uint32_t inputWidth, uint32_t inputBits,
                                    uint32_t outputWidth, uint32_t outputBits) {
  auto padded = [](uint64_t width, uint64_t bits) {
    if (bits == 0) bits = 8;
    return ((width * bits + 31) >> 3) & ~uint64_t{3};
  };
  const uint64_t size = std::max({padded(inputWidth, inputBits), padded(outputWidth, inputBits),
                                  padded(outputWidth, outputBits)});
  return size > UINT32_MAX ? 0 : static_cast<uint32_t>(size);
}
