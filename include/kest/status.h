/* Status codes. Every exported function that reports a status returns one of
 * these: 1 is success, a negative number a failure. */
#ifndef KEST_STATUS_H
#define KEST_STATUS_H

#define K_SUCCESS               1    /* the call did what it was asked */
#define K_FAILURE               0    /* "General failure"; also "nothing done" where a call says so */
#define K_ERR_NOMEMORY        (-1)   /* an allocation failed; what the call had done is undone */
#define K_ERR_BITMAP          (-2)   /* null record, or one without pixels where pixels are needed */
#define K_ERR_SEEK            (-4)   /* a file seek did not land */
#define K_ERR_WRITE           (-5)   /* a file write failed or fell short */
#define K_ERR_READ            (-7)   /* a file read failed */
#define K_ERR_WIDTH_HEIGHT   (-11)   /* bad width, height or position; nothing to allocate */
#define K_ERR_PARAMETER      (-13)   /* an argument out of its range, or a null pointer */
#define K_ERR_NOT_AVAILABLE  (-16)   /* "Feature not available": the step needs a part not built yet */
#define K_ERR_BITS           (-27)   /* bits per pixel not accepted here */
#define K_ERR_NO_DISPATCH    (-30)   /* no display dispatch table is installed */
#define K_ERR_USER_ABORT    (-100)   /* a progress callback asked to stop */
#define K_ERR_DISK_FULL     (-295)   /* the disk or the quota is full */
#define K_ERR_NO_HOTKEY     (-312)   /* the thread has no hot key to remove */
#define K_ERR_HOTKEY_WINDOW (-313)   /* the hot-key window could not be made */
#define K_ERR_NO_FILTER_C   (-356)   /* the band filter for 8 and 24 bits is not installed */
#define K_ERR_NO_FILTER_F   (-357)   /* the band filter for 1 bit is not installed */
#define K_ERR_RECORD_SIZE   (-789)   /* the record's size word is not the library's */
#define K_ERR_NULL_POINTER  (-814)   /* a required pointer was null */
#define K_ERR_SIGNED_DATA  (-1360)   /* signed gray data, where colours are needed; no text */

#endif /* KEST_STATUS_H */
