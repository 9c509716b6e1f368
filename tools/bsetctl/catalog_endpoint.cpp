#include "tools/bsetctl/catalog_endpoint.h"

#include <algorithm>
#include <cstdlib>

#include <CLI/CLI.hpp>

#include "backup/backup_set/common/catalog_operator.h"
#include "backup/backup_set/common/restful_catalog_operator.h"
#include "platform/rest/upstream_json_restful_client.h"
#include "platform/rpc/global_json_rpc_channel.h"

namespace {

constexpr char kDefaultServer[] = "http://127.0.0.1:8420";

struct Server_Url {
  bool secure = false;
  std::string host;
  unsigned short port = 0;
  std::string base;  // scheme://host:port, without a trailing slash
};

bool parse_url(std::string const& url, Server_Url& out, std::string& error) {
  std::string rest;
  if (url.rfind("http://", 0) == 0) {
    rest = url.substr(7);
  } else if (url.rfind("https://", 0) == 0) {
    out.secure = true;
    rest = url.substr(8);
  } else {
    error = "--server: '" + url + "' is not an http:// or https:// URL";
    return false;
  }
  std::string authority = rest.substr(0, rest.find('/'));
  std::string port_text;
  if (!authority.empty() && authority[0] == '[') {
    size_t const close = authority.find(']');
    if (close == std::string::npos) {
      error = "--server: '" + url + "' has an unclosed '['";
      return false;
    }
    out.host = authority.substr(1, close - 1);
    if (close + 1 < authority.size()) {
      if (authority[close + 1] != ':') {
        error = "--server: '" + url + "' is not http[s]://HOST[:PORT]";
        return false;
      }
      port_text = authority.substr(close + 2);
    }
  } else {
    size_t const colon = authority.find(':');
    out.host = authority.substr(0, colon);
    if (colon != std::string::npos) port_text = authority.substr(colon + 1);
  }
  if (out.host.empty()) {
    error = "--server: '" + url + "' names no host";
    return false;
  }
  long port = out.secure ? 443 : 80;
  if (!port_text.empty() || authority.find(':') != std::string::npos) {
    char* end = nullptr;
    port = std::strtol(port_text.c_str(), &end, 10);
    if (port_text.empty() || *end != '\0' || port < 1 || port > 65535) {
      error = "--server: '" + port_text + "' in '" + url + "' is not a port number";
      return false;
    }
  }
  out.port = static_cast<unsigned short>(port);
  std::string const shown = out.host.find(':') != std::string::npos ? "[" + out.host + "]" : out.host;
  out.base = std::string(out.secure ? "https://" : "http://") + shown + ":" + std::to_string(port);
  return true;
}

}  // namespace

CLI::Option* Catalog_Endpoint::declare(CLI::App* cmd, Options& o, bool transport) {
  // $BSETCTL_SERVER is read in open(), not by CLI11: an option filled from
  // the environment would count as given and clash with --db.
  CLI::Option* server = cmd->add_option(
      "--server", o.server, "catalogd's URL, http[s]://HOST[:PORT] (default: $BSETCTL_SERVER, else " +
                                std::string(kDefaultServer) + ")");
  cmd->add_option("--token", o.token, "bearer token catalogd was started with")->envname("BSETCTL_TOKEN");
  if (transport) {
    CLI::Option* rest = cmd->add_flag("--rest", o.rest, "send through the REST resources");
    CLI::Option* rpc = cmd->add_flag("--rpc", o.rpc, "send through JSON-RPC (the default)");
    rest->excludes(rpc);
    cmd->add_option("--retries", o.retries, "further attempts of a request that gets no answer")
        ->check(CLI::Range(0, 100))
        ->capture_default_str();
    cmd->add_option("--retry-seconds", o.retry_seconds, "most seconds slept between attempts, in all")
        ->check(CLI::Range(0, 86400))
        ->capture_default_str();
  }
  return server;
}

Catalog_Endpoint::~Catalog_Endpoint() { close(); }

std::string Catalog_Endpoint::default_server() {
  char const* env = std::getenv("BSETCTL_SERVER");
  return env && *env ? env : kDefaultServer;
}

bool Catalog_Endpoint::open(Options const& given, std::string& error) {
  Options options = given;
  if (options.server.empty()) options.server = default_server();
  Server_Url url;
  if (!parse_url(options.server, url, error)) return false;
  options_ = options;
  std::string const authorization = options.token.empty() ? std::string() : "Bearer " + options.token;
  Global_JSON_RPC_Channel::Options channel;
  channel.authorization = authorization;
  channel.connect_timeout_ms = 5000;
  if (!Global_JSON_RPC_Channel::open((url.base + "/rpc").c_str(), channel) ||
      !Upstream_JSON_RESTful_Client::configure(url.host.c_str(), url.port, url.secure,
                                               authorization.empty() ? nullptr : authorization.c_str())) {
    error = "cannot set up a connection to " + options.server;
    close();
    return false;
  }
  open_ = true;
  return true;
}

void Catalog_Endpoint::close() {
  if (!open_) return;
  Global_JSON_RPC_Channel::close();
  Upstream_JSON_RESTful_Client::unconfigure();
  open_ = false;
}

std::unique_ptr<Catalog_Operator> Catalog_Endpoint::make_operator(bool confirm) const {
  // The JSON-RPC operator's limits bound its retries and its confirmation
  // poll alike; a confirmed commit takes the longer of the two.
  if (!options_.rest && confirm)
    return std::make_unique<Catalog_Operator>(std::max(options_.retries, options_.confirm_seconds),
                                              std::max(options_.retry_seconds, options_.confirm_seconds));
  if (!options_.rest) return std::make_unique<Catalog_Operator>(options_.retries, options_.retry_seconds);
  auto op = std::make_unique<RESTful_Catalog_Operator>(options_.retries, options_.retry_seconds);
  // The REST operator's own limits bound only the confirmation poll: one
  // poll a second at most, for as long as the confirmation may take.
  op->init(options_.confirm_seconds, options_.confirm_seconds);
  return op;
}

std::unique_ptr<Catalog_Operator> Catalog_Endpoint::make_reader() const {
  return std::make_unique<RESTful_Catalog_Operator>(options_.retries, options_.retry_seconds);
}
