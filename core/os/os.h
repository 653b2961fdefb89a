// The platform boundary: the only operations of the operating system that
// the kernel uses. Each is named after the Win32 call it stands for. The
// Win32 side (os_win32.cpp) forwards to the real call; the POSIX side
// (os_posix.cpp) implements the same behaviour stand-alone.
//
// Errors are reported the Win32 way on both sides: a failing operation sets
// the thread's last error to a Win32 error number, so that the library turns
// system errors into statuses by one rule everywhere.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "kest/platform.h"

namespace kest::os {

// ---- Errors (Win32 numbering on both sides) ----
inline constexpr uint32_t kErrorFileNotFound = 2;
inline constexpr uint32_t kErrorAccessDenied = 5;
inline constexpr uint32_t kErrorNotEnoughMemory = 8;
inline constexpr uint32_t kErrorWriteFault = 29;
inline constexpr uint32_t kErrorReadFault = 30;
inline constexpr uint32_t kErrorSharingViolation = 32;
inline constexpr uint32_t kErrorHandleDiskFull = 39;
inline constexpr uint32_t kErrorFileExists = 80;
inline constexpr uint32_t kErrorInvalidParameter = 87;
inline constexpr uint32_t kErrorDiskFull = 112;

uint32_t GetLastError();
void SetLastError(uint32_t error);

// ---- Memory mappings ----
// A mapping object over the page file (anonymous) or over an open file.
// Views are released with their size, which the POSIX side needs.
HANDLE CreateAnonymousMapping(uint64_t size);
HANDLE CreateFileMapping(int32_t file, uint64_t size);
void *MapViewOfFile(HANDLE mapping, uint64_t offset, size_t size);
bool UnmapViewOfFile(void *view, size_t size);
void CloseMapping(HANDLE mapping);
// The size a mapping was created with where the platform needs it to
// release a whole view (POSIX); 0 where it does not (Win32).
size_t MappingSize(HANDLE mapping);

// ---- Movable global blocks ----
inline constexpr uint32_t kGmemMoveable = 0x0002;
inline constexpr uint32_t kGmemZeroInit = 0x0040;
inline constexpr uint32_t kGmemDdeShare = 0x2000;

HGLOBAL GlobalAlloc(uint32_t flags, size_t size);
void *GlobalLock(HGLOBAL block);
bool GlobalUnlock(HGLOBAL block);
// Returns the (possibly new) handle, null on failure; the old block then
// stands as it was.
HGLOBAL GlobalReAlloc(HGLOBAL block, size_t size, uint32_t flags);
HGLOBAL GlobalFree(HGLOBAL block);  // null on success
HGLOBAL GlobalHandle(const void *pointer);
size_t GlobalSize(HGLOBAL block);

// ---- Memory statistics ----
struct MemoryStatus {
  uint64_t totalPhys;
  uint64_t availPhys;
  uint64_t totalPageFile;
  uint64_t availPageFile;
};
MemoryStatus GlobalMemoryStatus();

// ---- Files ----
// File handles are 32-bit words; -1 is the invalid handle.
inline constexpr int32_t kInvalidFile = -1;

inline constexpr uint32_t kAccessRead = 1;
inline constexpr uint32_t kAccessWrite = 2;
inline constexpr uint32_t kShareRead = 1;
inline constexpr uint32_t kShareWrite = 2;

enum class Disposition { CreateAlways, OpenExisting, TruncateExisting, CreateNew };

inline constexpr uint32_t kAttributeReadOnly = 0x01;
inline constexpr uint32_t kAttributeHidden = 0x02;
inline constexpr uint32_t kAttributeSystem = 0x04;
inline constexpr uint32_t kAttributeNormal = 0x80;

struct FileOptions {
  uint32_t access = kAccessRead | kAccessWrite;
  uint32_t share = kShareRead | kShareWrite;
  Disposition disposition = Disposition::OpenExisting;
  uint32_t attributes = kAttributeNormal;
  // On POSIX the file is unlinked as soon as it is created, so that a killed
  // process leaves nothing behind.
  bool deleteOnClose = false;
};

int32_t CreateFile(const char *name, const FileOptions &options);
// Bytes transferred, -1 on failure.
int64_t ReadFile(int32_t file, void *buffer, uint32_t count);
int64_t WriteFile(int32_t file, const void *buffer, uint32_t count);
// origin: 0 start, 1 current, 2 end. The new position, -1 on failure.
int64_t SetFilePointer(int32_t file, int64_t offset, int32_t origin);
bool SetEndOfFile(int32_t file);
bool CloseHandle(int32_t file);
bool DeleteFile(const char *name);
bool IsDirectory(const char *path);
// The temporary directory with a trailing separator; empty on failure.
void GetTempPath(char (&buffer)[MAX_PATH]);
// Creates a new empty file "<prefix>XXXX.TMP" in directory and writes its
// path to out; returns the unique number, 0 on failure.
uint32_t GetTempFileName(const char *directory, const char *prefix, char (&out)[MAX_PATH]);
// Bytes free for this user on the volume holding path; 0 when unknown.
uint64_t FreeDiskSpace(const char *path);

// ---- Dynamic libraries ----
// The name is given as on Windows ("KFILTC.DLL"); the POSIX side maps it to
// libkfiltc.so, looked for beside this library first.
void *LoadLibrary(const char *name);
void *GetProcAddress(void *library, const char *symbol);
void FreeLibrary(void *library);

// ---- The library itself ----
// The module handle of the library (Windows); the POSIX side has none and
// gives null.
void *LibraryModule();

// ---- Threads and time ----
uint32_t GetCurrentThreadId();
uint32_t GetTickCount();

// ---- Spin words ----
// Taken by an interlocked increment; a result other than 1 means another
// holder, so the taker steps back and tries again, without sleeping.
using SpinWord = std::atomic<int32_t>;

inline void TakeSpinWord(SpinWord &word) {
  while (word.fetch_add(1, std::memory_order_acquire) + 1 != 1) {
    word.fetch_sub(1, std::memory_order_relaxed);
  }
}
inline void ReleaseSpinWord(SpinWord &word) { word.fetch_sub(1, std::memory_order_release); }

class SpinGuard {
 public:
  explicit SpinGuard(SpinWord &word) : word_(word) { TakeSpinWord(word_); }
  ~SpinGuard() { ReleaseSpinWord(word_); }
  SpinGuard(const SpinGuard &) = delete;
  SpinGuard &operator=(const SpinGuard &) = delete;

 private:
  SpinWord &word_;
};

}  // namespace kest::os
