// From a status to the error the automation object reports: an error code
// and a message. The object owns the buffer the message goes into.
#pragma once

#include <cstddef>
#include <cstdint>

namespace kest {

// Error codes are this base less the status: -13 gives 20013.
inline constexpr int32_t kStatusErrorBase = 20000;

// Returns the error code of status, 20000 - status, and writes its message
// into message (size bytes, always terminated, cut short if it must be):
// "KEST Error: " and the status's text, or, for a status without text,
// "KEST Error: Internal Error <code> - call KEST". Success (1) has code 0
// and an empty message.
int32_t FormatStatusMessage(int32_t status, char *message, size_t size);

}  // namespace kest
