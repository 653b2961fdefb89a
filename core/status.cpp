// Status texts and the version record: K_GetStatusText, K_VersionInfo.
#include <cstring>

#include "core/status_table.h"
#include "kest/status.h"
#include "kest/version.h"

static_assert(sizeof(LIBRARYVERSION) == LIBRARYVERSION_SIZE, "the version record is published");

namespace {

constexpr char kProduct[] = "KESTFRAME(r) DLL for Win32";
constexpr int32_t kVersionLevel = 2;
constexpr int32_t kVersionMajor = 14;
constexpr int32_t kVersionMinor = 5;

// __DATE__ and __TIME__ are "Jun 23 2008" and "12:24:28": the forms the
// record publishes, so they go in as the compiler gives them.
static_assert(sizeof(__DATE__) <= sizeof(LIBRARYVERSION::VersionDate));
static_assert(sizeof(__TIME__) <= sizeof(LIBRARYVERSION::VersionTime));
static_assert(sizeof(kProduct) <= sizeof(LIBRARYVERSION::VersionProduct));

LIBRARYVERSION BuildVersion() {
  LIBRARYVERSION version{};
  version.VersionRecordSize = LIBRARYVERSION_SIZE;
  std::memcpy(version.VersionProduct, kProduct, sizeof(kProduct));
  version.VersionLevel = kVersionLevel;
  version.VersionMajor = kVersionMajor;
  version.VersionMinor = kVersionMinor;
  std::memcpy(version.VersionDate, __DATE__, sizeof(__DATE__));
  std::memcpy(version.VersionTime, __TIME__, sizeof(__TIME__));
  return version;
}

}  // namespace

KEST_API const char *K_GetStatusText(int32_t status) { return kest::StatusText(status); }

KEST_API int32_t K_VersionInfo(LIBRARYVERSION *info, uint32_t recordSize) {
  if (info == nullptr) return K_ERR_PARAMETER;
  if (recordSize != LIBRARYVERSION_SIZE) return K_ERR_RECORD_SIZE;
  // Built once, on first use, and never written again: threads that ask at
  // the same time all copy the same bytes.
  static const LIBRARYVERSION version = BuildVersion();
  std::memcpy(info, &version, sizeof(version));
  return K_SUCCESS;
}
