#ifndef SERVER_CATALOG_SERVER_H
#define SERVER_CATALOG_SERVER_H

#include <memory>
#include <string>

#include "server/server_options.h"

class Catalog_Service;
class Catalog_Store;
class Commit_Queue;
class Json_Rpc_Dispatcher;

// One whole catalogd: the catalogue, the commit queue (when asked for), the
// JSON-RPC methods and the HTTP service, started and stopped in the right
// order. main() runs one; tests run one in-process.
class Catalog_Server {
 public:
  explicit Catalog_Server(Server_Options options);
  ~Catalog_Server();
  Catalog_Server(Catalog_Server const&) = delete;
  Catalog_Server& operator=(Catalog_Server const&) = delete;

  // Opens the catalogue (creating its tables) and starts serving.
  bool start(std::string& error);
  int port() const;
  std::string address() const;  // "host:port"
  // Stops taking requests, stores what is still queued, closes the catalogue.
  void stop();

  Catalog_Store* store() const { return store_.get(); }
  Commit_Queue* queue() const { return queue_.get(); }
  Server_Options const& options() const { return options_; }

 private:
  Server_Options options_;
  std::unique_ptr<Catalog_Store> store_;
  std::unique_ptr<Commit_Queue> queue_;
  std::unique_ptr<Json_Rpc_Dispatcher> dispatcher_;
  std::unique_ptr<Catalog_Service> service_;
};

#endif
