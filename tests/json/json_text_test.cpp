#include <cstring>
#include <limits>
#include <string>

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

namespace {

bool parse_keeping(std::string const& text, Value& out, std::vector<JSON_Repeated_Key>& repeats) {
  std::string error;
  bool ok = JSON_Parse(text.data(), text.size(), out, &error, &repeats);
  EXPECT_TRUE(ok) << error;
  return ok;
}

}  // namespace

TEST(JSONParseRepeats, RootKeyKeepsTheFirstAndReportsTheLater) {
  Value v;
  std::vector<JSON_Repeated_Key> repeats;
  ASSERT_TRUE(parse_keeping(R"({"extended_attrs":{"k":"v"},"b":1,"extended_attrs":"app text"})", v, repeats));
  EXPECT_EQ(R"({"b":1,"extended_attrs":{"k":"v"}})", JSON_Dump(v));
  ASSERT_EQ(1u, repeats.size());
  EXPECT_TRUE(repeats[0].path.empty());
  EXPECT_EQ("extended_attrs", repeats[0].key);
  EXPECT_EQ(Value("app text"), repeats[0].value);
}

TEST(JSONParseRepeats, PathNamesObjectMembersAndArrayIndices) {
  Value v;
  std::vector<JSON_Repeated_Key> repeats;
  ASSERT_TRUE(parse_keeping(R"({"params":{"a":1,"a":2},"list":[{"x":0},{"params":{"y":true,"y":false}}]})", v,
                            repeats));
  EXPECT_EQ(R"({"list":[{"x":0},{"params":{"y":true}}],"params":{"a":1}})", JSON_Dump(v));
  ASSERT_EQ(2u, repeats.size());
  EXPECT_EQ((std::vector<std::string>{"params"}), repeats[0].path);
  EXPECT_EQ("a", repeats[0].key);
  EXPECT_EQ(Value(2), repeats[0].value);
  EXPECT_EQ((std::vector<std::string>{"list", "1", "params"}), repeats[1].path);
  EXPECT_EQ("y", repeats[1].key);
  EXPECT_EQ(Value(false), repeats[1].value);
}

TEST(JSONParseRepeats, ObjectsInsideARootArray) {
  Value v;
  std::vector<JSON_Repeated_Key> repeats;
  ASSERT_TRUE(parse_keeping(R"([{"params":{"m":"first","m":"second"}},{"k":1,"k":2}])", v, repeats));
  EXPECT_EQ(R"([{"params":{"m":"first"}},{"k":1}])", JSON_Dump(v));
  ASSERT_EQ(2u, repeats.size());
  EXPECT_EQ((std::vector<std::string>{"0", "params"}), repeats[0].path);
  EXPECT_EQ(Value("second"), repeats[0].value);
  EXPECT_EQ((std::vector<std::string>{"1"}), repeats[1].path);
  EXPECT_EQ("k", repeats[1].key);
  EXPECT_EQ(Value(2), repeats[1].value);
}

TEST(JSONParseRepeats, KeyThreeTimesGivesTwoRepeatsInDocumentOrder) {
  Value v;
  std::vector<JSON_Repeated_Key> repeats;
  ASSERT_TRUE(parse_keeping(R"({"a":"one","b":0,"a":"two","a":"three"})", v, repeats));
  EXPECT_EQ(Value("one"), v.get_obj().at("a"));
  ASSERT_EQ(2u, repeats.size());
  EXPECT_EQ(Value("two"), repeats[0].value);
  EXPECT_EQ(Value("three"), repeats[1].value);
  for (auto const& r : repeats) {
    EXPECT_EQ("a", r.key);
    EXPECT_TRUE(r.path.empty());
  }
}

TEST(JSONParseRepeats, RepeatedValuesOfEveryType) {
  Value v;
  std::vector<JSON_Repeated_Key> repeats;
  ASSERT_TRUE(parse_keeping(R"({"k":0,"k":null,"k":true,"k":-7,"k":18446744073709551615,"k":2.5,"k":"s",)"
                            R"("k":[1,{"n":1,"n":2}],"k":{"o":"x"}})",
                            v, repeats));
  EXPECT_EQ(R"({"k":0})", JSON_Dump(v));
  ASSERT_EQ(9u, repeats.size());
  EXPECT_TRUE(repeats[0].value.is_null());
  EXPECT_EQ(Value(true), repeats[1].value);
  EXPECT_EQ(-7, repeats[2].value.get_int64());
  EXPECT_TRUE(repeats[3].value.is_uint64());
  EXPECT_EQ(18446744073709551615ULL, repeats[3].value.get_uint64());
  EXPECT_EQ(2.5, repeats[4].value.get_real());
  EXPECT_EQ(Value("s"), repeats[5].value);
  // A repeated container is built whole; a repeat inside it follows it, with
  // its path read through the repeated key.
  EXPECT_EQ(R"([1,{"n":1}])", JSON_Dump(repeats[6].value));
  EXPECT_EQ("n", repeats[7].key);
  EXPECT_EQ((std::vector<std::string>{"k", "1"}), repeats[7].path);
  EXPECT_EQ(Value(2), repeats[7].value);
  EXPECT_EQ(R"({"o":"x"})", JSON_Dump(repeats[8].value));
}

TEST(JSONParseRepeats, RepeatedObjectValueKeepsItsOwnFirstKeys) {
  Value v;
  std::vector<JSON_Repeated_Key> repeats;
  ASSERT_TRUE(parse_keeping(R"({"k":1,"k":{"o":[],"o":{}}})", v, repeats));
  EXPECT_EQ(R"({"k":1})", JSON_Dump(v));
  ASSERT_EQ(2u, repeats.size());
  EXPECT_EQ("k", repeats[0].key);
  EXPECT_EQ(R"({"o":[]})", JSON_Dump(repeats[0].value));
  EXPECT_EQ((std::vector<std::string>{"k"}), repeats[1].path);
  EXPECT_EQ("o", repeats[1].key);
  EXPECT_EQ(Value(json_spirit::Object()), repeats[1].value);
}

TEST(JSONParseRepeats, NoRepeatsLeavesTheListEmpty) {
  Value v;
  std::vector<JSON_Repeated_Key> repeats;
  std::string text = R"({"a":{"b":[{"c":1},{"c":2}]},"d":[1,1]})";
  ASSERT_TRUE(parse_keeping(text, v, repeats));
  EXPECT_TRUE(repeats.empty());
  EXPECT_EQ(text, JSON_Dump(v));
}

TEST(JSONParseRepeats, RepeatsAreAppendedToWhatTheListHolds) {
  Value v;
  std::vector<JSON_Repeated_Key> repeats(1);
  repeats[0].key = "earlier";
  ASSERT_TRUE(parse_keeping(R"({"a":1,"a":2})", v, repeats));
  ASSERT_EQ(2u, repeats.size());
  EXPECT_EQ("earlier", repeats[0].key);
  EXPECT_EQ("a", repeats[1].key);
}

TEST(JSONParseRepeats, FailureLeavesValueAndListUnchanged) {
  Value v("before");
  std::vector<JSON_Repeated_Key> repeats(1);
  repeats[0].key = "earlier";
  repeats[0].value = Value(3);
  std::string error;
  std::string text = R"({"a":1,"a":2,"b":)";
  EXPECT_FALSE(JSON_Parse(text.data(), text.size(), v, &error, &repeats));
  EXPECT_FALSE(error.empty());
  EXPECT_EQ(Value("before"), v);
  ASSERT_EQ(1u, repeats.size());
  EXPECT_EQ("earlier", repeats[0].key);
  EXPECT_EQ(Value(3), repeats[0].value);
}

TEST(JSONParseRepeats, WithoutAListTheLastValueWins) {
  std::string text = R"({"a":{"x":1},"b":[{"c":1,"c":2}],"a":"last"})";
  Value with_null, four, two;
  ASSERT_TRUE(JSON_Parse(text.data(), text.size(), with_null, nullptr, nullptr));
  ASSERT_TRUE(JSON_Parse(text.data(), text.size(), four, nullptr));
  ASSERT_TRUE(JSON_Parse(text, two));
  EXPECT_EQ(R"({"a":"last","b":[{"c":2}]})", JSON_Dump(two));
  EXPECT_EQ(two, four);
  EXPECT_EQ(two, with_null);
}

namespace {

std::string nested_arrays(size_t depth) { return std::string(depth, '[') + std::string(depth, ']'); }

}  // namespace

TEST(JSONParse, AcceptsNestingTheWriterCanWriteBack) {
  Value v;
  ASSERT_TRUE(JSON_Parse(nested_arrays(127), v));
  EXPECT_EQ(nested_arrays(127), JSON_Dump(v));
}

TEST(JSONParse, RefusesNestingTheWriterCannotWriteBack) {
  for (std::string const& text : {nested_arrays(128), nested_arrays(1000)}) {
    Value v("before");
    std::string error;
    EXPECT_FALSE(JSON_Parse(text.data(), text.size(), v, &error)) << text.size();
    EXPECT_EQ("JSON text nested deeper than 127 levels", error);
    EXPECT_EQ(Value("before"), v);
  }
  // Objects count as levels as much as arrays do.
  std::string objects;
  for (int i = 0; i < 128; ++i) objects += "{\"k\":";
  objects += "1" + std::string(128, '}');
  Value v;
  std::string error;
  EXPECT_FALSE(JSON_Parse(objects.data(), objects.size(), v, &error));
  EXPECT_EQ("JSON text nested deeper than 127 levels", error);
}

TEST(JSONParse, RefusesNumbersBeyondTheRangeOfADouble) {
  for (char const* text : {"1e999", "-1e999", "[1,{\"x\":2e400}]"}) {
    Value v("before");
    std::string error;
    EXPECT_FALSE(JSON_Parse(text, std::strlen(text), v, &error)) << text;
    EXPECT_EQ(0u, error.find("number out of range: ")) << error;
    EXPECT_EQ(Value("before"), v);
  }
  Value v;
  ASSERT_TRUE(JSON_Parse("[1e308,-1e308,1e-400,123456789012345678901234567890]", v));
  EXPECT_EQ(1e308, v.get_array()[0].get_real());
  EXPECT_EQ(-1e308, v.get_array()[1].get_real());
  EXPECT_EQ(0.0, v.get_array()[2].get_real());  // underflow is a plain zero
  EXPECT_FALSE(JSON_Dump(v).empty());
}

TEST(JSONDump, ValuesItCannotWriteGiveEmptyText) {
  EXPECT_EQ("", JSON_Dump(Value(std::numeric_limits<double>::infinity())));
  Value deep = Value(Array());
  for (int i = 0; i < 130; ++i) deep = Value(Array{deep});
  EXPECT_EQ("", JSON_Dump(deep));
}
