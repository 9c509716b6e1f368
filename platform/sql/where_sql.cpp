#include "platform/sql/where_sql.h"

Where_SQL::Where_SQL() = default;

Where_SQL::Where_SQL(std::string const& head) : head_(head) {}

Where_SQL::~Where_SQL() = default;

Where_SQL& Where_SQL::where(char const* condition, bool replace) {
  if (replace) conditions_.clear();
  if (condition && *condition) conditions_.emplace_back(condition);
  return *this;
}

Filter_SQL* Where_SQL::and_filter() {
  filters_.emplace_back(new Filter_SQL(*this, false, static_cast<int>(filters_.size())));
  return filters_.back().get();
}

Filter_SQL* Where_SQL::or_filter() {
  filters_.emplace_back(new Filter_SQL(*this, true, static_cast<int>(filters_.size())));
  return filters_.back().get();
}

void Where_SQL::append_where(std::string& out) const {
  bool first = true;
  for (auto const& c : conditions_) {
    out += first ? " WHERE (" : " AND (";
    out += c;
    out += ')';
    first = false;
  }
  for (auto const& f : filters_) {
    if (f->empty()) continue;
    out += first ? " WHERE " : " AND ";
    f->append(out);
    first = false;
  }
}

void Where_SQL::build(std::string& out, Dialect) const {
  out = head_;
  append_where(out);
}
