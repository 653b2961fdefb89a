// Progress reporting of long operations: Progress (per row) and
// NestedProgress (an operation around other reporting operations).
#include "core/progress.h"

namespace kest {
namespace {

int32_t Report(Progress &state) {
  state.ProgressStatus = state.ProgressCallback(state.ProgressPercent, state.ProgressUserData);
  return state.ProgressStatus;
}

}  // namespace

int32_t Progress::StartWith(K_STATUSCALLBACK callback, void *userData, int32_t start,
                            int32_t range, int32_t total) {
  ProgressCallback = callback;
  ProgressUserData = userData;
  ProgressTotal = total < 1 ? 1 : total;
  ProgressStep = range / ProgressTotal;
  ProgressRemainder = range % ProgressTotal;
  ProgressCarry = 0;
  ProgressPercent = start;
  ProgressStatus = K_SUCCESS;
  if (ProgressCallback == nullptr) return K_SUCCESS;
  return Report(*this);
}

int32_t Progress::Start(int32_t start, int32_t range, int32_t total) {
  void *userData = nullptr;
  K_STATUSCALLBACK callback = K_GetStatusCallBack(&userData);
  return StartWith(callback, userData, start, range, total);
}

int32_t Progress::StartCopy(int32_t start, int32_t range, int32_t total) {
  void *userData = nullptr;
  K_STATUSCALLBACK callback = K_GetCopyStatusCallBack(&userData);
  return StartWith(callback, userData, start, range, total);
}

int32_t Progress::Row() {
  if (ProgressCallback == nullptr) return K_SUCCESS;
  // A run that was stopped stays stopped.
  if (ProgressStatus != K_SUCCESS) return ProgressStatus;
  ProgressPercent += ProgressStep;
  // The carry stays below the total, so one subtraction is enough; it is
  // summed wide so that totals near the top of the range cannot overflow.
  int64_t carry = int64_t{ProgressCarry} + ProgressRemainder;
  if (carry >= ProgressTotal) {
    ProgressCarry = static_cast<int32_t>(carry - ProgressTotal);
    ProgressPercent += 1;
    return Report(*this);
  }
  ProgressCarry = static_cast<int32_t>(carry);
  // More rows than percents: this row did not complete a percent.
  if (ProgressStep == 0) return K_SUCCESS;
  return Report(*this);
}

int32_t NestedProgress::Start(int32_t start, int32_t range, int32_t total) {
  int32_t status = state_.Start(start, range, total);
  if (status == K_SUCCESS) TakeCallback();
  return status;
}

void NestedProgress::TakeCallback() {
  if (state_.ProgressCallback == nullptr) return;
  K_SetStatusCallBack(nullptr, nullptr, nullptr, nullptr);
  taken_ = true;
}

void NestedProgress::GiveBack() {
  if (!taken_) return;
  K_SetStatusCallBack(state_.ProgressCallback, state_.ProgressUserData, nullptr, nullptr);
  taken_ = false;
}

int32_t NestedProgress::ProgressAdvance(int32_t percent) {
  Progress &s = state_;
  if (s.ProgressCallback == nullptr) return K_SUCCESS;
  if (s.ProgressStatus != K_SUCCESS) return s.ProgressStatus;
  // The rows that `percent` stands for. The span is rebuilt from the
  // stepping; over a whole operation it is 100.
  int64_t range = int64_t{s.ProgressStep} * s.ProgressTotal + s.ProgressRemainder;
  int64_t steps = 0;
  if (range > 0) steps = (int64_t{percent} - s.ProgressPercent) * s.ProgressTotal / range;
  if (steps < 0) steps = 0;
  GiveBack();
  int64_t gained = int64_t{s.ProgressStep} * steps;
  int64_t carry = int64_t{s.ProgressCarry} + int64_t{s.ProgressRemainder} * steps;
  if (carry >= s.ProgressTotal) {
    gained += carry / s.ProgressTotal;
    carry %= s.ProgressTotal;
  }
  s.ProgressCarry = static_cast<int32_t>(carry);
  if (gained > 0) {
    s.ProgressPercent = static_cast<int32_t>(s.ProgressPercent + gained);
    Report(s);
  }
  if (s.ProgressStatus == K_SUCCESS) TakeCallback();
  return s.ProgressStatus;
}

}  // namespace kest
