#ifndef PLATFORM_REST_HTTP_CLIENT_OPTIONS_H
#define PLATFORM_REST_HTTP_CLIENT_OPTIONS_H

#include <string>

#include "platform/export.h"

// How a REST client reaches its server.
struct BSET_API HTTP_Client_Options {
  // Caps, in milliseconds, on connecting and on each attempt of a request
  // (0: libcurl's connect default, no cap on an attempt).
  long connect_timeout_ms = 10000;
  long request_timeout_ms = 600000;
  // The "Authorization" header's value when not empty, e.g. "Bearer xyz".
  std::string authorization;
  // TLS: certificate checks and a CA bundle other than the system's.
  bool verify_peer = true;
  bool verify_host = true;
  std::string ca_file;
};

#endif
