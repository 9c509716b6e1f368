#include "platform/text/request_key.h"

#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <random>

namespace {

std::string const& prefix() {
  static std::string const text = [] {
    std::random_device device;
    unsigned long long r = (static_cast<unsigned long long>(device()) << 32) ^ device();
    char buf[48];
    std::snprintf(buf, sizeof buf, "%016llx.%x.", r, static_cast<unsigned>(getpid()));
    return std::string(buf);
  }();
  return text;
}

std::atomic<long long> counter{0};

}  // namespace

char const Request_Key::HEADER[] = "Idempotency-Key";

std::string Request_Key::next() { return prefix() + "k" + std::to_string(++counter); }

std::string Request_Key::of(long long n) { return prefix() + std::to_string(n); }
