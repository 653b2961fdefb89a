// The band filter registry: LoadFilter, DropFilter, under a spin word of
// its own, since every thread's super-compressed bitmaps share it.
#include "core/filters.h"

#include "core/os/os.h"
#include "kest/status.h"

namespace kest::filters {
namespace {

os::SpinWord g_registryWord{0};
FilterEntry g_filters[kFilterCount] = {};
const char *g_libraryNames[kFilterCount] = {"KFILTC.DLL", "KFILTF.DLL"};
constexpr int32_t kMissingStatus[kFilterCount] = {K_ERR_NO_FILTER_C, K_ERR_NO_FILTER_F};

}  // namespace

int32_t LoadFilter(uint32_t index) {
  if (index >= kFilterCount) return K_ERR_PARAMETER;
  os::SpinGuard guard(g_registryWord);
  FilterEntry &filter = g_filters[index];
  if (filter.FilterUses > 0) {
    ++filter.FilterUses;
    return K_SUCCESS;
  }
  void *module = os::LoadLibrary(g_libraryNames[index]);
  auto load = reinterpret_cast<LoadBuffer>(os::GetProcAddress(module, "fltLoadBuffer"));
  auto save = reinterpret_cast<SaveBuffer>(os::GetProcAddress(module, "fltSaveBuffer"));
  if (module == nullptr || load == nullptr || save == nullptr) {
    os::FreeLibrary(module);
    return kMissingStatus[index];
  }
  filter = FilterEntry{module, load, save, 1};
  return K_SUCCESS;
}

void DropFilter(uint32_t index) {
  if (index >= kFilterCount) return;
  os::SpinGuard guard(g_registryWord);
  FilterEntry &filter = g_filters[index];
  if (filter.FilterUses <= 0) return;
  if (--filter.FilterUses == 0) {
    os::FreeLibrary(filter.FilterModule);
    filter = FilterEntry{};
  }
}

const FilterEntry &Filter(uint32_t index) { return g_filters[index]; }

namespace testing {

FilterNameSetting::FilterNameSetting(uint32_t index, const char *name)
    : index_(index), saved_(g_libraryNames[index]) {
  g_libraryNames[index] = name;
}
FilterNameSetting::~FilterNameSetting() { g_libraryNames[index_] = saved_; }

int32_t FilterUses(uint32_t index) {
  os::SpinGuard guard(g_registryWord);
  return g_filters[index].FilterUses;
}

}  // namespace testing

}  // namespace kest::filters
