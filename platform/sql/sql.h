#ifndef PLATFORM_SQL_SQL_H
#define PLATFORM_SQL_SQL_H

#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "platform/export.h"
#include "platform/sql/binding_value.h"
#include "platform/sql/dialect.h"

// A statement with named parameters (":name") and their bound values. Used
// as is for INSERT / UPDATE / DELETE / DDL text, and as the base of the
// statement builders (Where_SQL, Select_SQL).
//
// Parameter names are written with their colon (":set_uuid"); a name given
// without one gets it. Binding a name twice replaces the value. Text inside
// quotes ('...', "..."), comments, dollar-quoted bodies and "::" casts is
// never taken for a parameter.
class BSET_API SQL {
 public:
  typedef std::vector<std::pair<std::string, Binding_Value>> Bindings;

  SQL();
  explicit SQL(std::string const& text);
  virtual ~SQL();

  SQL& bind(std::string const& name, Binding_Value const& value);
  // The bound value of a name (with or without its colon), or null.
  Binding_Value const* binding(std::string const& name) const;
  Bindings const& bindings() const { return bindings_; }
  void clear_bindings() {
    bindings_.clear();
    index_.clear();
  }

  // The statement for one engine: SQLite keeps ":name"; PostgreSQL gets
  // "$1", "$2", ... numbered by first appearance (a name used twice keeps
  // its number). `parameters` receives the names in number order.
  std::string text(Dialect dialect) const;
  std::string text(Dialect dialect, std::vector<std::string>& parameters) const;

  // Keys under which result columns are delivered, in column order, when the
  // statement knows them (a select); null when the engine's column names
  // are to be used.
  virtual std::vector<std::string> const* keys() const;

  // Replaces the text of a plain statement.
  SQL& set_text(std::string const& text);

 protected:
  // The statement with ":name" parameters.
  virtual void build(std::string& out, Dialect dialect) const;

 private:
  std::string text_;
  Bindings bindings_;
  // Name -> place in bindings_, kept once a statement has many parameters
  // (multi-row INSERTs), so binding stays linear in their number.
  std::unordered_map<std::string, size_t> index_;
};

#endif
