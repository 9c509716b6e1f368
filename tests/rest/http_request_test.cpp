#include <gtest/gtest.h>

#include "platform/rest/http_request.h"

TEST(HTTPRequest, PathWithoutQueryHasAnEmptyQueryString) {
  HTTP_Request r(3, "/d2/r/v2/sets/exists", false);
  EXPECT_EQ(3, r.method());
  EXPECT_STREQ("GET", r.method_name());
  EXPECT_EQ("/d2/r/v2/sets/exists", r.path());
  EXPECT_TRUE(r.query_string_buffer().empty());
  EXPECT_EQ("/d2/r/v2/sets/exists", r.target());
  EXPECT_FALSE(r.accept_json());
}

TEST(HTTPRequest, QueryAfterTheMarkBecomesTheQueryString) {
  HTTP_Request r(8, "/d2/r/v2/sets?action=Initialize", true);
  EXPECT_STREQ("POST", r.method_name());
  EXPECT_EQ("/d2/r/v2/sets", r.path());
  EXPECT_EQ("action=Initialize", r.query_string());
  EXPECT_EQ("/d2/r/v2/sets?action=Initialize", r.target());
}

TEST(HTTPRequest, BareQuestionMarkLeavesNoQuery) {
  HTTP_Request r(9, "/d2/r/v2/sets?", true);
  EXPECT_STREQ("PUT", r.method_name());
  EXPECT_EQ("/d2/r/v2/sets", r.target());
}

TEST(HTTPRequest, QueryStringBufferIsModifiedInPlace) {
  HTTP_Request r(3, "/d2/r/v2/sets/exists", false);
  r.query_string_buffer() += "uuid=x";
  EXPECT_EQ("/d2/r/v2/sets/exists?uuid=x", r.target());
}

TEST(HTTPRequest, UnknownMethodCodeHasNoName) {
  HTTP_Request r(77, "/x", false);
  EXPECT_EQ(nullptr, r.method_name());
}

TEST(HTTPRequest, PathGetsItsLeadingSlash) {
  EXPECT_EQ("/x", HTTP_Request(3, "x", false).path());
  EXPECT_EQ("/", HTTP_Request(3, nullptr, false).path());
}
