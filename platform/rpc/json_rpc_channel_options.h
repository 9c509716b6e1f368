#ifndef PLATFORM_RPC_JSON_RPC_CHANNEL_OPTIONS_H
#define PLATFORM_RPC_JSON_RPC_CHANNEL_OPTIONS_H

#include <string>
#include <vector>

#include "platform/export.h"

// How the process's JSON-RPC channel reaches the server.
struct BSET_API JSON_RPC_Channel_Options {
  // Caps, in milliseconds, on connecting and on a whole request; 0 leaves
  // the connect time-out at libcurl's default and the request bounded only
  // by the time-out each request gives.
  long connect_timeout_ms = 10000;
  long request_timeout_ms = 0;
  // Sent as the "Authorization" header when not empty, e.g. "Bearer xyz".
  std::string authorization;
  // Further request headers, each "Name: value".
  std::vector<std::string> headers;
  // TLS (https URLs): certificate checks and a CA bundle other than the
  // system's.
  bool verify_peer = true;
  bool verify_host = true;
  std::string ca_file;
  // Idle handles (with their connections) kept for reuse.
  unsigned max_idle_handles = 16;
};

#endif
