#include <gtest/gtest.h>

#include <vector>

#include "platform/retry/exponential_backoff_iterator.h"

namespace {

std::vector<unsigned> take(Exponential_Backoff_Iterator it, size_t n) {
  std::vector<unsigned> out;
  Exponential_Backoff_Iterator end;
  for (; it != end && out.size() < n; ++it) out.push_back(*it);
  return out;
}

}  // namespace

TEST(ExponentialBackoffIterator, DoublesFromOneAndIsHeldAtTheCap) {
  std::vector<unsigned> expected{1, 2, 4, 8, 16, 32, 60, 60, 60};
  EXPECT_EQ(expected, take(Exponential_Backoff_Iterator(1, 4294967295u, 60, true), 9));
}

TEST(ExponentialBackoffIterator, CumulationIsTheSumOfTheDelaysSteppedOver) {
  Exponential_Backoff_Iterator it(1, 4294967295u, 60, true);
  EXPECT_EQ(0u, it.cumulation());
  ++it;
  EXPECT_EQ(1u, it.cumulation());
  ++it;
  EXPECT_EQ(3u, it.cumulation());
  ++it;
  EXPECT_EQ(7u, it.cumulation());
  EXPECT_EQ(8u, *it);
  for (int i = 0; i < 4; ++i) ++it;  // 8 16 32 60
  EXPECT_EQ(7u + 8 + 16 + 32 + 60, it.cumulation());
  EXPECT_EQ(7u, it.steps_taken());
}

TEST(ExponentialBackoffIterator, EndsAfterTheGivenNumberOfSteps) {
  Exponential_Backoff_Iterator it(1, 3, 60, true), end;
  EXPECT_TRUE(it != end);
  ++it;
  ++it;
  EXPECT_TRUE(it != end);
  ++it;
  EXPECT_FALSE(it != end);
  EXPECT_TRUE(it == end);
  // Stepping past the end changes nothing.
  unsigned long long sum = it.cumulation();
  ++it;
  EXPECT_EQ(sum, it.cumulation());
  EXPECT_EQ(7u, sum);
}

TEST(ExponentialBackoffIterator, ZeroStepsIsAlreadyTheEnd) {
  Exponential_Backoff_Iterator it(1, 0, 60, true), end;
  EXPECT_FALSE(it != end);
}

TEST(ExponentialBackoffIterator, DefaultConstructedIteratorsAreEqualEnds) {
  Exponential_Backoff_Iterator a, b;
  EXPECT_TRUE(a == b);
  EXPECT_TRUE(a.at_end());
}

TEST(ExponentialBackoffIterator, WithoutGrowthEveryDelayIsTheFirst) {
  std::vector<unsigned> expected{5, 5, 5, 5};
  EXPECT_EQ(expected, take(Exponential_Backoff_Iterator(5, 4, 60, false), 10));
}

TEST(ExponentialBackoffIterator, FirstAboveTheCapStartsAtTheCap) {
  std::vector<unsigned> expected{10, 10, 10};
  EXPECT_EQ(expected, take(Exponential_Backoff_Iterator(30, 3, 10, true), 10));
}

TEST(ExponentialBackoffIterator, LargeCapDoesNotOverflow) {
  Exponential_Backoff_Iterator it(1, 4294967295u, 4294967295u, true);
  for (int i = 0; i < 40; ++i) ++it;
  EXPECT_EQ(4294967295u, *it);
}
