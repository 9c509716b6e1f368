#include "server/server_options.h"

#include <algorithm>
#include <cstdlib>

#include <CLI/CLI.hpp>

namespace {

bool starts_with(std::string const& text, char const* prefix) { return text.rfind(prefix, 0) == 0; }

}  // namespace

bool Server_Options::postgres() const { return starts_with(db, "postgresql://") || starts_with(db, "postgres://"); }

void Server_Options::add_options(CLI::App& app, Server_Options& o) {
  app.option_defaults()->always_capture_default();
  app.add_option("--listen", o.listen, "address to listen on, as HOST or HOST:PORT ([v6]:PORT for IPv6)");
  app.add_option("--port", o.port, "TCP port; 0 picks a free one and prints it")->check(CLI::Range(0, 65535));
  app.add_option("--db", o.db, "catalogue database: an SQLite file path or a postgresql:// URI");
  app.add_option("--token", o.token, "require 'Authorization: Bearer <token>' on every request");
  auto* cert = app.add_option("--tls-cert", o.tls_cert, "serve HTTPS with this PEM certificate")
                   ->check(CLI::ExistingFile);
  auto* key = app.add_option("--tls-key", o.tls_key, "PEM private key of --tls-cert")->check(CLI::ExistingFile);
  cert->needs(key);
  key->needs(cert);
  app.add_option("--threads", o.threads, "HTTP worker threads (one per open connection)")
      ->check(CLI::Range(1, 4096));
  app.add_option("--db-connections", o.db_connections, "database connections open at once (0: one per request)")
      ->check(CLI::Range(0, 1024));
  app.add_option("--max-body", o.max_body, "largest request body taken, in bytes")
      ->check(CLI::Range(1024LL, 1LL << 32));
  app.add_option("--staged-expiry", o.staged_expiry,
                 "seconds after its last write that a staged set is aborted (0: never)")
      ->check(CLI::Range(0LL, 10LL * 365 * 86400));
  app.add_flag("--queue-commits", o.queue_commits,
               "answer commits as queued at once and store them shortly after");
  app.add_option("--queue-delay-ms", o.queue_delay_ms, "delay before a queued commit is stored")
      ->check(CLI::Range(0, 3600000));
  app.add_option("--keep-alive-timeout", o.keep_alive_timeout, "seconds an idle connection is kept")
      ->check(CLI::Range(1, 3600));
}

bool Server_Options::finish(std::string& error) {
  if (db.empty()) {
    error = "--db: must not be empty";
    return false;
  }
  // "HOST:PORT" and "[v6]:PORT" carry the port; a bare IPv6 address has
  // several colons and no brackets, so it is taken whole.
  std::string host = listen;
  std::string port_text;
  bool has_port = false;
  if (!listen.empty() && listen[0] == '[') {
    size_t const close = listen.find(']');
    std::string const rest = close == std::string::npos ? std::string() : listen.substr(close + 1);
    if (close == std::string::npos || (!rest.empty() && rest[0] != ':')) {
      error = "--listen: '" + listen + "' is not HOST, HOST:PORT or [v6]:PORT";
      return false;
    }
    host = listen.substr(1, close - 1);
    has_port = !rest.empty();
    if (has_port) port_text = rest.substr(1);
  } else if (std::count(listen.begin(), listen.end(), ':') == 1) {
    size_t const colon = listen.find(':');
    host = listen.substr(0, colon);
    port_text = listen.substr(colon + 1);
    has_port = true;
  }
  if (has_port) {
    char* end = nullptr;
    long const p = std::strtol(port_text.c_str(), &end, 10);
    if (port_text.empty() || *end != '\0' || p < 0 || p > 65535) {
      error = "--listen: '" + port_text + "' is not a port number (0 to 65535)";
      return false;
    }
    port = static_cast<int>(p);
  }
  if (host.empty()) {
    error = "--listen: must name an address";
    return false;
  }
  listen = host;
  return true;
}

int Server_Options::parse(int argc, char const* const* argv, Server_Options& out, std::ostream& msg,
                          std::ostream& err) {
  Server_Options o;
  CLI::App app("catalogd: the backup catalogue service (JSON-RPC 2.0 and REST over HTTP)", "catalogd");
  add_options(app, o);
  try {
    app.parse(argc, argv);
  } catch (CLI::ParseError const& e) {
    return app.exit(e, msg, err);
  }
  std::string error;
  if (!o.finish(error)) {
    err << error << "\n";
    return 2;
  }
  out = o;
  return -1;
}
