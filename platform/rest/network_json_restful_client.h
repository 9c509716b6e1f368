#ifndef PLATFORM_REST_NETWORK_JSON_RESTFUL_CLIENT_H
#define PLATFORM_REST_NETWORK_JSON_RESTFUL_CLIENT_H

#include <string>
#include <vector>

#include "platform/export.h"
#include "platform/rest/http_session.h"
#include "platform/rest/json_restful_client.h"

// A REST client to a server named by address, within an HTTP_Session whose
// credentials, TLS settings, time-outs and open connections it shares with
// the session's other clients.
//
// A target is "host:port" (http), or a URL with its scheme and, if wanted, a
// path prefix ("https://10.0.0.5:8443/catalog"). With a second target, a
// request that gets no answer from the first goes to the second in the same
// attempt, and the one that answered is asked first from then on.
// `keep_alive` false closes the connection after each request.
class BSET_API Network_JSON_RESTful_Client : public JSON_RESTful_Client {
 public:
  Network_JSON_RESTful_Client(std::string const& target, ACE_Intrusive_Auto_Ptr<HTTP_Session> session,
                              bool keep_alive);
  Network_JSON_RESTful_Client(std::string const& target, std::string const& second,
                              ACE_Intrusive_Auto_Ptr<HTTP_Session> session, bool keep_alive);
  ~Network_JSON_RESTful_Client() override;

  // "scheme://host:port[/prefix]" of a target, or empty for an empty one.
  static std::string base_url(std::string const& target);

 private:
  static std::vector<std::string> targets(std::string const& first, std::string const& second);
};

#endif
