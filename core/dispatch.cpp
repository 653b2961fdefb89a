// The process-wide display dispatch table: K_SetDisDispatch,
// K_GetDisDispatch, K_ResetDisDispatch.
#include "core/dispatch.h"

#include <atomic>

#include "kest/status.h"

namespace {

// Written once at start and read by every thread; the slots are atomic so
// that a late writer is still well defined.
std::atomic<void *> g_table[K_DISDISPATCH_SLOTS];
std::atomic<bool> g_marked{false};

}  // namespace

namespace kest {
void *DisDispatchSlot(int slot) {
  if (slot < 0 || slot >= K_DISDISPATCH_SLOTS) return nullptr;
  return g_table[slot].load(std::memory_order_acquire);
}
}  // namespace kest

KEST_API void K_SetDisDispatch(void **table) {
  if (table == nullptr) return;
  for (int slot = 0; slot < K_DISDISPATCH_SLOTS; ++slot) {
    g_table[slot].store(table[slot], std::memory_order_release);
  }
  g_marked.store(true);
}

KEST_API int32_t K_GetDisDispatch(void **table) {
  if (table == nullptr) return K_ERR_PARAMETER;
  if (g_table[0].load(std::memory_order_acquire) == nullptr) return K_ERR_NO_DISPATCH;
  for (int slot = 0; slot < K_DISDISPATCH_SLOTS; ++slot) {
    table[slot] = g_table[slot].load(std::memory_order_acquire);
  }
  return K_SUCCESS;
}

// The first thread's settings call this; a table that was already set
// survives it.
KEST_API int32_t K_ResetDisDispatch(void) {
  bool wasMarked = g_marked.exchange(true);
  if (!wasMarked) {
    for (auto &slot : g_table) slot.store(nullptr, std::memory_order_release);
  }
  return wasMarked ? 1 : 0;
}
