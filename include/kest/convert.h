/* Buffer conversion: one row of pixels, in place, from one format to another.
 *
 * A format is a bit count (0, 1 to 8, 12, 16, 24, 32, 48 or 64), a colour
 * order (K_ORDER_RGB, K_ORDER_BGR, K_ORDER_GRAY, or K_ORDER_EXTENDED at 24
 * and 48 bits), a palette where pixels are indices, and for gray data a
 * window of significant bits. Bit count 0 is one byte a pixel holding an
 * 8-bit gray level with no palette; 8 is a palette index. Source pixels
 * start at byte 0 of the buffer and the target is written from byte 0 of the
 * same buffer, which must hold K_CalcConvertSize bytes. */
#ifndef KEST_CONVERT_H
#define KEST_CONVERT_H

#include "kest/platform.h"

/* Flags of K_ConvertBufferExt. The two gray flags are set or cleared by the
 * entry from the colour orders, so callers need not pass them. */
#define CONVERT_SOURCE_GRAY    0x01 /* source is gray */
#define CONVERT_TARGET_GRAY    0x02 /* target is gray */
#define CONVERT_SOURCE_WINDOW  0x04 /* low and high bit give the source's gray window */
#define CONVERT_TARGET_WINDOW  0x08 /* low and high bit give the target's gray window */
#define CONVERT_ALPHA_VALUE    0x10 /* a target with alpha gets the alpha value, which the
                                       exported entries fix at 65535 (255 at 32 bits) */
#define CONVERT_ALPHA_OPAQUE   0x20 /* a target with alpha gets 255 (65535 at 64 bits) */

/* Converts width pixels of buffer, in place. A null palette at 1 to 8 bits
 * means the fixed palette of that bit count (none for gray data); a target
 * palette has 2^bits entries. A target with alpha whose source has none gets
 * alpha 0 unless a CONVERT_ALPHA_ flag asks for opaque. Low and high bit
 * (negative: the whole word) describe the window that flag 4 or 8 names.
 * 1, or -13 for a null buffer, zero width, or any combination of bit counts,
 * orders, windows and flags that is not accepted; nothing is written then. */
KEST_API int32_t K_ConvertBufferExt(void *buffer, int32_t width, int32_t sourceBits,
                                    int32_t targetBits, uint32_t sourceOrder,
                                    uint32_t targetOrder, const RGBQUAD *sourcePalette,
                                    const RGBQUAD *targetPalette, uint32_t flags, int32_t lowBit,
                                    int32_t highBit);
/* K_ConvertBufferExt with the gray flags from the orders and no windows. */
KEST_API int32_t K_ConvertBuffer(void *buffer, int32_t width, int32_t sourceBits,
                                 int32_t targetBits, uint32_t sourceOrder, uint32_t targetOrder,
                                 const RGBQUAD *sourcePalette, const RGBQUAD *targetPalette);
/* Bytes a buffer needs for a conversion combined with a resize: the largest
 * 32-bit padded row of inputWidth at inputBits, outputWidth at inputBits and
 * outputWidth at outputBits (bit count 0 counts as 8). 0 if that does not
 * fit in 32 bits. */
KEST_API uint32_t K_CalcConvertSize(uint32_t inputWidth, uint32_t inputBits,
                                    uint32_t outputWidth, uint32_t outputBits);

#endif /* KEST_CONVERT_H */
