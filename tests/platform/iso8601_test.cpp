#include <gtest/gtest.h>

#include "platform/time/iso8601.h"

TEST(ISO8601, FormatsInUTC) {
  EXPECT_EQ("1970-01-01 00:00:00", POSIX_Time_To_ISO8601(0, "%Y-%m-%d %H:%M:%S"));
  EXPECT_EQ("2024-02-29 12:34:56", POSIX_Time_To_ISO8601(1709210096, "%Y-%m-%d %H:%M:%S"));
  EXPECT_EQ("9999-12-31 15:59:59", POSIX_Time_To_ISO8601(253402271999LL, "%Y-%m-%d %H:%M:%S"));
  EXPECT_EQ("", POSIX_Time_To_ISO8601(0, nullptr));
}

TEST(ISO8601, ParsesWhatItFormats) {
  for (long long t : {0LL, 1LL, 1709210096LL, 253402271999LL, -86400LL}) {
    long long back = 42;
    ASSERT_TRUE(iso8601_to_posix_time(POSIX_Time_To_ISO8601(t, "%Y-%m-%d %H:%M:%S").c_str(), back)) << t;
    EXPECT_EQ(t, back);
  }
}

TEST(ISO8601, AcceptsCommonForms) {
  long long t = 0;
  ASSERT_TRUE(iso8601_to_posix_time("2024-02-29T12:34:56Z", t));
  EXPECT_EQ(1709210096, t);
  ASSERT_TRUE(iso8601_to_posix_time("2024-02-29 14:34:56+02", t));
  EXPECT_EQ(1709210096, t);
  ASSERT_TRUE(iso8601_to_posix_time("2024-02-29 10:04:56-02:30", t));
  EXPECT_EQ(1709210096, t);
  ASSERT_TRUE(iso8601_to_posix_time("2024-02-29 12:34:56.789", t));
  EXPECT_EQ(1709210096, t);
  ASSERT_TRUE(iso8601_to_posix_time("1970-01-02", t));
  EXPECT_EQ(86400, t);
}

TEST(ISO8601, RejectsNonsenseAndLeavesTheValue) {
  long long t = 7;
  EXPECT_FALSE(iso8601_to_posix_time(nullptr, t));
  EXPECT_FALSE(iso8601_to_posix_time("", t));
  EXPECT_FALSE(iso8601_to_posix_time("yesterday", t));
  EXPECT_FALSE(iso8601_to_posix_time("2023-02-29 00:00:00", t));
  EXPECT_FALSE(iso8601_to_posix_time("2024-13-01 00:00:00", t));
  EXPECT_FALSE(iso8601_to_posix_time("2024-01-01 25:00:00", t));
  EXPECT_FALSE(iso8601_to_posix_time("2024-01-01 00:00:00 junk", t));
  EXPECT_EQ(7, t);
}
