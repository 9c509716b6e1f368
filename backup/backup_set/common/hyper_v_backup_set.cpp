#include "backup/backup_set/common/hyper_v_backup_set.h"

#include "backup/backup_set/common/catalog_columns.h"
#include "backup/backup_set/common/document_members.h"
#include "platform/json/yajl_array_guard.h"
#include "platform/json/yajl_map_guard.h"
#include "platform/sql/select_sql.h"

namespace {

Hyper_V_Backup_Set const& hyper_v(Backup_Set const& set) { return static_cast<Hyper_V_Backup_Set const&>(set); }

// Each nested object writes its keys in its own order, not the fields'.
void write_vhd_chains(Backup_Set const& set, YAJL_Gen& g, char const* key) {
  g << key;
  YAJL_Map_Guard chains(g.get());
  for (auto const& entry : hyper_v(set).vhd_chains) {
    Hyper_V_VHD_Chain const& c = entry.second;
    g << entry.first;
    YAJL_Map_Guard chain(g.get());
    g << "address_0" << c.address_0 << "address_1" << c.address_1 << "controller_type" << c.controller_type
      << "total_size" << c.total_size << "id" << c.id << "rct_id" << c.rct_id << "vhds";
    YAJL_Array_Guard vhds(g.get());
    for (Hyper_V_VHD const& v : c.vhds) {
      YAJL_Map_Guard vhd(g.get());
      g << "path" << v.path << "parent_path" << v.parent_path << "file_size" << v.file_size;
    }
  }
}

void write_network_adapters(Backup_Set const& set, YAJL_Gen& g, char const* key) {
  g << key;
  YAJL_Array_Guard array(g.get());
  for (Hyper_V_Network_Adapter const& a : hyper_v(set).network_adapters) {
    YAJL_Map_Guard map(g.get());
    g << "mac" << a.mac << "name" << a.name << "virtual_switch" << a.virtual_switch << "is_static_mac"
      << a.is_static_mac;
  }
}

void write_controllers(Backup_Set const& set, YAJL_Gen& g, char const* key) {
  g << key;
  YAJL_Array_Guard array(g.get());
  for (Hyper_V_Controller const& c : hyper_v(set).controllers) {
    YAJL_Map_Guard map(g.get());
    g << "address" << c.address << "type" << c.type;
  }
}

void write_drives(Backup_Set const& set, YAJL_Gen& g, char const* key) {
  g << key;
  YAJL_Array_Guard array(g.get());
  for (Hyper_V_Drive const& d : hyper_v(set).drives) {
    YAJL_Map_Guard map(g.get());
    g << "address" << d.address << "controller_type" << d.controller_type << "controller_address"
      << d.controller_address;
  }
}

bool read_vhd_chains(Backup_Set& set, json_spirit::Value const& value, std::string const& name, std::string& error) {
  std::map<std::string, Hyper_V_VHD_Chain> chains;
  bool const ok = Document_Members::each_member(
      value, name, error, [&](std::string const& key, json_spirit::Value const& v, std::string const& at) {
        Hyper_V_VHD_Chain& c = chains[key];
        Document_Members m(v, at, error);
        m.take("address_0", c.address_0).take("address_1", c.address_1);
        m.take("controller_type", c.controller_type).take("total_size", c.total_size);
        m.take("id", c.id).take("rct_id", c.rct_id);
        m.take_by("vhds", [&](json_spirit::Value const& vhds, std::string const& in) {
          return Document_Members::records(vhds, in, error, c.vhds, [](Document_Members& d, Hyper_V_VHD& vhd) {
            d.take("path", vhd.path).take("parent_path", vhd.parent_path).take("file_size", vhd.file_size);
          });
        });
        return m.done();
      });
  if (ok) static_cast<Hyper_V_Backup_Set&>(set).vhd_chains = std::move(chains);
  return ok;
}

bool read_network_adapters(Backup_Set& set, json_spirit::Value const& value, std::string const& name,
                           std::string& error) {
  return Document_Members::records(value, name, error, static_cast<Hyper_V_Backup_Set&>(set).network_adapters,
                                   [](Document_Members& m, Hyper_V_Network_Adapter& a) {
                                     m.take("mac", a.mac).take("name", a.name);
                                     m.take("virtual_switch", a.virtual_switch).take("is_static_mac", a.is_static_mac);
                                   });
}

bool read_controllers(Backup_Set& set, json_spirit::Value const& value, std::string const& name, std::string& error) {
  return Document_Members::records(value, name, error, static_cast<Hyper_V_Backup_Set&>(set).controllers,
                                   [](Document_Members& m, Hyper_V_Controller& c) {
                                     m.take("address", c.address).take("type", c.type);
                                   });
}

bool read_drives(Backup_Set& set, json_spirit::Value const& value, std::string const& name, std::string& error) {
  return Document_Members::records(value, name, error, static_cast<Hyper_V_Backup_Set&>(set).drives,
                                   [](Document_Members& m, Hyper_V_Drive& d) {
                                     m.take("address", d.address).take("controller_type", d.controller_type);
                                     m.take("controller_address", d.controller_address);
                                   });
}

}  // namespace

Backup_Set_Kind const& Hyper_V_Backup_Set::kind() {
  typedef Hyper_V_Backup_Set K;
  // Selected and stored, never taken from a row.
  unsigned const COLUMN = Kind_Field::COLUMN | Kind_Field::NO_INTAKE;
  static Kind_Field const fields[] = {
      {"vm_name", &K::vm_name, COLUMN},
      {"vm_guid", &K::vm_guid, COLUMN},
      {"vm_setting_id", &K::vm_setting_id, COLUMN},
      {"vm_prev_setting_id", &K::vm_prev_setting_id, COLUMN},
      {"vm_config_version", &K::vm_config_version, COLUMN},
      {"memory_mbytes", &K::memory_mbytes, COLUMN},
      {"cpu_count", &K::cpu_count, COLUMN},
      {"vm_generation", &K::vm_generation, COLUMN},
      Kind_Field::custom("vhd_chains", json_spirit::obj_type, write_vhd_chains, COLUMN).read_by(read_vhd_chains),
      Kind_Field::custom("network_adapters", json_spirit::array_type, write_network_adapters, COLUMN)
          .read_by(read_network_adapters),
      Kind_Field::custom("controllers", json_spirit::array_type, write_controllers, COLUMN).read_by(read_controllers),
      Kind_Field::custom("drives", json_spirit::array_type, write_drives, COLUMN).read_by(read_drives),
  };
  static char const* const column_order[] = {
      "vm_name",     "vm_guid",       "vm_setting_id",    "vm_prev_setting_id", "vm_config_version",
      "vm_generation", "memory_mbytes", "cpu_count",      "network_adapters",   "controllers",
      "drives",      "vhd_chains",    nullptr};
  static Backup_Set_Kind const kind =
      Backup_Set_Kind("Hyper_V_Backup_Set", "hyperv", Backup_Set_Kind::JOIN, "hyperv_backup_set", nullptr, fields,
                      column_order)
          .own_select(init_select_sql);
  return kind;
}

Hyper_V_Backup_Set::Hyper_V_Backup_Set() : Backup_Set("hyperv") {}
Hyper_V_Backup_Set::~Hyper_V_Backup_Set() = default;

void Hyper_V_Backup_Set::init_select_sql(Select_SQL& sql, char const* alias) {
  sql.table("hyperv_backup_set", alias);
  add_keys(sql, alias);
}

void Hyper_V_Backup_Set::add_keys(Select_SQL& sql, char const* alias) {
  Catalog_Columns::add(sql, alias, "set_uuid", "set_uuid");
  for (Kind_Field const* f : kind().columns()) Catalog_Columns::add(sql, alias, f->key, f->key);
}

bool Hyper_V_Backup_Set::generate_i(YAJL_Gen& gen) { return kind().generate(*this, gen); }

bool Hyper_V_Backup_Set::get_pool_uuid(std::string& pool_uuid) const {
  if (storages.empty()) return false;
  pool_uuid = storages.front().pool_uuid;
  return !pool_uuid.empty();
}

bool Hyper_V_Backup_Set::get_piece(std::string const& object, Backup_Piece& piece) const {
  for (Backup_Piece const& p : pieces) {
    if (p.object == object) {
      piece = p;
      return true;
    }
  }
  return false;
}
