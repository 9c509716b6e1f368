#include "backup/backup_set/common/column_intake.h"

#include <ace/Log_Msg.h>

#include "platform/time/iso8601.h"

bool Column_Intake::refused(char const* key, char const* file, int line) {
  if (!key || !*key) {
    // What ACE_ERROR does, with the caller's place instead of ours.
    ACE_Log_Msg* log = ACE_Log_Msg::instance();
    log->conditional_set(file, line, -1, ACE_Log_Msg::last_error_adapter());
    log->log(LM_EMERGENCY, "Unexpected error in %N:%l, key is NULL or \"\":\n%?\n");
    return false;
  }
  return true;
}

void Column_Intake::parse_time(char const* value, unsigned long long length, long long& field) {
  // The text need not be zero-ended; times are short, so copy to the stack.
  char buf[64];
  size_t n = value ? static_cast<size_t>(length) : 0;
  if (n >= sizeof buf) {
    std::string text(value, n);
    iso8601_to_posix_time(text.c_str(), field);
    return;
  }
  if (n) memcpy(buf, value, n);
  buf[n] = 0;
  iso8601_to_posix_time(buf, field);
}
