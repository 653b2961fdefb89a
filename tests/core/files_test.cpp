// File services: creation modes, transfers, seeks, truncation, temporary
// names, the disk-full status and K_CopyFile.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "core/files.h"
#include "core/os/os.h"
#include "core/settings.h"
#include "kestraster.h"
#include "support/test_support.h"

namespace {

using kest::test::FileExists;
using kest::test::ReadFileBytes;
using kest::test::TempFolder;
using kest::test::WriteFileBytes;

std::string Pattern(size_t size) {
  std::string bytes(size, '\0');
  for (size_t i = 0; i < size; ++i) bytes[i] = static_cast<char>((i * 31 + 7) & 0xFF);
  return bytes;
}

TEST(Files, WriteSeekReadRoundTripWithEveryOrigin) {
  TempFolder folder;
  const std::string path = folder.File("round.bin");
  int32_t file = K_OsCreat(path.c_str(), 0);
  ASSERT_NE(file, K_INVALID_FILE);
  char text[] = "0123456789";
  EXPECT_EQ(K_OsWrite(file, text, 10, 0), 10);
  EXPECT_EQ(K_OsSeek(file, 2, 0, 0), 2);
  EXPECT_EQ(K_OsSeek(file, 3, 1, 0), 5);
  EXPECT_EQ(K_OsSeek(file, -4, 2, 0), 6);
  char got[8] = {};
  EXPECT_EQ(K_OsRead(file, got, 8, 0), 4) << "a read past the end returns what there is";
  EXPECT_EQ(std::string(got, 4), "6789");
  EXPECT_EQ(K_OsRead(file, nullptr, 1, 0), -1);
  EXPECT_EQ(K_OsWrite(file, nullptr, 1, 0), -1);
  EXPECT_EQ(K_OsClose(file, 0), 0);
  EXPECT_EQ(K_OsClose(K_INVALID_FILE, 0), -1);
}

TEST(Files, WriteOfZeroBytesTruncatesAtTheCurrentPosition) {
  TempFolder folder;
  const std::string path = folder.File("cut.bin");
  WriteFileBytes(path, Pattern(100));
  int32_t file = K_OsOpen(path.c_str(), K_OPEN_READ_WRITE, 0, 0);
  ASSERT_NE(file, K_INVALID_FILE);
  EXPECT_EQ(K_OsSeek(file, 40, 0, 0), 40);
  char unused = 0;
  EXPECT_EQ(K_OsWrite(file, &unused, 0, 0), 0);
  K_OsClose(file, 0);
  EXPECT_EQ(ReadFileBytes(path), Pattern(100).substr(0, 40));
}

TEST(Files, OpenFlagsChooseCreationTruncationOrAnExistingFile) {
  TempFolder folder;
  const std::string path = folder.File("open.bin");
  EXPECT_EQ(K_OsOpen(nullptr, K_OPEN_READ, 0, 0), K_INVALID_FILE);
  EXPECT_EQ(K_OsOpen(path.c_str(), K_OPEN_READ, 0, 0), K_INVALID_FILE) << "missing file";
  EXPECT_EQ(K_OsOpen(path.c_str(), K_OPEN_TRUNCATE | K_OPEN_WRITE, 0, 0), K_INVALID_FILE)
      << "truncation needs an existing file";

  int32_t file = K_OsOpen(path.c_str(), K_OPEN_CREATE | K_OPEN_READ_WRITE, 0x180, 0);
  ASSERT_NE(file, K_INVALID_FILE);
  char text[] = "abcdef";
  EXPECT_EQ(K_OsWrite(file, text, 6, 0), 6);
  K_OsClose(file, 0);

  file = K_OsOpen(path.c_str(), K_OPEN_READ, K_SHARE_READ, 0);
  ASSERT_NE(file, K_INVALID_FILE);
  char got[6];
  EXPECT_EQ(K_OsRead(file, got, 6, 0), 6);
  EXPECT_EQ(std::memcmp(got, text, 6), 0);
  EXPECT_EQ(K_OsWrite(file, text, 1, 0), -1) << "opened for reading only";
  K_OsClose(file, 0);

  file = K_OsOpen(path.c_str(), K_OPEN_TRUNCATE | K_OPEN_WRITE, 0, 0);
  ASSERT_NE(file, K_INVALID_FILE);
  K_OsClose(file, 0);
  EXPECT_EQ(ReadFileBytes(path), "");
}

TEST(Files, DeleteOnCloseLeavesNothingBehind) {
  TempFolder folder;
  const std::string path = folder.File("gone.bin");
  int32_t file = K_OsCreat(path.c_str(), K_CREAT_DELETE_ON_CLOSE);
  ASSERT_NE(file, K_INVALID_FILE);
  char text[] = "data";
  EXPECT_EQ(K_OsWrite(file, text, 4, 0), 4);
  EXPECT_EQ(K_OsSeek(file, 0, 0, 0), 0);
  char got[4];
  EXPECT_EQ(K_OsRead(file, got, 4, 0), 4) << "the open handle still reaches the bytes";
  EXPECT_EQ(K_OsClose(file, 0), 0);
  EXPECT_FALSE(FileExists(path));
  EXPECT_EQ(folder.CountFiles(), 0);
}

TEST(Files, NullAndInvalidArgumentsGiveTheirResults) {
  char byte = 0;
  EXPECT_EQ(K_OsCreat(nullptr, 0), K_INVALID_FILE);
  EXPECT_EQ(K_OsRead(K_INVALID_FILE, &byte, 1, 0), -1);
  EXPECT_EQ(K_OsWrite(K_INVALID_FILE, &byte, 1, 0), -1);
  EXPECT_EQ(K_OsSeek(K_INVALID_FILE, 0, 0, 0), -1);
  EXPECT_EQ(K_OsWrite(K_INVALID_FILE, &byte, 0, 0), -1) << "nothing to cut";
  K_SetDisDispatch(nullptr);  // ignored
}

TEST(Files, DeleteReportsMissingAndNullNames) {
  TempFolder folder;
  const std::string path = folder.File("del.bin");
  WriteFileBytes(path, "x");
  EXPECT_EQ(K_OsDelete(nullptr), -1);
  EXPECT_EQ(K_OsDelete(path.c_str()), 0);
  EXPECT_FALSE(FileExists(path));
  EXPECT_EQ(K_OsDelete(path.c_str()), -1);
}

TEST(Files, TempNamesAreNewFilesWithThePrefixInTheThreadsDirectory) {
  TempFolder folder;
  kest::ThreadSettings &settings = kest::GetThreadSettings();
  char saved[MAX_PATH];
  std::memcpy(saved, settings.TempDirectory, MAX_PATH);
  std::snprintf(settings.TempDirectory, MAX_PATH, "%s", folder.path().c_str());

  EXPECT_EQ(K_OsGetTempName(nullptr), K_ERR_PARAMETER);
  char first[MAX_PATH], second[MAX_PATH];
  EXPECT_EQ(K_OsGetTempName(first), 0);
  EXPECT_EQ(K_OsGetTempName(second), 0);
  std::memcpy(settings.TempDirectory, saved, MAX_PATH);

  const std::string a = first, b = second;
  EXPECT_NE(a, b);
  for (const std::string &name : {a, b}) {
    ASSERT_EQ(name.compare(0, folder.path().size(), folder.path()), 0) << name;
    EXPECT_EQ(name.substr(folder.path().size(), 2), "KS") << name;
    EXPECT_TRUE(FileExists(name)) << "the name is claimed by creating the file";
  }
  EXPECT_EQ(folder.CountFiles(), 2);
}

TEST(Files, DiskFullConditionsBecomeTheirStatus) {
  kest::os::SetLastError(kest::os::kErrorDiskFull);
  EXPECT_EQ(K_OsGetLastError(-5), K_ERR_DISK_FULL);
  kest::os::SetLastError(kest::os::kErrorHandleDiskFull);
  EXPECT_EQ(K_OsGetLastError(-5), K_ERR_DISK_FULL);
  kest::os::SetLastError(kest::os::kErrorAccessDenied);
  EXPECT_EQ(K_OsGetLastError(-5), -5);
#if !defined(_WIN32)
  // A real full device: Windows has none to open, so this half is POSIX's.
  int32_t full = K_OsOpen("/dev/full", K_OPEN_WRITE, 0, 0);
  if (full != K_INVALID_FILE) {
    char byte = 1;
    EXPECT_EQ(K_OsWrite(full, &byte, 1, 0), -1);
    EXPECT_EQ(K_OsGetLastError(-5), K_ERR_DISK_FULL);
    K_OsClose(full, 0);
  }
#endif
}

TEST(Files, SeekAndTruncateBeyondFourGigabytes) {
  TempFolder folder;
  const std::string path = folder.File("big.bin");
  int32_t file = K_OsCreat(path.c_str(), K_CREAT_DELETE_ON_CLOSE);
  ASSERT_NE(file, K_INVALID_FILE);
  const int64_t beyond = (int64_t{5} << 30) + 3;
  EXPECT_EQ(kest::OsSeek64(file, beyond, 0), beyond);
  EXPECT_EQ(kest::OsTruncate(file, beyond), 0);
  EXPECT_EQ(kest::OsSeek64(file, 0, 2), beyond) << "the file ends where it was cut";
  EXPECT_EQ(kest::OsTruncate(file, 10), 0);
  EXPECT_EQ(kest::OsSeek64(file, 0, 2), 10);
  EXPECT_EQ(kest::OsSeek64(file, -1, 0), -1);
  K_OsClose(file, 0);
}

TEST(CopyFile, CopiesEveryByteAcrossBlockEdges) {
  TempFolder folder;
  const std::string from = folder.File("from.bin"), to = folder.File("to.bin");
  WriteFileBytes(from, Pattern(5000));
  EXPECT_EQ(K_CopyFile(from.c_str(), to.c_str(), 0), 1);
  EXPECT_EQ(ReadFileBytes(to), Pattern(5000));
  WriteFileBytes(from, "");
  EXPECT_EQ(K_CopyFile(from.c_str(), to.c_str(), 0), 1);
  EXPECT_EQ(ReadFileBytes(to), "");
}

TEST(CopyFile, RefusesAnExistingDestinationOrAMissingSource) {
  TempFolder folder;
  const std::string from = folder.File("from.bin"), to = folder.File("to.bin");
  WriteFileBytes(from, "new");
  WriteFileBytes(to, "old");
  EXPECT_EQ(K_CopyFile(from.c_str(), to.c_str(), 1), 0);
  EXPECT_EQ(kest::os::GetLastError(), kest::os::kErrorFileExists);
  EXPECT_EQ(ReadFileBytes(to), "old");
  EXPECT_EQ(K_CopyFile(folder.File("none").c_str(), to.c_str(), 0), 0);
  EXPECT_EQ(K_CopyFile(nullptr, to.c_str(), 0), 0);
  EXPECT_EQ(K_CopyFile(from.c_str(), nullptr, 0), 0);
}

int g_writesAllowed = 0;
int32_t FailingWrite(int32_t handle, void *buffer, uint32_t count, uint32_t userData) {
  if (g_writesAllowed-- <= 0) return static_cast<int32_t>(count / 2);
  return K_OsWrite(handle, buffer, count, userData);
}

TEST(CopyFile, AFailedCopyLeavesWhatItWrote) {
  TempFolder folder;
  const std::string from = folder.File("from.bin"), to = folder.File("to.bin");
  WriteFileBytes(from, Pattern(3000));
  kest::ThreadSettings &settings = kest::GetThreadSettings();
  K_FILEWRITEHOOK saved = settings.FileWriteHook;
  settings.FileWriteHook = FailingWrite;
  g_writesAllowed = 1;
  EXPECT_EQ(K_CopyFile(from.c_str(), to.c_str(), 0), 0);
  settings.FileWriteHook = saved;
  EXPECT_EQ(kest::os::GetLastError(), kest::os::kErrorWriteFault);
  EXPECT_EQ(ReadFileBytes(to), Pattern(1024)) << "the first block stays";
}

}  // namespace
