#include "platform/rest/http_request.h"

HTTP_Request::HTTP_Request(int method, char const* path, bool accept_json)
    : method_(method), accept_json_(accept_json) {
  std::string whole = path ? path : "";
  auto q = whole.find('?');
  if (q == std::string::npos) {
    path_ = whole;
  } else {
    path_ = whole.substr(0, q);
    query_ = whole.substr(q + 1);
  }
  if (path_.empty() || path_[0] != '/') path_.insert(path_.begin(), '/');
}

char const* HTTP_Request::method_name() const {
  switch (method_) {
    case HTTP_GET: return "GET";
    case HTTP_POST: return "POST";
    case HTTP_PUT: return "PUT";
    default: return nullptr;
  }
}

std::string HTTP_Request::target() const {
  if (query_.empty()) return path_;
  std::string t;
  t.reserve(path_.size() + 1 + query_.size());
  t.append(path_).push_back('?');
  t.append(query_);
  return t;
}
