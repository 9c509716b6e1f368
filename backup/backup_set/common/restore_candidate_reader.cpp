#include "backup/backup_set/common/restore_candidate_reader.h"

#include <cstring>

#include "backup/backup_set/common/backup_set_result_handler.h"
#include "backup/backup_set/common/backup_set_state.h"
#include "platform/database/connection.h"
#include "platform/sql/select_sql.h"
#include "platform/sql/uuid_binary.h"

using database::sql::Connection;
using database::sql::Query_Result_Handler;

namespace {

// The set handler's value table plus "parents", a JSON column the records
// do not read themselves.
Backup_Set_Result_Handler& candidate_handler() {
  static std::vector<Key2_Value_T<int>> const values =
      Backup_Set_Result_Handler::default_values_and({{"parents", Query_Result_Handler::VT_JSON}});
  static Backup_Set_Result_Handler handler(nullptr, values.data(), nullptr, 0);
  return handler;
}

bool uuid_key(std::string const& text, char const* name, Binding_Value& out, std::string& error) {
  std::basic_string<unsigned char> bytes;
  if (!UUID_Binary::parse(text, bytes)) {
    error = std::string(name) + ": not a UUID";
    return false;
  }
  out = Binding_Value(bytes);
  return true;
}

}  // namespace

Restore_Candidate_Reader::Restore_Candidate_Reader() : depth_(0), in_storages_(false) {}

Restore_Candidate_Reader::~Restore_Candidate_Reader() = default;

bool Restore_Candidate_Reader::read(Connection& connection, std::string const& host_uuid,
                                    std::string const& resource_uuid, std::string& error) {
  Binding_Value host, resource;
  if (!uuid_key(host_uuid, "host_uuid", host, error) || !uuid_key(resource_uuid, "resource_uuid", resource, error))
    return false;
  sets_.clear();
  depth_ = 0;
  in_storages_ = false;

  Select_SQL sql("backup_set", "b");
  Backup_Set::init_select_sql(sql, "b");
  sql.add_key("b.catalog_module", "catalog_module");
  sql.add_key("b.parents", "parents");
  // The set's raw UUID under "storages" makes the handler add its storages.
  sql.add_key("b.uuid", "storages");
  // Staged and aborted sets are not there for a restore.
  sql.where("b.status='complete'", false);
  sql.where("b.host_uuid=:host_uuid", false).bind(":host_uuid", host);
  sql.where("b.resource_uuid=:resource_uuid", false).bind(":resource_uuid", resource);
  sql.order_by("b.backup_end_time").order_by("b.uuid");
  if (!connection.query(sql, *this, Connection::QM_ROWS, &candidate_handler(), 0)) {
    error = "cannot read the sets of the catalogue: " + connection.last_error();
    return false;
  }
  return true;
}

bool Restore_Candidate_Reader::start_map(int index, char const* key) {
  if (++depth_ == 1) {
    sets_.emplace_back();
    return true;
  }
  if (sets_.empty()) return false;
  Backup_Set& set = sets_.back();
  if (depth_ == 3 && in_storages_) set.storages.emplace_back();
  return set.start_map(index, key);
}

bool Restore_Candidate_Reader::end_map() { return --depth_ == 0 || (!sets_.empty() && sets_.back().end_map()); }

bool Restore_Candidate_Reader::start_array(int index, char const* key) {
  if (++depth_ == 2) in_storages_ = key && std::strcmp(key, "storages") == 0;
  return !sets_.empty() && sets_.back().start_array(index, key);
}

bool Restore_Candidate_Reader::end_array() {
  if (depth_-- == 2) in_storages_ = false;
  return !sets_.empty() && sets_.back().end_array();
}

bool Restore_Candidate_Reader::print_cstr(int index, char const* key, char const* value, unsigned long long length) {
  if (sets_.empty()) return false;
  Backup_Set& set = sets_.back();
  if (depth_ == 1 && key && std::strcmp(key, "catalog_module") == 0) {
    std::string module(value ? value : "", value ? static_cast<size_t>(length) : 0);
    set.catalog_module = modules_.insert(module).first->c_str();
    return true;
  }
  if (!set.print_cstr(index, key, value, length)) return false;
  if (depth_ == 3 && in_storages_) return set.storages.back().print_cstr(index, key, value, length);
  return true;
}

bool Restore_Candidate_Reader::print_str(int index, char const* key, std::string const& value) {
  return print_cstr(index, key, value.data(), value.size());
}

bool Restore_Candidate_Reader::print_int(int index, char const* key, long long value) {
  if (sets_.empty()) return false;
  Backup_Set& set = sets_.back();
  if (!set.print_int(index, key, value)) return false;
  if (depth_ == 3 && in_storages_) return set.storages.back().print_int(index, key, value);
  return true;
}

bool Restore_Candidate_Reader::print_json(int index, char const* key, json_spirit::Value const& value) {
  if (sets_.empty()) return false;
  Backup_Set& set = sets_.back();
  if (depth_ == 1 && key && std::strcmp(key, "parents") == 0) {
    set.parents.clear();
    if (value.type() == json_spirit::array_type)
      for (json_spirit::Value const& parent : value.get_array())
        if (parent.type() == json_spirit::str_type) set.parents.push_back(parent.get_str());
    return true;
  }
  if (!set.print_json(index, key, value)) return false;
  if (depth_ == 3 && in_storages_) {
    Backup_Set_Storage& storage = set.storages.back();
    // The handler turns the state word into its names.
    if (key && std::strcmp(key, "state") == 0 && value.type() == json_spirit::array_type) {
      storage.state = Backup_Set_State(value.get_array());
      return true;
    }
    return storage.print_json(index, key, value);
  }
  return true;
}
