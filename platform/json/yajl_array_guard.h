#ifndef PLATFORM_JSON_YAJL_ARRAY_GUARD_H
#define PLATFORM_JSON_YAJL_ARRAY_GUARD_H

#include <yajl/yajl_gen.h>

// Opens a JSON array and closes it when the scope ends, on every path.
class YAJL_Array_Guard {
 public:
  explicit YAJL_Array_Guard(yajl_gen_t* gen) : gen_(gen) { yajl_gen_array_open(gen_); }
  ~YAJL_Array_Guard() { yajl_gen_array_close(gen_); }
  YAJL_Array_Guard(YAJL_Array_Guard const&) = delete;
  YAJL_Array_Guard& operator=(YAJL_Array_Guard const&) = delete;

 private:
  yajl_gen_t* gen_;
};

#endif
