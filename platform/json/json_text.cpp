#include "platform/json/json_text.h"

#include <cerrno>
#include <cmath>
#include <charconv>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <utility>
#include <vector>

#include <yajl/yajl_common.h>
#include <yajl/yajl_parse.h>

using json_spirit::Array;
using json_spirit::Object;
using json_spirit::Value;

namespace {

yajl_gen_status gen_string(yajl_gen gen, std::string const& s) {
  return yajl_gen_string(gen, reinterpret_cast<unsigned char const*>(s.data()), s.size());
}

// yajl_gen_integer formats with printf; to_chars is much faster and gives
// the same digits.
template <typename Integer>
yajl_gen_status gen_integer(yajl_gen gen, Integer i) {
  char buf[24];
  char* end = std::to_chars(buf, buf + sizeof buf, i).ptr;
  return yajl_gen_number(gen, buf, static_cast<size_t>(end - buf));
}

// Builds a Value from yajl's callbacks. Numbers come in as text so that the
// whole unsigned 64-bit range is kept.
struct Builder {
  Value root;
  bool have_root = false;
  std::vector<Value*> stack;      // open containers
  std::vector<std::string> keys;  // pending key per open object
  // Set when repeated keys are kept: the repeats so far (a deque, so a
  // repeat being filled stays put while later ones are added) and the names
  // of the open containers below the root.
  std::deque<JSON_Repeated_Key>* repeats = nullptr;
  std::vector<std::string> path;
  // Why a callback stopped the parse (yajl only says that one did).
  std::string failure;

  // Where a value goes inside the open container.
  Value* place(Value&& v) {
    Value* top = stack.back();
    if (top->type() == json_spirit::array_type) {
      Array& a = top->get_array();
      a.push_back(std::move(v));
      return &a.back();
    }
    Object& o = top->get_obj();
    if (repeats) {
      auto found = o.lower_bound(keys.back());
      if (found != o.end() && found->first == keys.back()) {
        repeats->push_back(JSON_Repeated_Key{path, keys.back(), std::move(v)});
        return &repeats->back().value;
      }
      return &o.emplace_hint(found, keys.back(), std::move(v))->second;
    }
    Value& member = o[keys.back()];
    member = std::move(v);
    return &member;
  }

  int add(Value&& v) {
    if (stack.empty()) {
      root = std::move(v);
      have_root = true;
      return 1;
    }
    place(std::move(v));
    return 1;
  }

  // Nothing is accepted that the generator could not write back: yajl's
  // generator stops at YAJL_MAX_DEPTH open containers.
  static constexpr size_t MAX_DEPTH = YAJL_MAX_DEPTH - 1;

  Value* open(Value&& v) {
    if (stack.size() >= MAX_DEPTH) {
      failure = "JSON text nested deeper than " + std::to_string(MAX_DEPTH) + " levels";
      return nullptr;
    }
    if (stack.empty()) {
      root = std::move(v);
      have_root = true;
      stack.push_back(&root);
      return &root;
    }
    Value const* top = stack.back();
    bool const in_array = top->type() == json_spirit::array_type;
    size_t const index = in_array ? top->get_array().size() : 0;
    // Placed before its own name joins the path: a repeat found here is a
    // member of the enclosing object.
    Value* slot = place(std::move(v));
    if (repeats) path.push_back(in_array ? std::to_string(index) : keys.back());
    stack.push_back(slot);
    return slot;
  }

  void close() {
    stack.pop_back();
    if (repeats && !stack.empty()) path.pop_back();
  }
};

Builder* B(void* ctx) { return static_cast<Builder*>(ctx); }

int on_null(void* ctx) { return B(ctx)->add(Value()); }
int on_bool(void* ctx, int b) { return B(ctx)->add(Value(b != 0)); }

int on_number(void* ctx, char const* s, size_t len) {
  std::string text(s, len);
  bool integral = text.find_first_of(".eE") == std::string::npos;
  if (integral) {
    errno = 0;
    char* end = nullptr;
    if (text[0] == '-') {
      long long v = strtoll(text.c_str(), &end, 10);
      if (errno == 0 && end && *end == 0) return B(ctx)->add(Value(v));
    } else {
      unsigned long long v = strtoull(text.c_str(), &end, 10);
      if (errno == 0 && end && *end == 0) {
        if (v <= static_cast<unsigned long long>(LLONG_MAX)) return B(ctx)->add(Value(static_cast<long long>(v)));
        return B(ctx)->add(Value(v));
      }
    }
  }
  // Fractions, exponents and integers beyond 64 bits become reals.
  errno = 0;
  char* end = nullptr;
  double d = strtod(text.c_str(), &end);
  if (!end || *end != 0) return 0;
  if (!std::isfinite(d)) {
    B(ctx)->failure = "number out of range: " + text;
    return 0;
  }
  return B(ctx)->add(Value(d));
}

int on_string(void* ctx, unsigned char const* s, size_t len) {
  return B(ctx)->add(Value(std::string(reinterpret_cast<char const*>(s), len)));
}

int on_start_map(void* ctx) {
  if (!B(ctx)->open(Value(Object()))) return 0;
  B(ctx)->keys.emplace_back();
  return 1;
}

int on_map_key(void* ctx, unsigned char const* s, size_t len) {
  B(ctx)->keys.back().assign(reinterpret_cast<char const*>(s), len);
  return 1;
}

int on_end_map(void* ctx) {
  B(ctx)->keys.pop_back();
  B(ctx)->close();
  return 1;
}

int on_start_array(void* ctx) { return B(ctx)->open(Value(Array())) ? 1 : 0; }

int on_end_array(void* ctx) {
  B(ctx)->close();
  return 1;
}

yajl_callbacks const callbacks = {on_null,      on_bool,       nullptr,          nullptr,     on_number,
                                  on_string,    on_start_map,  on_map_key,       on_end_map,  on_start_array,
                                  on_end_array};

}  // namespace

yajl_gen_status yajl_gen_value(yajl_gen gen, Value const& value) {
  switch (value.type()) {
    case json_spirit::null_type: return yajl_gen_null(gen);
    case json_spirit::bool_type: return yajl_gen_bool(gen, value.get_bool() ? 1 : 0);
    case json_spirit::int_type:
      if (value.is_uint64()) return gen_integer(gen, value.get_uint64());
      return gen_integer(gen, value.get_int64());
    case json_spirit::real_type: return yajl_gen_double(gen, value.get_real());
    case json_spirit::str_type: return gen_string(gen, value.get_str());
    case json_spirit::secure_str_type: return gen_string(gen, value.get_secure_str().str());
    case json_spirit::obj_type: {
      yajl_gen_status st = yajl_gen_map_open(gen);
      if (st != yajl_gen_status_ok) return st;
      for (auto const& member : value.get_obj()) {
        if ((st = gen_string(gen, member.first)) != yajl_gen_status_ok) return st;
        if ((st = yajl_gen_value(gen, member.second)) != yajl_gen_status_ok) return st;
      }
      return yajl_gen_map_close(gen);
    }
    case json_spirit::array_type: {
      yajl_gen_status st = yajl_gen_array_open(gen);
      if (st != yajl_gen_status_ok) return st;
      for (auto const& element : value.get_array()) {
        if ((st = yajl_gen_value(gen, element)) != yajl_gen_status_ok) return st;
      }
      return yajl_gen_array_close(gen);
    }
  }
  return yajl_gen_invalid_string;
}

std::string JSON_Dump(Value const& value) {
  yajl_gen gen = yajl_gen_alloc(nullptr);
  std::string out;
  if (!gen) return out;
  if (yajl_gen_value(gen, value) == yajl_gen_status_ok) {
    unsigned char const* buf = nullptr;
    size_t len = 0;
    yajl_gen_get_buf(gen, &buf, &len);
    out.assign(reinterpret_cast<char const*>(buf), len);
  }
  yajl_gen_free(gen);
  return out;
}

bool JSON_Parse(char const* text, size_t length, Value& out, std::string* error) {
  return JSON_Parse(text, length, out, error, nullptr);
}

bool JSON_Parse(char const* text, size_t length, Value& out, std::string* error,
                std::vector<JSON_Repeated_Key>* repeats) {
  Builder builder;
  std::deque<JSON_Repeated_Key> found;
  if (repeats) builder.repeats = &found;
  yajl_handle h = yajl_alloc(&callbacks, nullptr, &builder);
  if (!h) {
    if (error) *error = "out of memory";
    return false;
  }
  yajl_status st = yajl_parse(h, reinterpret_cast<unsigned char const*>(text ? text : ""), text ? length : 0);
  if (st == yajl_status_ok) st = yajl_complete_parse(h);
  bool ok = st == yajl_status_ok && builder.have_root && builder.stack.empty();
  if (!ok && error) {
    if (st == yajl_status_ok) {
      *error = "incomplete JSON text";
    } else if (!builder.failure.empty()) {
      *error = builder.failure;
    } else {
      unsigned char* msg = yajl_get_error(h, 0, reinterpret_cast<unsigned char const*>(text), length);
      *error = reinterpret_cast<char const*>(msg);
      yajl_free_error(h, msg);
      while (!error->empty() && (error->back() == '\n' || error->back() == ' ')) error->pop_back();
    }
  }
  yajl_free(h);
  if (ok) {
    out = std::move(builder.root);
    if (repeats) {
      repeats->reserve(repeats->size() + found.size());
      for (JSON_Repeated_Key& r : found) repeats->push_back(std::move(r));
    }
  }
  return ok;
}

bool JSON_Parse(std::string const& text, Value& out) { return JSON_Parse(text.data(), text.size(), out, nullptr); }
