/* A tour of what the library offers so far, printing what it did. */
#include <stdio.h>
#include <string.h>

#include "kestraster.h"

int main(void) {
  char name[MAX_PATH];
  int angle;
  unsigned char *block;
  int32_t file;
  char text[] = "raster kernel";

  printf("sine and cosine, 1.0 = 16384:\n");
  for (angle = 0; angle <= 36000; angle += 4500) {
    printf("  %6.2f degrees: sin %6d  cos %6d\n", angle / 100.0, (int)K_SinValue(angle),
           (int)K_CosValue(angle));
  }
  printf("integer roots: sqrt(15) = %u, sqrt(1000000) = %u\n", (unsigned)K_SQRT(15),
         (unsigned)K_SQRT(1000000));
  printf("set bits of 0xB7: %u\n", (unsigned)K_Get1BitOnTable()[0xB7]);

  block = (unsigned char *)K_OsAllocInit(4096, 1);
  printf("global block of 4096 zeroed bytes at %p, last byte %u\n", (void *)block,
         block ? block[4095] : 0u);
  K_OsFree(block);

  if (K_OsGetTempName(name) == 0 && name[0] != '\0') {
    file = K_OsCreat(name, K_CREAT_DELETE_ON_CLOSE);
    printf("temporary file %s: wrote %d bytes", name, (int)K_OsWrite(file, text, (uint32_t)strlen(text), 0));
    K_OsSeek(file, 0, 0, 0);
    memset(text, 0, sizeof text);
    printf(", read back \"%.*s\"\n", (int)K_OsRead(file, text, sizeof text - 1, 0), text);
    K_OsClose(file, 0);
    K_OsDelete(name);
  }
  printf("record size on this target: %d bytes\n", (int)RASTERBITMAP_SIZE);
  return 0;
}
