#ifndef FUZZ_FUZZ_SUPPORT_H
#define FUZZ_FUZZ_SUPPORT_H

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ostream>
#include <streambuf>
#include <string>

#include "platform/json/utf8_text.h"

#include <ace/Log_Msg.h>

// Takes every character and keeps none.
class Null_Buffer : public std::streambuf {
 protected:
  int overflow(int c) override { return traits_type::not_eof(c); }
  std::streamsize xsputn(char const*, std::streamsize n) override { return n; }
};

// The loaders report through ACE. Their records are still formatted in full
// but written to a stream that drops them, so the fuzzer's output stays its
// own. One record is logged here: ACE's first one allocates for good, and
// libFuzzer would otherwise blame that on whichever input came first.
inline void fuzz_quiet_ace_log() {
  static Null_Buffer buffer;
  static std::ostream stream(&buffer);
  ACE_Log_Msg* log = ACE_Log_Msg::instance();
  log->msg_ostream(&stream, false);
  log->clr_flags(ACE_Log_Msg::STDERR | ACE_Log_Msg::LOGGER | ACE_Log_Msg::MSG_CALLBACK | ACE_Log_Msg::VERBOSE |
                 ACE_Log_Msg::VERBOSE_LITE | ACE_Log_Msg::SILENT | ACE_Log_Msg::SYSLOG | ACE_Log_Msg::CUSTOM);
  log->set_flags(ACE_Log_Msg::OSTREAM);
  ACE_ERROR((LM_ERROR, "fuzzer log %s %d\n", "warm-up", 1));
  ACE_ERROR((LM_EMERGENCY, "fuzzer log %s %d\n", "warm-up", 2));
}

// A broken invariant: says which, then aborts so that libFuzzer keeps the
// input as a crash.
[[noreturn]] inline void fuzz_fail(char const* what, std::string const& detail = std::string()) {
  std::fprintf(stderr, "invariant broken: %s\n", what);
  if (!detail.empty()) std::fprintf(stderr, "%s\n", detail.c_str());
  std::abort();
}

// Reads an input front to back: bytes, little-endian numbers and pieces of
// text. An input that runs out reads as zeros and empty text, so
// every input decodes to something and short seeds stay short.
class Fuzz_Input {
 public:
  Fuzz_Input(uint8_t const* data, size_t size) : data_(data), size_(size) {}

  size_t left() const { return size_ - at_; }
  bool empty() const { return at_ >= size_; }

  uint8_t byte() { return at_ < size_ ? data_[at_++] : 0; }
  // Little-endian, as many bytes as are left.
  uint64_t number(int bytes) {
    uint64_t n = 0;
    for (int i = 0; i < bytes; ++i) n |= static_cast<uint64_t>(byte()) << (8 * i);
    return n;
  }

  // Up to `n` bytes.
  std::string bytes(size_t n) {
    n = n < left() ? n : left();
    std::string out(reinterpret_cast<char const*>(data_ + at_), n);
    at_ += n;
    note_text(out.data(), out.size());
    return out;
  }
  // Whether any text read (or noted) was not UTF-8: such text may rightly
  // be refused where a document is written.
  bool non_utf8() const { return non_utf8_; }
  void note_text(char const* text, size_t length) { non_utf8_ = non_utf8_ || !UTF8_Text::valid(text, length); }
  // A piece whose length is the next byte.
  std::string chunk() { return bytes(byte()); }
  // Up to the next `stop` byte (dropped) or the end.
  std::string until(char stop) {
    void const* hit = at_ < size_ ? std::memchr(data_ + at_, stop, size_ - at_) : nullptr;
    size_t n = hit ? static_cast<size_t>(static_cast<uint8_t const*>(hit) - (data_ + at_)) : left();
    std::string out = bytes(n);
    if (hit) ++at_;
    return out;
  }
  std::string rest() { return bytes(left()); }

 private:
  uint8_t const* data_;
  size_t size_;
  size_t at_ = 0;
  bool non_utf8_ = false;
};

#endif
