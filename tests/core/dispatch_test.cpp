// The display dispatch table.
#include <gtest/gtest.h>

#include "core/dispatch.h"
#include "core/settings.h"
#include "kestraster.h"

namespace {

int Marker(int) { return 0; }

TEST(DisDispatch, SetGetAndResetKeepsATableThatWasSet) {
  void *table[K_DISDISPATCH_SLOTS] = {};
  EXPECT_EQ(K_GetDisDispatch(nullptr), K_ERR_PARAMETER);

  // The first thread's settings mark the table; it stays empty.
  kest::GetThreadSettings();
  EXPECT_EQ(K_ResetDisDispatch(), 1);
  EXPECT_EQ(K_GetDisDispatch(table), K_ERR_NO_DISPATCH);
  EXPECT_EQ(kest::DisDispatchSlot(0), nullptr);

  void *installed[K_DISDISPATCH_SLOTS];
  for (int slot = 0; slot < K_DISDISPATCH_SLOTS; ++slot) {
    installed[slot] = reinterpret_cast<void *>(reinterpret_cast<uintptr_t>(&Marker) + slot);
  }
  K_SetDisDispatch(installed);
  EXPECT_EQ(K_ResetDisDispatch(), 1) << "a set table is marked";
  ASSERT_EQ(K_GetDisDispatch(table), K_SUCCESS);
  for (int slot = 0; slot < K_DISDISPATCH_SLOTS; ++slot) {
    EXPECT_EQ(table[slot], installed[slot]) << slot;
    EXPECT_EQ(kest::DisDispatchSlot(slot), installed[slot]);
  }
  EXPECT_EQ(kest::DisDispatchSlot(K_DISDISPATCH_SLOTS), nullptr);

  // Leave the process as the other tests expect it: no table.
  void *empty[K_DISDISPATCH_SLOTS] = {};
  K_SetDisDispatch(empty);
  EXPECT_EQ(K_GetDisDispatch(table), K_ERR_NO_DISPATCH);
}

}  // namespace
