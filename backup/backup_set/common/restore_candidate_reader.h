#ifndef BACKUP_BACKUP_SET_COMMON_RESTORE_CANDIDATE_READER_H
#define BACKUP_BACKUP_SET_COMMON_RESTORE_CANDIDATE_READER_H

#include <set>
#include <string>
#include <vector>

#include "backup/backup_set/common/backup_set.h"
#include "platform/database/query_result_printer.h"
#include "platform/export.h"
#include "platform/json/value.h"

namespace database {
namespace sql {
class Connection;
}
}  // namespace database

// Reads from the catalogue the sets a restore of one resource may use: the
// complete sets of one host_uuid and resource_uuid, each with its storages
// (nested, through the set's result handler), its catalog_module and its
// parents, none of which the set's own statement reads.
//
// The records' catalog_module points into the reader, so they are valid
// while the reader lives; the reader is therefore not copied.
class BSET_API Restore_Candidate_Reader : public database::sql::Query_Result_Printer {
 public:
  Restore_Candidate_Reader();
  ~Restore_Candidate_Reader() override;
  Restore_Candidate_Reader(Restore_Candidate_Reader const&) = delete;
  Restore_Candidate_Reader& operator=(Restore_Candidate_Reader const&) = delete;

  // Replaces the sets held by those of the catalogue. False with `error`
  // set when a UUID is malformed or the query fails (the sets are then
  // those read so far).
  bool read(database::sql::Connection& connection, std::string const& host_uuid, std::string const& resource_uuid,
            std::string& error);

  std::vector<Backup_Set> const& sets() const { return sets_; }

  // Rows as maps (query mode 8), no array around them.
  bool start_map(int index, char const* key) override;
  bool end_map() override;
  bool start_array(int index, char const* key) override;
  bool end_array() override;
  bool print_cstr(int index, char const* key, char const* value, unsigned long long length) override;
  bool print_str(int index, char const* key, std::string const& value) override;
  bool print_int(int index, char const* key, long long value) override;
  bool print_json(int index, char const* key, json_spirit::Value const& value) override;

 private:
  std::vector<Backup_Set> sets_;
  std::set<std::string> modules_;  // node-based: addresses stay put
  int depth_;
  bool in_storages_;
};

#endif
