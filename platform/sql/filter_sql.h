#ifndef PLATFORM_SQL_FILTER_SQL_H
#define PLATFORM_SQL_FILTER_SQL_H

#include <string>
#include <vector>

#include "platform/export.h"
#include "platform/json/value.h"
#include "platform/sql/binding_value.h"

class SQL;

// A group of conditions added to a statement's WHERE clause as one
// parenthesised term. The items of an AND group must all hold; of an OR
// group, one. Values go into the owning statement as bound parameters with
// names private to the group (":_f<group>_<n>").
//
// An item that can match nothing (an IN list left empty) is written as the
// false condition "0=1", so an AND group then selects no row and an OR group
// is decided by its other items. A group without items adds nothing.
class BSET_API Filter_SQL {
 public:
  Filter_SQL(SQL& owner, bool any, int number);

  Filter_SQL& add_item(std::string const& condition);
  // column IN (values...), each value a parameter.
  Filter_SQL& add_in_item(std::string const& column, std::vector<Binding_Value> const& values);
  // column IN (UUIDs...), each UUID given as a JSON string in 8-4-4-4-12
  // form and bound as its 16 raw bytes. Elements that are not such strings
  // are left out; when none is left the item matches nothing.
  Filter_SQL& add_in_uuid_item(std::string const& column, std::vector<json_spirit::Value> const& uuids);

  bool any() const { return any_; }
  bool empty() const { return items_.empty(); }
  std::vector<std::string> const& items() const { return items_; }
  // Appends "(item AND item ...)" (or OR), nothing when empty.
  void append(std::string& out) const;

 private:
  std::string next_parameter();

  SQL& owner_;
  bool any_;
  int number_;
  int parameters_;
  std::vector<std::string> items_;
};

#endif
