#include <limits>
#include <string>

#include <gtest/gtest.h>

#include "platform/json/yajl_array_guard.h"
#include "platform/json/yajl_gen.h"
#include "platform/json/yajl_map_guard.h"

namespace {

std::string text_of(yajl_gen g) {
  unsigned char const* buf;
  size_t len;
  yajl_gen_get_buf(g, &buf, &len);
  return std::string(reinterpret_cast<char const*>(buf), len);
}

}  // namespace

TEST(YAJLGen, WritesKeysInTheOrderGiven) {
  YAJL_Gen gen(yajl_gen_alloc(nullptr), true);
  {
    YAJL_Map_Guard map(gen.get());
    gen << "z" << 1 << "a" << std::string("s") << "u" << 4294967295u << "big" << 18446744073709551615ULL;
    gen << "neg" << -5LL << "t" << true << "d" << 0.5;
    gen << "n" << YAJL_Gen::Str("abcdef", 3);
    gen << "arr";
    YAJL_Array_Guard arr(gen.get());
    gen << 1 << 2;
  }
  EXPECT_EQ(R"({"z":1,"a":"s","u":4294967295,"big":18446744073709551615,"neg":-5,"t":true,"d":0.5,"n":"abc","arr":[1,2]})",
            text_of(gen.get()));
}

TEST(YAJLGen, GuardsCloseOnEarlyExit) {
  YAJL_Gen gen(yajl_gen_alloc(nullptr), true);
  auto write = [&](bool stop) {
    YAJL_Map_Guard map(gen.get());
    gen << "a" << 1;
    if (stop) return;
    gen << "b" << 2;
  };
  write(true);
  EXPECT_EQ(R"({"a":1})", text_of(gen.get()));
}

TEST(YAJLGen, WritesValues) {
  YAJL_Gen gen(yajl_gen_alloc(nullptr), true);
  json_spirit::Object o{{"k", json_spirit::Value(json_spirit::Array{json_spirit::Value(), json_spirit::Value(1)})}};
  gen << o;
  EXPECT_EQ(R"({"k":[null,1]})", text_of(gen.get()));
}

TEST(YAJLGen, NullCStringIsEmpty) {
  YAJL_Gen gen(yajl_gen_alloc(nullptr), true);
  gen << static_cast<char const*>(nullptr);
  EXPECT_EQ("\"\"", text_of(gen.get()));
}

TEST(YAJLGen, IsOkWhileEveryWriteIsTaken) {
  YAJL_Gen gen(yajl_gen_alloc(nullptr), true);
  {
    YAJL_Map_Guard map(gen.get());
    gen << "a" << 1 << "b" << json_spirit::Object{{"c", json_spirit::Value(0.25)}};
  }
  EXPECT_TRUE(gen.ok());
}

TEST(YAJLGen, ANumberThatIsNotFiniteIsRememberedAsAFailure) {
  YAJL_Gen gen(yajl_gen_alloc(nullptr), true);
  YAJL_Map_Guard map(gen.get());
  gen << "d" << std::numeric_limits<double>::infinity();
  EXPECT_FALSE(gen.ok());
  gen << "e" << 1;  // a later write that is taken does not clear it
  EXPECT_FALSE(gen.ok());
}

TEST(YAJLGen, AValueNestedPastTheLimitIsRememberedAsAFailure) {
  json_spirit::Value deep = json_spirit::Value(json_spirit::Array());
  for (int i = 0; i < 130; ++i) deep = json_spirit::Value(json_spirit::Array{deep});
  YAJL_Gen gen(yajl_gen_alloc(nullptr), true);
  YAJL_Map_Guard map(gen.get());
  gen << "deep" << deep;
  EXPECT_FALSE(gen.ok());
}

TEST(YAJLGen, AValueInsideAnObjectOrArrayIsChecked) {
  json_spirit::Value nan(std::numeric_limits<double>::quiet_NaN());
  YAJL_Gen in_object(yajl_gen_alloc(nullptr), true);
  in_object << json_spirit::Object{{"x", nan}};
  EXPECT_FALSE(in_object.ok());
  YAJL_Gen in_array(yajl_gen_alloc(nullptr), true);
  in_array << json_spirit::Array{json_spirit::Value(1), nan};
  EXPECT_FALSE(in_array.ok());
}

TEST(YAJLGen, AStatusOfADirectWriteCanBeNoted) {
  YAJL_Gen gen(yajl_gen_alloc(nullptr), true);
  gen.note(yajl_gen_map_close(gen.get()));  // nothing is open
  EXPECT_FALSE(gen.ok());
}
