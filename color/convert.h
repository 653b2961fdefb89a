// Buffer conversion inside the library.
//
// The entry checks its arguments once and resolves them into a Plan: what
// kind of pixel the source holds and how to read it, what kind the target
// holds and how to write it, and the call-wide tables (palettes, the index
// map, the alpha of a new target). Two paths carry a plan out:
//
// - the generic path (convert_generic.cpp) reads each pixel into a Pixel,
//   which holds it in every form a target may ask for, and writes it by the
//   target's rule. It is the reference: every rule of the conversion is in
//   it, once.
// - the kernels (convert_kernels.cpp) do the common pairs a block of pixels
//   at a time. Each is chosen from a table by the plan's formats and must
//   give the generic path's bytes exactly; a randomised test holds them to
//   it.
//
// Both work in place: a conversion that makes the row longer runs from the
// last pixel to the first, one that does not from the first to the last,
// and a target field of fewer than 8 bits is merged into its byte, so that
// the bits of the last byte beyond the row keep what they held.
#pragma once

#include <cstddef>
#include <cstdint>

#include "kest/convert.h"
#include "kest/platform.h"

namespace kest::convert {

// What a source pixel is.
enum class Source : uint8_t {
  Index,       // 1 to 16 bits: a palette index, read through the window
  GrayByte,    // bit count 0: an 8-bit gray level
  GrayWindow,  // 1 to 16 bits gray, no palette: (word >> shift) & mask of a window
  Color555,    // 16 bits: 5-5-5, bit 15 unused
  Color8,      // 24, 32: three bytes (and alpha)
  Color16,     // 48, 64: three words (and alpha)
};

// What a target pixel is.
enum class Target : uint8_t {
  Index,       // 1 to 8 bits: a palette index
  GrayByte,    // bit count 0: an 8-bit gray level
  GrayWindow,  // 1 to 8, 12, 16 bits gray: a level of `width` bits shifted up
  Color555,    // 16 bits: 5-5-5, bit 15 kept from a 5-5-5 source, else 0
  Color8,      // 24, 32
  Color16,     // 48, 64
};

// The arguments of K_ConvertBufferExt, with the alpha value that the
// exported entries fix at 65535.
struct Request {
  int32_t width = 0;
  int32_t sourceBits = 0;
  int32_t targetBits = 0;
  uint32_t sourceOrder = 0;
  uint32_t targetOrder = 0;
  const RGBQUAD *sourcePalette = nullptr;
  const RGBQUAD *targetPalette = nullptr;
  uint32_t flags = 0;
  int32_t lowBit = -1;
  int32_t highBit = -1;
  uint16_t alpha = 0xFFFF;
};

// Everything a path needs, decided once per call.
struct Plan {
  size_t width = 0;
  int32_t sourceBits = 0;  // as given; 0 stays 0
  int32_t targetBits = 0;
  Source source = Source::GrayByte;
  Target target = Target::GrayByte;

  // Reading. A colour source with redFirst has red at its lowest address;
  // sourceMatrix runs the inverse of the extended order on each pixel.
  int32_t sourceShift = 0;  // Index and GrayWindow: value = (word >> shift) & mask
  uint32_t sourceMask = 0;
  const RGBQUAD *sourcePalette = nullptr;  // Index: never null
  bool sourceRedFirst = false;
  bool sourceMatrix = false;

  // Writing. A gray window target writes a level of targetWidth bits
  // shifted up by targetShift; targetMatrix runs the forward matrix of the
  // extended order on each pixel.
  const RGBQUAD *targetPalette = nullptr;  // Index: never null
  uint32_t targetCount = 0;                // entries the matcher sees: 2^bits
  bool identityMap = false;                // an Index source keeps its index
  int32_t targetWidth = 0;
  int32_t targetShift = 0;
  bool targetRedFirst = false;
  bool targetMatrix = false;
  uint8_t alpha8 = 0;    // alpha of a 32-bit target whose source has none
  uint16_t alpha16 = 0;  // of a 64-bit one

  bool widening = false;  // the target row is longer: run from the last pixel
  bool unchanged = false;  // the conversion leaves every byte as it is
};

// The entry checks in their documented order, and the plan. 1, or -13 with
// plan undefined.
int32_t MakePlan(const Request &request, Plan &plan);

// Carries out a plan on buffer: the generic path, and the entry's choice
// (a kernel where the table has one, else the generic path).
void ConvertGeneric(uint8_t *buffer, const Plan &plan);
void ConvertAuto(uint8_t *buffer, const Plan &plan);

// The whole call: checks, plan, the entry's path. The exported entries and
// the library's own callers go through it.
int32_t ConvertBuffer(void *buffer, const Request &request);

// ---- Pixel forms of the generic path, which kernels use to fill tables ----

// A pixel in every form a target may ask for. Colours are at 8 and at 16
// bits a channel; the gray level is at 8 bits by the 8-bit rules, and at 16
// bits for sources whose gray targets take the 16-bit rule (windows and
// 16-bit channels).
struct Pixel {
  uint8_t red8 = 0, green8 = 0, blue8 = 0;
  uint16_t red16 = 0, green16 = 0, blue16 = 0;
  uint8_t gray8 = 0;
  uint16_t gray16 = 0;
  bool wideGray = false;
  bool hasAlpha = false;
  uint8_t alpha8 = 0;
  uint16_t alpha16 = 0;
  uint16_t topBit = 0;  // bit 15 of a 5-5-5 source
  uint32_t index = 0;   // an Index source's index
};

// The raw field of pixel x: the n-bit value of a packed or streamed pixel,
// the 12-bit value, or the pixel's bytes as a little-endian number.
uint64_t LoadField(int32_t bits, const uint8_t *row, size_t x);
// Writes the raw field of pixel x, merging fields of fewer than 8 bits and
// the half bytes of 12-bit pixels into what the bytes held.
void StoreField(int32_t bits, uint8_t *row, size_t x, uint64_t field);

// A source field as a Pixel, and a Pixel as a target field.
Pixel Decode(const Plan &plan, uint64_t field);
uint64_t Encode(const Plan &plan, const Pixel &pixel);
// The target field of each source value 0 .. count - 1 placed at value <<
// shift of the source field: the tables of the kernels whose every pixel
// is a function of its value.
void EncodeValues(const Plan &plan, uint32_t count, int32_t shift, uint64_t *fields);

// Bits of one pixel in the row, bit count 0 counting as 8.
constexpr int32_t StoredBits(int32_t bits) { return bits == 0 ? 8 : bits; }

}  // namespace kest::convert
