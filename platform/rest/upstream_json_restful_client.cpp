#include "platform/rest/upstream_json_restful_client.h"

#include <mutex>
#include <string>
#include <vector>

namespace {

struct Upstream {
  std::mutex mutex;
  std::vector<std::string> base_urls;
  HTTP_Session_Ptr session;
};

Upstream& upstream() {
  static Upstream u;
  return u;
}

}  // namespace

Upstream_JSON_RESTful_Client::Config Upstream_JSON_RESTful_Client::current() {
  Upstream& u = upstream();
  std::lock_guard<std::mutex> lock(u.mutex);
  return Config{u.base_urls, u.session};
}

Upstream_JSON_RESTful_Client::Upstream_JSON_RESTful_Client() : Upstream_JSON_RESTful_Client(current()) {}

Upstream_JSON_RESTful_Client::Upstream_JSON_RESTful_Client(Config const& config)
    : JSON_RESTful_Client(config.base_urls, config.session, true) {
  if (config.base_urls.empty()) unusable("no upstream backup server configured");
}

Upstream_JSON_RESTful_Client::~Upstream_JSON_RESTful_Client() = default;

bool Upstream_JSON_RESTful_Client::configure(char const* host, unsigned short port, bool secure,
                                             char const* authorization) {
  return configure(host, port, secure, authorization, HTTP_Client_Options());
}

bool Upstream_JSON_RESTful_Client::configure(char const* host, unsigned short port, bool secure,
                                             char const* authorization, HTTP_Client_Options const& options) {
  if (!host || !*host) return false;
  HTTP_Client_Options o = options;
  if (authorization && *authorization) o.authorization = authorization;
  std::string h = host;
  if (h.find(':') != std::string::npos && h[0] != '[') h = "[" + h + "]";
  std::string url = std::string(secure ? "https://" : "http://") + h + ":" + std::to_string(port);
  HTTP_Session_Ptr session(new HTTP_Session(o));
  Upstream& u = upstream();
  std::lock_guard<std::mutex> lock(u.mutex);
  u.base_urls.assign(1, url);
  u.session = session;
  return true;
}

void Upstream_JSON_RESTful_Client::unconfigure() {
  HTTP_Session_Ptr old;
  Upstream& u = upstream();
  std::lock_guard<std::mutex> lock(u.mutex);
  u.base_urls.clear();
  old = u.session;
  u.session = HTTP_Session_Ptr();
}

bool Upstream_JSON_RESTful_Client::configured() {
  Upstream& u = upstream();
  std::lock_guard<std::mutex> lock(u.mutex);
  return !u.base_urls.empty();
}
