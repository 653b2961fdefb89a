// The shared library exports the K_ functions and nothing of its insides.
#include <gtest/gtest.h>

#include "kestraster.h"

#if defined(_WIN32)
#  include <windows.h>
#else
#  include <dlfcn.h>
#endif

namespace {

void *FindExport(const char *name) {
#if defined(_WIN32)
  HMODULE library = GetModuleHandleA("kestraster.dll");
  return library == nullptr ? nullptr : reinterpret_cast<void *>(GetProcAddress(library, name));
#else
  // The library is loaded already; this finds its dynamic symbols only.
  void *library = dlopen("libkestraster.so.0", RTLD_NOW | RTLD_NOLOAD);
  if (library == nullptr) return nullptr;
  void *symbol = dlsym(library, name);
  dlclose(library);
  return symbol;
#endif
}

TEST(SharedLibrary, ExportsTheInterfaceOnly) {
  EXPECT_EQ(K_SQRT(15), 3u);
  EXPECT_NE(FindExport("K_SQRT"), nullptr);
  EXPECT_NE(FindExport("K_OsAlloc"), nullptr);
  EXPECT_NE(FindExport("K_GetStatusText"), nullptr);
  EXPECT_NE(FindExport("K_SetStatusCallBack"), nullptr);
  EXPECT_NE(FindExport("K_VersionInfo"), nullptr);

  EXPECT_NE(FindExport("K_CreateUserMatchTable"), nullptr);
  EXPECT_NE(FindExport("K_OsDeletePalette"), nullptr);
  EXPECT_NE(FindExport("K_CompressRow"), nullptr);
  EXPECT_NE(FindExport("K_ChangeBitmapCompression"), nullptr);

  EXPECT_NE(FindExport("K_ConvertBufferExt"), nullptr);
  EXPECT_NE(FindExport("K_GrayScaleBitmap"), nullptr);
  EXPECT_NE(FindExport("K_WindowLevelFillLUT2"), nullptr);
  EXPECT_EQ(FindExport("_ZN4kest17GetThreadSettingsEv"), nullptr);
  EXPECT_EQ(FindExport("_ZN4kest18AllocationAllowedEv"), nullptr);
  EXPECT_EQ(FindExport("_ZN4kest10StatusTextEi"), nullptr);
}

}  // namespace
