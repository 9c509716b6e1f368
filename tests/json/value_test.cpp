#include <stdexcept>

#include <gtest/gtest.h>

#include "platform/json/object_lookup.h"
#include "platform/json/value.h"

using namespace json_spirit;

TEST(Value, DefaultIsNull) {
  Value v;
  EXPECT_TRUE(v.is_null());
  EXPECT_EQ(null_type, v.type());
}

TEST(Value, CharPointerIsAStringNeverABool) {
  Value v("abc");
  EXPECT_EQ(str_type, v.type());
  EXPECT_EQ("abc", v.get_str());
  char const* p = "x";
  EXPECT_EQ(str_type, Value(p).type());
}

TEST(Value, TypeCodesAreFixed) {
  EXPECT_EQ(0, obj_type);
  EXPECT_EQ(1, array_type);
  EXPECT_EQ(2, str_type);
  EXPECT_EQ(3, secure_str_type);
  EXPECT_EQ(4, bool_type);
  EXPECT_EQ(5, int_type);
  EXPECT_EQ(6, real_type);
  EXPECT_EQ(7, null_type);
  EXPECT_EQ(obj_type, Value(Object()).type());
  EXPECT_EQ(array_type, Value(Array()).type());
  EXPECT_EQ(secure_str_type, Value(Secure_String("pw")).type());
  EXPECT_EQ(bool_type, Value(true).type());
  EXPECT_EQ(int_type, Value(5).type());
  EXPECT_EQ(real_type, Value(1.5).type());
}

TEST(Value, UnsignedKeepsItsMark) {
  Value u(18446744073709551615ULL);
  EXPECT_TRUE(u.is_uint64());
  EXPECT_EQ(18446744073709551615ULL, u.get_uint64());
  EXPECT_FALSE(Value(5LL).is_uint64());
  EXPECT_EQ(-1, Value(-1LL).get_int64());
}

TEST(Value, WrongTypeGetterThrows) {
  Value v(5);
  EXPECT_THROW(v.get_str(), std::runtime_error);
  EXPECT_THROW(v.get_bool(), std::runtime_error);
  EXPECT_THROW(v.get_obj(), std::runtime_error);
  EXPECT_THROW(Value("x").get_int(), std::runtime_error);
  EXPECT_THROW(Value("x").get_secure_str(), std::runtime_error);
  EXPECT_THROW(Value(Secure_String("x")).get_str(), std::runtime_error);
}

TEST(Value, CopyAndMoveAreDeep) {
  Object o;
  o["a"] = Value(Array{Value(1), Value("two")});
  Value v(o);
  Value copy(v);
  copy.get_obj()["a"].get_array().push_back(Value(3));
  EXPECT_EQ(2u, v.get_obj().at("a").get_array().size());
  Value moved(std::move(copy));
  EXPECT_TRUE(copy.is_null());
  EXPECT_EQ(3u, moved.get_obj().at("a").get_array().size());
  v = moved;
  EXPECT_EQ(v, moved);
}

TEST(Value, Equality) {
  EXPECT_EQ(Value(5), Value(5ULL));
  EXPECT_NE(Value(-1LL), Value(18446744073709551615ULL));
  EXPECT_NE(Value(1), Value(true));
  EXPECT_NE(Value("1"), Value(1));
  EXPECT_EQ(Value(Object{{"a", Value(1)}}), Value(Object{{"a", Value(1)}}));
}

TEST(ObjectLookup, TypedGetters) {
  Object o{{"s", Value("text")}, {"i", Value(7)}, {"b", Value(true)}, {"o", Value(Object())},
           {"a", Value(Array{Value(1)})}, {"r", Value(2.5)}};
  std::string s = "unchanged";
  EXPECT_TRUE(object_get_str(o, "s", s));
  EXPECT_EQ("text", s);
  EXPECT_FALSE(object_get_str(o, "i", s));
  EXPECT_FALSE(object_get_str(o, "missing", s));
  EXPECT_EQ("text", s);
  long long i = 0;
  EXPECT_TRUE(object_get_int64(o, "i", i));
  EXPECT_EQ(7, i);
  bool b = false;
  EXPECT_TRUE(object_get_bool(o, "b", b));
  EXPECT_TRUE(b);
  Array a;
  EXPECT_TRUE(object_get_array(o, "a", a));
  EXPECT_EQ(1u, a.size());
  double r = 0;
  EXPECT_TRUE(object_get_real(o, "r", r));
  EXPECT_DOUBLE_EQ(2.5, r);
  EXPECT_NE(nullptr, object_find(o, "o", obj_type));
  EXPECT_EQ(nullptr, object_find(o, "o", array_type));
}

TEST(ObjectLookup, OrThrowNamesTheKey) {
  Object o{{"n", Value(1)}};
  EXPECT_EQ(1, object_get_int64_or_throw(o, "n"));
  try {
    object_get_str_or_throw(o, "n");
    FAIL() << "no exception";
  } catch (std::runtime_error const& e) {
    EXPECT_NE(std::string::npos, std::string(e.what()).find("'n'"));
  }
  EXPECT_THROW(object_get_array_or_throw(o, "missing"), std::runtime_error);
}
