#ifndef PLATFORM_JSON_YAJL_MAP_GUARD_H
#define PLATFORM_JSON_YAJL_MAP_GUARD_H

#include <yajl/yajl_gen.h>

// Opens a JSON object and closes it when the scope ends, on every path.
class YAJL_Map_Guard {
 public:
  explicit YAJL_Map_Guard(yajl_gen_t* gen) : gen_(gen) { yajl_gen_map_open(gen_); }
  ~YAJL_Map_Guard() { yajl_gen_map_close(gen_); }
  YAJL_Map_Guard(YAJL_Map_Guard const&) = delete;
  YAJL_Map_Guard& operator=(YAJL_Map_Guard const&) = delete;

 private:
  yajl_gen_t* gen_;
};

#endif
