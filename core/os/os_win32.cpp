// The Win32 side of the platform boundary: each operation forwards to the
// system call it is named after.
#include "core/os/os.h"

#include <windows.h>

#include <cstdio>
#include <cstring>

namespace kest::os {
namespace {

// Kernel handles carry 32 significant bits, so a file handle travels as a
// 32-bit word and is sign-extended back.
HANDLE ToHandle(int32_t file) { return reinterpret_cast<HANDLE>(static_cast<intptr_t>(file)); }
int32_t FromHandle(HANDLE handle) {
  return static_cast<int32_t>(reinterpret_cast<intptr_t>(handle));
}

}  // namespace

uint32_t GetLastError() { return ::GetLastError(); }
void SetLastError(uint32_t error) { ::SetLastError(error); }

HANDLE CreateAnonymousMapping(uint64_t size) {
  return ::CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE | SEC_COMMIT,
                              static_cast<DWORD>(size >> 32), static_cast<DWORD>(size), nullptr);
}

HANDLE CreateFileMapping(int32_t file, uint64_t size) {
  return ::CreateFileMappingA(ToHandle(file), nullptr, PAGE_READWRITE,
                              static_cast<DWORD>(size >> 32), static_cast<DWORD>(size), nullptr);
}

void *MapViewOfFile(HANDLE mapping, uint64_t offset, size_t size) {
  return ::MapViewOfFile(mapping, FILE_MAP_WRITE, static_cast<DWORD>(offset >> 32),
                         static_cast<DWORD>(offset), size);
}

bool UnmapViewOfFile(void *view, size_t) { return ::UnmapViewOfFile(view) != 0; }

void CloseMapping(HANDLE mapping) {
  if (mapping != nullptr) ::CloseHandle(mapping);
}

size_t MappingSize(HANDLE) { return 0; }

HGLOBAL GlobalAlloc(uint32_t flags, size_t size) { return ::GlobalAlloc(flags, size); }
void *GlobalLock(HGLOBAL block) { return ::GlobalLock(block); }
bool GlobalUnlock(HGLOBAL block) { return ::GlobalUnlock(block) != 0; }
HGLOBAL GlobalReAlloc(HGLOBAL block, size_t size, uint32_t flags) {
  return ::GlobalReAlloc(block, size, flags);
}
HGLOBAL GlobalFree(HGLOBAL block) { return ::GlobalFree(block); }
HGLOBAL GlobalHandle(const void *pointer) { return ::GlobalHandle(pointer); }
size_t GlobalSize(HGLOBAL block) { return ::GlobalSize(block); }

MemoryStatus GlobalMemoryStatus() {
  MEMORYSTATUSEX status{};
  status.dwLength = sizeof status;
  if (!::GlobalMemoryStatusEx(&status)) return {};
  return {status.ullTotalPhys, status.ullAvailPhys, status.ullTotalPageFile,
          status.ullAvailPageFile};
}

int32_t CreateFile(const char *name, const FileOptions &options) {
  if (name == nullptr) {
    ::SetLastError(ERROR_INVALID_PARAMETER);
    return kInvalidFile;
  }
  DWORD access = ((options.access & kAccessRead) ? GENERIC_READ : 0) |
                 ((options.access & kAccessWrite) ? GENERIC_WRITE : 0);
  DWORD share = ((options.share & kShareRead) ? FILE_SHARE_READ : 0) |
                ((options.share & kShareWrite) ? FILE_SHARE_WRITE : 0);
  if (options.deleteOnClose) share |= FILE_SHARE_DELETE;
  DWORD disposition = OPEN_EXISTING;
  switch (options.disposition) {
    case Disposition::CreateAlways: disposition = CREATE_ALWAYS; break;
    case Disposition::CreateNew: disposition = CREATE_NEW; break;
    case Disposition::TruncateExisting: disposition = TRUNCATE_EXISTING; break;
    case Disposition::OpenExisting: disposition = OPEN_EXISTING; break;
  }
  DWORD attributes = options.attributes & (kAttributeReadOnly | kAttributeHidden |
                                           kAttributeSystem | kAttributeNormal);
  if (attributes == 0) attributes = FILE_ATTRIBUTE_NORMAL;
  if (options.deleteOnClose) attributes |= FILE_FLAG_DELETE_ON_CLOSE;
  HANDLE handle = ::CreateFileA(name, access, share, nullptr, disposition, attributes, nullptr);
  return handle == INVALID_HANDLE_VALUE ? kInvalidFile : FromHandle(handle);
}

int64_t ReadFile(int32_t file, void *buffer, uint32_t count) {
  DWORD done = 0;
  if (!::ReadFile(ToHandle(file), buffer, count, &done, nullptr)) return -1;
  return done;
}

int64_t WriteFile(int32_t file, const void *buffer, uint32_t count) {
  DWORD done = 0;
  if (!::WriteFile(ToHandle(file), buffer, count, &done, nullptr)) return -1;
  return done;
}

int64_t SetFilePointer(int32_t file, int64_t offset, int32_t origin) {
  LARGE_INTEGER distance, position;
  distance.QuadPart = offset;
  DWORD method = origin == 0 ? FILE_BEGIN : origin == 1 ? FILE_CURRENT : FILE_END;
  if (!::SetFilePointerEx(ToHandle(file), distance, &position, method)) return -1;
  return position.QuadPart;
}

bool SetEndOfFile(int32_t file) { return ::SetEndOfFile(ToHandle(file)) != 0; }
bool CloseHandle(int32_t file) { return file != kInvalidFile && ::CloseHandle(ToHandle(file)) != 0; }
bool DeleteFile(const char *name) { return name != nullptr && ::DeleteFileA(name) != 0; }

bool IsDirectory(const char *path) {
  if (path == nullptr) return false;
  DWORD attributes = ::GetFileAttributesA(path);
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY);
}

void GetTempPath(char (&buffer)[MAX_PATH]) {
  DWORD length = ::GetTempPathA(MAX_PATH, buffer);
  if (length == 0 || length >= MAX_PATH) buffer[0] = '\0';
}

uint32_t GetTempFileName(const char *directory, const char *prefix, char (&out)[MAX_PATH]) {
  return ::GetTempFileNameA(directory, prefix, 0, out);
}

uint64_t FreeDiskSpace(const char *path) {
  ULARGE_INTEGER available{};
  if (path == nullptr || !::GetDiskFreeSpaceExA(path, &available, nullptr, nullptr)) return 0;
  return available.QuadPart;
}

void *LoadLibrary(const char *name) {
  return name == nullptr ? nullptr : reinterpret_cast<void *>(::LoadLibraryA(name));
}

void *GetProcAddress(void *library, const char *symbol) {
  if (library == nullptr || symbol == nullptr) return nullptr;
  return reinterpret_cast<void *>(::GetProcAddress(static_cast<HMODULE>(library), symbol));
}

void FreeLibrary(void *library) {
  if (library != nullptr) ::FreeLibrary(static_cast<HMODULE>(library));
}

uint32_t GetCurrentThreadId() { return ::GetCurrentThreadId(); }
uint32_t GetTickCount() { return ::GetTickCount(); }

}  // namespace kest::os
