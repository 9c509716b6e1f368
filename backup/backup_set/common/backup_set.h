#ifndef BACKUP_BACKUP_SET_COMMON_BACKUP_SET_H
#define BACKUP_BACKUP_SET_COMMON_BACKUP_SET_H

#include <map>
#include <string>
#include <vector>

#include <yajl/yajl_gen.h>

#include "backup/backup_set/common/backup_piece.h"
#include "backup/backup_set/common/backup_set_storage.h"
#include "platform/database/query_result_token_printer.h"
#include "platform/export.h"
#include "platform/json/json_generator.h"
#include "platform/json/value.h"
#include "platform/json/yajl_gen.h"

class Select_SQL;
class Backup_Set_Result_Handler;
namespace database {
namespace sql {
class Query_Result_Handler;
}
}  // namespace database

// The record of one backup set: what was backed up, when, how much, which
// pieces were written and which pools hold copies. Every application kind of
// set derives from it and adds its own keys through generate_i.
class BSET_API Backup_Set : public JSON_Generator, public database::sql::Query_Result_Token_Printer {
 public:
  // `catalog_module` names the kind of set ("file", "dmdb", ...); it is not
  // copied, so it must outlive the record (a literal in practice). Null
  // counts as "".
  explicit Backup_Set(char const* catalog_module = nullptr);
  ~Backup_Set() override;

  // Writes the whole document: the common keys in their fixed order, the
  // storage(s), the pieces, then the subclass's keys from generate_i, all in
  // one object.
  bool generate(yajl_gen_t* gen) override;

  // Column intake of a catalogue row; unknown keys are accepted and ignored.
  bool print_cstr(int index, char const* key, char const* value, unsigned long long length) override;
  bool print_int(int index, char const* key, long long value) override;
  bool print_json(int index, char const* key, json_spirit::Value const& value) override;

  // Hook for the application keys, written behind the common ones inside the
  // same object. False makes generate fail.
  virtual bool generate_i(YAJL_Gen& gen);

  void add_piece(std::string const& path, unsigned long long size);
  void add_directory_piece(std::string const& path, unsigned long long size);
  void add_piece(Backup_Piece const& piece);
  void add_storage(Backup_Set_Storage const& storage);
  void add_storage(std::string const& pool_uuid, long long size);
  void add_storage(std::string const& pool_uuid, long long size, std::map<std::string, json_spirit::Value> const& extended_attrs);

  static void init_select_sql(Select_SQL& sql, char const* alias);
  static database::sql::Query_Result_Handler* result_handler();

  char const* catalog_module;
  std::string uuid;
  std::string name;
  std::string definition_uuid;
  std::string job_instance_uuid;
  std::string uid;
  std::string host_uuid;
  std::string resource_uuid;
  std::string minor_resource_id;
  std::string minor_resource_name;
  std::string agent;
  std::string incarnation;
  std::string type;
  long long first_time;  // POSIX seconds; 0 = unset
  long long last_time;
  long long backup_start_time;
  long long backup_end_time;
  long long source_size;
  long long size;
  std::string uri;
  std::string host;
  std::string instance;
  std::string instance_version;
  long long first_scn;
  long long last_scn;
  json_spirit::Object resource_tree;
  json_spirit::Object extended_attrs;
  std::vector<std::string> parents;
  std::vector<Backup_Set_Storage> storages;
  std::vector<Backup_Piece> pieces;
  json_spirit::Object uname;
  json_spirit::Object lsb;

 protected:
  static Backup_Set_Result_Handler result_handler_;
};

#endif
