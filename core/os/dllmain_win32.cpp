// The library's entry on Windows: it keeps its module handle and switches
// off thread notifications, so that the end of a thread does not reach it
// and a thread's settings go only when the process detaches (the static
// destructors of the library run then).
#include <windows.h>

#include "core/os/os.h"

namespace kest::os {
HMODULE g_module = nullptr;

void *LibraryModule() { return g_module != nullptr ? g_module : ::GetModuleHandleA(nullptr); }

}  // namespace kest::os

extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID) {
  if (reason == DLL_PROCESS_ATTACH) {
    kest::os::g_module = instance;
    ::DisableThreadLibraryCalls(instance);
  }
  return TRUE;
}
