#ifndef PLATFORM_REST_HTTP_REQUEST_H
#define PLATFORM_REST_HTTP_REQUEST_H

#include <string>
#include <utility>
#include <vector>

#include "platform/export.h"

// One HTTP request to be sent by a REST client: method, path, query string
// and extra headers. The body is given to the client separately.
class BSET_API HTTP_Request {
 public:
  enum Method { HTTP_GET = 3, HTTP_POST = 8, HTTP_PUT = 9 };

  // `path` may carry a query after '?', which becomes the query string.
  // `accept_json` asks the server for a JSON answer ("Accept").
  HTTP_Request(int method, char const* path, bool accept_json);

  int method() const { return method_; }
  // "GET", "POST", "PUT", or null for a code this client does not send.
  char const* method_name() const;
  std::string const& path() const { return path_; }
  bool accept_json() const { return accept_json_; }

  // The query string without its '?', for appending pairs in place.
  std::string& query_string_buffer() { return query_; }
  std::string const& query_string() const { return query_; }

  // Path, then '?' and the query when there is one.
  std::string target() const;

  void add_header(std::string const& name, std::string const& value) { headers_.emplace_back(name, value); }
  std::vector<std::pair<std::string, std::string>> const& headers() const { return headers_; }

 private:
  int method_;
  std::string path_;
  std::string query_;
  bool accept_json_;
  std::vector<std::pair<std::string, std::string>> headers_;
};

#endif
