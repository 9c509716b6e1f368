#ifndef SERVER_SERVER_OPTIONS_H
#define SERVER_SERVER_OPTIONS_H

#include <ostream>
#include <string>

namespace CLI {
class App;
}

// Everything catalogd can be told on its command line.
struct Server_Options {
  std::string listen = "127.0.0.1";  // "HOST" or "HOST:PORT" on the command line
  int port = 8420;  // 0: let the system pick one and print it
  std::string db = "catalog.db";  // a file path (SQLite) or a postgresql:// URI
  std::string token;              // empty: no bearer token required
  std::string tls_cert;
  std::string tls_key;
  // One thread serves one connection at a time, a kept-alive one until it
  // idles out: enough for every agent of a large site to hold one open.
  int threads = 128;
  // Database connections open at once; requests beyond wait for one.
  int db_connections = 16;
  // Largest request body taken (bytes): room for a staged batch of 100,000
  // pieces with long paths.
  long long max_body = 64LL << 20;
  // Staged sets not written to for this many seconds are aborted (0: never).
  long long staged_expiry = 86400;
  bool queue_commits = false;
  int queue_delay_ms = 300;
  // Seconds an idle kept-alive connection is held (also the wait for the
  // first request of a new connection). catalogd's own stop does not wait
  // for idle connections; an in-process stop() does.
  int keep_alive_timeout = 5;
  int keep_alive_max = 100000;   // requests served on one connection

  // Parses the command line into `out`. Returns -1 when the server should run;
  // otherwise the process's exit status (0 after --help, non-zero after a bad
  // option, whose message has then been written to `err`).
  static int parse(int argc, char const* const* argv, Server_Options& out, std::ostream& msg, std::ostream& err);
  // Declares every option on `app`, writing into `o`; catalogd and
  // `bsetctl serve` share them. After parsing, finish() must run.
  static void add_options(CLI::App& app, Server_Options& o);
  // Checks what CLI11 cannot and splits "--listen HOST:PORT". False, with
  // `error` saying which option is wrong, when the options cannot run.
  bool finish(std::string& error);

  bool postgres() const;
};

#endif
