#include <gtest/gtest.h>

#include <chrono>

#include "platform/retry/retry_sleep.h"
#include "tests/net_support/virtual_clock.h"

namespace {
unsigned last_seconds = 0;
void record(unsigned s) { last_seconds = s; }
}  // namespace

TEST(RetrySleep, InstalledFunctionReceivesEveryWait) {
  Retry_Sleep_Function before = set_retry_sleep_function(&record);
  retry_sleep(42);
  EXPECT_EQ(42u, last_seconds);
  EXPECT_EQ(&record, set_retry_sleep_function(before));
}

TEST(RetrySleep, VirtualClockCountsSecondsWithoutSleeping) {
  auto start = std::chrono::steady_clock::now();
  {
    Virtual_Clock clock;
    retry_sleep(30);
    retry_sleep(60);
    EXPECT_EQ(90u, clock.total());
    EXPECT_EQ(2u, clock.count());
  }
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
}

TEST(RetrySleep, NullRestoresTheSystemSleep) {
  set_retry_sleep_function(&record);
  Retry_Sleep_Function mine = set_retry_sleep_function(nullptr);
  EXPECT_EQ(&record, mine);
  // The system sleep is back: zero seconds returns at once.
  last_seconds = 7;
  retry_sleep(0);
  EXPECT_EQ(7u, last_seconds);
}
