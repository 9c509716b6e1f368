#include "platform/retry/retry_sleep.h"

#include <atomic>

#include <ace/OS_NS_unistd.h>

namespace {

void os_sleep(unsigned seconds) { ACE_OS::sleep(seconds); }

std::atomic<Retry_Sleep_Function> sleep_function{&os_sleep};

}  // namespace

void retry_sleep(unsigned seconds) { sleep_function.load()(seconds); }

Retry_Sleep_Function set_retry_sleep_function(Retry_Sleep_Function fn) {
  return sleep_function.exchange(fn ? fn : &os_sleep);
}
