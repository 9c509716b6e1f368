#include "backup/backup_set/common/oceanbase_backup_set.h"

#include "backup/backup_set/common/document_members.h"
#include "platform/json/yajl_array_guard.h"
#include "platform/json/yajl_map_guard.h"

namespace {

void write_tenants(Backup_Set const& set, YAJL_Gen& g, char const* key) {
  g << key;
  YAJL_Array_Guard array(g.get());
  for (OceanBase_Tenant const& t : static_cast<OceanBase_Backup_Set const&>(set).tenants) {
    YAJL_Map_Guard map(g.get());
    g << "tenant_id" << t.tenant_id << "tenant_name" << t.tenant_name << "data_start_time" << t.data_start_time
      << "log_max_next_time" << t.log_max_next_time << "zone_list" << t.zone_list << "primary_zone"
      << t.primary_zone << "locality" << t.locality << "resource_pools";
    YAJL_Array_Guard pools(g.get());
    for (std::string const& pool : t.resource_pools) g << pool;
  }
}

bool read_tenants(Backup_Set& set, json_spirit::Value const& value, std::string const& name, std::string& error) {
  return Document_Members::records(
      value, name, error, static_cast<OceanBase_Backup_Set&>(set).tenants,
      [&error](Document_Members& m, OceanBase_Tenant& t) {
        m.take("tenant_id", t.tenant_id).take("tenant_name", t.tenant_name);
        m.take("data_start_time", t.data_start_time).take("log_max_next_time", t.log_max_next_time);
        m.take("zone_list", t.zone_list).take("primary_zone", t.primary_zone).take("locality", t.locality);
        m.take_by("resource_pools", [&](json_spirit::Value const& pools, std::string const& at) {
          return Document_Members::each(pools, at, error, [&](json_spirit::Value const& pool, std::string const& in) {
            t.resource_pools.emplace_back();
            return Document_Members::read(pool, in, t.resource_pools.back(), error);
          });
        });
      });
}

}  // namespace

Backup_Set_Kind const& OceanBase_Backup_Set::kind() {
  typedef OceanBase_Backup_Set K;
  static Kind_Field const fields[] = {
      {"archive_dest", &K::archive_dest, Kind_Field::NO_INTAKE},
      {"version", &K::version, Kind_Field::NO_INTAKE},
      {"cluster_name", &K::cluster_name, Kind_Field::NO_INTAKE},
      {"log_archive_round", &K::log_archive_round, Kind_Field::NO_INTAKE},
      {"cluster_id", &K::cluster_id, Kind_Field::NO_INTAKE},
      Kind_Field::custom("tenants", json_spirit::array_type, write_tenants).read_by(read_tenants),
  };
  static Backup_Set_Kind const kind("OceanBase_Backup_Set", "oceanbase", Backup_Set_Kind::NONE, nullptr, nullptr,
                                    fields);
  return kind;
}

OceanBase_Backup_Set::OceanBase_Backup_Set() : Backup_Set("oceanbase") {}
OceanBase_Backup_Set::~OceanBase_Backup_Set() = default;

bool OceanBase_Backup_Set::generate_i(YAJL_Gen& gen) { return kind().generate(*this, gen); }
