#ifndef PLATFORM_JSON_YAJL_GEN_H
#define PLATFORM_JSON_YAJL_GEN_H

#include <charconv>
#include <cstring>
#include <string>

#include <yajl/yajl_gen.h>

#include "platform/export.h"
#include "platform/json/value.h"

// A thin streaming writer over a yajl generator: `gen << "key" << value`.
// Inline so that writing a document costs what the raw yajl calls cost.
// A write yajl refuses (a value nested past its depth limit, a number that
// is not finite, a key where a value belongs) leaves the text broken, so the
// first refusal is remembered: ok() is false from then on. Text that is not
// UTF-8 is refused too (the generator is told to check it), since no parser
// would take the document back.
class BSET_API YAJL_Gen {
 public:
  // Text with an explicit length (need not be zero-ended).
  struct Str {
    Str(char const* p, size_t n) : data(p), size(n) {}
    char const* data;
    size_t size;
  };

  YAJL_Gen(yajl_gen_t* gen, bool owns) : gen_(gen), owns_(owns), ok_(true) {
    if (gen_) yajl_gen_config(gen_, yajl_gen_validate_utf8, 1);
  }
  ~YAJL_Gen() {
    if (owns_ && gen_) yajl_gen_free(gen_);
  }
  YAJL_Gen(YAJL_Gen const&) = delete;
  YAJL_Gen& operator=(YAJL_Gen const&) = delete;

  yajl_gen_t* get() const { return gen_; }
  // Whether every write so far was taken.
  bool ok() const { return ok_; }
  // Folds the status of a write made on get() directly into ok().
  void note(yajl_gen_status status) { ok_ = ok_ && status == yajl_gen_status_ok; }

  YAJL_Gen& operator<<(Str s) {
    note(yajl_gen_string(gen_, reinterpret_cast<unsigned char const*>(s.data), s.size));
    return *this;
  }
  YAJL_Gen& operator<<(std::string const& s) { return *this << Str(s.data(), s.size()); }
  YAJL_Gen& operator<<(char const* s) { return s ? *this << Str(s, strlen(s)) : *this << Str("", 0); }
  YAJL_Gen& operator<<(int i) { return *this << static_cast<long long>(i); }
  YAJL_Gen& operator<<(unsigned int i) { return *this << static_cast<long long>(i); }
  YAJL_Gen& operator<<(long long i) {
    // yajl formats integers with printf; to_chars writes the same digits
    // several times faster, and yajl_gen_number still places the separators.
    char buf[24];
    char* end = std::to_chars(buf, buf + sizeof buf, i).ptr;
    note(yajl_gen_number(gen_, buf, static_cast<size_t>(end - buf)));
    return *this;
  }
  YAJL_Gen& operator<<(long i) { return *this << static_cast<long long>(i); }
  YAJL_Gen& operator<<(unsigned long long i);
  YAJL_Gen& operator<<(unsigned long i) { return *this << static_cast<unsigned long long>(i); }
  YAJL_Gen& operator<<(bool b) {
    note(yajl_gen_bool(gen_, b ? 1 : 0));
    return *this;
  }
  YAJL_Gen& operator<<(double d) {
    note(yajl_gen_double(gen_, d));
    return *this;
  }
  YAJL_Gen& operator<<(json_spirit::Value const& v);
  YAJL_Gen& operator<<(json_spirit::Object const& o);
  YAJL_Gen& operator<<(json_spirit::Array const& a);

 private:
  yajl_gen_t* gen_;
  bool owns_;
  bool ok_;
};

#endif
