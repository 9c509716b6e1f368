#ifndef SERVER_CATALOG_ERROR_H
#define SERVER_CATALOG_ERROR_H

#include <string>

#include "platform/json/utf8_text.h"

// Why a catalogue operation was refused. The codes are those of the JSON-RPC
// error object; the REST routes map them onto HTTP statuses.
struct Catalog_Error {
  enum Code {
    NONE = 0,
    PARSE_ERROR = -32700,
    INVALID_REQUEST = -32600,
    METHOD_NOT_FOUND = -32601,
    INVALID_PARAMS = -32602,
    STORAGE_FAILED = -32000,  // the database refused or failed
    NOT_FOUND = -32001,       // no such set (or not in the state the call needs)
    CONFLICT = -32002,        // the set exists in a state that forbids the call
  };

  Code code = NONE;
  std::string message;

  Catalog_Error() = default;
  Catalog_Error(Code c, std::string m) : code(c), message(UTF8_Text::scrub(m)) {}

  // Messages quote what the client sent, which need not be UTF-8; an
  // answer must stay JSON, so such bytes become U+FFFD.
  bool set(Code c, std::string m) {
    code = c;
    message = UTF8_Text::scrub(m);
    return false;
  }

  int http_status() const {
    switch (code) {
      case NONE: return 200;
      case NOT_FOUND: return 404;
      case CONFLICT: return 409;
      case STORAGE_FAILED: return 500;
      default: return 400;
    }
  }
};

#endif
