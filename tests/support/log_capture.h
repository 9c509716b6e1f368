#ifndef TESTS_SUPPORT_LOG_CAPTURE_H
#define TESTS_SUPPORT_LOG_CAPTURE_H

#include <mutex>
#include <string>
#include <vector>

#include <ace/Log_Msg.h>
#include <ace/Log_Msg_Callback.h>
#include <ace/Log_Record.h>

// Collects the log records of the calling thread through ACE's own callback,
// so tests see priority and text exactly as the library logged them.
class Log_Capture : public ACE_Log_Msg_Callback {
 public:
  struct Record {
    unsigned long priority;
    std::string text;
  };

  Log_Capture();
  ~Log_Capture() override;

  void log(ACE_Log_Record& record) override;

  std::vector<Record> records() const;
  // Records of one priority whose text contains `needle`.
  size_t count(unsigned long priority, std::string const& needle) const;
  bool has(unsigned long priority, std::string const& needle) const { return count(priority, needle) > 0; }
  size_t size() const;
  void clear();
  std::string dump() const;

 private:
  mutable std::mutex mutex_;
  std::vector<Record> records_;
  ACE_Log_Msg_Callback* previous_;
  unsigned long previous_flags_;
};

#endif
