// Helpers shared by the test programs.
#pragma once

#include <string>

#include "core/alloc.h"
#include "core/settings.h"
#include "kestraster.h"

namespace kest::test {

// A fresh folder under the system's temporary directory, removed with its
// files at the end of the test.
class TempFolder {
 public:
  TempFolder();
  ~TempFolder();
  TempFolder(const TempFolder &) = delete;
  TempFolder &operator=(const TempFolder &) = delete;
  const std::string &path() const { return path_; }  // ends with a separator
  std::string File(const std::string &name) const { return path_ + name; }
  // Names of the files in the folder.
  int CountFiles() const;

 private:
  std::string path_;
};

// Fails the n-th allocation of this thread while it lives.
class FailingAllocation {
 public:
  explicit FailingAllocation(int n) { kest::testing::FailAllocation(n); }
  ~FailingAllocation() { kest::testing::FailAllocation(0); }
  FailingAllocation(const FailingAllocation &) = delete;
  FailingAllocation &operator=(const FailingAllocation &) = delete;
};

// Writes bytes to a new file; reads a whole file back.
void WriteFileBytes(const std::string &path, const std::string &bytes);
std::string ReadFileBytes(const std::string &path);
bool FileExists(const std::string &path);

}  // namespace kest::test

namespace kest::test {

// The process's resident memory now and at its peak, in bytes (0 where the
// platform cannot tell).
size_t ResidentBytes();
size_t PeakResidentBytes();

// Bytes free for this user where path lives.
uint64_t FreeBytesAt(const std::string &path);

// Restores the thread's settings, all of them, when it goes.
class SettingsGuard {
 public:
  SettingsGuard();
  ~SettingsGuard();
  SettingsGuard(const SettingsGuard &) = delete;
  SettingsGuard &operator=(const SettingsGuard &) = delete;

 private:
  kest::ThreadSettings saved_;
};

// Points the thread's temporary directory at a folder while it lives.
class TempDirectorySetting {
 public:
  explicit TempDirectorySetting(const std::string &path);
  ~TempDirectorySetting();
  TempDirectorySetting(const TempDirectorySetting &) = delete;
  TempDirectorySetting &operator=(const TempDirectorySetting &) = delete;

 private:
  char saved_[260];
};

// A bitmap made by K_CreateBitmap and freed with the holder.
class OwnedBitmap {
 public:
  OwnedBitmap(uint32_t type, int32_t width, int32_t height, int32_t bits,
              uint32_t order = 1 /* blue first */) {
    status_ = K_CreateBitmap(&bitmap_, RASTERBITMAP_SIZE, type, width, height, bits, order,
                             nullptr, 0, nullptr, 0);
  }
  ~OwnedBitmap() { K_FreeBitmap(&bitmap_); }
  OwnedBitmap(const OwnedBitmap &) = delete;
  OwnedBitmap &operator=(const OwnedBitmap &) = delete;
  RASTERBITMAP *get() { return &bitmap_; }
  RASTERBITMAP *operator->() { return &bitmap_; }
  int32_t status() const { return status_; }
  uint32_t stride() const { return bitmap_.BitmapBytesPerLine; }

 private:
  RASTERBITMAP bitmap_{};
  int32_t status_;
};

#if !defined(_WIN32)
// Runs work in a forked child, which reports one byte and then waits; the
// child is killed with SIGKILL once the byte has arrived, and the byte is
// returned (0 when none came). Proves what a killed process leaves behind.
char ReportFromKilledChild(char (*work)(const std::string &), const std::string &argument);
#endif

}  // namespace kest::test
