#ifndef PLATFORM_SQL_WHERE_SQL_H
#define PLATFORM_SQL_WHERE_SQL_H

#include <memory>
#include <string>
#include <vector>

#include "platform/export.h"
#include "platform/sql/filter_sql.h"
#include "platform/sql/sql.h"

// A statement with a WHERE clause: a head ("DELETE FROM t", "UPDATE t SET
// a=:a", or a select built by Select_SQL) followed by the conditions and
// filter groups, all joined by AND. Not copyable: filter groups bind into
// the statement that made them.
class BSET_API Where_SQL : public SQL {
 public:
  Where_SQL();
  explicit Where_SQL(std::string const& head);
  ~Where_SQL() override;
  Where_SQL(Where_SQL const&) = delete;
  Where_SQL& operator=(Where_SQL const&) = delete;

  // Adds a condition (named parameters allowed). With `replace` true the
  // earlier conditions are dropped first (filter groups stay). A null or
  // empty condition adds nothing.
  Where_SQL& where(char const* condition, bool replace);
  // A new filter group whose items must all hold; owned by the statement.
  Filter_SQL* and_filter();
  // A new filter group of which one item must hold.
  Filter_SQL* or_filter();

  std::vector<std::string> const& conditions() const { return conditions_; }
  std::vector<std::unique_ptr<Filter_SQL>> const& filters() const { return filters_; }

 protected:
  void build(std::string& out, Dialect dialect) const override;
  // Appends " WHERE ..." when there is any condition.
  void append_where(std::string& out) const;

 private:
  std::string head_;
  std::vector<std::string> conditions_;
  std::vector<std::unique_ptr<Filter_SQL>> filters_;
};

#endif
