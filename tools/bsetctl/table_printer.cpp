#include "tools/bsetctl/table_printer.h"

#include <algorithm>
#include <utility>

namespace {

// Columns are measured in characters, not bytes, so UTF-8 names line up.
size_t width_of(std::string const& text) {
  size_t n = 0;
  for (unsigned char c : text) n += (c & 0xC0) != 0x80;
  return n;
}

}  // namespace

Table_Printer::Table_Printer(std::vector<std::string> headings, std::ostream& out)
    : headings_(std::move(headings)), out_(out) {
  for (std::string const& h : headings_) widths_.push_back(width_of(h));
}

void Table_Printer::add(std::vector<std::string> row) {
  row.resize(headings_.size());
  for (size_t i = 0; i < row.size(); ++i) widths_[i] = std::max(widths_[i], width_of(row[i]));
  rows_.push_back(std::move(row));
}

void Table_Printer::flush() {
  if (!headed_) {
    print(headings_);
    headed_ = true;
  }
  for (auto const& row : rows_) print(row);
  printed_ += rows_.size();
  rows_.clear();
  out_.flush();
}

void Table_Printer::print(std::vector<std::string> const& row) {
  std::string line;
  for (size_t i = 0; i < row.size(); ++i) {
    line += row[i];
    // The last column is not padded: no trailing blanks.
    if (i + 1 < row.size()) line.append(widths_[i] - width_of(row[i]) + 2, ' ');
  }
  // An empty last cell leaves the padding of the one before it.
  while (!line.empty() && line.back() == ' ') line.pop_back();
  out_ << line << '\n';
}
