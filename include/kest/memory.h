/* Memory, files, fixed-point maths and the display dispatch table.
 *
 * Two allocator families live side by side, and a block goes back to the
 * family that made it: the K_Malloc family for working buffers, the K_OsAlloc
 * family (movable global blocks, locked for their whole life) for what a
 * record owns and what may cross a library border. */
#ifndef KEST_MEMORY_H
#define KEST_MEMORY_H

#include "kest/platform.h"

/* Runtime heap. K_Realloc of a null block allocates; K_Free ignores null. */
KEST_API void *K_Malloc(uint32_t size);
KEST_API void *K_Calloc(uint32_t count, uint32_t size);
KEST_API void *K_Realloc(void *block, uint32_t size);
KEST_API void K_Free(void *block);

/* Global blocks. Each returns the locked pointer, null on failure.
 * K_OsAllocInit zeroes when zero is not 0; K_OsReAllocInit zeroes the new
 * bytes. K_OsFree ignores null and returns 0. */
KEST_API void *K_OsAlloc(uint32_t size);
KEST_API void *K_OsAllocInit(uint32_t size, int32_t zero);
KEST_API void *K_OsReAlloc(void *block, uint32_t size);
KEST_API void *K_OsReAllocInit(void *block, uint32_t size);
KEST_API int32_t K_OsFree(void *block);

/* The debug family: the same calls with a source file and line that are
 * ignored. No blocks are tracked. */
KEST_API void *K_MallocDump(uint32_t size, const char *file, int32_t line);
KEST_API void *K_CallocDump(uint32_t count, uint32_t size, const char *file, int32_t line);
KEST_API void *K_ReallocDump(void *block, uint32_t size, const char *file, int32_t line);
KEST_API void K_FreeDump(void *block, const char *file, int32_t line);
KEST_API void *K_OsAllocDump(uint32_t size, const char *file, int32_t line);
KEST_API void *K_OsAllocInitDump(uint32_t size, int32_t zero, const char *file, int32_t line);
KEST_API int32_t K_OsFreeDump(void *block, const char *file, int32_t line);
KEST_API void *K_OsReAllocDump(void *block, uint32_t size, const char *file, int32_t line);
KEST_API void *K_OsReAllocInitDump(void *block, uint32_t size, const char *file, int32_t line);
KEST_API void K_DumpMemoryReport(uint32_t flags);

/* Runtime wrappers, so that a caller shares the library's runtime state.
 * K_Strtok returns null when either argument is null. */
KEST_API char *K_Strtok(char *text, const char *delimiters);
KEST_API double K_Strtod(const char *text, char **end);
KEST_API char *K_Setlocale(int32_t category, const char *locale);

/* Files. Handles are 32-bit words and -1 is the invalid handle. The last
 * userData argument is ignored; it gives these the signature of the file
 * hooks of the thread settings. */
#define K_INVALID_FILE (-1)

/* K_OsCreat mode bits. */
#define K_CREAT_READ_ONLY       0x01 /* read access only (also the read-only attribute) */
#define K_CREAT_HIDDEN          0x02 /* hidden attribute */
#define K_CREAT_SYSTEM          0x04 /* system attribute */
#define K_CREAT_DELETE_ON_CLOSE 0x08 /* the file goes when its handle closes */

/* K_OsOpen flags and share bits. */
#define K_OPEN_READ        0x000
#define K_OPEN_WRITE       0x001
#define K_OPEN_READ_WRITE  0x002
#define K_OPEN_CREATE      0x100 /* create always */
#define K_OPEN_TRUNCATE    0x200 /* truncate an existing file */
#define K_SHARE_WRITE      0x080 /* with K_SHARE_READ: read and write sharing */
#define K_SHARE_READ       0x100

/* Returns the handle, -1 on failure. */
KEST_API int32_t K_OsCreat(const char *name, int32_t mode);
KEST_API int32_t K_OsOpen(const char *name, uint32_t flags, int32_t share, uint32_t userData);
/* Bytes transferred, -1 on failure or a null buffer. A write of 0 bytes
 * truncates the file at the current position and returns 0. */
KEST_API int32_t K_OsRead(int32_t handle, void *buffer, uint32_t count, uint32_t userData);
KEST_API int32_t K_OsWrite(int32_t handle, void *buffer, uint32_t count, uint32_t userData);
/* origin 0 from the start, 1 from the current position, else from the end.
 * Returns the new position. */
KEST_API int32_t K_OsSeek(int32_t handle, int32_t offset, int32_t origin, uint32_t userData);
KEST_API int32_t K_OsClose(int32_t handle, uint32_t userData);
KEST_API int32_t K_OsDelete(const char *name);
/* Creates a unique file named "KS....TMP" in the thread's temporary
 * directory and writes its path (at most MAX_PATH bytes) to buffer.
 * Returns 0, or -13 for a null buffer. */
KEST_API int32_t K_OsGetTempName(char *buffer);
/* -295 when the last system error was a full disk, else fallback. */
KEST_API int32_t K_OsGetLastError(int32_t fallback);
/* 1 on success, 0 on failure; a partly written destination stays. */
KEST_API int32_t K_CopyFile(const char *source, const char *destination, int32_t failIfExists);

/* Fixed point: angles in hundredths of a degree from 0 to 36000, results
 * times 16384. The angle is not normalised. */
KEST_API int32_t K_SinValue(int32_t angle);
KEST_API int32_t K_CosValue(int32_t angle);
/* Integer square root by Newton's method with its own stop rule. */
KEST_API uint32_t K_SQRT(uint32_t value);
/* 256 bytes: entry b is the number of set bits of b. */
KEST_API const uint8_t *K_Get1BitOnTable(void);

/* The display dispatch table: 20 function pointers through which the core
 * reaches the region and display code without linking to it. */
#define K_DISDISPATCH_SLOTS 20
KEST_API void K_SetDisDispatch(void **table);
/* -13 for a null table, -30 when none is installed, else 1. */
KEST_API int32_t K_GetDisDispatch(void **table);
/* Marks the table as set, zeroing it first only if it was not; returns the
 * mark as it was. */
KEST_API int32_t K_ResetDisDispatch(void);

#endif /* KEST_MEMORY_H */
