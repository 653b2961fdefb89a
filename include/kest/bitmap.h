/* The bitmap record and its life cycle.
 *
 * RASTERBITMAP is owned by the caller and passed by address; the library
 * never allocates it. Its first word holds the record's size and every call
 * compares it with RASTERBITMAP_SIZE. On a 32-bit target the record is the
 * published 164 bytes; on a 64-bit target pointers, handles and the two
 * whole-bitmap byte counts (RowCursorOffset, BitmapSize) widen naturally, so
 * that a 64-bit process can hold bitmaps of more than 4 GiB. */
#ifndef KEST_BITMAP_H
#define KEST_BITMAP_H

#include "kest/platform.h"

typedef struct tagRASTERBITMAP {
  uint32_t RecordSize;        /* RASTERBITMAP_SIZE once initialised */
  HANDLE MemoryHandle;        /* mapping, global block or disk file (as a handle value) */
  void *BitmapData;           /* first row; tile table; row table; band table; null on disk */
  int32_t BitmapWidth;        /* pixels in a row */
  int32_t BitmapHeight;       /* rows */
  int32_t BitmapBits;         /* 1..8, 12, 16, 24, 32, 48 or 64 */
  uint32_t BitmapBytesPerLine;/* row stride: whole 32-bit words */
  size_t RowCursorOffset;     /* byte offset of the row last addressed */
  uint32_t RowCursorRow;      /* index of the row last addressed */
  uint32_t BitmapFlags;       /* RBF_ bits */
  int32_t ColorsCount;        /* palette entries: 1 << bits up to 8 bits, else 0 */
  RGBQUAD *Palette;           /* owned, from K_OsAlloc, or null */
  uint32_t ViewPerspective;   /* 1..8: the corner the first stored row starts at */
  uint32_t ColorOrder;        /* K_ORDER_ value */
  size_t BitmapSize;          /* bytes of the pixels; 0 means nothing to allocate */
  void *DitherState;          /* dither state while dithering runs on this bitmap */
  uint32_t DitherMode;        /* dithering this bitmap brings to colour reduction */
  void *Region;               /* owned region of interest, or null */
  int32_t BitmapXRes;         /* dots per inch */
  int32_t BitmapYRes;
  int32_t BitmapLeft;         /* animation frame position */
  int32_t BitmapTop;
  uint32_t BitmapDelay;       /* animation frame delay, milliseconds */
  uint32_t BitmapBackground;
  uint32_t BitmapTransparentColor;
  uint32_t BitmapDisposalMethod;
  int32_t DataLowBit;         /* lowest significant bit of a gray pixel */
  int32_t DataHighBit;        /* highest; below 0 means BitmapBits - 1 */
  RGBQUAD *LevelLUT;          /* window-level table, owned, or null */
  uint32_t LevelLUTLength;
  uint32_t AlignmentSlack;    /* bytes from the mapped view to BitmapData, 0..31 */
  int32_t LevelMinValue;
  int32_t LevelMaxValue;
  int32_t LevelLowBit;
  int32_t LevelHighBit;
  int32_t PaintGamma;         /* hundredths; 100 is neutral */
  int32_t PaintContrast;
  int32_t PaintIntensity;     /* -1000..1000 */
  uint8_t *PaintLUT;          /* owned 256-byte table */
  void *Overlays;             /* owned overlay list, or null */
  uint32_t reserved;          /* zero, not read */
} RASTERBITMAP;

/* The size every call compares with RecordSize: 164 on 32-bit targets. */
#define RASTERBITMAP_SIZE ((int32_t)sizeof(RASTERBITMAP))

/* BitmapFlags. */
#define RBF_ALLOCATED          0x00001 /* the record owns pixels */
#define RBF_CONVENTIONAL       0x00002 /* pixels addressable in memory */
#define RBF_DISK               0x00004 /* pixels live in a file of their own */
#define RBF_LOCKED             0x00010 /* K_AccessBitmap has locked a global block */
#define RBF_WAIT_INPUT         0x00040 /* animation: wait for input after this frame */
#define RBF_TRANSPARENT        0x00080 /* animation: BitmapTransparentColor applies */
#define RBF_COMPRESSED         0x00100 /* 1-bit rows held as runs */
#define RBF_SIGNED             0x00200 /* gray values are signed */
#define RBF_USER               0x00400 /* the caller owns the pixel memory */
#define RBF_USE_LUT            0x00800 /* LevelLUT is in force */
#define RBF_GLOBAL_BLOCK       0x01000 /* MemoryHandle is a global block, not a mapping */
#define RBF_PAINT_LUT          0x02000 /* PaintLUT differs from the identity */
#define RBF_TILED              0x04000 /* pixels spread over tiles */
#define RBF_SUPERCOMPRESSED    0x08000 /* pixels kept in compressed bands */
#define RBF_REGION_UNCLIPPED   0x10000 /* Region is clipped when read, not when set */

/* Memory types of K_CreateBitmap and K_AllocateBitmap. After the
 * adjustments for depth only 1, 2, 4, 8, 9, 128, 256, 768, 1024 and 1025
 * are accepted. */
#define MEMORY_TYPE_NONE             0
#define MEMORY_TYPE_CONV             1
#define MEMORY_TYPE_USER             2
#define MEMORY_TYPE_TILED            4
#define MEMORY_TYPE_NOTILED          8
#define MEMORY_TYPE_DISK           128
#define MEMORY_TYPE_NODISK         256
#define MEMORY_TYPE_COMPRESSED     512
#define MEMORY_TYPE_SUPERCOMPRESSED 1024

/* ColorOrder. */
#define K_ORDER_RGB      0 /* red first */
#define K_ORDER_BGR      1 /* blue first */
#define K_ORDER_GRAY     2 /* gray levels */
#define K_ORDER_EXTENDED 5 /* the extended order, 24 and 48 bits only */

/* Fills the record for a bitmap of that size; allocates nothing. All three
 * 0 give an empty valid record. 1, -13 null, -789 size, -27 bits not 1..8,
 * 12, 16, 24, 32, 48 or 64, -11 a size the record cannot hold. */
KEST_API int32_t K_InitBitmap(RASTERBITMAP *bitmap, int32_t recordSize, uint32_t width,
                              uint32_t height, uint32_t bits);
/* Initialises and allocates in one call. bits 0 makes an 8-bit gray bitmap.
 * A palette (8 bits or fewer) is copied, else the fixed palette is used.
 * viewPerspective 0 means 1; above 8 gives -13 with the bitmap allocated.
 * With MEMORY_TYPE_USER, data (at least BitmapSize bytes) becomes the pixels. */
KEST_API int32_t K_CreateBitmap(RASTERBITMAP *bitmap, int32_t recordSize, uint32_t memoryType,
                                int32_t width, int32_t height, int32_t bits, uint32_t colorOrder,
                                RGBQUAD *palette, uint32_t viewPerspective, void *data,
                                uint32_t dataSize);
/* Gives an initialised record its pixels: conventional, tiled or disk
 * memory as the request, the size and the thread's thresholds decide.
 * 1, -13 null or a type not accepted, -789, -11 nothing to allocate,
 * -1 no memory of any allowed kind, -5 the disk file could not be written. */
KEST_API int32_t K_AllocateBitmap(RASTERBITMAP *bitmap, uint32_t memoryType);
/* Releases region, palette, overlays, pixels and tables. Never fails; a
 * freed record may be freed again or allocated anew. */
KEST_API void K_FreeBitmap(RASTERBITMAP *bitmap);
/* Lock and unlock the pixels of a global-block bitmap; nothing for others. */
KEST_API void K_AccessBitmap(RASTERBITMAP *bitmap);
KEST_API void K_ReleaseBitmap(RASTERBITMAP *bitmap);
/* Returns 1 if the bitmap was locked already, else locks it and returns 0;
 * K_UnlockBitmap undoes only the call that returned 0. */
KEST_API int32_t K_LockBitmap(RASTERBITMAP *bitmap);
KEST_API void K_UnlockBitmap(RASTERBITMAP *bitmap, int32_t wasLocked);
/* Attaches the caller's pixels (dataSize bytes at least BitmapSize) to a
 * user-memory bitmap; null detaches. 1, -13, -789. */
KEST_API int32_t K_SetBitmapDataPointer(RASTERBITMAP *bitmap, void *data, uint32_t dataSize);
/* Changes the number of rows, keeping the rows that stay. 1, -2, -789,
 * -13 user or locked memory, -1. */
KEST_API int32_t K_ChangeBitmapHeight(RASTERBITMAP *bitmap, int32_t height);
/* Recomputes BitmapSize for the memory kind. 1, -2, -789. */
KEST_API int32_t K_UpdateBitmapSize(RASTERBITMAP *bitmap);

#endif /* KEST_BITMAP_H */
