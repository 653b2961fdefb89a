// The thread's callback slots and the version record.
#include <gtest/gtest.h>

#include <cctype>
#include <cstring>
#include <string>
#include <thread>

#include "kestraster.h"

namespace {

int32_t First(int32_t, void *) { return 1; }
int32_t Second(int32_t, void *) { return 1; }
int32_t Font(void *, void *) { return 1; }

using GetFn = K_STATUSCALLBACK (*)(void **);
using SetFn = void (*)(K_STATUSCALLBACK, void *, K_STATUSCALLBACK *, void **);

struct Pair {
  const char *name;
  GetFn get;
  SetFn set;
};
const Pair kPairs[] = {{"status", K_GetStatusCallBack, K_SetStatusCallBack},
                       {"copy", K_GetCopyStatusCallBack, K_SetCopyStatusCallBack}};

TEST(ProgressCallbacks, SetGivesBackTheOldValues) {
  int first = 0, second = 0;
  for (const Pair &pair : kPairs) {
    SCOPED_TRACE(pair.name);
    pair.set(First, &first, nullptr, nullptr);  // null old-value pointers: replaced silently
    void *userData = nullptr;
    EXPECT_EQ(pair.get(&userData), &First);
    EXPECT_EQ(userData, &first);

    K_STATUSCALLBACK oldCallback = nullptr;
    void *oldUserData = nullptr;
    pair.set(Second, &second, &oldCallback, &oldUserData);
    EXPECT_EQ(oldCallback, &First);
    EXPECT_EQ(oldUserData, &first);
    EXPECT_EQ(pair.get(nullptr), &Second);

    pair.set(nullptr, nullptr, &oldCallback, nullptr);
    EXPECT_EQ(oldCallback, &Second);
    EXPECT_EQ(pair.get(&userData), nullptr);
    EXPECT_EQ(userData, nullptr);
  }
}

TEST(ProgressCallbacks, TheTwoSlotsAreSeparate) {
  int status = 0, copy = 0;
  K_SetStatusCallBack(First, &status, nullptr, nullptr);
  K_SetCopyStatusCallBack(Second, &copy, nullptr, nullptr);
  void *userData = nullptr;
  EXPECT_EQ(K_GetStatusCallBack(&userData), &First);
  EXPECT_EQ(userData, &status);
  EXPECT_EQ(K_GetCopyStatusCallBack(&userData), &Second);
  EXPECT_EQ(userData, &copy);
  K_SetStatusCallBack(nullptr, nullptr, nullptr, nullptr);
  K_SetCopyStatusCallBack(nullptr, nullptr, nullptr, nullptr);
}

TEST(ProgressCallbacks, SeenOnlyByTheThreadThatSetIt) {
  int mine = 0;
  K_SetStatusCallBack(First, &mine, nullptr, nullptr);
  K_STATUSCALLBACK seenThere = First;
  K_SUBSTITUTEFONTCALLBACK fontThere = Font;
  void *userDataThere = &mine;
  std::thread other([&] {
    seenThere = K_GetStatusCallBack(nullptr);
    K_SetCopyStatusCallBack(Second, nullptr, nullptr, nullptr);
    K_VecGetSubstituteFontCallback(&fontThere, &userDataThere);
  });
  other.join();
  EXPECT_EQ(seenThere, nullptr);
  EXPECT_EQ(fontThere, nullptr);
  EXPECT_EQ(userDataThere, nullptr);
  EXPECT_EQ(K_GetCopyStatusCallBack(nullptr), nullptr);
  EXPECT_EQ(K_GetStatusCallBack(nullptr), &First);
  K_SetStatusCallBack(nullptr, nullptr, nullptr, nullptr);
}

TEST(SubstituteFontCallback, StoredAndReadBack) {
  int font = 0;
  EXPECT_EQ(K_VecSetSubstituteFontCallback(Font, &font), K_SUCCESS);
  K_SUBSTITUTEFONTCALLBACK callback = nullptr;
  void *userData = nullptr;
  EXPECT_EQ(K_VecGetSubstituteFontCallback(nullptr, &userData), K_ERR_PARAMETER);
  EXPECT_EQ(K_VecGetSubstituteFontCallback(&callback, nullptr), K_ERR_PARAMETER);
  EXPECT_EQ(K_VecGetSubstituteFontCallback(&callback, &userData), K_SUCCESS);
  EXPECT_EQ(callback, &Font);
  EXPECT_EQ(userData, &font);
  EXPECT_EQ(K_VecSetSubstituteFontCallback(nullptr, nullptr), K_SUCCESS);
  EXPECT_EQ(K_VecGetSubstituteFontCallback(&callback, &userData), K_SUCCESS);
  EXPECT_EQ(callback, nullptr);
}

bool AllZero(const char *bytes, size_t count) {
  for (size_t i = 0; i < count; ++i) {
    if (bytes[i] != 0) return false;
  }
  return true;
}

// "Jun 23 2008", with a blank before a one-digit day, and "12:24:28".
bool IsBuildDate(const std::string &text) {
  static const char *const months[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                       "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
  if (text.size() != 11 || text[3] != ' ' || text[6] != ' ') return false;
  bool month = false;
  for (const char *name : months) month = month || text.compare(0, 3, name) == 0;
  bool day = (text[4] == ' ' || std::isdigit(static_cast<unsigned char>(text[4]))) &&
             std::isdigit(static_cast<unsigned char>(text[5]));
  bool year = true;
  for (size_t i = 7; i < 11; ++i) year = year && std::isdigit(static_cast<unsigned char>(text[i]));
  return month && day && year;
}

bool IsBuildTime(const std::string &text) {
  if (text.size() != 8 || text[2] != ':' || text[5] != ':') return false;
  for (size_t i : {0, 1, 3, 4, 6, 7}) {
    if (!std::isdigit(static_cast<unsigned char>(text[i]))) return false;
  }
  return true;
}

TEST(VersionInfo, FillsThePublishedRecord) {
  LIBRARYVERSION version;
  std::memset(&version, 0xAB, sizeof(version));
  ASSERT_EQ(K_VersionInfo(&version, LIBRARYVERSION_SIZE), K_SUCCESS);
  EXPECT_EQ(version.VersionRecordSize, 108u);
  EXPECT_STREQ(version.VersionProduct, "KESTFRAME(r) DLL for Win32");
  const size_t productLength = std::strlen(version.VersionProduct);
  EXPECT_TRUE(AllZero(version.VersionProduct + productLength,
                      sizeof(version.VersionProduct) - productLength));
  EXPECT_EQ(version.VersionLevel, 2);
  EXPECT_EQ(version.VersionMajor, 14);
  EXPECT_EQ(version.VersionMinor, 5);
  EXPECT_TRUE(IsBuildDate(version.VersionDate)) << version.VersionDate;
  EXPECT_TRUE(AllZero(version.VersionDate + 11, sizeof(version.VersionDate) - 11));
  EXPECT_TRUE(IsBuildTime(version.VersionTime)) << version.VersionTime;
  EXPECT_EQ(version.VersionTime[8], 0);
  EXPECT_TRUE(AllZero(version.reserved, sizeof(version.reserved)));
}

TEST(VersionInfo, ChecksPointerThenSize) {
  EXPECT_EQ(K_VersionInfo(nullptr, LIBRARYVERSION_SIZE), K_ERR_PARAMETER);
  EXPECT_EQ(K_VersionInfo(nullptr, 0), K_ERR_PARAMETER);
  LIBRARYVERSION version;
  std::memset(&version, 0xAB, sizeof(version));
  for (uint32_t size : {0u, 107u, 109u, static_cast<uint32_t>(RASTERBITMAP_SIZE)}) {
    EXPECT_EQ(K_VersionInfo(&version, size), K_ERR_RECORD_SIZE) << size;
  }
  EXPECT_EQ(version.VersionRecordSize, 0xABABABABu);  // untouched on failure
}

}  // namespace
