#ifndef TESTS_SERVER_SET_READER_H
#define TESTS_SERVER_SET_READER_H

#include <cstring>
#include <vector>

#include "backup/backup_set/common/backup_set.h"
#include "backup/backup_set/common/backup_set_state.h"
#include "platform/database/query_result_printer.h"

// Takes set rows delivered as maps (query mode 8) into Backup_Set records.
// Every event reaches the set itself, which keeps out of nested values by
// its token path; the rows of a nested "storages" or "pieces" array also go
// to a new storage or piece record of that set. A nested storage's "state"
// comes as its names (the set handler's translation) and becomes bits again.
// Events outside a row are refused.
class Set_Reader : public database::sql::Query_Result_Printer {
 public:
  std::vector<Backup_Set> sets;

  bool start_map(int index, char const* key) override {
    if (++depth_ == 1) {
      sets.emplace_back();
      return true;
    }
    if (sets.empty()) return false;
    Backup_Set& set = sets.back();
    if (depth_ == 3 && nested_ == STORAGES) set.storages.emplace_back();
    if (depth_ == 3 && nested_ == PIECES) set.pieces.emplace_back();
    return set.start_map(index, key);
  }
  bool end_map() override { return --depth_ == 0 || (!sets.empty() && sets.back().end_map()); }
  bool start_array(int index, char const* key) override {
    if (++depth_ == 2)
      nested_ = std::strcmp(key, "storages") == 0 ? STORAGES : std::strcmp(key, "pieces") == 0 ? PIECES : OTHER;
    return !sets.empty() && sets.back().start_array(index, key);
  }
  bool end_array() override {
    if (depth_-- == 2) nested_ = NONE;
    return !sets.empty() && sets.back().end_array();
  }
  bool print_cstr(int index, char const* key, char const* value, unsigned long long length) override {
    if (sets.empty()) return false;
    Backup_Set& set = sets.back();
    if (!set.print_cstr(index, key, value, length)) return false;
    if (depth_ == 3 && nested_ == STORAGES) return set.storages.back().print_cstr(index, key, value, length);
    if (depth_ == 3 && nested_ == PIECES) return set.pieces.back().print_cstr(index, key, value, length);
    return true;
  }
  bool print_str(int index, char const* key, std::string const& value) override {
    return print_cstr(index, key, value.data(), value.size());
  }
  bool print_int(int index, char const* key, long long value) override {
    if (sets.empty()) return false;
    Backup_Set& set = sets.back();
    if (!set.print_int(index, key, value)) return false;
    if (depth_ == 3 && nested_ == STORAGES) return set.storages.back().print_int(index, key, value);
    if (depth_ == 3 && nested_ == PIECES) return set.pieces.back().print_int(index, key, value);
    return true;
  }
  bool print_json(int index, char const* key, json_spirit::Value const& value) override {
    if (sets.empty()) return false;
    Backup_Set& set = sets.back();
    if (!set.print_json(index, key, value)) return false;
    if (depth_ == 3 && nested_ == STORAGES) {
      if (std::strcmp(key, "state") == 0 && value.type() == json_spirit::array_type) {
        set.storages.back().state = Backup_Set_State(value.get_array());
        return true;
      }
      return set.storages.back().print_json(index, key, value);
    }
    if (depth_ == 3 && nested_ == PIECES) return set.pieces.back().print_json(index, key, value);
    return true;
  }

 private:
  enum Nested { NONE, STORAGES, PIECES, OTHER };
  int depth_ = 0;
  Nested nested_ = NONE;
};

#endif
