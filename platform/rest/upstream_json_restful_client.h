#ifndef PLATFORM_REST_UPSTREAM_JSON_RESTFUL_CLIENT_H
#define PLATFORM_REST_UPSTREAM_JSON_RESTFUL_CLIENT_H

#include <string>
#include <vector>

#include "platform/export.h"
#include "platform/rest/http_client_options.h"
#include "platform/rest/json_restful_client.h"

// A REST client to this process's upstream backup server. The process says
// once where that server is (configure); every client made afterwards goes
// there and shares one connection cache with the others. Made before any
// configuration, a client fails each request at once.
class BSET_API Upstream_JSON_RESTful_Client : public JSON_RESTful_Client {
 public:
  Upstream_JSON_RESTful_Client();
  ~Upstream_JSON_RESTful_Client() override;

  // `authorization`: the "Authorization" header's value, or null/empty for
  // none (it overrides options.authorization when given). False for a null
  // or empty host.
  static bool configure(char const* host, unsigned short port, bool secure, char const* authorization);
  static bool configure(char const* host, unsigned short port, bool secure, char const* authorization,
                        HTTP_Client_Options const& options);
  // Forgets the configuration (clients made before keep theirs).
  static void unconfigure();
  static bool configured();

 private:
  struct Config {
    std::vector<std::string> base_urls;
    HTTP_Session_Ptr session;
  };
  static Config current();
  explicit Upstream_JSON_RESTful_Client(Config const& config);
};

#endif
