/* The library's version record. */
#ifndef KEST_VERSION_H
#define KEST_VERSION_H

#include "kest/platform.h"

/* A published record of 108 bytes on every target: it holds no pointers,
 * so its offsets are the same on 32 and 64 bits. Texts are zero-terminated
 * and zero-filled to the end of their fields. */
typedef struct tagLIBRARYVERSION {
  uint32_t VersionRecordSize; /* 108 */
  char VersionProduct[60];    /* "KESTFRAME(r) DLL for Win32" */
  int32_t VersionLevel;
  int32_t VersionMajor;
  int32_t VersionMinor;
  char VersionDate[16];       /* build date, as "Jun 23 2008" */
  char VersionTime[9];        /* build time, as "12:24:28" */
  char reserved[7];           /* zero */
} LIBRARYVERSION;

#define LIBRARYVERSION_SIZE 108

/* Copies the version into info, whose size the caller gives in recordSize.
 * Returns 1; -13 for a null info; -789 when recordSize is not 108. */
KEST_API int32_t K_VersionInfo(LIBRARYVERSION *info, uint32_t recordSize);

#endif /* KEST_VERSION_H */
