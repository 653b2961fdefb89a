/* Compiled as strict C99: the public header must be usable from C. */
#include "kestraster.h"

int kest_c_header_probe(void);

int kest_c_header_probe(void) {
  RASTERBITMAP bitmap = {0};
  RGBQUAD color = {1, 2, 3, 0};
  void *table[K_DISDISPATCH_SLOTS] = {0};
  LIBRARYVERSION version;
  int result = 0;
  bitmap.RecordSize = (uint32_t)RASTERBITMAP_SIZE;
  if (K_SQRT(16) == 4) result |= 1;
  if (K_GetDisDispatch(table) == K_ERR_NO_DISPATCH || K_GetDisDispatch(table) == K_SUCCESS) {
    result |= 2;
  }
  if (bitmap.RecordSize == sizeof(RASTERBITMAP) && color.rgbRed == 3) result |= 4;
  if (K_VersionInfo(&version, LIBRARYVERSION_SIZE) == K_SUCCESS && version.VersionMajor == 14 &&
      K_GetStatusText(K_ERR_PARAMETER) != NULL && K_GetStatusCallBack(NULL) == NULL) {
    result |= 8;
  }
  return result;
}
