#ifndef PLATFORM_TEXT_REQUEST_KEY_H
#define PLATFORM_TEXT_REQUEST_KEY_H

#include <string>

#include "platform/export.h"

// Names a request so that the server can tell a retry from a new request:
// the clients send it as the "Idempotency-Key" header, the same on every
// attempt of one call. Keys are unique across processes and restarts (a
// random prefix drawn once per process, the process id, then a number).
class BSET_API Request_Key {
 public:
  // The header that carries a key.
  static char const HEADER[];

  // A key never handed out before.
  static std::string next();
  // The key of the request numbered `n` by the caller's own counter.
  static std::string of(long long n);
};

#endif
