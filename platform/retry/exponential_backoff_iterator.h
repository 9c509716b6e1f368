#ifndef PLATFORM_RETRY_EXPONENTIAL_BACKOFF_ITERATOR_H
#define PLATFORM_RETRY_EXPONENTIAL_BACKOFF_ITERATOR_H

#include "platform/export.h"

// The delays, in whole seconds, between attempts of a retried operation:
// first, 2*first, 4*first, ... held at `cap`, for `steps` steps. A
// default-constructed iterator is the end of every sequence.
//
//   Exponential_Backoff_Iterator it(1, 4294967295u, 60, true), end;
//   for (; it != end; ++it) { wait(*it); ... }
class BSET_API Exponential_Backoff_Iterator {
 public:
  // `grow` false keeps every delay at `first` (still held at the cap).
  Exponential_Backoff_Iterator(unsigned first, unsigned steps, unsigned cap, bool grow);
  Exponential_Backoff_Iterator();  // the end

  // The delay of the current step.
  unsigned operator*() const { return current_; }
  // Moves to the next step; the current delay counts as slept.
  Exponential_Backoff_Iterator& operator++();

  // Sum of the delays stepped over so far.
  unsigned long long cumulation() const { return cumulation_; }
  // Steps taken so far.
  unsigned steps_taken() const { return taken_; }

  bool at_end() const { return taken_ >= steps_; }
  bool operator==(Exponential_Backoff_Iterator const& other) const;
  bool operator!=(Exponential_Backoff_Iterator const& other) const { return !(*this == other); }

 private:
  unsigned current_;
  unsigned cap_;
  unsigned steps_;
  unsigned taken_;
  bool grow_;
  unsigned long long cumulation_;
};

#endif
