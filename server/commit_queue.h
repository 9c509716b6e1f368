#ifndef SERVER_COMMIT_QUEUE_H
#define SERVER_COMMIT_QUEUE_H

#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <string>
#include <thread>

#include "server/set_document.h"

class Catalog_Store;

// Commits answered as "queued" and stored shortly after by one worker thread,
// in arrival order, so that agents confirm them by polling for the set.
// A queued commit that then fails is logged; there is no one left to answer.
class Commit_Queue {
 public:
  Commit_Queue(Catalog_Store& store, std::chrono::milliseconds delay);
  // Stores whatever is still queued, then stops the worker.
  ~Commit_Queue();
  Commit_Queue(Commit_Queue const&) = delete;
  Commit_Queue& operator=(Commit_Queue const&) = delete;

  // Takes a checked set document; false once the queue is shutting down.
  bool push(std::string const& uuid, Set_Document doc);

  // Stores everything queued now, without waiting for the delay, and stops
  // taking commits. Idempotent.
  void drain();

  size_t pending() const;
  size_t applied() const;
  size_t failed() const;

 private:
  struct Item {
    std::chrono::steady_clock::time_point due;
    std::string uuid;
    Set_Document doc;
  };

  void run();

  Catalog_Store& store_;
  std::chrono::milliseconds delay_;
  mutable std::mutex mutex_;
  std::condition_variable wake_;
  std::deque<Item> items_;
  bool stopping_ = false;
  bool busy_ = false;
  size_t applied_ = 0;
  size_t failed_ = 0;
  std::thread worker_;
};

#endif
