#ifndef TESTS_NET_SUPPORT_VIRTUAL_CLOCK_H
#define TESTS_NET_SUPPORT_VIRTUAL_CLOCK_H

#include <functional>
#include <mutex>
#include <vector>

#include "platform/retry/retry_sleep.h"

// Replaces the library's sleep while in scope: every wait is recorded and
// returns at once, so retry tests run in milliseconds and still know how
// many seconds would have passed. `on_sleep` runs inside each wait (after it
// is recorded) so a test can change the world "while" the library waits.
class Virtual_Clock {
 public:
  Virtual_Clock() {
    current() = this;
    previous_ = set_retry_sleep_function(&Virtual_Clock::sleep);
  }
  ~Virtual_Clock() {
    set_retry_sleep_function(previous_);
    current() = nullptr;
  }
  Virtual_Clock(Virtual_Clock const&) = delete;
  Virtual_Clock& operator=(Virtual_Clock const&) = delete;

  std::vector<unsigned> sleeps() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return sleeps_;
  }
  unsigned long long total() const {
    std::lock_guard<std::mutex> lock(mutex_);
    unsigned long long sum = 0;
    for (unsigned s : sleeps_) sum += s;
    return sum;
  }
  size_t count() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return sleeps_.size();
  }

  // Called with the 1-based number of the wait and its seconds.
  std::function<void(size_t, unsigned)> on_sleep;

 private:
  static Virtual_Clock*& current() {
    static Virtual_Clock* clock = nullptr;
    return clock;
  }
  static void sleep(unsigned seconds) {
    Virtual_Clock* self = current();
    if (!self) return;
    size_t n;
    {
      std::lock_guard<std::mutex> lock(self->mutex_);
      self->sleeps_.push_back(seconds);
      n = self->sleeps_.size();
    }
    if (self->on_sleep) self->on_sleep(n, seconds);
  }

  mutable std::mutex mutex_;
  std::vector<unsigned> sleeps_;
  Retry_Sleep_Function previous_;
};

#endif
