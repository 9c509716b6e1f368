#ifndef PLATFORM_JSON_JSON_GENERATOR_H
#define PLATFORM_JSON_JSON_GENERATOR_H

#include <yajl/yajl_gen.h>

#include "platform/export.h"

// Anything that can write itself as one JSON value into a yajl generator;
// transports take documents in this form so they are streamed, not built.
class BSET_API JSON_Generator {
 public:
  virtual ~JSON_Generator();
  virtual bool generate(yajl_gen_t* gen) = 0;
};

#endif
