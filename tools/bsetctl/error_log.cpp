#include "tools/bsetctl/error_log.h"

#include <ace/Log_Msg.h>
#include <ace/Log_Priority.h>
#include <ace/Log_Record.h>

Error_Log::Error_Log(bool verbose) {
  ACE_Log_Msg* log = ACE_Log_Msg::instance();
  previous_flags_ = log->flags();
  previous_ = log->msg_callback(this);
  log->set_flags(ACE_Log_Msg::MSG_CALLBACK);
  if (!verbose) log->clr_flags(ACE_Log_Msg::STDERR);
}

Error_Log::~Error_Log() {
  ACE_Log_Msg* log = ACE_Log_Msg::instance();
  log->msg_callback(previous_);
  log->clr_flags(ACE_Log_Msg::MSG_CALLBACK | ACE_Log_Msg::STDERR);
  log->set_flags(previous_flags_);
}

void Error_Log::log(ACE_Log_Record& record) {
  unsigned long const type = record.type();
  if (type != LM_ERROR && type != LM_WARNING && type != LM_EMERGENCY && type != LM_CRITICAL && type != LM_ALERT)
    return;
  std::string text(record.msg_data());
  // A record may carry a stack trace after its first line; the first line
  // says what happened.
  size_t const eol = text.find('\n');
  if (eol != std::string::npos) text.resize(eol);
  while (!text.empty() && (text.back() == '.' || text.back() == ' ' || text.back() == ':' || text.back() == '\r'))
    text.pop_back();
  if (!text.empty()) last_ = text;
}

std::string Error_Log::explain(std::string const& what) const { return last_.empty() ? what : what + ": " + last_; }
