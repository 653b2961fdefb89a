// Progress reporting: percent by integer stepping over rows, stopping by the
// callback's result, and the nested form that hides the callback from inner
// operations.
#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "core/progress.h"
#include "kestraster.h"

namespace {

// Records every percent it is called with; answers `stopWith` once it sees
// `stopAt`.
struct Recorder {
  std::vector<int32_t> seen;
  int32_t stopAt = -1;
  int32_t stopWith = K_SUCCESS;

  static int32_t Callback(int32_t percent, void *userData) {
    auto *self = static_cast<Recorder *>(userData);
    self->seen.push_back(percent);
    return percent == self->stopAt ? self->stopWith : K_SUCCESS;
  }
};

// Installs a recorder as the thread's status callback for one test.
class StatusCallbackScope {
 public:
  explicit StatusCallbackScope(Recorder &recorder) {
    K_SetStatusCallBack(Recorder::Callback, &recorder, nullptr, nullptr);
  }
  ~StatusCallbackScope() { K_SetStatusCallBack(nullptr, nullptr, nullptr, nullptr); }
};

// A long operation as the library writes them: one row of bytes at a time,
// progress after each, and a stop leaves the rows already written.
int32_t FillRows(std::vector<uint8_t> &pixels, int32_t height, int32_t width) {
  kest::Progress progress;
  int32_t status = progress.Start(0, 100, height);
  if (status != K_SUCCESS) return status;
  for (int32_t row = 0; row < height; ++row) {
    for (int32_t x = 0; x < width; ++x) pixels[row * width + x] = 1;
    status = progress.Row();
    if (status != K_SUCCESS) return status;
  }
  return K_SUCCESS;
}

int32_t RowsWritten(const std::vector<uint8_t> &pixels, int32_t width) {
  int32_t rows = 0;
  while (rows * width < static_cast<int32_t>(pixels.size()) && pixels[rows * width] == 1) ++rows;
  return rows;
}

std::vector<int32_t> Every(int32_t step) {
  std::vector<int32_t> percents;
  for (int32_t p = 0; p <= 100; p += step) percents.push_back(p);
  return percents;
}

TEST(Progress, WholeOperationOverRows) {
  struct Case {
    int32_t rows;
    std::vector<int32_t> expected;
  };
  const Case cases[] = {
      {300, Every(1)},  // more rows than percents: each percent once
      {50, Every(2)},   // fewer: every second percent
      {100, Every(1)},
      {1, {0, 100}},
      {3, {0, 33, 66, 100}},
      {7, {0, 14, 28, 42, 57, 71, 85, 100}},  // the carry adds one at rows 4 and 7
  };
  for (const Case &c : cases) {
    Recorder recorder;
    StatusCallbackScope scope(recorder);
    std::vector<uint8_t> pixels(c.rows * 4);
    EXPECT_EQ(FillRows(pixels, c.rows, 4), K_SUCCESS) << c.rows;
    EXPECT_EQ(recorder.seen, c.expected) << c.rows;
  }
}

// After i of n rows the percent is start + range * i / n, truncated, and
// the callback is called exactly when that value changes.
TEST(Progress, StepAndCarryTrackTheExactFraction) {
  for (int32_t start : {0, 20}) {
    for (int32_t range : {0, 1, 30, 100}) {
      for (int32_t total : {1, 2, 3, 7, 50, 99, 100, 101, 300, 1000}) {
        Recorder recorder;
        kest::Progress progress;
        ASSERT_EQ(progress.StartWith(Recorder::Callback, &recorder, start, range, total),
                  K_SUCCESS);
        std::vector<int32_t> expected{start};
        for (int32_t row = 1; row <= total; ++row) {
          ASSERT_EQ(progress.Row(), K_SUCCESS);
          const int32_t percent = start + static_cast<int32_t>(int64_t{range} * row / total);
          if (percent != expected.back()) expected.push_back(percent);
        }
        EXPECT_EQ(recorder.seen, expected) << start << " " << range << " " << total;
        EXPECT_EQ(progress.ProgressPercent, start + range);
        EXPECT_EQ(progress.ProgressCarry, 0);
      }
    }
  }
}

TEST(Progress, CallbackResultStopsTheOperation) {
  struct Case {
    int32_t stopAt;
    int32_t stopWith;
    int32_t rowsWritten;
  };
  // 300 rows: percent p is reached after row 3p.
  const Case cases[] = {
      {0, K_FAILURE, 0},  // before any pixel is touched
      {0, K_ERR_USER_ABORT, 0},
      {50, K_FAILURE, 150},
      {50, K_ERR_USER_ABORT, 150},
      {1, 2, 3},  // any value but 1 stops
      {100, K_ERR_USER_ABORT, 300},
  };
  for (const Case &c : cases) {
    Recorder recorder;
    recorder.stopAt = c.stopAt;
    recorder.stopWith = c.stopWith;
    StatusCallbackScope scope(recorder);
    std::vector<uint8_t> pixels(300 * 2);
    EXPECT_EQ(FillRows(pixels, 300, 2), c.stopWith) << c.stopAt;
    EXPECT_EQ(RowsWritten(pixels, 2), c.rowsWritten) << c.stopAt;
    EXPECT_EQ(recorder.seen.back(), c.stopAt);
  }
}

TEST(Progress, StoppedRunMakesNoFurtherCalls) {
  Recorder recorder;
  recorder.stopAt = 10;
  recorder.stopWith = K_ERR_USER_ABORT;
  kest::Progress progress;
  ASSERT_EQ(progress.StartWith(Recorder::Callback, &recorder, 0, 100, 10), K_SUCCESS);
  EXPECT_EQ(progress.Row(), K_ERR_USER_ABORT);
  EXPECT_EQ(progress.Row(), K_ERR_USER_ABORT);
  EXPECT_EQ(recorder.seen, (std::vector<int32_t>{0, 10}));
}

TEST(Progress, WithoutCallbackNothingIsReported) {
  std::vector<uint8_t> pixels(20 * 3);
  EXPECT_EQ(FillRows(pixels, 20, 3), K_SUCCESS);
  EXPECT_EQ(RowsWritten(pixels, 3), 20);
}

TEST(Progress, CopiesReportOnTheCopyCallback) {
  Recorder status, copy;
  StatusCallbackScope scope(status);
  K_SetCopyStatusCallBack(Recorder::Callback, &copy, nullptr, nullptr);
  kest::Progress progress;
  ASSERT_EQ(progress.StartCopy(0, 100, 2), K_SUCCESS);
  ASSERT_EQ(progress.Row(), K_SUCCESS);
  ASSERT_EQ(progress.Row(), K_SUCCESS);
  K_SetCopyStatusCallBack(nullptr, nullptr, nullptr, nullptr);
  EXPECT_EQ(copy.seen, (std::vector<int32_t>{0, 50, 100}));
  EXPECT_TRUE(status.seen.empty());
}

// An outer operation around two inner ones: only the outer one reports,
// and the caller finds its own callback when it is over.
TEST(NestedProgress, InnerCallsFindNoCallback) {
  Recorder recorder;
  StatusCallbackScope scope(recorder);
  std::vector<uint8_t> pixels(64 * 2);
  {
    kest::NestedProgress progress;
    ASSERT_EQ(progress.Start(0, 100, 100), K_SUCCESS);
    EXPECT_EQ(K_GetStatusCallBack(nullptr), nullptr);
    ASSERT_EQ(FillRows(pixels, 64, 2), K_SUCCESS);
    ASSERT_EQ(progress.ProgressAdvance(50), K_SUCCESS);
    EXPECT_EQ(K_GetStatusCallBack(nullptr), nullptr);
    ASSERT_EQ(FillRows(pixels, 64, 2), K_SUCCESS);
    ASSERT_EQ(progress.ProgressAdvance(100), K_SUCCESS);
  }
  EXPECT_EQ(recorder.seen, (std::vector<int32_t>{0, 50, 100}));
  void *userData = nullptr;
  EXPECT_EQ(K_GetStatusCallBack(&userData), &Recorder::Callback);
  EXPECT_EQ(userData, &recorder);
}

TEST(NestedProgress, StopRestoresTheCallerCallback) {
  Recorder recorder;
  recorder.stopAt = 40;
  recorder.stopWith = K_ERR_USER_ABORT;
  StatusCallbackScope scope(recorder);
  kest::NestedProgress progress;
  ASSERT_EQ(progress.Start(0, 100, 100), K_SUCCESS);
  ASSERT_EQ(progress.ProgressAdvance(20), K_SUCCESS);
  EXPECT_EQ(progress.ProgressAdvance(40), K_ERR_USER_ABORT);
  EXPECT_EQ(K_GetStatusCallBack(nullptr), &Recorder::Callback);
  EXPECT_EQ(progress.ProgressAdvance(100), K_ERR_USER_ABORT);  // no further call
  EXPECT_EQ(recorder.seen, (std::vector<int32_t>{0, 20, 40}));
}

TEST(NestedProgress, StopAtTheStartLeavesTheCallbackInPlace) {
  Recorder recorder;
  recorder.stopAt = 0;
  recorder.stopWith = K_FAILURE;
  StatusCallbackScope scope(recorder);
  kest::NestedProgress progress;
  EXPECT_EQ(progress.Start(0, 100, 100), K_FAILURE);
  EXPECT_EQ(K_GetStatusCallBack(nullptr), &Recorder::Callback);
}

TEST(NestedProgress, AdvanceStepsAsRowsWould) {
  struct Case {
    int32_t start, range, total;
    std::vector<int32_t> advances;
    std::vector<int32_t> expected;
  };
  const Case cases[] = {
      {0, 100, 100, {1, 3, 7, 98, 100}, {0, 1, 3, 7, 98, 100}},
      {0, 100, 10, {35, 35, 100}, {0, 30, 100}},  // whole tenths; no gain, no call
      {0, 100, 7, {50, 100}, {0, 42, 100}},       // three rows of 14, then four and the carry
      {0, 100, 300, {50, 100}, {0, 50, 100}},     // carry alone makes the percents
      {20, 80, 80, {60, 100}, {20, 60, 100}},     // a span that starts above 0
      {0, 100, 7, {50, 20, 100}, {0, 42, 100}},   // going back gains and loses nothing
  };
  for (const Case &c : cases) {
    Recorder recorder;
    StatusCallbackScope scope(recorder);
    kest::NestedProgress progress;
    ASSERT_EQ(progress.Start(c.start, c.range, c.total), K_SUCCESS);
    for (int32_t percent : c.advances) ASSERT_EQ(progress.ProgressAdvance(percent), K_SUCCESS);
    EXPECT_EQ(recorder.seen, c.expected) << c.total;
  }
}

}  // namespace
