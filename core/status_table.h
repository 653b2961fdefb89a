// The status text table as the library reads it: K_GetStatusText and the
// automation object's messages both come through StatusText.
#pragma once

#include <cstdint>

#include "kest/status_text.h"

namespace kest {

// The count that goes with the table: statuses 0 to -(count - 1) have an
// entry, most of them null.
inline constexpr int32_t kStatusTextCount = K_STATUS_TEXT_COUNT;

// The text of status, null for a status without text, for success and for
// anything out of the table.
const char *StatusText(int32_t status);

// How many statuses have a text.
int32_t StatusTextRows();

}  // namespace kest
