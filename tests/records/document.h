#ifndef TESTS_RECORDS_DOCUMENT_H
#define TESTS_RECORDS_DOCUMENT_H

#include <string>

#include <yajl/yajl_gen.h>

#include "platform/json/json_generator.h"

// Runs a record's generate on a fresh yajl generator and returns the text and
// the result, the way a transport would obtain the document.
struct Generated {
  bool ok;
  std::string text;
};

inline Generated generate_text(JSON_Generator& record) {
  yajl_gen g = yajl_gen_alloc(nullptr);
  Generated out;
  out.ok = record.generate(g);
  unsigned char const* buf = nullptr;
  size_t len = 0;
  yajl_gen_get_buf(g, &buf, &len);
  out.text.assign(reinterpret_cast<char const*>(buf), len);
  yajl_gen_free(g);
  return out;
}

inline std::string document_of(JSON_Generator& record) { return generate_text(record).text; }

#endif
