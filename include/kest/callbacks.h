/* Callback types that the thread settings hold, and the calls that set and
 * read the progress and substitute-font callbacks. Every callback slot
 * belongs to the calling thread: a callback is seen only by the thread that
 * set it. */
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

/* The status callback, which the long image operations call as their
 * percentage changes. Returns the calling thread's callback (null if none);
 * userData, if not null, receives the user word that goes with it. */
KEST_API K_STATUSCALLBACK K_GetStatusCallBack(void **userData);

/* Sets the calling thread's status callback and its user word; null
 * switches reporting off. The old values go to oldCallback and oldUserData
 * where those are not null. */
KEST_API void K_SetStatusCallBack(K_STATUSCALLBACK callback, void *userData,
                                  K_STATUSCALLBACK *oldCallback, void **oldUserData);

/* The same pair for the copy callback, which bitmap copies report on. */
KEST_API K_STATUSCALLBACK K_GetCopyStatusCallBack(void **userData);
KEST_API void K_SetCopyStatusCallBack(K_STATUSCALLBACK callback, void *userData,
                                      K_STATUSCALLBACK *oldCallback, void **oldUserData);

/* Stores the thread's substitute-font callback and user word for the
 * vector libraries. Returns 1. */
KEST_API int32_t K_VecSetSubstituteFontCallback(K_SUBSTITUTEFONTCALLBACK callback, void *userData);

/* Reads them back. Returns 1; -13 if either pointer is null. */
KEST_API int32_t K_VecGetSubstituteFontCallback(K_SUBSTITUTEFONTCALLBACK *callback, void **userData);

#endif /* KEST_CALLBACKS_H */
