#include "server/catalog_server.h"

#include <ace/Log_Msg.h>

#include "server/catalog_service.h"
#include "server/catalog_store.h"
#include "server/commit_queue.h"
#include "server/json_rpc_dispatcher.h"

Catalog_Server::Catalog_Server(Server_Options options) : options_(std::move(options)) {}

Catalog_Server::~Catalog_Server() { stop(); }

bool Catalog_Server::start(std::string& error) {
  store_ = Catalog_Store::open(options_.db, error);
  if (!store_) return false;
  if (options_.queue_commits)
    queue_ = std::make_unique<Commit_Queue>(*store_, std::chrono::milliseconds(options_.queue_delay_ms));
  dispatcher_ = std::make_unique<Json_Rpc_Dispatcher>(*store_, queue_.get());
  service_ = std::make_unique<Catalog_Service>(options_, *dispatcher_, *store_);
  if (!service_->start(error)) {
    stop();
    return false;
  }
  ACE_DEBUG((LM_INFO, "catalogd serving %s on %s%s (%s catalogue%s).\n", options_.tls_cert.empty() ? "HTTP" : "HTTPS",
             address().c_str(), options_.token.empty() ? "" : " with a bearer token",
             options_.postgres() ? "PostgreSQL" : "SQLite", options_.queue_commits ? ", queued commits" : ""));
  return true;
}

int Catalog_Server::port() const { return service_ ? service_->port() : -1; }

std::string Catalog_Server::address() const { return options_.listen + ":" + std::to_string(port()); }

void Catalog_Server::stop() {
  // Requests first, so nothing is queued after the queue has drained.
  if (service_) service_->stop();
  if (queue_) queue_->drain();
  service_.reset();
  dispatcher_.reset();
  queue_.reset();
  store_.reset();
}
