#ifndef PLATFORM_SQL_SELECT_SQL_H
#define PLATFORM_SQL_SELECT_SQL_H

#include <string>
#include <utility>
#include <vector>

#include "platform/export.h"
#include "platform/sql/where_sql.h"

// A SELECT built from parts:
//   SELECT <columns> FROM <table> [<alias>] [LEFT JOIN <t> <a> ON <cond>]...
//   [WHERE ...] [ORDER BY ...] [LIMIT :_limit] [OFFSET :_offset]
//
// Every column has a key: the name under which its value is delivered to a
// printer. add_key gives it explicitly; select() derives it from each item
// (the bare column name of "a.col", the name after AS, else the item text).
// Keys are delivered exactly as given, in column order.
//
// A null (or empty) alias means the table goes without one: "FROM t", and a
// column expression that starts with "." (what "{{b}}.col" expands to when
// the alias is empty) is qualified by the table name instead ("t.col").
//
// join() is a LEFT JOIN: a set whose member row is missing is still read,
// with the member's columns null, rather than silently dropped.
class BSET_API Select_SQL : public Where_SQL {
 public:
  struct Join {
    std::string table;
    std::string alias;
    std::string condition;
  };
  typedef std::pair<std::string, std::string> Column;  // (expression, key)

  Select_SQL(char const* table, char const* alias);
  ~Select_SQL() override;

  // Sets the main table and its alias.
  Select_SQL& table(char const* table, char const* alias);
  // Adds one column; a null key takes the bare name of the expression.
  Select_SQL& add_key(std::string const& expression, char const* key);
  // LEFT JOIN of a further table.
  Select_SQL& join(char const* table, char const* alias, std::string const& condition);
  // INNER JOIN, for callers that want only rows present in both tables.
  Select_SQL& inner_join(char const* table, char const* alias, std::string const& condition);
  // Where_SQL::where, answering the select for further chaining.
  Select_SQL& where(char const* condition, bool replace) {
    Where_SQL::where(condition, replace);
    return *this;
  }
  // Replaces the column list with a plain comma-separated list.
  Select_SQL& select(char const* columns);
  Select_SQL& distinct(bool on);
  // Appends an ORDER BY term (an expression of the statement, not a value).
  Select_SQL& order_by(std::string const& expression, bool descending = false);
  // Row limits, bound as parameters; a negative value removes the clause.
  Select_SQL& limit(long long rows);
  Select_SQL& offset(long long rows);

  std::vector<Column> const& columns() const { return columns_; }
  std::vector<Join> const& joins() const { return joins_; }
  // Whether join i is an INNER JOIN (else LEFT).
  bool inner(size_t i) const { return i < inner_.size() && inner_[i]; }
  std::string const& from_table() const { return table_; }
  std::string const& from_alias() const { return alias_; }
  std::vector<std::string> const* keys() const override { return &keys_; }

 protected:
  void build(std::string& out, Dialect dialect) const override;

 private:
  std::string table_;
  std::string alias_;
  std::vector<Column> columns_;
  std::vector<std::string> keys_;
  std::vector<Join> joins_;
  std::vector<bool> inner_;
  std::vector<std::string> order_;
  bool distinct_;
  bool limit_;
  bool offset_;
};

#endif
