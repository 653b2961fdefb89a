/* The band filters: two small libraries that pack the bands of
 * super-compressed bitmaps for the kernel, which loads them at run time
 * (KFILTC for 8 and 24-bit bands, format 5; KFILTF for 1-bit bands,
 * format 68). Both are this one codec: a deflate stream (zlib), after a
 * predictor for 8 and 24 bits that replaces each row by its difference
 * from the row above, which turns smooth images into small numbers, and
 * these into runs and Huffman codes.
 *
 * A packed band is one method byte and the stream. Only the kernel reads
 * what a filter wrote; the form is no interface of its own. */
#ifndef KFILT_H
#define KFILT_H

#include <stdint.h>

#if defined(_WIN32)
#  define KFILT_API __declspec(dllexport)
#else
#  define KFILT_API __attribute__((visibility("default")))
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* Packs the rows of band that header tells of (a BITMAPINFOHEADER: width,
 * minus the rows in biHeight, bits per pixel) into pack, whose room *size
 * gives; *size becomes the packed size. quality 1 to 9 is the effort of
 * deflate, anything below 1 the default. 1 on success, 0 otherwise. */
KFILT_API int32_t fltSaveBuffer(void *band, void *header, void *pack, uint32_t *size,
                                int32_t quality, int32_t reserved1, int32_t format,
                                int32_t reserved2, int32_t reserved3);
/* Unpacks a band of rows rows into band. A packed band of fewer rows
 * leaves the rows after them zero. 1 on success, 0 otherwise. */
KFILT_API int32_t fltLoadBuffer(const void *data, uint32_t bytes, void *band, int32_t format,
                                int32_t width, int32_t rows, int32_t bits, int32_t reserved1,
                                int32_t reserved2);

#ifdef __cplusplus
}
#endif

#endif /* KFILT_H */
