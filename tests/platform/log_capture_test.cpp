#include <gtest/gtest.h>

#include <ace/Log_Msg.h>

#include "tests/support/log_capture.h"

TEST(LogCapture, SeesPriorityFileLineAndText) {
  Log_Capture capture;
  ACE_ERROR((LM_ERROR, "Failed to do '%s'.\n", "thing"));
  ACE_DEBUG((LM_DEBUG, "Hit %N:%l\n"));
  ACE_ERROR((LM_EMERGENCY, "Unexpected error in %N:%l, gen is NULL:\n%?\n"));
  ASSERT_EQ(3u, capture.size());
  EXPECT_TRUE(capture.has(LM_ERROR, "Failed to do 'thing'.\n"));
  EXPECT_TRUE(capture.has(LM_DEBUG, "log_capture_test.cpp:"));
  EXPECT_TRUE(capture.has(LM_EMERGENCY, "Unexpected error in "));
  EXPECT_EQ(128u, static_cast<unsigned>(LM_ERROR));
  EXPECT_EQ(1024u, static_cast<unsigned>(LM_EMERGENCY));
  EXPECT_EQ(8u, static_cast<unsigned>(LM_INFO));
  EXPECT_EQ(4u, static_cast<unsigned>(LM_DEBUG));
}
