#ifndef TESTS_RECORDS_DOCUMENT_H
#define TESTS_RECORDS_DOCUMENT_H

#include <memory>
#include <string>
#include <typeinfo>

#include <yajl/yajl_gen.h>

#include "platform/json/json_generator.h"

// Runs a record's generate on a fresh yajl generator and returns the text and
// the result, the way a transport would obtain the document.
struct Generated {
  bool ok;
  std::string text;
};

// The generator is freed also when generate throws (a writer may).
inline Generated generate_text(JSON_Generator& record) {
  std::unique_ptr<yajl_gen_t, void (*)(yajl_gen_t*)> g(yajl_gen_alloc(nullptr), yajl_gen_free);
  Generated out;
  out.ok = record.generate(g.get());
  unsigned char const* buf = nullptr;
  size_t len = 0;
  yajl_gen_get_buf(g.get(), &buf, &len);
  out.text.assign(reinterpret_cast<char const*>(buf), len);
  return out;
}

inline std::string document_of(JSON_Generator& record) { return generate_text(record).text; }

// The dynamic type of a record held by pointer; through a reference, since
// clang warns of typeid over an expression that calls a function.
template <typename Pointer>
std::type_info const& type_of(Pointer const& record) {
  auto const& held = *record;
  return typeid(held);
}

#endif
