/* The band codec of both filter libraries: fltSaveBuffer and
 * fltLoadBuffer. KFILT_FORMAT is the format the library answers to and
 * KFILT_PREDICT whether it predicts each row from the row above. */
#include "kfilt.h"

#include <stdlib.h>
#include <string.h>
#include <zlib.h>

#ifndef KFILT_FORMAT
#  error "KFILT_FORMAT names the format this library packs"
#endif
#ifndef KFILT_PREDICT
#  define KFILT_PREDICT 0
#endif

/* The method byte in front of a packed band. */
enum { kStored = 0, kDeflated = 1, kDeflatedDifferences = 2 };

/* The start of a BITMAPINFOHEADER: what the kernel tells of a band. */
typedef struct {
  uint32_t biSize;
  int32_t biWidth;
  int32_t biHeight;
  uint16_t biPlanes;
  uint16_t biBitCount;
} BandHeader;

/* Deflate's effort when the kernel asks for the default (a quality below
 * 1). Rows of differences are packed as runs and Huffman codes only
 * (Z_RLE): on a photograph the differences are sensor noise, where longer
 * matches gain nothing and cost three times the time, while runs still
 * take flat areas down to almost nothing. Bits (text, line art) repeat
 * and get the full search. */
#define KFILT_DEFAULT_LEVEL 6

static size_t Stride(int32_t width, int32_t bits) {
  if (width <= 0 || bits <= 0) return 0;
  return (size_t)((((uint64_t)bits * (uint64_t)width + 31) >> 3) & ~(uint64_t)3);
}

static int Predicts(int32_t bits) { return KFILT_PREDICT && (bits == 8 || bits == 24); }

/* Deflates the rows into out; 1 when the stream fitted in room. */
static int DeflateRows(const uint8_t *band, size_t stride, size_t rows, int predict, int level,
                       uint8_t *out, size_t room, size_t *packed) {
  z_stream stream;
  uint8_t *difference = NULL;
  size_t row;
  int ok = 1;
  memset(&stream, 0, sizeof stream);
  if (room > 0xFFFFFFFFu || stride > 0xFFFFFFFFu) return 0;
  if (deflateInit2(&stream, level, Z_DEFLATED, 15, 8,
                   predict ? Z_RLE : Z_DEFAULT_STRATEGY) != Z_OK) {
    return 0;
  }
  if (predict) {
    difference = (uint8_t *)malloc(stride);
    ok = difference != NULL;
  }
  stream.next_out = out;
  stream.avail_out = (uInt)room;
  for (row = 0; ok && row < rows; ++row) {
    const uint8_t *bytes = band + row * stride;
    const int flush = row + 1 == rows ? Z_FINISH : Z_NO_FLUSH;
    int result;
    if (predict && row > 0) {
      size_t i;
      for (i = 0; i < stride; ++i) difference[i] = (uint8_t)(bytes[i] - bytes[i - stride]);
      bytes = difference;
    }
    stream.next_in = (Bytef *)bytes;
    stream.avail_in = (uInt)stride;
    do {
      result = deflate(&stream, flush);
    } while (result == Z_OK && stream.avail_out != 0 && (stream.avail_in != 0 || flush == Z_FINISH));
    if (flush == Z_FINISH ? result != Z_STREAM_END : stream.avail_in != 0) ok = 0;
  }
  *packed = stream.total_out;
  deflateEnd(&stream);
  free(difference);
  return ok;
}

KFILT_API int32_t fltSaveBuffer(void *band, void *header, void *pack, uint32_t *size,
                                int32_t quality, int32_t reserved1, int32_t format,
                                int32_t reserved2, int32_t reserved3) {
  const BandHeader *info = (const BandHeader *)header;
  uint8_t *out = (uint8_t *)pack;
  size_t stride, rows, total, packed = 0;
  int predict, level;
  (void)reserved1, (void)reserved2, (void)reserved3;
  if (band == NULL || info == NULL || out == NULL || size == NULL || format != KFILT_FORMAT) return 0;
  stride = Stride(info->biWidth, info->biBitCount);
  rows = (size_t)(info->biHeight < 0 ? -(int64_t)info->biHeight : info->biHeight);
  total = stride * rows;
  if (total == 0 || *size < 2) return 0;
  predict = Predicts(info->biBitCount);
  level = quality < 1 ? KFILT_DEFAULT_LEVEL : quality > 9 ? 9 : quality;
  if (DeflateRows((const uint8_t *)band, stride, rows, predict, level, out + 1, *size - 1, &packed) &&
      packed < total) {
    out[0] = (uint8_t)(predict ? kDeflatedDifferences : kDeflated);
    *size = (uint32_t)(packed + 1);
    return 1;
  }
  /* Noise does not deflate: such a band is kept as it is. */
  if (total + 1 > *size) return 0;
  out[0] = kStored;
  memcpy(out + 1, band, total);
  *size = (uint32_t)(total + 1);
  return 1;
}

KFILT_API int32_t fltLoadBuffer(const void *data, uint32_t bytes, void *band, int32_t format,
                                int32_t width, int32_t rows, int32_t bits, int32_t reserved1,
                                int32_t reserved2) {
  const uint8_t *in = (const uint8_t *)data;
  uint8_t *out = (uint8_t *)band;
  const size_t stride = Stride(width, bits);
  const size_t total = stride * (size_t)(rows > 0 ? rows : 0);
  size_t unpacked;
  (void)reserved1, (void)reserved2;
  if (in == NULL || out == NULL || bytes < 1 || format != KFILT_FORMAT || total == 0) return 0;
  if (total > 0xFFFFFFFFu) return 0;
  if (in[0] == kStored) {
    unpacked = bytes - 1 < total ? bytes - 1 : total;
    memcpy(out, in + 1, unpacked);
  } else if (in[0] == kDeflated || in[0] == kDeflatedDifferences) {
    z_stream stream;
    int result;
    memset(&stream, 0, sizeof stream);
    if (inflateInit(&stream) != Z_OK) return 0;
    stream.next_in = (Bytef *)(in + 1);
    stream.avail_in = bytes - 1;
    stream.next_out = out;
    stream.avail_out = (uInt)total;
    result = inflate(&stream, Z_FINISH);
    unpacked = total - stream.avail_out;
    inflateEnd(&stream);
    /* A band packed with more rows than asked for fills the rows asked. */
    if (result != Z_STREAM_END && !(stream.avail_out == 0 && (result == Z_OK || result == Z_BUF_ERROR))) {
      return 0;
    }
  } else {
    return 0;
  }
  memset(out + unpacked, 0, total - unpacked);
  if (in[0] == kDeflatedDifferences) {
    const size_t whole = unpacked / stride;
    size_t row, i;
    for (row = 1; row < whole; ++row) {
      uint8_t *current = out + row * stride;
      const uint8_t *above = current - stride;
      for (i = 0; i < stride; ++i) current[i] = (uint8_t)(current[i] + above[i]);
    }
  }
  return 1;
}
