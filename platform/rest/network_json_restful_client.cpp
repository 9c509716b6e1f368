#include "platform/rest/network_json_restful_client.h"

Network_JSON_RESTful_Client::Network_JSON_RESTful_Client(std::string const& target,
                                                         ACE_Intrusive_Auto_Ptr<HTTP_Session> session, bool keep_alive)
    : JSON_RESTful_Client(targets(target, std::string()), session, keep_alive) {}

Network_JSON_RESTful_Client::Network_JSON_RESTful_Client(std::string const& target, std::string const& second,
                                                         ACE_Intrusive_Auto_Ptr<HTTP_Session> session, bool keep_alive)
    : JSON_RESTful_Client(targets(target, second), session, keep_alive) {}

Network_JSON_RESTful_Client::~Network_JSON_RESTful_Client() = default;

std::string Network_JSON_RESTful_Client::base_url(std::string const& target) {
  if (target.empty()) return std::string();
  std::string url = target.find("://") == std::string::npos ? "http://" + target : target;
  while (!url.empty() && url.back() == '/') url.pop_back();
  return url;
}

std::vector<std::string> Network_JSON_RESTful_Client::targets(std::string const& first, std::string const& second) {
  std::vector<std::string> urls;
  std::string a = base_url(first);
  std::string b = base_url(second);
  if (!a.empty()) urls.push_back(a);
  if (!b.empty() && b != a) urls.push_back(b);
  return urls;
}
