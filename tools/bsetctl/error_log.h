#ifndef TOOLS_BSETCTL_ERROR_LOG_H
#define TOOLS_BSETCTL_ERROR_LOG_H

#include <string>

#include <ace/Log_Msg_Callback.h>

class ACE_Log_Record;

// Keeps the library's log off the terminal while a command runs and
// remembers its last error, so that a failure is told in one line
// (`--verbose` shows the whole log instead). Records of the thread that
// made it only: ACE keeps a log state per thread, and the commands call the
// library from their main thread.
class Error_Log : public ACE_Log_Msg_Callback {
 public:
  explicit Error_Log(bool verbose);
  ~Error_Log() override;
  Error_Log(Error_Log const&) = delete;
  Error_Log& operator=(Error_Log const&) = delete;

  void log(ACE_Log_Record& record) override;

  // The last error or warning logged, on one line without the trailing
  // period and newline; "" when there was none.
  std::string const& last() const { return last_; }
  // `what` followed by ": " and the last error, when there is one.
  std::string explain(std::string const& what) const;

 private:
  ACE_Log_Msg_Callback* previous_;
  unsigned long previous_flags_;
  std::string last_;
};

#endif
