/* The text of a status, for telling a failure to the user. */
#ifndef KEST_STATUS_TEXT_H
#define KEST_STATUS_TEXT_H

#include "kest/platform.h"

/* Entries in the status text table: statuses 0 down to -1361 can have a
 * text. Many numbers in that range have none. */
#define K_STATUS_TEXT_COUNT 1362

/* This library's addition, for C callers that expect to print a status:
 * the text of status (0 to -1361) as the library's constant data, or null
 * for a status without text, for success (1) and for anything out of the
 * table. The text is never to be freed or written. */
KEST_API const char *K_GetStatusText(int32_t status);

#endif /* KEST_STATUS_TEXT_H */
