#ifndef TOOLS_BSETCTL_TABLE_PRINTER_H
#define TOOLS_BSETCTL_TABLE_PRINTER_H

#include <ostream>
#include <string>
#include <vector>

// An aligned text table for people, printed a batch of rows at a time so
// that a long listing streams: each flush() lays out what it holds, with
// columns at least as wide as in every batch before (the headings come
// with the first batch).
class Table_Printer {
 public:
  Table_Printer(std::vector<std::string> headings, std::ostream& out);

  void add(std::vector<std::string> row);
  void flush();
  // Rows printed so far.
  size_t printed() const { return printed_; }

 private:
  void print(std::vector<std::string> const& row);

  std::vector<std::string> headings_;
  std::ostream& out_;
  std::vector<size_t> widths_;
  std::vector<std::vector<std::string>> rows_;
  bool headed_ = false;
  size_t printed_ = 0;
};

#endif
