#ifndef BACKUP_BACKUP_SET_COMMON_BACKUP_SET_KIND_H
#define BACKUP_BACKUP_SET_COMMON_BACKUP_SET_KIND_H

#include <cstddef>
#include <string>
#include <vector>

#include "backup/backup_set/common/kind_field.h"
#include "platform/export.h"
#include "platform/json/value.h"

class Backup_Set;
class Select_SQL;
class YAJL_Gen;

// The description of one application kind of set: its catalogue module
// name, its member table and alias, and its fields in document order. The
// one table drives the kind's document (generate), its select statement,
// its column intake and catalogd's storing of it, so a kind's class is its
// fields plus one-line calls into here, and a departure from the common
// pattern stands beside the kind's table.
class BSET_API Backup_Set_Kind {
 public:
  // How the kind reads itself from the catalogue.
  enum Selection {
    NONE,        // no statement of its own: read through the base only
    EMPTY,       // a statement call that adds nothing, not even the base
    JOIN,        // base columns, own columns, then the join of its table
    JOIN_FIRST,  // base columns, the join, then own columns
    OWN,         // a statement function of the kind's own (own_select)
  };
  typedef void (*Select)(Select_SQL& sql, char const* alias);

  // A table catalogd keeps the kind's columns in: one row per set, keyed by
  // "set_uuid".
  struct Member_Table {
    char const* table;
    char const* alias;
    std::vector<Kind_Field const*> columns;
  };

  template <size_t N>
  Backup_Set_Kind(char const* class_name, char const* module, Selection selection, char const* table,
                  char const* alias, Kind_Field const (&fields)[N], char const* const* column_order = nullptr)
      : Backup_Set_Kind(class_name, module, selection, table, alias, fields, N, column_order) {}
  Backup_Set_Kind(char const* class_name, char const* module, Selection selection, char const* table,
                  char const* alias, Kind_Field const* fields, size_t count, char const* const* column_order);

  // Departures, applied while the kind's table is set up:
  // the statement is `select` (selection OWN);
  Backup_Set_Kind& own_select(Select select);
  // the SECOND_TABLE columns live in a second member table;
  Backup_Set_Kind& second_table(char const* table, char const* alias);
  // catalogd stores the first table's columns in `table`, while the
  // statement reads the kind's table (a view over the set and that table).
  Backup_Set_Kind& stored_in(char const* table);

  char const* class_name() const { return class_name_; }
  char const* module() const { return module_; }
  Selection selection() const { return selection_; }
  // Member table and alias; null for kinds without a table.
  char const* table() const { return table_; }
  char const* alias() const { return alias_; }
  Kind_Field const* begin() const { return fields_; }
  Kind_Field const* end() const { return fields_ + count_; }
  size_t size() const { return count_; }
  Kind_Field const* field(char const* key) const;
  // The selected fields in the order the statement adds them.
  std::vector<Kind_Field const*> const& columns() const { return columns_; }
  // Where catalogd stores the selected fields (none for kinds without a
  // table).
  std::vector<Member_Table> const& member_tables() const { return member_tables_; }

  // Writes every field in table order, each by its rules. Always true.
  bool generate(Backup_Set const& set, YAJL_Gen& gen) const;

  // Document reading, the inverse of generate: the value of one of the
  // kind's keys into the record, by the field's reader when it has one,
  // else by its type. False, with `error` naming the member at fault, when
  // the key is none of the kind's or the value is not one its field writes.
  bool read(Backup_Set& set, std::string const& key, json_spirit::Value const& value, std::string& error) const;

  // Widens the base statement by the kind's table, as its selection says.
  void init_select_sql(Select_SQL& sql, char const* alias) const;

  // Column intake: a null or empty key is refused (logged with the
  // caller's file and line, false), a value nested in the row accepted and
  // left, a key of the kind stored; any other key goes on to Backup_Set
  // (print_cstr, print_int, print_json) or is accepted and ignored
  // (print_bool, print_uint, which the base does not have).
  bool print_cstr(Backup_Set& set, int index, char const* key, char const* value, unsigned long long length,
                  char const* file = __builtin_FILE(), int line = __builtin_LINE()) const;
  bool print_int(Backup_Set& set, int index, char const* key, long long value, char const* file = __builtin_FILE(),
                 int line = __builtin_LINE()) const;
  bool print_json(Backup_Set& set, int index, char const* key, json_spirit::Value const& value,
                  char const* file = __builtin_FILE(), int line = __builtin_LINE()) const;
  bool print_bool(Backup_Set& set, char const* key, bool value, char const* file = __builtin_FILE(),
                  int line = __builtin_LINE()) const;
  bool print_uint(Backup_Set& set, char const* key, unsigned long long value, char const* file = __builtin_FILE(),
                  int line = __builtin_LINE()) const;

  // The storing step alone, for kinds that route the rest their own way:
  // true when the key is one this kind takes through that operation.
  bool take_cstr(Backup_Set& set, char const* key, char const* value, unsigned long long length) const;
  bool take_int(Backup_Set& set, char const* key, long long value) const;
  bool take_json(Backup_Set& set, char const* key, json_spirit::Value const& value) const;
  bool take_bool(Backup_Set& set, char const* key, bool value) const;
  bool take_uint(Backup_Set& set, char const* key, unsigned long long value) const;

 private:
  char const* class_name_;
  char const* module_;
  Selection selection_;
  char const* table_;
  char const* alias_;
  Kind_Field const* fields_;
  size_t count_;
  std::vector<Kind_Field const*> columns_;
  std::vector<Member_Table> member_tables_;
  Select select_;
};

#endif
