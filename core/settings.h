// The per-thread settings block and the slot service that keeps one per
// thread. Every operation that reads or writes a setting goes through
// GetThreadSettings.
#pragma once

#include <cstdint>

#include "kest/callbacks.h"
#include "kest/platform.h"

namespace kest {

struct ThreadSettings {
  void *SharedColorResPalette;
  K_FILEOPENHOOK FileOpenHook;
  K_FILEREADHOOK FileReadHook;
  K_FILEWRITEHOOK FileWriteHook;
  K_FILESEEKHOOK FileSeekHook;
  K_FILECLOSEHOOK FileCloseHook;
  uint32_t FileOpenUserData;
  uint32_t FileReadUserData;
  uint32_t FileWriteUserData;
  uint32_t FileSeekUserData;
  uint32_t FileCloseUserData;
  uint32_t DefaultDither;
  int32_t DefaultXRes;
  int32_t DefaultYRes;
  uint32_t DefaultMemoryType;
  int32_t MaxConventionalSize;        // bytes; negative: percent of what is available
  int32_t MemoryTiledThreshold;       // bytes; negative: percent of the totals
  int32_t TiledBitmapsSize;           // target tile size; below 1 means 16 MiB
  int32_t MemoryConventionalTile;     // tiles held in memory; negative: percent
  int32_t MemoryConventionalBuffers;  // views on disk tiles; negative: percent
  char TempDirectory[MAX_PATH];
  K_STATUSCALLBACK StatusCallback;
  void *StatusUserData;
  K_STATUSCALLBACK CopyStatusCallback;
  void *CopyStatusUserData;
  void *HotKeyWindow;
  int32_t HotKeyCode;
  int32_t HotKeyModifiers;
  K_HOTKEYCALLBACK HotKeyCallback;
  void *HotKeyUserData;
  K_SUBSTITUTEFONTCALLBACK SubstituteFontCallback;
  void *SubstituteFontUserData;
};

inline constexpr uint32_t kDefaultDither = 7;
inline constexpr int32_t kDefaultResolution = 150;
inline constexpr int32_t kDefaultTileSize = 0x1000000;

// The calling thread's block: created on first use with the defaults, or,
// when that cannot be done, the process-wide zero-filled fallback block.
ThreadSettings &GetThreadSettings();

// ---- The slot service ----
// A slot holds one value per thread. It is the library's own, not the
// system's thread-local storage, so that the values of every thread can be
// reached and destroyed at process end.
using SlotDestructor = void (*)(void *value);
inline constexpr intptr_t kInvalidSlot = -1;

intptr_t CreateSlot(SlotDestructor destructor);
bool SetSlotValue(intptr_t slot, void *value);
void *GetSlotValue(intptr_t slot);
void DestroySlot(intptr_t slot);
// Runs the destructor of every value of every slot and frees all nodes.
void DestroyAllSlots();
// Does that for the calling thread's values only, freeing slots that
// become empty.
void DestroyThreadSlots();

namespace testing {
// Number of thread blocks alive in the process.
int ThreadBlocksAlive();
}  // namespace testing

}  // namespace kest
