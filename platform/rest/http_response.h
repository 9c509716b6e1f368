#ifndef PLATFORM_REST_HTTP_RESPONSE_H
#define PLATFORM_REST_HTTP_RESPONSE_H

#include "platform/export.h"
#include "platform/rest/cgi_response.h"

// The answer to a request sent by a REST client, as a CGI_Response plus the
// HTTP details of the exchange.
class BSET_API HTTP_Response : public CGI_Response {
 public:
  HTTP_Response() = default;
  ~HTTP_Response() override;

  // The URL the request went to (with the server that answered).
  std::string const& url() const { return url_; }
  void url(std::string const& u) { url_ = u; }

  std::string content_type() const { return header("Content-Type"); }

 private:
  std::string url_;
};

#endif
