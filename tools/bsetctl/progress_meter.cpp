#include "tools/bsetctl/progress_meter.h"

#include <cstdio>
#include <utility>

Progress_Meter::Progress_Meter(std::ostream& out, bool terminal, unsigned long long total_bytes, std::string items)
    : out_(out),
      terminal_(terminal),
      total_(total_bytes),
      items_(std::move(items)),
      start_(std::chrono::steady_clock::now()),
      last_draw_(start_) {}

std::string Progress_Meter::duration(double seconds) {
  long long s = static_cast<long long>(seconds + 0.5);
  char text[32];
  if (s < 60)
    std::snprintf(text, sizeof text, "%lld s", s);
  else if (s < 3600)
    std::snprintf(text, sizeof text, "%lld:%02lld", s / 60, s % 60);
  else
    std::snprintf(text, sizeof text, "%lld:%02lld:%02lld", s / 3600, s / 60 % 60, s % 60);
  return text;
}

void Progress_Meter::update(unsigned long long done_bytes, unsigned long long items) {
  done_ = done_bytes;
  auto const now = std::chrono::steady_clock::now();
  double const since = std::chrono::duration<double>(now - last_draw_).count();
  int const tenth = total_ ? static_cast<int>(done_bytes * 10 / total_) : 0;
  // A terminal is redrawn ten times a second; a log gets a line per tenth
  // of the work, or every five seconds when the tenths come slowly.
  if (terminal_ ? since < 0.1 : (tenth <= last_tenth_ && since < 5.0)) return;
  // The end is finish()'s to show, with the time it took.
  if (!terminal_ && total_ && done_bytes >= total_) return;
  last_tenth_ = tenth;
  last_draw_ = now;
  draw(done_bytes, items, false);
}

void Progress_Meter::finish(unsigned long long items) { draw(total_ ? total_ : done_, items, true); }

void Progress_Meter::draw(unsigned long long done_bytes, unsigned long long items, bool last) {
  double const elapsed = std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
  double const fraction = total_ ? static_cast<double>(done_bytes) / static_cast<double>(total_) : 1.0;
  double const rate = elapsed > 0 ? static_cast<double>(items) / elapsed : 0;
  std::string eta = "-";
  if (last)
    eta = "done in " + duration(elapsed);
  else if (fraction > 0 && elapsed > 0)
    eta = "ETA " + duration(elapsed / fraction - elapsed);
  char numbers[160];
  std::snprintf(numbers, sizeof numbers, "%3d%%  %llu %s  %.0f %s/s  %s", static_cast<int>(fraction * 100 + 1e-9),
                items, items_.c_str(), rate, items_.c_str(), eta.c_str());
  if (terminal_) {
    int const width = 30;
    int const filled = static_cast<int>(fraction * width);
    std::string bar = "[" + std::string(filled, '#') + std::string(width - filled, '.') + "] ";
    // Pad with blanks so a shorter line wipes out the longer one before.
    out_ << '\r' << bar << numbers << "    " << (last ? "\n" : "") << std::flush;
  } else {
    out_ << "progress: " << numbers << '\n' << std::flush;
  }
}
