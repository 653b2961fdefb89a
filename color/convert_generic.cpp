// The reference path of buffer conversion: each pixel is read into a Pixel,
// which holds it in every form a target may ask for, and written by the
// target's rule. Every rounding rule of the conversion lives here, once:
//
//   5-bit channel to 8 bits      (c << 3) | (c >> 2)
//   8 bits to 5 bits             c >> 3
//   8 bits to 16 bits            c * 257 (channels and alpha)
//   16 bits to 8 bits            the high byte, no rounding
//   window value w over mask m   w * 255 / m at 8 bits, w * 65535 / m at 16
//   gray level                   (2 * red + 5 * green + blue + 4) >> 3
//   8-bit level v to n bits      ((v << n) - v) / 255 above 8 bits, v >> (8 - n) up to 8
//   16-bit level v to n bits     v >> (16 - n)
//
// A gray target takes the 16-bit rule from sources read through a window
// and from 16-bit channels, and the 8-bit rule from everything else.
#include <algorithm>

#include "color/convert.h"
#include "color/match.h"

namespace kest::convert {
namespace {

constexpr uint8_t Expand5(uint32_t c) { return static_cast<uint8_t>((c << 3) | (c >> 2)); }

constexpr uint32_t GrayLevel(uint32_t red, uint32_t green, uint32_t blue) {
  return (2 * red + 5 * green + blue + 4) >> 3;
}

// The extended order is blue-first data reached by a fixed matrix. Its
// forward sums are unsigned; at 8 bits they cannot pass 255, but the blue
// row sums to 8193/8192, so 16-bit words near white would pass 65535 by up
// to 8 and are held there rather than wrapped.
void Forward(uint32_t &blue, uint32_t &green, uint32_t &red, uint32_t maximum) {
  const uint32_t b = (7151 * blue + 897 * green + 145 * red + 4095) >> 13;
  const uint32_t g = (394 * blue + 7067 * green + 731 * red + 4095) >> 13;
  const uint32_t r = (1067 * blue + 2841 * green + 4284 * red + 4095) >> 13;
  blue = std::min(b, maximum);
  green = std::min(g, maximum);
  red = std::min(r, maximum);
}

// The inverse divides with truncation toward zero and then holds each
// channel to its range.
void Inverse(uint32_t &blue, uint32_t &green, uint32_t &red, int32_t maximum) {
  const auto b = static_cast<int64_t>(blue), g = static_cast<int64_t>(green),
             r = static_cast<int64_t>(red);
  const int64_t nb = (9467 * b - 1151 * g - 125 * r + 4095) / 8192;
  const int64_t ng = (-305 * b + 10232 * g - 1735 * r + 4095) / 8192;
  const int64_t nr = (-2156 * b - 6498 * g + 16846 * r + 4095) / 8192;
  blue = static_cast<uint32_t>(std::clamp<int64_t>(nb, 0, maximum));
  green = static_cast<uint32_t>(std::clamp<int64_t>(ng, 0, maximum));
  red = static_cast<uint32_t>(std::clamp<int64_t>(nr, 0, maximum));
}

void SetColor8(Pixel &p, uint32_t red, uint32_t green, uint32_t blue) {
  p.red8 = static_cast<uint8_t>(red);
  p.green8 = static_cast<uint8_t>(green);
  p.blue8 = static_cast<uint8_t>(blue);
  p.red16 = static_cast<uint16_t>(red * 257);
  p.green16 = static_cast<uint16_t>(green * 257);
  p.blue16 = static_cast<uint16_t>(blue * 257);
  p.gray8 = static_cast<uint8_t>(GrayLevel(red, green, blue));
}

void SetColor16(Pixel &p, uint32_t red, uint32_t green, uint32_t blue) {
  p.red16 = static_cast<uint16_t>(red);
  p.green16 = static_cast<uint16_t>(green);
  p.blue16 = static_cast<uint16_t>(blue);
  p.red8 = static_cast<uint8_t>(red >> 8);
  p.green8 = static_cast<uint8_t>(green >> 8);
  p.blue8 = static_cast<uint8_t>(blue >> 8);
  // The 8-bit targets read the high bytes, as of a 24-bit pixel; gray
  // targets of more bits take the level of the words.
  p.gray8 = static_cast<uint8_t>(GrayLevel(p.red8, p.green8, p.blue8));
  p.gray16 = static_cast<uint16_t>(GrayLevel(red, green, blue));
  p.wideGray = true;
}

// The three channels of a colour field of 8 or 16 bits a channel, in the
// source's order, with the inverse matrix applied where asked.
void SplitChannels(const Plan &plan, uint64_t field, uint32_t channelBits, uint32_t &red,
                   uint32_t &green, uint32_t &blue) {
  const uint64_t mask = (uint64_t{1} << channelBits) - 1;
  const auto first = static_cast<uint32_t>(field & mask);
  green = static_cast<uint32_t>((field >> channelBits) & mask);
  const auto third = static_cast<uint32_t>((field >> (2 * channelBits)) & mask);
  red = plan.sourceRedFirst ? first : third;
  blue = plan.sourceRedFirst ? third : first;
  if (plan.sourceMatrix) Inverse(blue, green, red, static_cast<int32_t>(mask));
}

uint64_t JoinChannels(const Plan &plan, uint32_t red, uint32_t green, uint32_t blue,
                      uint32_t channelBits) {
  if (plan.targetMatrix) Forward(blue, green, red, (1u << channelBits) - 1);
  const uint32_t first = plan.targetRedFirst ? red : blue;
  const uint32_t third = plan.targetRedFirst ? blue : red;
  return uint64_t{first} | uint64_t{green} << channelBits | uint64_t{third} << (2 * channelBits);
}

// An 8-bit level as a level of n bits.
uint32_t NarrowLevel8(uint32_t v, int32_t n) {
  if (n > 8) return (((v << n) - v) / 255) & 0xFFFF;
  return v >> (8 - n);
}

}  // namespace

uint64_t LoadField(int32_t bits, const uint8_t *row, size_t x) {
  switch (bits) {
    case 0:
    case 8: return row[x];
    case 12: {
      const uint8_t *p = row + (x >> 1) * 3;
      return (x & 1) ? (p[1] >> 4) | (uint32_t{p[2]} << 4) : p[0] | (uint32_t{p[1]} & 0x0F) << 8;
    }
    case 16: return row[2 * x] | (uint32_t{row[2 * x + 1]} << 8);
    case 24:
    case 32:
    case 48:
    case 64: {
      const size_t bytes = static_cast<size_t>(bits) / 8;
      const uint8_t *p = row + x * bytes;
      uint64_t field = 0;
      for (size_t i = bytes; i-- > 0;) field = field << 8 | p[i];
      return field;
    }
    default: {  // 1 to 7 bits, most significant bit first, across bytes
      const size_t position = x * static_cast<size_t>(bits);
      const uint8_t *p = row + position / 8;
      const uint32_t offset = position % 8;
      uint32_t window = uint32_t{p[0]} << 8;
      if (offset + static_cast<uint32_t>(bits) > 8) window |= p[1];
      return (window >> (16 - offset - static_cast<uint32_t>(bits))) & ((1u << bits) - 1);
    }
  }
}

void StoreField(int32_t bits, uint8_t *row, size_t x, uint64_t field) {
  switch (bits) {
    case 0:
    case 8: row[x] = static_cast<uint8_t>(field); return;
    case 12: {
      uint8_t *p = row + (x >> 1) * 3;
      if (x & 1) {
        p[1] = static_cast<uint8_t>((p[1] & 0x0F) | ((field & 0x0F) << 4));
        p[2] = static_cast<uint8_t>(field >> 4);
      } else {
        p[0] = static_cast<uint8_t>(field);
        p[1] = static_cast<uint8_t>((p[1] & 0xF0) | ((field >> 8) & 0x0F));
      }
      return;
    }
    case 16:
    case 24:
    case 32:
    case 48:
    case 64: {
      const size_t bytes = static_cast<size_t>(bits) / 8;
      uint8_t *p = row + x * bytes;
      for (size_t i = 0; i < bytes; ++i) p[i] = static_cast<uint8_t>(field >> (8 * i));
      return;
    }
    default: {
      const size_t position = x * static_cast<size_t>(bits);
      uint8_t *p = row + position / 8;
      const uint32_t offset = position % 8;
      const uint32_t shift = 16 - offset - static_cast<uint32_t>(bits);
      const uint32_t mask = ((1u << bits) - 1) << shift;
      const uint32_t value = (static_cast<uint32_t>(field) << shift) & mask;
      p[0] = static_cast<uint8_t>((p[0] & ~(mask >> 8)) | (value >> 8));
      if (offset + static_cast<uint32_t>(bits) > 8) {
        p[1] = static_cast<uint8_t>((p[1] & ~mask) | value);
      }
      return;
    }
  }
}

Pixel Decode(const Plan &plan, uint64_t field) {
  Pixel p;
  switch (plan.source) {
    case Source::Index: {
      p.index = static_cast<uint32_t>(field >> plan.sourceShift) & plan.sourceMask;
      const RGBQUAD &entry = plan.sourcePalette[p.index];
      SetColor8(p, entry.rgbRed, entry.rgbGreen, entry.rgbBlue);
      break;
    }
    case Source::GrayByte: {
      const auto v = static_cast<uint32_t>(field & 0xFF);
      SetColor8(p, v, v, v);
      break;
    }
    case Source::GrayWindow: {
      const uint32_t w = static_cast<uint32_t>(field >> plan.sourceShift) & plan.sourceMask;
      const uint32_t v8 = w * 255 / plan.sourceMask;
      const auto v16 = static_cast<uint32_t>(uint64_t{w} * 65535 / plan.sourceMask);
      SetColor8(p, v8, v8, v8);
      p.red16 = p.green16 = p.blue16 = static_cast<uint16_t>(v16);
      p.gray16 = static_cast<uint16_t>(v16);
      p.wideGray = true;
      break;
    }
    case Source::Color555: {
      const auto word = static_cast<uint32_t>(field);
      const uint32_t low = word & 31, high = (word >> 10) & 31;
      SetColor8(p, Expand5(plan.sourceRedFirst ? low : high), Expand5((word >> 5) & 31),
                Expand5(plan.sourceRedFirst ? high : low));
      p.topBit = static_cast<uint16_t>(word & 0x8000);
      break;
    }
    case Source::Color8: {
      uint32_t red, green, blue;
      SplitChannels(plan, field, 8, red, green, blue);
      SetColor8(p, red, green, blue);
      if (plan.sourceBits == 32) {
        p.hasAlpha = true;
        p.alpha8 = static_cast<uint8_t>(field >> 24);
        p.alpha16 = static_cast<uint16_t>(p.alpha8 * 257);
      }
      break;
    }
    case Source::Color16: {
      uint32_t red, green, blue;
      SplitChannels(plan, field, 16, red, green, blue);
      SetColor16(p, red, green, blue);
      if (plan.sourceBits == 64) {
        p.hasAlpha = true;
        p.alpha16 = static_cast<uint16_t>(field >> 48);
        p.alpha8 = static_cast<uint8_t>(p.alpha16 >> 8);
      }
      break;
    }
  }
  return p;
}

uint64_t Encode(const Plan &plan, const Pixel &p) {
  switch (plan.target) {
    case Target::Index:
      if (plan.identityMap) return p.index;
      return static_cast<uint32_t>(
          FindPaletteIndex(plan.targetPalette, plan.targetCount, p.red8, p.green8, p.blue8));
    case Target::GrayByte: return p.gray8;
    case Target::GrayWindow: {
      const uint32_t level = p.wideGray ? uint32_t{p.gray16} >> (16 - plan.targetWidth)
                                        : NarrowLevel8(p.gray8, plan.targetWidth);
      return uint64_t{level} << plan.targetShift;
    }
    case Target::Color555: {
      const uint32_t red = p.red8 >> 3, green = p.green8 >> 3, blue = p.blue8 >> 3;
      const uint32_t low = plan.targetRedFirst ? red : blue;
      const uint32_t high = plan.targetRedFirst ? blue : red;
      return p.topBit | high << 10 | green << 5 | low;
    }
    case Target::Color8: {
      uint64_t field = JoinChannels(plan, p.red8, p.green8, p.blue8, 8);
      if (plan.targetBits == 32) field |= uint64_t{p.hasAlpha ? p.alpha8 : plan.alpha8} << 24;
      return field;
    }
    case Target::Color16: {
      uint64_t field = JoinChannels(plan, p.red16, p.green16, p.blue16, 16);
      if (plan.targetBits == 64) field |= uint64_t{p.hasAlpha ? p.alpha16 : plan.alpha16} << 48;
      return field;
    }
  }
  return 0;
}

void EncodeValues(const Plan &plan, uint32_t count, int32_t shift, uint64_t *fields) {
  for (uint32_t value = 0; value < count; ++value) {
    fields[value] = Encode(plan, Decode(plan, uint64_t{value} << shift));
  }
}

void ConvertGeneric(uint8_t *buffer, const Plan &plan) {
  const int32_t sourceBits = plan.sourceBits, targetBits = plan.targetBits;
  auto one = [&](size_t x) {
    StoreField(targetBits, buffer, x, Encode(plan, Decode(plan, LoadField(sourceBits, buffer, x))));
  };
  // Read before write, pixel by pixel, in the direction that never writes
  // over a source pixel still to be read.
  if (plan.widening) {
    for (size_t x = plan.width; x-- > 0;) one(x);
  } else {
    for (size_t x = 0; x < plan.width; ++x) one(x);
  }
}

}  // namespace kest::convert
