// Progress of a long operation: the one way every long operation of the
// library reports percent to the thread's callback and is stopped by it.
//
// An operation of `total` rows covers the percents from `start` to
// `start + range` (0 to 100 for a whole operation). The percent moves by
// integer stepping: range / total whole percent per row, and the remainder
// range % total carried until it makes one more. The callback is called
// once with the start, and after a row only when the percent has changed,
// so with more rows than percents each percent is seen once, and the end
// is reached on the last row without a special case. A callback result
// other than 1 stops the operation, and that result is its status.
#pragma once

#include <cstdint>

#include "kest/callbacks.h"
#include "kest/status.h"

namespace kest {

// The state of one run. With no callback nothing is ever reported and
// every call gives 1.
struct Progress {
  K_STATUSCALLBACK ProgressCallback = nullptr;
  void *ProgressUserData = nullptr;
  int32_t ProgressPercent = 0;    // percent reported so far
  int32_t ProgressCarry = 0;      // remainder accumulated so far
  int32_t ProgressStep = 0;       // whole percent per row: range / total
  int32_t ProgressRemainder = 0;  // range % total
  int32_t ProgressTotal = 0;      // rows; a total below 1 counts as one
  int32_t ProgressStatus = K_SUCCESS;  // last result of the callback

  // Starts a run on the thread's status callback and reports `start`.
  // Returns the callback's result: anything but 1 ends the operation
  // before it touches a pixel.
  int32_t Start(int32_t start, int32_t range, int32_t total);
  // The same on the thread's copy callback, for bitmap copies.
  int32_t StartCopy(int32_t start, int32_t range, int32_t total);
  // The same on a callback the operation already holds.
  int32_t StartWith(K_STATUSCALLBACK callback, void *userData, int32_t start, int32_t range,
                    int32_t total);

  // After each row. Returns 1 to go on; otherwise the callback's result,
  // which the operation returns after cleaning up as for any failure.
  int32_t Row();
};

// The nested form, for an operation that calls other reporting operations
// inside: they must not report for themselves. Start takes the thread's
// status callback away, so inner calls find none; ProgressAdvance gives it
// back to report and takes it again when the answer is to go on. After a
// stop, and when the object ends, the caller's callback is in place again.
class NestedProgress {
 public:
  NestedProgress() = default;
  ~NestedProgress() { GiveBack(); }
  NestedProgress(const NestedProgress &) = delete;
  NestedProgress &operator=(const NestedProgress &) = delete;

  // As Progress::Start on the thread's status callback; on a result of 1
  // the callback is taken from the thread.
  int32_t Start(int32_t start, int32_t range, int32_t total);

  // Reports that the operation has reached `percent`: as many rows' worth
  // of stepping as that percent stands for, and a call unless no percent
  // was gained. Returns 1 to go on, else the callback's result, with the
  // caller's callback restored.
  int32_t ProgressAdvance(int32_t percent);

  // Puts the caller's callback back if it is taken; harmless otherwise.
  void GiveBack();

  const Progress &State() const { return state_; }

 private:
  void TakeCallback();

  Progress state_;
  bool taken_ = false;
};

}  // namespace kest
