// The display dispatch table as the core sees it: the region and display
// code is reached only through these slots, and every user goes on without
// the step when its slot is empty.
#pragma once

#include "kest/memory.h"

namespace kest {

// The function in a slot (0 to 19), null when none is installed.
void *DisDispatchSlot(int slot);

}  // namespace kest
