#ifndef BACKUP_BACKUP_SET_COMMON_COLUMN_INTAKE_H
#define BACKUP_BACKUP_SET_COMMON_COLUMN_INTAKE_H

#include <cstring>
#include <string>
#include <type_traits>

#include "backup/backup_set/common/backup_set_state.h"
#include "platform/database/query_result_token_printer.h"
#include "platform/export.h"
#include "platform/json/value.h"

// The frame every record's column intake follows. A record lists, per value
// type, which key fills which field; its print_* then reads
//
//   if (!Column_Intake::accept(*this, key)) return Column_Intake::refused(key);
//   if (Column_Intake::text(*this, TEXT_COLUMNS, key, value, length)) return true;
//   return true;  // or pass the call on to the base record
//
// so the key check, the nested-value rule and the conversions live here once.
class BSET_API Column_Intake {
 public:
  template <typename Record, typename Field>
  struct Column {
    char const* key;
    Field Record::*field;
  };

  // False when the value must not be taken: a null or empty key, or a value
  // inside a map or array of the row. refused() gives the answer for both.
  static bool accept(database::sql::Query_Result_Token_Printer const& printer, char const* key) {
    return key && *key && printer.tokens().empty();
  }
  // A null or empty key is a programming error (logged, false); a nested
  // value is simply not the record's (true). The log names the caller's file
  // and line, not this one's.
  static bool refused(char const* key, char const* file = __builtin_FILE(), int line = __builtin_LINE());

  // Each returns true when the key is one of the table's (the value is then
  // stored), false when the table does not know it.
  template <typename Record, size_t N>
  static bool text(Record& record, Column<Record, std::string> const (&table)[N], char const* key,
                   char const* value, unsigned long long length) {
    Column<Record, std::string> const* column = find(table, key);
    if (!column) return false;
    std::string& field = record.*column->field;
    if (value)
      field.assign(value, static_cast<size_t>(length));
    else
      field.clear();
    return true;
  }

  // Times arrive as text; a text that is not a time leaves the field alone.
  template <typename Record, size_t N>
  static bool time(Record& record, Column<Record, long long> const (&table)[N], char const* key, char const* value,
                   unsigned long long length) {
    Column<Record, long long> const* column = find(table, key);
    if (!column) return false;
    parse_time(value, length, record.*column->field);
    return true;
  }

  // Integers are cut to the field's width; a bool field takes value != 0.
  template <typename Record, typename Field, size_t N>
  static bool integer(Record& record, Column<Record, Field> const (&table)[N], char const* key, long long value) {
    Column<Record, Field> const* column = find(table, key);
    if (!column) return false;
    store(record.*column->field, value);
    return true;
  }

  // Only a JSON object replaces the field; any other value is ignored, but
  // the key still counts as known.
  template <typename Record, size_t N>
  static bool object(Record& record, Column<Record, json_spirit::Object> const (&table)[N], char const* key,
                     json_spirit::Value const& value) {
    Column<Record, json_spirit::Object> const* column = find(table, key);
    if (!column) return false;
    if (value.type() == json_spirit::obj_type) record.*column->field = value.get_obj();
    return true;
  }

  template <typename Row, size_t N>
  static Row const* find(Row const (&table)[N], char const* key) {
    for (Row const& row : table)
      if (row.key[0] == key[0] && strcmp(row.key, key) == 0) return &row;
    return nullptr;
  }

  // A time text (not necessarily zero-ended) into seconds; a text that is
  // not a time leaves what the parser leaves.
  static void parse_time(char const* value, unsigned long long length, long long& field);

  // An integer column into a field of any width: cut to the width, or
  // value != 0 for a bool.
  template <typename Field>
  static void store(Field& field, long long value) {
    static_assert(std::is_integral<Field>::value, "integer columns fill integral fields");
    if constexpr (std::is_same<Field, bool>::value)
      field = value != 0;
    else
      field = static_cast<Field>(value);
  }
  static void store(Backup_Set_State& field, long long value) {
    field = Backup_Set_State(static_cast<unsigned long long>(value));
  }
};

#endif
