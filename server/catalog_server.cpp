#include "server/catalog_server.h"

#include <malloc.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <vector>

#include <ace/Log_Msg.h>

#include "server/catalog_error.h"
#include "server/catalog_service.h"
#include "server/catalog_store.h"
#include "server/commit_queue.h"
#include "server/json_rpc_dispatcher.h"

Catalog_Server::Catalog_Server(Server_Options options) : options_(std::move(options)) {}

Catalog_Server::~Catalog_Server() { stop(); }

bool Catalog_Server::start(std::string& error) {
  store_ = Catalog_Store::open(options_.db, error, options_.db_connections);
  if (!store_) return false;
  long long staged = 0, oldest = 0;
  Catalog_Error failure;
  if (store_->staged_sets(staged, oldest, failure) && staged > 0)
    ACE_DEBUG((LM_INFO,
               "catalogd found %d staged set(s) left open, the oldest written %d s ago: kept for their agents to "
               "resume%s.\n",
               static_cast<int>(staged), static_cast<int>(std::time(nullptr) - oldest),
               options_.staged_expiry > 0 ? ", and aborted once untouched for --staged-expiry" : ""));
  if (options_.staged_expiry > 0) expire_staged();
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
  if (options_.staged_expiry > 0) {
    stopping_ = false;
    // Checked often enough that a set goes within a tenth of its expiry
    // (and a minute at most) after it is due.
    auto every = std::chrono::seconds(std::max(1LL, std::min(60LL, options_.staged_expiry / 10)));
    expiry_ = std::thread([this, every] {
      std::unique_lock<std::mutex> lock(expiry_mutex_);
      while (!expiry_wake_.wait_for(lock, every, [this] { return stopping_; })) {
        lock.unlock();
        expire_staged();
        lock.lock();
      }
    });
  }
  return true;
}

int Catalog_Server::expire_staged() {
  if (!store_) return -1;
  std::vector<std::string> aborted;
  Catalog_Error error;
  bool ok = store_->expire_staged(options_.staged_expiry, static_cast<long long>(std::time(nullptr)), aborted, error);
  for (std::string const& uuid : aborted)
    ACE_DEBUG((LM_NOTICE, "catalogd aborted staged set %s: nothing written to it for %d s (--staged-expiry).\n",
               uuid.c_str(), static_cast<int>(options_.staged_expiry)));
  if (!ok) {
    ACE_ERROR((LM_ERROR, "catalogd could not expire staged sets: %s.\n", error.message.c_str()));
    return -1;
  }
  return static_cast<int>(aborted.size());
}

void Catalog_Server::run(Server_Options const& options, char const* program) {
  // glibc gives every worker thread an arena of its own, and each arena keeps
  // the memory of the largest batch its thread ever parsed: with 8 threads a
  // stream of 10,000-piece batches held 130 MB. Two arenas hold 45 MB for
  // the same work at the same CPU cost.
  mallopt(M_ARENA_MAX, 2);

  // Signals are taken by sigwait below, not by whichever thread they hit, so
  // shutdown runs in order: stop serving, drain the commit queue, close.
  sigset_t stop_signals;
  sigemptyset(&stop_signals);
  sigaddset(&stop_signals, SIGINT);
  sigaddset(&stop_signals, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &stop_signals, nullptr);
  signal(SIGPIPE, SIG_IGN);

  Catalog_Server server(options);
  std::string error;
  if (!server.start(error)) {
    ACE_ERROR((LM_ERROR, "%s: %s.\n", program, error.c_str()));
    std::fflush(nullptr);
    std::_Exit(1);
  }
  std::printf("listening on %s\n", server.address().c_str());
  std::fflush(stdout);

  int signo = 0;
  sigwait(&stop_signals, &signo);
  ACE_DEBUG((LM_INFO, "%s stopping on signal %d.\n", program, signo));
  // Every request in progress is answered and every queued commit stored
  // here; idle kept-alive connections are not waited for, since nothing is
  // in them, so stopping takes as long as the work in hand.
  server.stop_taking();
  ACE_DEBUG((LM_INFO, "%s stopped.\n", program));
  std::fflush(nullptr);
  std::_Exit(0);
}

int Catalog_Server::port() const { return service_ ? service_->port() : -1; }

std::string Catalog_Server::address() const { return options_.listen + ":" + std::to_string(port()); }

void Catalog_Server::stop_taking() {
  if (service_) service_->stop_taking();
  if (queue_) queue_->drain();
  // Nothing writes any more: the SQLite file is made whole on its own, so
  // that copying it alone (without its -wal file) loses nothing.
  Catalog_Error error;
  if (store_ && !store_->checkpoint(error))
    ACE_ERROR((LM_ERROR, "catalogd: the catalogue file was not brought up to date at stop: %s.\n",
               error.message.c_str()));
}

void Catalog_Server::stop() {
  if (expiry_.joinable()) {
    {
      std::lock_guard<std::mutex> lock(expiry_mutex_);
      stopping_ = true;
    }
    expiry_wake_.notify_all();
    expiry_.join();
  }
  // Requests first, so nothing is queued after the queue has drained.
  if (service_) service_->stop();
  if (queue_) queue_->drain();
  service_.reset();
  dispatcher_.reset();
  queue_.reset();
  store_.reset();
}
