#include "backup/backup_set/common/fusioncompute_backup_set.h"

#include "backup/backup_set/common/catalog_columns.h"
#include "backup/backup_set/common/document_members.h"
#include "platform/json/yajl_array_guard.h"
#include "platform/json/yajl_map_guard.h"
#include "platform/sql/select_sql.h"

namespace {

FusionCompute_Backup_Set const& fc(Backup_Set const& set) {
  return static_cast<FusionCompute_Backup_Set const&>(set);
}

void write_network_adapters(Backup_Set const& set, YAJL_Gen& g, char const* key) {
  g << key;
  YAJL_Array_Guard array(g.get());
  for (FusionCompute_Network_Adapter const& a : fc(set).network_adapters) {
    YAJL_Map_Guard map(g.get());
    g << "name" << a.name << "ip" << a.ip << "mac" << a.mac << "port_group_urn" << a.port_group_urn << "sequence_num"
      << static_cast<int>(a.sequence_num);
  }
}

void write_volumes(Backup_Set const& set, YAJL_Gen& g, char const* key) {
  g << key;
  YAJL_Array_Guard array(g.get());
  for (FusionCompute_Volume const& v : fc(set).volumes) {
    YAJL_Map_Guard map(g.get());
    g << "name" << v.name << "urn" << v.urn << "uuid" << v.uuid << "pci_type" << v.pci_type << "storage_type"
      << v.storage_type << "datastore_urn" << v.datastore_urn << "thin" << v.thin << "quantity"
      << static_cast<int>(v.quantity) << "sequence_num" << static_cast<int>(v.sequence_num) << "block_size"
      << v.block_size << "snapshot";
    YAJL_Map_Guard snapshot(g.get());
    g << "uuid" << v.snapshot.uuid << "snap_name_on_dev" << v.snapshot.snap_name_on_dev << "chg_id"
      << v.snapshot.chg_id;
  }
}

void select_own_table(Select_SQL& select, char const* alias) {
  select.table("fusioncompute_backup_set", alias);
  for (Kind_Field const* f : FusionCompute_Backup_Set::kind().columns())
    Catalog_Columns::add(select, alias, f->key, f->key);
}

template <typename Item, typename Key>
Item const* first(std::vector<Item> const& items, Key Item::*field, Key const& key) {
  for (Item const& item : items)
    if (item.*field == key) return &item;
  return nullptr;
}

// The 32-bit numbers come back from the signed writer.
bool read_network_adapters(Backup_Set& set, json_spirit::Value const& value, std::string const& name,
                           std::string& error) {
  return Document_Members::records(value, name, error, static_cast<FusionCompute_Backup_Set&>(set).network_adapters,
                                   [](Document_Members& m, FusionCompute_Network_Adapter& a) {
                                     m.take("name", a.name).take("ip", a.ip).take("mac", a.mac);
                                     m.take("port_group_urn", a.port_group_urn);
                                     m.take_signed("sequence_num", a.sequence_num);
                                   });
}

bool read_volumes(Backup_Set& set, json_spirit::Value const& value, std::string const& name, std::string& error) {
  return Document_Members::records(
      value, name, error, static_cast<FusionCompute_Backup_Set&>(set).volumes,
      [&error](Document_Members& m, FusionCompute_Volume& v) {
        m.take("name", v.name).take("urn", v.urn).take("uuid", v.uuid).take("pci_type", v.pci_type);
        m.take("storage_type", v.storage_type).take("datastore_urn", v.datastore_urn).take("thin", v.thin);
        m.take_signed("quantity", v.quantity).take_signed("sequence_num", v.sequence_num);
        m.take("block_size", v.block_size);
        m.take_by("snapshot", [&](json_spirit::Value const& snapshot, std::string const& at) {
          Document_Members s(snapshot, at, error);
          s.take("uuid", v.snapshot.uuid).take("snap_name_on_dev", v.snapshot.snap_name_on_dev);
          s.take("chg_id", v.snapshot.chg_id);
          return s.done();
        });
      });
}

}  // namespace

Backup_Set_Kind const& FusionCompute_Backup_Set::kind() {
  typedef FusionCompute_Backup_Set K;
  unsigned const COLUMN = Kind_Field::COLUMN | Kind_Field::NO_INTAKE;
  unsigned const NUMBER = COLUMN | Kind_Field::AS_I32;
  // The document writes vm_uuid before vm_name, the statement the reverse.
  static Kind_Field const fields[] = {
      {"vm_uuid", &K::vm_uuid, COLUMN},
      {"vm_name", &K::vm_name, COLUMN},
      {"vm_uri", &K::vm_uri, COLUMN},
      {"location_urn", &K::location_urn, COLUMN},
      {"os_type", &K::os_type, COLUMN},
      {"os_version", &K::os_version, NUMBER},
      {"cpu_count", &K::cpu_count, NUMBER},
      {"memory_mbytes", &K::memory_mbytes, NUMBER},
      {"snapshot_urn", &K::snapshot_urn, COLUMN},
      Kind_Field::custom("network_adapters", json_spirit::array_type, write_network_adapters, COLUMN)
          .read_by(read_network_adapters),
      Kind_Field::custom("volumes", json_spirit::array_type, write_volumes, COLUMN).read_by(read_volumes),
  };
  static char const* const column_order[] = {"vm_name",       "vm_uuid", "vm_uri",        "location_urn",
                                             "os_type",       "os_version", "cpu_count",  "memory_mbytes",
                                             "network_adapters", "volumes", "snapshot_urn", nullptr};
  static Backup_Set_Kind const kind =
      Backup_Set_Kind("FusionCompute_Backup_Set", "fusioncompute", Backup_Set_Kind::JOIN, "fusioncompute_backup_set",
                      nullptr, fields, column_order)
          .own_select(select_own_table);
  return kind;
}

FusionCompute_Backup_Set::FusionCompute_Backup_Set() : Backup_Set("fusioncompute") {}
FusionCompute_Backup_Set::~FusionCompute_Backup_Set() = default;

void FusionCompute_Backup_Set::init_select_sql(Select_SQL& select, char const* alias) {
  kind().init_select_sql(select, alias);
}

bool FusionCompute_Backup_Set::generate_i(YAJL_Gen& gen) { return kind().generate(*this, gen); }

FusionCompute_Volume const* FusionCompute_Backup_Set::get_volume(std::string const& uuid) const {
  return first(volumes, &FusionCompute_Volume::uuid, uuid);
}

FusionCompute_Volume const* FusionCompute_Backup_Set::get_volume(int sequence_num) const {
  return first(volumes, &FusionCompute_Volume::sequence_num, static_cast<unsigned int>(sequence_num));
}

FusionCompute_Network_Adapter const* FusionCompute_Backup_Set::get_network_adapter(std::string const& name) const {
  return first(network_adapters, &FusionCompute_Network_Adapter::name, name);
}

FusionCompute_Network_Adapter const* FusionCompute_Backup_Set::get_network_adapter(int sequence_num) const {
  return first(network_adapters, &FusionCompute_Network_Adapter::sequence_num,
               static_cast<unsigned int>(sequence_num));
}
