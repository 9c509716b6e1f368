#include "server/commit_queue.h"

#include <ace/Log_Msg.h>

#include "server/catalog_error.h"
#include "server/catalog_store.h"

Commit_Queue::Commit_Queue(Catalog_Store& store, std::chrono::milliseconds delay)
    : store_(store), delay_(delay), worker_([this] { run(); }) {}

Commit_Queue::~Commit_Queue() { drain(); }

bool Commit_Queue::push(std::string const& uuid, Set_Document doc) {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (stopping_) return false;
    items_.push_back(Item{std::chrono::steady_clock::now() + delay_, uuid, std::move(doc)});
  }
  wake_.notify_one();
  return true;
}

void Commit_Queue::drain() {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    stopping_ = true;
  }
  wake_.notify_one();
  if (worker_.joinable()) worker_.join();
}

size_t Commit_Queue::pending() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return items_.size() + (busy_ ? 1 : 0);
}

size_t Commit_Queue::applied() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return applied_;
}

size_t Commit_Queue::failed() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return failed_;
}

void Commit_Queue::run() {
  std::unique_lock<std::mutex> lock(mutex_);
  for (;;) {
    if (items_.empty()) {
      if (stopping_) return;
      wake_.wait(lock);
      continue;
    }
    // On shutdown the delay no longer matters: everything queued is stored.
    if (!stopping_ && std::chrono::steady_clock::now() < items_.front().due) {
      wake_.wait_until(lock, items_.front().due);
      continue;
    }
    Item item = std::move(items_.front());
    items_.pop_front();
    busy_ = true;
    lock.unlock();
    Catalog_Error error;
    bool ok = store_.commit(item.doc, error);
    if (!ok)
      ACE_ERROR((LM_ERROR, "Queued commit of backup set %s failed: %s.\n", item.uuid.c_str(), error.message.c_str()));
    lock.lock();
    busy_ = false;
    ++(ok ? applied_ : failed_);
  }
}
