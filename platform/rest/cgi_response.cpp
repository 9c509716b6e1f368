#include "platform/rest/cgi_response.h"

#include <strings.h>

CGI_Response::~CGI_Response() = default;

std::string CGI_Response::header(std::string const& name) const {
  for (auto const& h : headers_)
    if (h.first.size() == name.size() && strncasecmp(h.first.c_str(), name.c_str(), name.size()) == 0) return h.second;
  return std::string();
}

void CGI_Response::clear() {
  status_ = 0;
  body_.clear();
  headers_.clear();
}
