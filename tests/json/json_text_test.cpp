#include <gtest/gtest.h>

#include "platform/json/json_text.h"

using namespace json_spirit;

TEST(JSONParse, RoundTripsADocument) {
  std::string text = R"({"a":[1,-2,3.5,true,false,null,"x"],"b":{"c":"d"},"e":18446744073709551615})";
  Value v;
  ASSERT_TRUE(JSON_Parse(text, v));
  EXPECT_TRUE(v.get_obj().at("e").is_uint64());
  EXPECT_EQ(-2, v.get_obj().at("a").get_array()[1].get_int64());
  EXPECT_EQ(text, JSON_Dump(v));
}

TEST(JSONParse, FailureLeavesOutputUnchanged) {
  Value v("before");
  EXPECT_FALSE(JSON_Parse("{\"a\":", v));
  EXPECT_FALSE(JSON_Parse("", v));
  EXPECT_FALSE(JSON_Parse("not json", v));
  EXPECT_FALSE(JSON_Parse("{} {}", v));
  EXPECT_EQ(Value("before"), v);
}

TEST(JSONParse, ReportsTheFault) {
  Value v;
  std::string error;
  std::string text = "[1,2";
  EXPECT_FALSE(JSON_Parse(text.data(), text.size(), v, &error));
  EXPECT_FALSE(error.empty());
}

TEST(JSONParse, ScalarsAtTopLevel) {
  Value v;
  ASSERT_TRUE(JSON_Parse("42", v));
  EXPECT_EQ(42, v.get_int());
  ASSERT_TRUE(JSON_Parse("\"s\"", v));
  EXPECT_EQ("s", v.get_str());
}

TEST(JSONParse, DuplicateKeyKeepsTheLast) {
  Value v;
  ASSERT_TRUE(JSON_Parse(R"({"a":1,"a":2})", v));
  EXPECT_EQ(2, v.get_obj().at("a").get_int());
}

TEST(JSONDump, ObjectsComeOutInKeyOrder) {
  Object o;
  o["b"] = Value(2);
  o["a"] = Value(1);
  EXPECT_EQ(R"({"a":1,"b":2})", JSON_Dump(Value(o)));
}

TEST(JSONDump, SecureStringIsWrittenAsText) {
  EXPECT_EQ("\"pw\"", JSON_Dump(Value(Secure_String("pw"))));
}

TEST(JSONDump, EscapesControlCharacters) {
  EXPECT_EQ("\"a\\\"b\\n\"", JSON_Dump(Value("a\"b\n")));
}
