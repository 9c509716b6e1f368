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
