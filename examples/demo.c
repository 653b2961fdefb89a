/* A tour of the library: it makes bitmaps in several kinds of memory,
 * writes and reads rows, copies a rectangle, converts to gray, reads
 * pixels in the colour word and prints what it did. */
#include <stdio.h>
#include <string.h>

#include "kestraster.h"

static void Check(const char *what, int32_t status) {
  const char *text = K_GetStatusText(status);
  printf("  %-44s %d%s%s\n", what, (int)status, text ? "  " : "", text ? text : "");
}

int main(void) {
  enum { kWidth = 640, kHeight = 480 };
  static unsigned char row[kWidth * 3 + 32];
  RASTERBITMAP picture, part, page, copy;
  LIBRARYVERSION version;
  int32_t x, y, status;
  uint32_t color;

  K_VersionInfo(&version, LIBRARYVERSION_SIZE);
  printf("%s %d.%d (record %d bytes on this target)\n", version.VersionProduct,
         (int)version.VersionMajor, (int)version.VersionMinor, (int)RASTERBITMAP_SIZE);

  printf("A 640 x 480 x 24-bit bitmap, blue first:\n");
  status = K_CreateBitmap(&picture, RASTERBITMAP_SIZE, MEMORY_TYPE_CONV, kWidth, kHeight, 24,
                          K_ORDER_BGR, NULL, 1, NULL, 0);
  Check("K_CreateBitmap", status);
  if (status != K_SUCCESS) return 1;
  for (y = 0; y < kHeight; ++y) {
    for (x = 0; x < kWidth; ++x) {
      row[3 * x + 0] = (unsigned char)(255 * y / (kHeight - 1)); /* blue down */
      row[3 * x + 1] = (unsigned char)((x ^ y) & 0xFF);          /* green pattern */
      row[3 * x + 2] = (unsigned char)(255 * x / (kWidth - 1));  /* red across */
    }
    K_PutBitmapRow(&picture, row, (uint32_t)y, picture.BitmapBytesPerLine);
  }
  color = K_GetPixelColor(&picture, 479, 639);
  printf("  pixel (639, 479) is 0x%06X (COLORREF: red in the low byte)\n", (unsigned)color);

  printf("A rectangle of it, partly outside, then its gray levels:\n");
  Check("K_CopyBitmapRect (-20, 100, 200 x 100)",
        K_CopyBitmapRect(&part, &picture, RASTERBITMAP_SIZE, -20, 100, 200, 100));
  K_GetBitmapRow(&part, row, 0, part.BitmapBytesPerLine);
  Check("K_ConvertBuffer of its first row to gray",
        K_ConvertBuffer(row, 200, 24, 0, K_ORDER_BGR, K_ORDER_GRAY, NULL, NULL));
  printf("  gray of columns 0, 19, 20, 199: %u %u %u %u (the first 20 were outside)\n", row[0],
         row[19], row[20], row[199]);
  Check("K_GrayScaleBitmap to 8 bits", K_GrayScaleBitmap(&part, 8));
  printf("  now %d bits, gray class %d\n", (int)part.BitmapBits, (int)K_IsGrayScaleBitmap(&part));

  printf("A 1-bit page of 5,000 x 500 kept as runs:\n");
  status = K_CreateBitmap(&page, RASTERBITMAP_SIZE, MEMORY_TYPE_COMPRESSED, 5000, 500, 1, 0, NULL, 0,
                          NULL, 0);
  Check("K_CreateBitmap (compressed)", status);
  if (status == K_SUCCESS) {
    memset(row, 0, sizeof row);
    for (y = 0; y < 500; y += 10) {
      for (x = 0; x < 625; x += 25) row[x] = 0xF0;
      K_PutBitmapRow(&page, row, (uint32_t)y, page.BitmapBytesPerLine);
    }
    K_UpdateBitmapSize(&page);
    printf("  %lu run words of 16 bits for %lu bytes of pixels\n", (unsigned long)page.BitmapSize,
           (unsigned long)page.BitmapBytesPerLine * 500);
    Check("K_CopyBitmap2 to a disk file", K_CopyBitmap2(&copy, &page, MEMORY_TYPE_DISK, RASTERBITMAP_SIZE));
    printf("  the copy lives %s\n", (copy.BitmapFlags & RBF_DISK) ? "in a temporary file" : "in memory");
    K_FreeBitmap(&copy);
    K_FreeBitmap(&page);
  }
  Check("a refused call: K_InitBitmap at 9 bits", K_InitBitmap(&copy, RASTERBITMAP_SIZE, 1, 1, 9));
  K_FreeBitmap(&part);
  K_FreeBitmap(&picture);
  return 0;
}
