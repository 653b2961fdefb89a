/* Callback types that the thread settings hold. */
#ifndef KEST_CALLBACKS_H
#define KEST_CALLBACKS_H

#include "kest/platform.h"

/* Progress of a long operation. Return 1 to go on; any other value stops
 * the operation, which then returns that value. */
typedef int32_t (*K_STATUSCALLBACK)(int32_t percent, void *userData);

/* Kept for vector libraries; nothing in this library calls it. */
typedef int32_t (*K_SUBSTITUTEFONTCALLBACK)(void *font, void *userData);

/* Called when the thread's global hot key is pressed; a result other than 1
 * removes the hot key. */
typedef int32_t (*K_HOTKEYCALLBACK)(int32_t key, int32_t modifiers, void *userData);

/* File hooks, with the signatures of K_OsOpen, K_OsRead, K_OsWrite,
 * K_OsSeek and K_OsClose. */
typedef int32_t (*K_FILEOPENHOOK)(const char *name, uint32_t flags, int32_t share, uint32_t userData);
typedef int32_t (*K_FILEREADHOOK)(int32_t handle, void *buffer, uint32_t count, uint32_t userData);
typedef int32_t (*K_FILEWRITEHOOK)(int32_t handle, void *buffer, uint32_t count, uint32_t userData);
typedef int32_t (*K_FILESEEKHOOK)(int32_t handle, int32_t offset, int32_t origin, uint32_t userData);
typedef int32_t (*K_FILECLOSEHOOK)(int32_t handle, uint32_t userData);

#endif /* KEST_CALLBACKS_H */
