#include "tests/support/log_capture.h"

#include <sstream>

Log_Capture::Log_Capture() {
  ACE_Log_Msg* log = ACE_Log_Msg::instance();
  previous_ = log->msg_callback(this);
  previous_flags_ = log->flags();
  log->set_flags(ACE_Log_Msg::MSG_CALLBACK);
  // Keep test output readable: the records are checked, not printed.
  log->clr_flags(ACE_Log_Msg::STDERR);
}

Log_Capture::~Log_Capture() {
  ACE_Log_Msg* log = ACE_Log_Msg::instance();
  log->msg_callback(previous_);
  log->clr_flags(ACE_Log_Msg::MSG_CALLBACK);
  log->set_flags(previous_flags_);
}

void Log_Capture::log(ACE_Log_Record& record) {
  std::lock_guard<std::mutex> lock(mutex_);
  records_.push_back(Record{record.type(), record.msg_data()});
}

std::vector<Log_Capture::Record> Log_Capture::records() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return records_;
}

size_t Log_Capture::count(unsigned long priority, std::string const& needle) const {
  std::lock_guard<std::mutex> lock(mutex_);
  size_t n = 0;
  for (auto const& r : records_)
    if (r.priority == priority && r.text.find(needle) != std::string::npos) ++n;
  return n;
}

size_t Log_Capture::size() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return records_.size();
}

void Log_Capture::clear() {
  std::lock_guard<std::mutex> lock(mutex_);
  records_.clear();
}

std::string Log_Capture::dump() const {
  std::lock_guard<std::mutex> lock(mutex_);
  std::ostringstream out;
  for (auto const& r : records_) out << "[" << r.priority << "] " << r.text;
  return out.str();
}
