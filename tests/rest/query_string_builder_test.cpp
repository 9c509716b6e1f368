#include <gtest/gtest.h>

#include <climits>
#include <string>

#include "platform/rest/query_string_builder.h"

TEST(QueryStringBuilder, EncodedUuidUsesPlusAndLowerCaseHex) {
  std::string q;
  Query_String_Builder(q, false).append("uuid", "a b/c", true, true, nullptr);
  EXPECT_EQ("uuid=a+b%2fc", q);
}

TEST(QueryStringBuilder, QueryHoldingAPairGetsAnAmpersand) {
  std::string q = "x=1";
  Query_String_Builder(q, !q.empty()).append("uuid", "a b", true, true, nullptr);
  EXPECT_EQ("x=1&uuid=a+b", q);
}

TEST(QueryStringBuilder, EmptyQueryReceivesThePairAlone) {
  std::string q;
  Query_String_Builder(q, !q.empty()).append("uuid", "u-1", true, true, nullptr);
  EXPECT_EQ("uuid=u-1", q);
}

TEST(QueryStringBuilder, PairsAfterTheFirstAreJoinedByAmpersand) {
  std::string path = "/d2/r/v2/sets/select?";
  Query_String_Builder(path, false)
      .append("module", "m", true, true, nullptr)
      .append("view", "v", true, true, nullptr)
      .append("b", "", true, true, nullptr);
  EXPECT_EQ("/d2/r/v2/sets/select?module=m&view=v&b=", path);
}

TEST(QueryStringBuilder, NullOrEmptyNameAppendsNothing) {
  std::string q = "a=1";
  Query_String_Builder b(q, true);
  b.append(nullptr, "v", true, true, nullptr).append("", "v", true, true, nullptr);
  b.append(nullptr, 5LL, true, nullptr).append("", true, true, nullptr);
  EXPECT_EQ("a=1", q);
}

TEST(QueryStringBuilder, NullValueLeavesTheBareName) {
  std::string q;
  Query_String_Builder(q, false).append("flag", nullptr, true, true, nullptr);
  EXPECT_EQ("flag", q);
}

TEST(QueryStringBuilder, EmptyValueLeavesNameAndEquals) {
  std::string q;
  Query_String_Builder(q, false).append("b", "", true, true, nullptr);
  EXPECT_EQ("b=", q);
}

TEST(QueryStringBuilder, PrefixComesBeforeTheNameAndIsEncodedWithIt) {
  std::string q;
  Query_String_Builder(q, false).append("name", "v", true, true, "p/");
  EXPECT_EQ("p%2fname=v", q);
  std::string r;
  Query_String_Builder(r, false).append("name", "v", false, true, "p/");
  EXPECT_EQ("p/name=v", r);
}

TEST(QueryStringBuilder, EncodingIsChosenSeparatelyForNameAndValue) {
  std::string q;
  Query_String_Builder(q, false).append("a b", "c d", false, true, nullptr).append("e f", "g h", true, false, nullptr);
  EXPECT_EQ("a b=c+d&e+f=g h", q);
}

TEST(QueryStringBuilder, NumberIsDecimalAndUnencoded) {
  std::string q;
  Query_String_Builder(q, false).append("n", -42LL, true, nullptr).append("max", LLONG_MAX, true, nullptr);
  EXPECT_EQ("n=-42&max=9223372036854775807", q);
}

TEST(QueryStringBuilder, BooleanIsOneOrZero) {
  std::string q;
  Query_String_Builder(q, false).append("c", true, true, nullptr).append("d", false, true, nullptr);
  EXPECT_EQ("c=1&d=0", q);
}

TEST(QueryStringBuilder, RemembersThatItHasParams) {
  std::string q;
  Query_String_Builder b(q, false);
  EXPECT_FALSE(b.has_params());
  b.append("a", "1", true, true, nullptr);
  EXPECT_TRUE(b.has_params());
  b.append(nullptr, "x", true, true, nullptr);
  EXPECT_EQ("a=1", b.str());
}
