// Per-thread settings on the library's own slot service: GetThreadSettings,
// the slot and value lists, block creation and destruction, and the steps
// at process end.
#include "core/settings.h"

#include <atomic>
#include <cstring>

#include "core/os/os.h"
#include "kest/memory.h"

namespace kest {
namespace {

// A value of one thread in a slot.
struct ValueNode {
  ValueNode *prev;
  ValueNode *next;
  void *value;
  uint32_t threadId;
};

// A slot: its values, one per thread, and the destructor they share.
struct SlotNode {
  SlotNode *prev;
  SlotNode *next;
  ValueNode *values;
  SlotDestructor destructor;
};

// The slot list and every value list are guarded by the slot word; thread
// blocks are created and destroyed under the block word. Where both are
// held, the block word is taken first.
os::SpinWord g_slotWord{0};
os::SpinWord g_blockWord{0};
SlotNode *g_slots = nullptr;

std::atomic<intptr_t> g_settingsSlot{kInvalidSlot};
int g_blockCount = 0;
bool g_firstBlockMade = false;

// When no block can be made for a thread, every such thread shares this
// one. It is zero-filled and gets no defaults.
ThreadSettings g_fallback{};

SlotNode *ToSlot(intptr_t slot) { return reinterpret_cast<SlotNode *>(slot); }

ValueNode *FindValue(SlotNode *slot, uint32_t thread) {
  for (ValueNode *node = slot->values; node != nullptr; node = node->next) {
    if (node->threadId == thread) return node;
  }
  return nullptr;
}

void UnlinkValue(SlotNode *slot, ValueNode *node) {
  if (node->prev != nullptr) node->prev->next = node->next;
  else slot->values = node->next;
  if (node->next != nullptr) node->next->prev = node->prev;
}

void UnlinkSlot(SlotNode *slot) {
  if (slot->prev != nullptr) slot->prev->next = slot->next;
  else g_slots = slot->next;
  if (slot->next != nullptr) slot->next->prev = slot->prev;
}

void ApplyDefaults(ThreadSettings &settings) {
  settings.FileOpenHook = K_OsOpen;
  settings.FileReadHook = K_OsRead;
  settings.FileWriteHook = K_OsWrite;
  settings.FileSeekHook = K_OsSeek;
  settings.FileCloseHook = K_OsClose;
  settings.DefaultDither = kDefaultDither;
  settings.DefaultXRes = kDefaultResolution;
  settings.DefaultYRes = kDefaultResolution;
  settings.DefaultMemoryType = 1;
  settings.MaxConventionalSize = 0x7FFFFFFF;
  settings.MemoryTiledThreshold = 0;
  settings.TiledBitmapsSize = 0;
  settings.MemoryConventionalTile = -100;
  settings.MemoryConventionalBuffers = 1;
  os::GetTempPath(settings.TempDirectory);
}

void DestroyBlock(void *value) {
  os::SpinGuard guard(g_blockWord);
  K_Free(value);
  if (--g_blockCount == 0) g_settingsSlot = kInvalidSlot;
}

// Creates the calling thread's block; false when that cannot be done.
bool CreateThreadBlock() {
  os::SpinGuard guard(g_blockWord);
  if (!g_firstBlockMade) {
    g_firstBlockMade = true;
    K_ResetDisDispatch();
  }
  if (g_settingsSlot == kInvalidSlot) {
    g_settingsSlot = CreateSlot(DestroyBlock);
    if (g_settingsSlot == kInvalidSlot) return false;
  }
  auto *block = static_cast<ThreadSettings *>(K_Calloc(1, sizeof(ThreadSettings)));
  if (block == nullptr || !SetSlotValue(g_settingsSlot, block)) {
    K_Free(block);
    if (g_blockCount == 0) {
      DestroySlot(g_settingsSlot);
      g_settingsSlot = kInvalidSlot;
    }
    return false;
  }
  ApplyDefaults(*block);
  ++g_blockCount;
  return true;
}

// The library's end: every thread's values go with the process.
struct ProcessEnd {
  ~ProcessEnd() { DestroyAllSlots(); }
} g_processEnd;

}  // namespace

intptr_t CreateSlot(SlotDestructor destructor) {
  auto *slot = static_cast<SlotNode *>(K_Calloc(1, sizeof(SlotNode)));
  if (slot == nullptr) return kInvalidSlot;
  slot->destructor = destructor;
  os::SpinGuard guard(g_slotWord);
  slot->next = g_slots;
  if (g_slots != nullptr) g_slots->prev = slot;
  g_slots = slot;
  return reinterpret_cast<intptr_t>(slot);
}

bool SetSlotValue(intptr_t slot, void *value) {
  if (slot == kInvalidSlot) return false;
  SlotNode *node = ToSlot(slot);
  uint32_t thread = os::GetCurrentThreadId();
  {
    os::SpinGuard guard(g_slotWord);
    if (ValueNode *existing = FindValue(node, thread)) {
      existing->value = value;
      return true;
    }
  }
  auto *created = static_cast<ValueNode *>(K_Calloc(1, sizeof(ValueNode)));
  if (created == nullptr) return false;
  created->value = value;
  created->threadId = thread;
  os::SpinGuard guard(g_slotWord);
  created->next = node->values;
  if (node->values != nullptr) node->values->prev = created;
  node->values = created;
  return true;
}

void *GetSlotValue(intptr_t slot) {
  if (slot == kInvalidSlot) return nullptr;
  os::SpinGuard guard(g_slotWord);
  ValueNode *node = FindValue(ToSlot(slot), os::GetCurrentThreadId());
  return node == nullptr ? nullptr : node->value;
}

void DestroySlot(intptr_t slot) {
  if (slot == kInvalidSlot) return;
  SlotNode *node = ToSlot(slot);
  {
    os::SpinGuard guard(g_slotWord);
    UnlinkSlot(node);
  }
  for (ValueNode *value = node->values; value != nullptr;) {
    ValueNode *next = value->next;
    K_Free(value);
    value = next;
  }
  K_Free(node);
}

void DestroyAllSlots() {
  SlotNode *slots;
  {
    os::SpinGuard guard(g_slotWord);
    slots = g_slots;
    g_slots = nullptr;
  }
  // Destructors run outside the slot word: they take the block word, which
  // ranks above it.
  while (slots != nullptr) {
    SlotNode *nextSlot = slots->next;
    for (ValueNode *value = slots->values; value != nullptr;) {
      ValueNode *next = value->next;
      if (slots->destructor != nullptr && value->value != nullptr) slots->destructor(value->value);
      K_Free(value);
      value = next;
    }
    K_Free(slots);
    slots = nextSlot;
  }
}

void DestroyThreadSlots() {
  uint32_t thread = os::GetCurrentThreadId();
  // One value at a time: unlinked under the slot word, destroyed outside it.
  for (;;) {
    bool found = false;
    SlotDestructor destructor = nullptr;
    void *value = nullptr;
    {
      os::SpinGuard guard(g_slotWord);
      for (SlotNode *slot = g_slots; slot != nullptr && !found;) {
        SlotNode *nextSlot = slot->next;
        if (ValueNode *node = FindValue(slot, thread)) {
          UnlinkValue(slot, node);
          found = true;
          destructor = slot->destructor;
          value = node->value;
          K_Free(node);
        }
        if (slot->values == nullptr) {
          UnlinkSlot(slot);
          if (reinterpret_cast<intptr_t>(slot) == g_settingsSlot) g_settingsSlot = kInvalidSlot;
          K_Free(slot);
        }
        slot = nextSlot;
      }
    }
    if (!found) return;
    if (destructor != nullptr && value != nullptr) destructor(value);
  }
}

ThreadSettings &GetThreadSettings() {
  if (void *value = GetSlotValue(g_settingsSlot)) return *static_cast<ThreadSettings *>(value);
  if (CreateThreadBlock()) {
    if (void *value = GetSlotValue(g_settingsSlot)) return *static_cast<ThreadSettings *>(value);
  }
  return g_fallback;
}

namespace testing {
int ThreadBlocksAlive() {
  os::SpinGuard guard(g_blockWord);
  return g_blockCount;
}
}  // namespace testing

}  // namespace kest
