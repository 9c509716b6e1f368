#ifndef PLATFORM_REST_CGI_RESPONSE_H
#define PLATFORM_REST_CGI_RESPONSE_H

#include <string>
#include <utility>
#include <vector>

#include "platform/export.h"

// What a server answered: status, headers and body.
class BSET_API CGI_Response {
 public:
  CGI_Response() = default;
  virtual ~CGI_Response();

  // 0 until an answer arrived.
  int status() const { return status_; }
  void status(int code) { status_ = code; }
  bool success() const { return status_ >= 200 && status_ <= 299; }

  std::string const& body() const { return body_; }
  std::string& body_buffer() { return body_; }

  // Header names compare without regard to case; empty when absent.
  std::string header(std::string const& name) const;
  std::vector<std::pair<std::string, std::string>> const& headers() const { return headers_; }
  void add_header(std::string const& name, std::string const& value) { headers_.emplace_back(name, value); }
  void clear_headers() { headers_.clear(); }

  void clear();

 private:
  int status_ = 0;
  std::string body_;
  std::vector<std::pair<std::string, std::string>> headers_;
};

#endif
