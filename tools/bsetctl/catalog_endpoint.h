#ifndef TOOLS_BSETCTL_CATALOG_ENDPOINT_H
#define TOOLS_BSETCTL_CATALOG_ENDPOINT_H

#include <memory>
#include <string>

namespace CLI {
class App;
class Option;
}  // namespace CLI
class Catalog_Operator;

// Where a command finds catalogd (--server URL, --token) and how it talks
// to it (--rpc or --rest). Opening it sets up the process's JSON-RPC
// channel and upstream REST client, which the library's operators use;
// closing it (or destruction) takes them down again.
class Catalog_Endpoint {
 public:
  struct Options {
    std::string server;  // "": default_server()
    std::string token;
    bool rest = false;
    bool rpc = false;
    int retries = 2;        // further attempts of a request that got no answer
    int retry_seconds = 30; // bound on the seconds slept between them
    int confirm_seconds = 60;
  };

  // --server and --token on `cmd`; with `transport` also --rpc/--rest and
  // the retry bounds. The --server option, for excluding --db with it.
  static CLI::Option* declare(CLI::App* cmd, Options& o, bool transport);
  // The server when none was named: $BSETCTL_SERVER, else catalogd's
  // default address on this machine.
  static std::string default_server();

  Catalog_Endpoint() = default;
  ~Catalog_Endpoint();
  Catalog_Endpoint(Catalog_Endpoint const&) = delete;
  Catalog_Endpoint& operator=(Catalog_Endpoint const&) = delete;

  // False, with `error` saying what is wrong with the URL, when it is not
  // http[s]://HOST[:PORT].
  bool open(Options const& options, std::string& error);
  void close();

  // The operator of the chosen transport (JSON-RPC unless --rest); with
  // `confirm`, bounded for waiting on a queued commit.
  std::unique_ptr<Catalog_Operator> make_operator(bool confirm = false) const;
  // For reading views: always REST, whose GET carries no body.
  std::unique_ptr<Catalog_Operator> make_reader() const;
  char const* transport() const { return options_.rest ? "REST" : "JSON-RPC"; }
  std::string const& url() const { return options_.server; }

 private:
  Options options_;
  bool open_ = false;
};

#endif
