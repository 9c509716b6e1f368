#ifndef TOOLS_BSETCTL_PROGRESS_METER_H
#define TOOLS_BSETCTL_PROGRESS_METER_H

#include <chrono>
#include <ostream>
#include <string>

// Progress of a long piece of work measured in bytes read of a known total
// and items done: on a terminal a bar redrawn in place with the rate and
// the time left; otherwise (a log, a pipe) a plain line every tenth of the
// work or every few seconds, whichever comes first.
class Progress_Meter {
 public:
  Progress_Meter(std::ostream& out, bool terminal, unsigned long long total_bytes, std::string items);

  void update(unsigned long long done_bytes, unsigned long long items);
  // The last state, on its own line.
  void finish(unsigned long long items);

  // "1:02:03", "2:03" or "5 s".
  static std::string duration(double seconds);

 private:
  void draw(unsigned long long done_bytes, unsigned long long items, bool last);

  std::ostream& out_;
  bool terminal_;
  unsigned long long total_;
  std::string items_;
  std::chrono::steady_clock::time_point start_;
  std::chrono::steady_clock::time_point last_draw_;
  int last_tenth_ = 0;
  unsigned long long done_ = 0;
};

#endif
