// The fast kernels of buffer conversion. Each carries out a whole plan of
// the formats its table row in convert.cpp names, and gives the bytes of
// the generic path exactly, tail bits of the last byte included.
#pragma once

#include <cstddef>
#include <cstdint>

#include "color/convert.h"

namespace kest::convert {

using KernelFunction = void (*)(uint8_t *buffer, const Plan &plan);

// The kernel of the table for a plan, or null for the generic path.
KernelFunction FindKernel(const Plan &plan);

namespace testing {
// Rows of the kernel table, and how many of them have a shuffled form.
size_t KernelCount();
size_t ShuffledKernelCount();
// Lets the table pick the shuffled forms (the default where the processor
// has them) or only the baseline kernels.
void UseShuffledKernels(bool use);
}  // namespace testing

namespace kernels {

// 24 and 32 bits among themselves, in the same or the other order.
void Expand24To32(uint8_t *buffer, const Plan &plan);
void Narrow32To24(uint8_t *buffer, const Plan &plan);
void Swap24(uint8_t *buffer, const Plan &plan);
void Swap32(uint8_t *buffer, const Plan &plan);
// The high bytes of 48-bit words.
void Narrow48To24(uint8_t *buffer, const Plan &plan);
// The gray level of 24- and 32-bit colours as gray bytes.
void Gray24(uint8_t *buffer, const Plan &plan);
void Gray32(uint8_t *buffer, const Plan &plan);

// Sources of 0, 1, 2, 4 or 8 bits, whose every pixel is a function of its
// value: the generic path fills a table once, and the kernel looks pixels
// up in it. To one byte a pixel, to 24 and 32 bits, and to 1, 2 or 4 bits
// from one byte a pixel.
void TableToBytes(uint8_t *buffer, const Plan &plan);
void TableTo24(uint8_t *buffer, const Plan &plan);
void TableTo32(uint8_t *buffer, const Plan &plan);
void TableToPacked(uint8_t *buffer, const Plan &plan);
// 16-bit gray read through a window of at most 8 bits, to one byte a pixel,
// by a table of the window's values.
void Window16ToBytes(uint8_t *buffer, const Plan &plan);

// SSSE3 forms of the cheapest kernels, for x86 processors that have it:
// the same bytes, sixteen pixels at a time, in place.
bool HaveByteShuffles();
void Expand24To32Shuffled(uint8_t *buffer, const Plan &plan);
void Narrow32To24Shuffled(uint8_t *buffer, const Plan &plan);
void Swap24Shuffled(uint8_t *buffer, const Plan &plan);
void Swap32Shuffled(uint8_t *buffer, const Plan &plan);
void Gray24Shuffled(uint8_t *buffer, const Plan &plan);
void Gray32Shuffled(uint8_t *buffer, const Plan &plan);

}  // namespace kernels
}  // namespace kest::convert
