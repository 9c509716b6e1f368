#include "platform/retry/exponential_backoff_iterator.h"

Exponential_Backoff_Iterator::Exponential_Backoff_Iterator(unsigned first, unsigned steps, unsigned cap, bool grow)
    : current_(first < cap ? first : cap), cap_(cap), steps_(steps), taken_(0), grow_(grow), cumulation_(0) {}

Exponential_Backoff_Iterator::Exponential_Backoff_Iterator()
    : current_(0), cap_(0), steps_(0), taken_(0), grow_(false), cumulation_(0) {}

Exponential_Backoff_Iterator& Exponential_Backoff_Iterator::operator++() {
  if (at_end()) return *this;
  cumulation_ += current_;
  ++taken_;
  if (grow_) {
    // Doubling in 64 bits cannot overflow before the cap clamps it.
    unsigned long long next = static_cast<unsigned long long>(current_) * 2u;
    current_ = next > cap_ ? cap_ : static_cast<unsigned>(next);
  }
  return *this;
}

bool Exponential_Backoff_Iterator::operator==(Exponential_Backoff_Iterator const& other) const {
  bool end = at_end();
  bool other_end = other.at_end();
  if (end || other_end) return end == other_end;
  return taken_ == other.taken_ && current_ == other.current_ && steps_ == other.steps_ && cap_ == other.cap_ &&
         grow_ == other.grow_;
}
