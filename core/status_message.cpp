// FormatStatusMessage: the error code and message of a status, as the
// automation object reports them.
#include "core/status_message.h"

#include <cstdio>

#include "core/status_table.h"
#include "kest/status.h"

namespace kest {

int32_t FormatStatusMessage(int32_t status, char *message, size_t size) {
  if (status == K_SUCCESS) {
    if (message != nullptr && size > 0) message[0] = '\0';
    return 0;
  }
  // Wrapping arithmetic: no status, however far out, overflows here.
  auto code = static_cast<int32_t>(static_cast<uint32_t>(kStatusErrorBase) -
                                   static_cast<uint32_t>(status));
  if (message == nullptr || size == 0) return code;
  const char *text = StatusText(status);
  if (text != nullptr) {
    std::snprintf(message, size, "KEST Error: %s", text);
  } else {
    std::snprintf(message, size, "KEST Error: Internal Error %d - call KEST", static_cast<int>(code));
  }
  return code;
}

}  // namespace kest
