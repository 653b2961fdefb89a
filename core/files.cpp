// File services: K_OsCreat, K_OsOpen, K_OsRead, K_OsWrite, K_OsSeek,
// K_OsClose, K_OsDelete, K_OsGetTempName, K_OsGetLastError, K_CopyFile, and
// the internal OsSeek64 and OsTruncate that the storage code uses.
#include "core/files.h"

#include "core/os/os.h"
#include "core/settings.h"
#include "kest/status.h"

namespace kest {

int64_t OsSeek64(int32_t file, int64_t offset, int32_t origin) {
  return os::SetFilePointer(file, offset, origin);
}

int32_t OsTruncate(int32_t file, int64_t size) {
  if (OsSeek64(file, size, 0) != size) return -1;
  return os::SetEndOfFile(file) ? 0 : -1;
}

}  // namespace kest

using namespace kest;

KEST_API int32_t K_OsCreat(const char *name, int32_t mode) {
  os::FileOptions options;
  options.access = (mode & K_CREAT_READ_ONLY) ? os::kAccessRead : os::kAccessRead | os::kAccessWrite;
  options.disposition = os::Disposition::CreateAlways;
  options.attributes = static_cast<uint32_t>(mode & 7);
  if (options.attributes == 0) options.attributes = os::kAttributeNormal;
  options.deleteOnClose = (mode & K_CREAT_DELETE_ON_CLOSE) != 0;
  return os::CreateFile(name, options);
}

KEST_API int32_t K_OsOpen(const char *name, uint32_t flags, int32_t share, uint32_t) {
  if (name == nullptr) return K_INVALID_FILE;
  os::FileOptions options;
  switch (flags & 3) {
    case 0: options.access = os::kAccessRead; break;
    case 1: options.access = os::kAccessWrite; break;
    default: options.access = os::kAccessRead | os::kAccessWrite; break;
  }
  if (flags & K_OPEN_CREATE) options.disposition = os::Disposition::CreateAlways;
  else if (flags & K_OPEN_TRUNCATE) options.disposition = os::Disposition::TruncateExisting;
  else options.disposition = os::Disposition::OpenExisting;
  options.attributes =
      options.access == os::kAccessRead ? os::kAttributeReadOnly : os::kAttributeNormal;
  const int32_t both = K_SHARE_READ | K_SHARE_WRITE;
  if ((share & both) == both) options.share = os::kShareRead | os::kShareWrite;
  else if (share & K_SHARE_READ) options.share = os::kShareRead;
  else options.share = 0;
  return os::CreateFile(name, options);
}

KEST_API int32_t K_OsRead(int32_t handle, void *buffer, uint32_t count, uint32_t) {
  if (buffer == nullptr) return -1;
  return static_cast<int32_t>(os::ReadFile(handle, buffer, count));
}

KEST_API int32_t K_OsWrite(int32_t handle, void *buffer, uint32_t count, uint32_t) {
  if (buffer == nullptr) return -1;
  // A count of 0 is the way to cut a file at the current position.
  if (count == 0) return os::SetEndOfFile(handle) ? 0 : -1;
  return static_cast<int32_t>(os::WriteFile(handle, buffer, count));
}

KEST_API int32_t K_OsSeek(int32_t handle, int32_t offset, int32_t origin, uint32_t) {
  return static_cast<int32_t>(os::SetFilePointer(handle, offset, origin));
}

KEST_API int32_t K_OsClose(int32_t handle, uint32_t) { return os::CloseHandle(handle) ? 0 : -1; }

KEST_API int32_t K_OsDelete(const char *name) {
  if (name == nullptr) return -1;
  return os::DeleteFile(name) ? 0 : -1;
}

KEST_API int32_t K_OsGetTempName(char *buffer) {
  if (buffer == nullptr) return K_ERR_PARAMETER;
  char name[MAX_PATH];
  if (os::GetTempFileName(GetThreadSettings().TempDirectory, "KS", name) == 0) {
    buffer[0] = '\0';
  } else {
    for (size_t i = 0; i < MAX_PATH && (buffer[i] = name[i]) != '\0'; ++i) {
    }
  }
  return 0;
}

KEST_API int32_t K_OsGetLastError(int32_t fallback) {
  uint32_t error = os::GetLastError();
  if (error == os::kErrorHandleDiskFull || error == os::kErrorDiskFull) return K_ERR_DISK_FULL;
  return fallback;
}

namespace {

// Closes a file handle through the thread's close hook, or directly.
class HookedFile {
 public:
  HookedFile(int32_t handle, const ThreadSettings &settings) : handle_(handle), settings_(settings) {}
  ~HookedFile() {
    if (handle_ != K_INVALID_FILE) settings_.FileCloseHook(handle_, settings_.FileCloseUserData);
  }
  HookedFile(const HookedFile &) = delete;
  HookedFile &operator=(const HookedFile &) = delete;
  int32_t get() const { return handle_; }

 private:
  int32_t handle_;
  const ThreadSettings &settings_;
};

class PlainFile {
 public:
  explicit PlainFile(int32_t handle) : handle_(handle) {}
  ~PlainFile() {
    if (handle_ != K_INVALID_FILE) os::CloseHandle(handle_);
  }
  PlainFile(const PlainFile &) = delete;
  PlainFile &operator=(const PlainFile &) = delete;
  int32_t get() const { return handle_; }

 private:
  int32_t handle_;
};

}  // namespace

KEST_API int32_t K_CopyFile(const char *source, const char *destination, int32_t failIfExists) {
  if (source == nullptr || destination == nullptr) {
    os::SetLastError(os::kErrorInvalidParameter);
    return 0;
  }
  if (failIfExists != 0) {
    PlainFile existing(K_OsOpen(destination, K_OPEN_READ, K_SHARE_READ | K_SHARE_WRITE, 0));
    if (existing.get() != K_INVALID_FILE) {
      os::SetLastError(os::kErrorFileExists);
      return 0;
    }
  }
  PlainFile in(K_OsOpen(source, K_OPEN_READ, K_SHARE_READ, 0));
  if (in.get() == K_INVALID_FILE) return 0;
  const ThreadSettings &settings = GetThreadSettings();
  HookedFile out(settings.FileOpenHook(destination, K_OPEN_CREATE | K_OPEN_READ_WRITE,
                                       K_SHARE_WRITE, settings.FileOpenUserData),
                 settings);
  if (out.get() == K_INVALID_FILE) return 0;
  uint8_t block[1024];
  for (;;) {
    int64_t got = os::ReadFile(in.get(), block, sizeof block);
    if (got < 0) {
      os::SetLastError(os::kErrorReadFault);
      return 0;
    }
    if (got == 0) return 1;
    int32_t put = settings.FileWriteHook(out.get(), block, static_cast<uint32_t>(got),
                                         settings.FileWriteUserData);
    if (put != got) {
      os::SetLastError(os::kErrorWriteFault);
      return 0;
    }
  }
}
