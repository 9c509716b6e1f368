#ifndef BACKUP_BACKUP_SET_COMMON_OPENSTACK_BACKUP_SET_H
#define BACKUP_BACKUP_SET_COMMON_OPENSTACK_BACKUP_SET_H

#include <map>
#include <string>
#include <vector>

#include "backup/backup_set/common/backup_set.h"
#include "backup/backup_set/common/backup_set_kind.h"

// A backup of one OpenStack instance: the instance, the cloud's own backup
// identifiers and the instance's profile and volumes as the cloud gave them.
// Module "openstack"; the facts live in "openstack_backup_set". It is the
// one kind that can load a whole set (common part, storages and pieces)
// from a JSON object, and it finds pieces by their object kind.
//
// Its intake stores its own columns and then hands every column on to
// Backup_Set as well.
class BSET_API OpenStack_Backup_Set : public Backup_Set {
 public:
  OpenStack_Backup_Set();
  ~OpenStack_Backup_Set() override;

  // `alias` names "openstack_backup_set", `base_alias` the set's table;
  // joined on "<alias>.set_uuid=<base_alias>.uuid".
  static void init_select_sql(Select_SQL& select, char const* alias, char const* base_alias);
  bool print_cstr(int index, char const* key, char const* value, unsigned long long length) override;
  // A null or empty key is logged but answered true.
  bool print_json(int index, char const* key, json_spirit::Value const& value) override;
  bool generate_i(YAJL_Gen& gen) override;
  static Backup_Set_Kind const& kind();

  // Loads the whole set from `obj`; false, with one log record, on a
  // missing or mistyped member or a bad time. What was read before the
  // failure stays in the set (no roll-back).
  bool operator<<(std::map<std::string, json_spirit::Value> const& obj);

  // The pieces whose object is exactly `object`, in list order.
  std::vector<Backup_Piece*> get_pieces(std::string const& object);
  std::vector<Backup_Piece const*> get_pieces(std::string const& object) const;
  // The first such piece, or null.
  Backup_Piece* get_piece(std::string const& object);
  Backup_Piece const* get_piece(std::string const& object) const;

  std::string vm_id;
  std::string vm_name;
  std::string backup_uuid;
  std::string set_uuid;
  std::string last_full_backup_uuid;
  std::string last_backup_uuid;
  json_spirit::Object profile;
  json_spirit::Array volumes;
};

#endif
