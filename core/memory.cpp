// The two allocator families, the debug family and the runtime wrappers:
// K_Malloc, K_Calloc, K_Realloc, K_Free, K_OsAlloc, K_OsAllocInit,
// K_OsReAlloc, K_OsReAllocInit, K_OsFree, the ...Dump forms,
// K_DumpMemoryReport, K_Strtok, K_Strtod, K_Setlocale.
#include <clocale>
#include <cstdlib>
#include <cstring>

#include "core/alloc.h"
#include "core/os/os.h"

namespace kest {
namespace {

thread_local int t_failAt = 0;
thread_local int t_counted = 0;

// What a record owns may cross a library border, so it lives in movable,
// shareable global blocks that stay locked for their whole life.
constexpr uint32_t kOsFlags = os::kGmemMoveable | os::kGmemDdeShare;

void *OsAllocate(uint32_t size, bool zero) {
  if (!AllocationAllowed()) return nullptr;
  HGLOBAL block = os::GlobalAlloc(kOsFlags | (zero ? os::kGmemZeroInit : 0), size);
  if (block == nullptr) return nullptr;
  void *pointer = os::GlobalLock(block);
  if (pointer == nullptr) os::GlobalFree(block);
  return pointer;
}

void *OsReallocate(void *block, uint32_t size, bool zero) {
  if (block == nullptr) return OsAllocate(size, zero);
  HGLOBAL handle = os::GlobalHandle(block);
  if (handle == nullptr || !AllocationAllowed()) return nullptr;
  os::GlobalUnlock(handle);
  HGLOBAL moved =
      os::GlobalReAlloc(handle, size, os::kGmemMoveable | (zero ? os::kGmemZeroInit : 0));
  if (moved == nullptr) {
    // The old block stands; give the caller back its lock.
    os::GlobalLock(handle);
    return nullptr;
  }
  return os::GlobalLock(moved);
}

}  // namespace

bool AllocationAllowed() {
  ++t_counted;
  return t_failAt == 0 || t_counted != t_failAt;
}

namespace testing {
void FailAllocation(int n) {
  t_failAt = n;
  t_counted = 0;
}
int AllocationsCounted() { return t_counted; }
}  // namespace testing

}  // namespace kest

using kest::AllocationAllowed;

KEST_API void *K_Malloc(uint32_t size) { return AllocationAllowed() ? std::malloc(size) : nullptr; }

KEST_API void *K_Calloc(uint32_t count, uint32_t size) {
  return AllocationAllowed() ? std::calloc(count, size) : nullptr;
}

KEST_API void *K_Realloc(void *block, uint32_t size) {
  if (!AllocationAllowed()) return nullptr;
  return block == nullptr ? std::malloc(size) : std::realloc(block, size);
}

KEST_API void K_Free(void *block) { std::free(block); }

KEST_API void *K_OsAlloc(uint32_t size) { return kest::OsAllocate(size, false); }

KEST_API void *K_OsAllocInit(uint32_t size, int32_t zero) {
  return kest::OsAllocate(size, zero != 0);
}

KEST_API void *K_OsReAlloc(void *block, uint32_t size) {
  return kest::OsReallocate(block, size, false);
}

KEST_API void *K_OsReAllocInit(void *block, uint32_t size) {
  return kest::OsReallocate(block, size, true);
}

KEST_API int32_t K_OsFree(void *block) {
  if (block == nullptr) return 0;
  HGLOBAL handle = kest::os::GlobalHandle(block);
  if (handle != nullptr) {
    kest::os::GlobalUnlock(handle);
    kest::os::GlobalFree(handle);
  }
  return 0;
}

KEST_API void *K_MallocDump(uint32_t size, const char *, int32_t) { return K_Malloc(size); }
KEST_API void *K_CallocDump(uint32_t count, uint32_t size, const char *, int32_t) {
  return K_Calloc(count, size);
}
KEST_API void *K_ReallocDump(void *block, uint32_t size, const char *, int32_t) {
  return K_Realloc(block, size);
}
KEST_API void K_FreeDump(void *block, const char *, int32_t) { K_Free(block); }
KEST_API void *K_OsAllocDump(uint32_t size, const char *, int32_t) { return K_OsAlloc(size); }
KEST_API void *K_OsAllocInitDump(uint32_t size, int32_t zero, const char *, int32_t) {
  return K_OsAllocInit(size, zero);
}
KEST_API int32_t K_OsFreeDump(void *block, const char *, int32_t) { return K_OsFree(block); }
KEST_API void *K_OsReAllocDump(void *block, uint32_t size, const char *, int32_t) {
  return K_OsReAlloc(block, size);
}
KEST_API void *K_OsReAllocInitDump(void *block, uint32_t size, const char *, int32_t) {
  return K_OsReAllocInit(block, size);
}
KEST_API void K_DumpMemoryReport(uint32_t) {}

KEST_API char *K_Strtok(char *text, const char *delimiters) {
  if (text == nullptr || delimiters == nullptr) return nullptr;
  return std::strtok(text, delimiters);
}

KEST_API double K_Strtod(const char *text, char **end) { return std::strtod(text, end); }

KEST_API char *K_Setlocale(int32_t category, const char *locale) {
  return std::setlocale(category, locale);
}
