/* The export macro and the Win32 types that the interface speaks in.
 *
 * On Windows these come from <windows.h>. Elsewhere this header declares a
 * small set with the same names and identical layouts, so that code written
 * against the interface compiles unchanged on both. */
#ifndef KEST_PLATFORM_H
#define KEST_PLATFORM_H

#include <stddef.h>
#include <stdint.h>

#if defined(_WIN32)
#  ifndef WIN32_LEAN_AND_MEAN
#    define WIN32_LEAN_AND_MEAN
#  endif
#  ifndef NOMINMAX
#    define NOMINMAX
#  endif
#  include <windows.h>
#endif

#ifdef __cplusplus
#  define KEST_EXTERN_C extern "C"
#else
#  define KEST_EXTERN_C
#endif

/* KEST_BUILDING: compiling the library. KEST_STATIC: linking its static
 * archive (the test programs do). */
#if defined(_WIN32)
#  if defined(KEST_BUILDING)
#    define KEST_VISIBILITY __declspec(dllexport)
#  elif defined(KEST_STATIC)
#    define KEST_VISIBILITY
#  else
#    define KEST_VISIBILITY __declspec(dllimport)
#  endif
#else
#  define KEST_VISIBILITY __attribute__((visibility("default")))
#endif

/* Marks every exported K_ function. */
#define KEST_API KEST_EXTERN_C KEST_VISIBILITY

#if !defined(_WIN32)

typedef uint8_t BYTE;
typedef uint16_t WORD;
typedef uint32_t DWORD;
typedef int32_t LONG;
typedef uint32_t UINT;
typedef int32_t BOOL;
typedef DWORD COLORREF;
typedef void *HANDLE;
typedef HANDLE HGLOBAL;
typedef intptr_t LPARAM;
typedef uintptr_t WPARAM;
typedef intptr_t LRESULT;

/* Distinct handle types, as <windows.h> declares them with STRICT. */
#define KEST_DECLARE_HANDLE(name) struct name##__ { int unused; }; typedef struct name##__ *name
KEST_DECLARE_HANDLE(HWND);
KEST_DECLARE_HANDLE(HDC);
KEST_DECLARE_HANDLE(HPALETTE);
KEST_DECLARE_HANDLE(HRGN);
KEST_DECLARE_HANDLE(HBITMAP);
KEST_DECLARE_HANDLE(HBRUSH);
KEST_DECLARE_HANDLE(HINSTANCE);
KEST_DECLARE_HANDLE(HENHMETAFILE);
KEST_DECLARE_HANDLE(HMETAFILE);
typedef HINSTANCE HMODULE;
#undef KEST_DECLARE_HANDLE

typedef struct tagRECT { LONG left, top, right, bottom; } RECT;
typedef struct tagPOINT { LONG x, y; } POINT;
typedef struct tagSIZE { LONG cx, cy; } SIZE;

typedef struct tagRGBQUAD {
  BYTE rgbBlue;
  BYTE rgbGreen;
  BYTE rgbRed;
  BYTE rgbReserved;
} RGBQUAD;

typedef struct tagPALETTEENTRY {
  BYTE peRed;
  BYTE peGreen;
  BYTE peBlue;
  BYTE peFlags;
} PALETTEENTRY;

typedef struct tagLOGPALETTE {
  WORD palVersion;
  WORD palNumEntries;
  PALETTEENTRY palPalEntry[1];
} LOGPALETTE;

typedef struct tagBITMAPINFOHEADER {
  DWORD biSize;
  LONG biWidth;
  LONG biHeight;
  WORD biPlanes;
  WORD biBitCount;
  DWORD biCompression;
  DWORD biSizeImage;
  LONG biXPelsPerMeter;
  LONG biYPelsPerMeter;
  DWORD biClrUsed;
  DWORD biClrImportant;
} BITMAPINFOHEADER;

typedef struct tagBITMAPINFO {
  BITMAPINFOHEADER bmiHeader;
  RGBQUAD bmiColors[1];
} BITMAPINFO;

#ifndef MAX_PATH
#  define MAX_PATH 260
#endif

#endif /* !_WIN32 */

#endif /* KEST_PLATFORM_H */
