#ifndef SERVER_CATALOG_SERVER_H
#define SERVER_CATALOG_SERVER_H

#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

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

  // Opens the catalogue (creating its tables) and starts serving. Staged
  // sets found in the catalogue (a server stopped or crashed while agents
  // were staging them) are kept for their agents to resume; like every
  // staged set they are aborted once untouched for options().staged_expiry.
  bool start(std::string& error);
  int port() const;
  std::string address() const;  // "host:port"
  // Stops taking requests, stores what is still queued, closes the catalogue.
  void stop();
  // The part of stop() that matters to agents: no new requests, those in
  // progress answered, the queue stored. What is left is idle kept-alive
  // connections, which a process about to exit need not wait for.
  void stop_taking();

  // A whole catalogd in the foreground: starts, prints "listening on
  // HOST:PORT", serves until SIGINT or SIGTERM, then stops taking requests,
  // stores what is queued and ends the process with its exit status (1 when
  // it could not start). `program` names it in messages. Call it before the
  // process starts any thread of its own: the stop signals are blocked here
  // and inherited by the server's threads.
  [[noreturn]] static void run(Server_Options const& options, char const* program);

  // One pass of the staged-set expiry (also run on a timer while serving).
  // The number of sets aborted, or -1 when the catalogue failed.
  int expire_staged();

  Catalog_Store* store() const { return store_.get(); }
  Commit_Queue* queue() const { return queue_.get(); }
  Server_Options const& options() const { return options_; }

 private:
  Server_Options options_;
  std::unique_ptr<Catalog_Store> store_;
  std::unique_ptr<Commit_Queue> queue_;
  std::unique_ptr<Json_Rpc_Dispatcher> dispatcher_;
  std::unique_ptr<Catalog_Service> service_;
  std::thread expiry_;
  std::mutex expiry_mutex_;
  std::condition_variable expiry_wake_;
  bool stopping_ = false;
};

#endif
