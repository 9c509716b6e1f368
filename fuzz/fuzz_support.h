#ifndef FUZZ_FUZZ_SUPPORT_H
#define FUZZ_FUZZ_SUPPORT_H

#include <cstdio>
#include <cstdlib>
#include <ostream>
#include <streambuf>
#include <string>

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

#endif
