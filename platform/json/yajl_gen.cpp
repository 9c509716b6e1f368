#include "platform/json/yajl_gen.h"

#include "platform/json/json_text.h"

YAJL_Gen& YAJL_Gen::operator<<(unsigned long long i) {
  char buf[24];
  char* end = std::to_chars(buf, buf + sizeof buf, i).ptr;
  note(yajl_gen_number(gen_, buf, static_cast<size_t>(end - buf)));
  return *this;
}

YAJL_Gen& YAJL_Gen::operator<<(json_spirit::Value const& v) {
  note(yajl_gen_value(gen_, v));
  return *this;
}

YAJL_Gen& YAJL_Gen::operator<<(json_spirit::Object const& o) {
  note(yajl_gen_map_open(gen_));
  for (auto const& member : o) {
    *this << member.first;
    note(yajl_gen_value(gen_, member.second));
  }
  note(yajl_gen_map_close(gen_));
  return *this;
}

YAJL_Gen& YAJL_Gen::operator<<(json_spirit::Array const& a) {
  note(yajl_gen_array_open(gen_));
  for (auto const& element : a) note(yajl_gen_value(gen_, element));
  note(yajl_gen_array_close(gen_));
  return *this;
}
