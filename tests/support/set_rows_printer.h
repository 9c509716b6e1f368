#ifndef TESTS_SUPPORT_SET_ROWS_PRINTER_H
#define TESTS_SUPPORT_SET_ROWS_PRINTER_H

#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "backup/backup_set/common/backup_piece.h"
#include "backup/backup_set/common/backup_set.h"
#include "backup/backup_set/common/backup_set_state.h"
#include "backup/backup_set/common/backup_set_storage.h"
#include "platform/database/query_result_printer.h"

// Collects rows delivered as maps (query mode 8) into Backup_Set records:
// top-level columns go to the set's own intake; the rows of a nested
// "storages" or "pieces" array become Backup_Set_Storage / Backup_Piece
// records of that set. Every event also reaches the set, so the set sees the
// nesting exactly as a printer would and keeps out of nested values itself.
// A storage's "state" arrives as its array of names (the set handler's
// translation) and is turned back into the bit set here.
//
// With `on_set` given, each set is handed over as soon as its row ends and
// then dropped, so any number of rows can stream through.
template <typename Set = Backup_Set>
class Set_Rows_Printer : public database::sql::Query_Result_Printer {
 public:
  std::vector<Set> sets;
  std::function<void(Set&)> on_set;

  bool start_map(int index, char const* key) override {
    ++depth_;
    if (depth_ == 1) {
      sets.emplace_back();
      return true;
    }
    if (depth_ == 3 && nested_ == STORAGES) sets.back().storages.emplace_back();
    if (depth_ == 3 && nested_ == PIECES) sets.back().pieces.emplace_back();
    return sets.back().start_map(index, key);
  }
  bool end_map() override {
    --depth_;
    if (depth_ > 0) return sets.back().end_map();
    if (on_set) {
      on_set(sets.back());
      sets.pop_back();
    }
    return true;
  }
  bool start_array(int index, char const* key) override {
    ++depth_;
    if (depth_ == 2) nested_ = std::strcmp(key, "storages") == 0 ? STORAGES : std::strcmp(key, "pieces") == 0 ? PIECES : OTHER;
    return sets.back().start_array(index, key);
  }
  bool end_array() override {
    if (depth_ == 2) nested_ = NONE;
    --depth_;
    return sets.back().end_array();
  }

  bool print_cstr(int index, char const* key, char const* value, unsigned long long length) override {
    if (!sets.back().print_cstr(index, key, value, length)) return false;
    if (depth_ != 3) return true;
    if (nested_ == STORAGES) return sets.back().storages.back().print_cstr(index, key, value, length);
    if (nested_ == PIECES) return sets.back().pieces.back().print_cstr(index, key, value, length);
    return true;
  }
  bool print_int(int index, char const* key, long long value) override {
    if (!sets.back().print_int(index, key, value)) return false;
    if (depth_ != 3) return true;
    if (nested_ == STORAGES) return sets.back().storages.back().print_int(index, key, value);
    if (nested_ == PIECES) return sets.back().pieces.back().print_int(index, key, value);
    return true;
  }
  bool print_json(int index, char const* key, json_spirit::Value const& value) override {
    if (!sets.back().print_json(index, key, value)) return false;
    if (depth_ != 3) return true;
    if (nested_ == STORAGES) {
      Backup_Set_Storage& storage = sets.back().storages.back();
      if (std::strcmp(key, "state") == 0 && value.type() == json_spirit::array_type) {
        storage.state = Backup_Set_State(value.get_array());
        return true;
      }
      return storage.print_json(index, key, value);
    }
    if (nested_ == PIECES) return sets.back().pieces.back().print_json(index, key, value);
    return true;
  }
  bool print_str(int index, char const* key, std::string const& value) override {
    return print_cstr(index, key, value.data(), value.size());
  }

 private:
  enum Nested { NONE, STORAGES, PIECES, OTHER };
  int depth_ = 0;
  Nested nested_ = NONE;
};

#endif
