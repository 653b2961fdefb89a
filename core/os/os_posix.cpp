// The POSIX side of the platform boundary: mappings by mmap, global blocks
// as heap blocks with a header, files by POSIX calls, statistics from the
// kernel, libraries by dlopen. Errors are kept in Win32 numbering.
#include "core/os/os.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <strings.h>

#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace kest::os {
namespace {

thread_local uint32_t t_lastError = 0;

uint32_t FromErrno(int error) {
  switch (error) {
    case ENOENT: case ENOTDIR: return kErrorFileNotFound;
    case EACCES: case EPERM: case EROFS: case EISDIR: return kErrorAccessDenied;
    case ENOMEM: return kErrorNotEnoughMemory;
    case ENOSPC: return kErrorDiskFull;
#ifdef EDQUOT
    case EDQUOT: return kErrorHandleDiskFull;
#endif
    case EEXIST: return kErrorFileExists;
    case EIO: return kErrorWriteFault;
    default: return kErrorInvalidParameter;
  }
}

void SetErrno() { t_lastError = FromErrno(errno); }

// The mapping object: a file descriptor (-1 for anonymous memory) and the
// mapping's size.
struct MappingObject {
  int fd;
  uint64_t size;
};

// Header in front of a global block. The data begins 32 bytes in, so a
// block is as aligned as the heap gives plus 32.
struct GlobalHeader {
  uint32_t magic;
  uint32_t locks;
  uint32_t flags;
  uint32_t unused;
  size_t size;
  size_t unused2;
};
static_assert(sizeof(GlobalHeader) == 32 || sizeof(GlobalHeader) == 24);
constexpr size_t kGlobalHeaderSize = 32;
constexpr uint32_t kGlobalMagic = 0x4B474C42;  // "KGLB"

MappingObject *NewMapping(int fd, uint64_t size) {
  auto *object = static_cast<MappingObject *>(std::malloc(sizeof(MappingObject)));
  if (object == nullptr) {
    t_lastError = kErrorNotEnoughMemory;
    return nullptr;
  }
  *object = {fd, size};
  return object;
}

GlobalHeader *HeaderOf(HGLOBAL block) {
  auto *header = static_cast<GlobalHeader *>(block);
  if (header == nullptr || header->magic != kGlobalMagic) return nullptr;
  return header;
}

}  // namespace

uint32_t GetLastError() { return t_lastError; }
void SetLastError(uint32_t error) { t_lastError = error; }

HANDLE CreateAnonymousMapping(uint64_t size) {
  if (size == 0) {
    t_lastError = kErrorInvalidParameter;
    return nullptr;
  }
  return NewMapping(-1, size);
}

namespace {

// A Win32 file has no holes: the clusters of every byte up to its end are
// allocated, so a full disk shows when the file is made, not when a page of
// a mapping over it is first written. A file extended by a seek and one
// byte is sparse here, and a page written through a mapping that the
// volume cannot hold kills the process. The blocks under a file mapping are
// therefore reserved first, and a full disk fails the mapping instead.
bool ReserveBlocks(int fd, uint64_t size) {
#if defined(__linux__)
  if (fallocate(fd, 0, 0, static_cast<off_t>(size)) == 0) return true;
  if (errno == EOPNOTSUPP || errno == ENOSYS) return true;  // the volume cannot say: go on
  SetErrno();
  return false;
#else
  const int error = posix_fallocate(fd, 0, static_cast<off_t>(size));
  if (error == 0 || error == EINVAL || error == EOPNOTSUPP) return true;
  t_lastError = FromErrno(error);
  return false;
#endif
}

}  // namespace

HANDLE CreateFileMapping(int32_t file, uint64_t size) {
  if (file < 0) {
    t_lastError = kErrorInvalidParameter;
    return nullptr;
  }
  if (!ReserveBlocks(file, size)) return nullptr;
  return NewMapping(file, size);
}

void *MapViewOfFile(HANDLE mapping, uint64_t offset, size_t size) {
  auto *object = static_cast<MappingObject *>(mapping);
  if (object == nullptr || size == 0 || offset + size > object->size) {
    t_lastError = kErrorInvalidParameter;
    return nullptr;
  }
  void *view;
  if (object->fd < 0) {
    view = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
#ifdef MADV_HUGEPAGE
    // Large pixel blocks are filled row after row: large pages take one
    // fault where small ones take five hundred.
    constexpr size_t kLargePage = size_t{2} << 20;
    if (view != MAP_FAILED && size >= 4 * kLargePage) madvise(view, size, MADV_HUGEPAGE);
#endif
  } else {
    view = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, object->fd,
                static_cast<off_t>(offset));
  }
  if (view == MAP_FAILED) {
    SetErrno();
    return nullptr;
  }
  return view;
}

bool UnmapViewOfFile(void *view, size_t size) {
  if (view == nullptr || munmap(view, size) != 0) {
    t_lastError = kErrorInvalidParameter;
    return false;
  }
  return true;
}

void CloseMapping(HANDLE mapping) { std::free(mapping); }

size_t MappingSize(HANDLE mapping) {
  auto *object = static_cast<MappingObject *>(mapping);
  return object == nullptr ? 0 : static_cast<size_t>(object->size);
}

HGLOBAL GlobalAlloc(uint32_t flags, size_t size) {
  if (size > SIZE_MAX - kGlobalHeaderSize) {
    t_lastError = kErrorNotEnoughMemory;
    return nullptr;
  }
  void *raw = (flags & kGmemZeroInit) ? std::calloc(1, kGlobalHeaderSize + size)
                                      : std::malloc(kGlobalHeaderSize + size);
  if (raw == nullptr) {
    t_lastError = kErrorNotEnoughMemory;
    return nullptr;
  }
  auto *header = static_cast<GlobalHeader *>(raw);
  *header = {kGlobalMagic, 0, flags, 0, size, 0};
  return header;
}

void *GlobalLock(HGLOBAL block) {
  GlobalHeader *header = HeaderOf(block);
  if (header == nullptr) {
    t_lastError = kErrorInvalidParameter;
    return nullptr;
  }
  ++header->locks;
  return reinterpret_cast<uint8_t *>(header) + kGlobalHeaderSize;
}

bool GlobalUnlock(HGLOBAL block) {
  GlobalHeader *header = HeaderOf(block);
  if (header == nullptr || header->locks == 0) return false;
  return --header->locks != 0;
}

HGLOBAL GlobalReAlloc(HGLOBAL block, size_t size, uint32_t flags) {
  GlobalHeader *header = HeaderOf(block);
  if (header == nullptr || size > SIZE_MAX - kGlobalHeaderSize) {
    t_lastError = kErrorInvalidParameter;
    return nullptr;
  }
  // A locked block may only grow in place; the heap cannot promise that, so
  // it is refused, as a locked movable block would be.
  if (header->locks != 0 && !(flags & kGmemMoveable)) {
    t_lastError = kErrorNotEnoughMemory;
    return nullptr;
  }
  size_t oldSize = header->size;
  void *raw = std::realloc(header, kGlobalHeaderSize + size);
  if (raw == nullptr) {
    t_lastError = kErrorNotEnoughMemory;
    return nullptr;
  }
  header = static_cast<GlobalHeader *>(raw);
  if ((flags & kGmemZeroInit) && size > oldSize) {
    std::memset(reinterpret_cast<uint8_t *>(header) + kGlobalHeaderSize + oldSize, 0,
                size - oldSize);
  }
  header->size = size;
  return header;
}

HGLOBAL GlobalFree(HGLOBAL block) {
  GlobalHeader *header = HeaderOf(block);
  if (header == nullptr) {
    t_lastError = kErrorInvalidParameter;
    return block;
  }
  header->magic = 0;
  std::free(header);
  return nullptr;
}

HGLOBAL GlobalHandle(const void *pointer) {
  if (pointer == nullptr) return nullptr;
  auto *header = reinterpret_cast<GlobalHeader *>(
      const_cast<uint8_t *>(static_cast<const uint8_t *>(pointer)) - kGlobalHeaderSize);
  return header->magic == kGlobalMagic ? header : nullptr;
}

size_t GlobalSize(HGLOBAL block) {
  GlobalHeader *header = HeaderOf(block);
  return header == nullptr ? 0 : header->size;
}

MemoryStatus GlobalMemoryStatus() {
  MemoryStatus status{};
  FILE *info = std::fopen("/proc/meminfo", "r");
  if (info == nullptr) return status;
  char line[256];
  while (std::fgets(line, sizeof line, info) != nullptr) {
    unsigned long long kib = 0;
    if (std::sscanf(line, "MemTotal: %llu kB", &kib) == 1) status.totalPhys = kib * 1024;
    else if (std::sscanf(line, "MemAvailable: %llu kB", &kib) == 1) status.availPhys = kib * 1024;
    else if (std::sscanf(line, "SwapTotal: %llu kB", &kib) == 1) status.totalPageFile = kib * 1024;
    else if (std::sscanf(line, "SwapFree: %llu kB", &kib) == 1) status.availPageFile = kib * 1024;
  }
  std::fclose(info);
  return status;
}

int32_t CreateFile(const char *name, const FileOptions &options) {
  if (name == nullptr) {
    t_lastError = kErrorInvalidParameter;
    return kInvalidFile;
  }
  int flags = O_CLOEXEC;
  bool read = options.access & kAccessRead, write = options.access & kAccessWrite;
  flags |= read && write ? O_RDWR : write ? O_WRONLY : O_RDONLY;
  switch (options.disposition) {
    case Disposition::CreateAlways: flags |= O_CREAT | O_TRUNC; break;
    case Disposition::CreateNew: flags |= O_CREAT | O_EXCL; break;
    case Disposition::TruncateExisting: flags |= O_TRUNC; break;
    case Disposition::OpenExisting: break;
  }
  mode_t mode = (options.attributes & kAttributeReadOnly) ? 0444 : 0666;
  // Truncating needs write access; a read-only create opens read-write long
  // enough to create the file, as the Win32 call does.
  if ((flags & O_TRUNC) && !write) flags = (flags & ~O_ACCMODE) | O_RDWR;
  int fd = open(name, flags, mode);
  if (fd < 0) {
    SetErrno();
    return kInvalidFile;
  }
  if (options.deleteOnClose) unlink(name);
  return fd;
}

int64_t ReadFile(int32_t file, void *buffer, uint32_t count) {
  size_t done = 0;
  while (done < count) {
    ssize_t got = read(file, static_cast<uint8_t *>(buffer) + done, count - done);
    if (got < 0) {
      if (errno == EINTR) continue;
      SetErrno();
      return -1;
    }
    if (got == 0) break;
    done += static_cast<size_t>(got);
  }
  return static_cast<int64_t>(done);
}

int64_t WriteFile(int32_t file, const void *buffer, uint32_t count) {
  size_t done = 0;
  while (done < count) {
    ssize_t put = write(file, static_cast<const uint8_t *>(buffer) + done, count - done);
    if (put < 0) {
      if (errno == EINTR) continue;
      SetErrno();
      return -1;
    }
    done += static_cast<size_t>(put);
  }
  return static_cast<int64_t>(done);
}

int64_t SetFilePointer(int32_t file, int64_t offset, int32_t origin) {
  int whence = origin == 0 ? SEEK_SET : origin == 1 ? SEEK_CUR : SEEK_END;
  off_t position = lseek(file, static_cast<off_t>(offset), whence);
  if (position < 0) {
    SetErrno();
    return -1;
  }
  return position;
}

bool SetEndOfFile(int32_t file) {
  off_t position = lseek(file, 0, SEEK_CUR);
  if (position < 0 || ftruncate(file, position) != 0) {
    SetErrno();
    return false;
  }
  return true;
}

bool CloseHandle(int32_t file) {
  if (file < 0 || close(file) != 0) {
    t_lastError = kErrorInvalidParameter;
    return false;
  }
  return true;
}

bool DeleteFile(const char *name) {
  if (name == nullptr || unlink(name) != 0) {
    if (name != nullptr) SetErrno();
    return false;
  }
  return true;
}

bool IsDirectory(const char *path) {
  struct stat info;
  return path != nullptr && stat(path, &info) == 0 && S_ISDIR(info.st_mode);
}

void GetTempPath(char (&buffer)[MAX_PATH]) {
  const char *dir = std::getenv("TMPDIR");
  if (dir == nullptr || *dir == '\0' || !IsDirectory(dir)) dir = "/tmp";
  size_t length = std::strlen(dir);
  bool slash = length > 0 && dir[length - 1] == '/';
  if (length + 2 > MAX_PATH) {
    buffer[0] = '\0';
    return;
  }
  std::snprintf(buffer, MAX_PATH, "%s%s", dir, slash ? "" : "/");
}

uint32_t GetTempFileName(const char *directory, const char *prefix, char (&out)[MAX_PATH]) {
  if (directory == nullptr || prefix == nullptr) {
    t_lastError = kErrorInvalidParameter;
    return 0;
  }
  size_t length = std::strlen(directory);
  const char *slash = (length > 0 && directory[length - 1] != '/') ? "/" : "";
  // As the Win32 call: a unique number of four hex digits from the clock,
  // counted on while the name exists; the file is created to claim it.
  uint32_t start = (GetTickCount() ^ static_cast<uint32_t>(getpid()) * 2654435761u) & 0xFFFF;
  for (uint32_t step = 0; step < 0x10000; ++step) {
    uint32_t unique = (start + step) & 0xFFFF;
    if (unique == 0) continue;
    int written = std::snprintf(out, MAX_PATH, "%s%s%.3s%X.TMP", directory, slash, prefix, unique);
    if (written < 0 || written >= MAX_PATH) {
      t_lastError = kErrorInvalidParameter;
      return 0;
    }
    int fd = open(out, O_CREAT | O_EXCL | O_WRONLY | O_CLOEXEC, 0600);
    if (fd >= 0) {
      close(fd);
      return unique;
    }
    if (errno != EEXIST) {
      SetErrno();
      return 0;
    }
  }
  t_lastError = kErrorFileExists;
  return 0;
}

uint64_t FreeDiskSpace(const char *path) {
  struct statvfs info;
  if (path == nullptr || statvfs(path, &info) != 0) return 0;
  return static_cast<uint64_t>(info.f_bavail) * info.f_frsize;
}

namespace {
// "KFILTC.DLL" -> "libkfiltc.so"; other names pass unchanged.
void PosixLibraryName(const char *name, char (&out)[MAX_PATH]) {
  size_t length = std::strlen(name);
  if (length > 4 && strcasecmp(name + length - 4, ".dll") == 0 && length + 4 < MAX_PATH) {
    std::strcpy(out, "lib");
    for (size_t i = 0; i + 4 < length; ++i) {
      out[3 + i] = static_cast<char>(std::tolower(static_cast<unsigned char>(name[i])));
    }
    std::strcpy(out + 3 + (length - 4), ".so");
  } else {
    std::snprintf(out, MAX_PATH, "%s", name);
  }
}
}  // namespace

void *LoadLibrary(const char *name) {
  if (name == nullptr) return nullptr;
  char file[MAX_PATH];
  PosixLibraryName(name, file);
  // Beside this library first: the filters ship with the kernel.
  Dl_info self{};
  if (std::strchr(file, '/') == nullptr &&
      dladdr(reinterpret_cast<void *>(&LoadLibrary), &self) != 0 && self.dli_fname != nullptr) {
    char path[2 * MAX_PATH];
    const char *slash = std::strrchr(self.dli_fname, '/');
    if (slash != nullptr) {
      std::snprintf(path, sizeof path, "%.*s/%s", static_cast<int>(slash - self.dli_fname),
                    self.dli_fname, file);
      if (void *library = dlopen(path, RTLD_NOW | RTLD_LOCAL)) return library;
    }
  }
  void *library = dlopen(file, RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) t_lastError = kErrorFileNotFound;
  return library;
}

void *GetProcAddress(void *library, const char *symbol) {
  return library == nullptr || symbol == nullptr ? nullptr : dlsym(library, symbol);
}

void FreeLibrary(void *library) {
  if (library != nullptr) dlclose(library);
}

void *LibraryModule() { return nullptr; }

uint32_t GetCurrentThreadId() { return static_cast<uint32_t>(syscall(SYS_gettid)); }

uint32_t GetTickCount() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<uint32_t>(static_cast<uint64_t>(now.tv_sec) * 1000u +
                               static_cast<uint64_t>(now.tv_nsec) / 1000000u);
}

}  // namespace kest::os
