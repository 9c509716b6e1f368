#ifndef SERVER_CATALOG_SERVICE_H
#define SERVER_CATALOG_SERVICE_H

#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "server/server_options.h"

namespace httplib {
class Server;
struct Request;
struct Response;
}  // namespace httplib

class Catalog_Store;
class Json_Rpc_Dispatcher;

// The HTTP face of catalogd: JSON-RPC 2.0 at POST /rpc (and /) and the REST
// resources under /d2/r/v2/sets, with an optional bearer token and TLS.
class Catalog_Service {
 public:
  Catalog_Service(Server_Options const& options, Json_Rpc_Dispatcher const& dispatcher, Catalog_Store& store);
  ~Catalog_Service();
  Catalog_Service(Catalog_Service const&) = delete;
  Catalog_Service& operator=(Catalog_Service const&) = delete;

  // Binds the listening socket and starts serving on a thread of its own.
  bool start(std::string& error);
  // The bound port (the chosen one when the options asked for port 0).
  int port() const { return port_; }
  // Stops taking connections and waits for the requests in progress; idle
  // kept-alive connections may still be open (until their time-out).
  void stop_taking();
  // stop_taking(), then waits for every connection to end.
  void stop();

 private:
  // Counts a request in progress for as long as it lives.
  class In_Flight {
   public:
    explicit In_Flight(Catalog_Service const& service);
    ~In_Flight();
    In_Flight(In_Flight const&) = delete;
    In_Flight& operator=(In_Flight const&) = delete;

   private:
    Catalog_Service const& service_;
  };

  void routes();
  bool authorized(httplib::Request const& req) const;
  // Answers 413 for a body over options_.max_body.
  void too_large(httplib::Request const& req, httplib::Response& res) const;
  void rpc(httplib::Request const& req, std::string const& body, httplib::Response& res) const;
  void post_sets(httplib::Request const& req, std::string const& body, httplib::Response& res) const;
  void put_sets(httplib::Request const& req, std::string const& body, httplib::Response& res) const;
  void select(httplib::Request const& req, httplib::Response& res) const;
  void exists(httplib::Request const& req, httplib::Response& res) const;

  Server_Options options_;
  Json_Rpc_Dispatcher const& dispatcher_;
  Catalog_Store& store_;
  std::unique_ptr<httplib::Server> server_;
  std::thread listener_;
  std::atomic<bool> listening_done_{false};
  int port_ = -1;
  mutable std::mutex busy_mutex_;
  mutable std::condition_variable idle_;
  mutable int busy_ = 0;
};

#endif
