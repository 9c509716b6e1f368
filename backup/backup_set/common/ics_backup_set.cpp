#include "backup/backup_set/common/ics_backup_set.h"

#include <exception>

#include <ace/Log_Msg.h>

#include "backup/backup_set/common/catalog_columns.h"
#include "backup/backup_set/common/document_members.h"
#include "platform/json/object_lookup.h"
#include "platform/json/yajl_array_guard.h"
#include "platform/json/yajl_map_guard.h"
#include "platform/sql/select_sql.h"

namespace {

// One key of a nested record. A record's table, in its field order, drives
// its loader, its conversion and its part of the document.
template <typename R>
struct Member {
  enum Type { TEXT, U64, FLAG, I32 };
  Member(char const* k, std::string R::*m) : key(k), type(TEXT), text(m) {}
  Member(char const* k, unsigned long long R::*m) : key(k), type(U64), u64(m) {}
  Member(char const* k, bool R::*m) : key(k), type(FLAG), flag(m) {}
  Member(char const* k, int R::*m) : key(k), type(I32), i32(m) {}

  char const* key;
  Type type;
  std::string R::*text = nullptr;
  unsigned long long R::*u64 = nullptr;
  bool R::*flag = nullptr;
  int R::*i32 = nullptr;
};

typedef ICS_Backup_Set::VM_Base VM_Base;
typedef ICS_Backup_Set::CPU_Info CPU_Info;
typedef ICS_Backup_Set::Mem_Info Mem_Info;
typedef ICS_Backup_Set::Aggregate_Info Aggregate_Info;

Member<VM_Base> const VM_BASE[] = {
    {"boot_mode", &VM_Base::boot_mode},
    {"guest_os_type", &VM_Base::guest_os_type},
    {"guest_os_label", &VM_Base::guest_os_label},
    {"panick_policy", &VM_Base::panick_policy},
    {"start_priority", &VM_Base::start_priority},
    {"vnc_password", &VM_Base::vnc_password},
    {"vnc_shared_policy", &VM_Base::vnc_shared_policy},
    {"vm_description", &VM_Base::vm_description},
    {"splash_time", &VM_Base::splash_time},
};

Member<CPU_Info> const CPU[] = {
    {"cpu_arch", &CPU_Info::cpu_arch},
    {"cpu_shares", &CPU_Info::cpu_shares},
    {"cpu_count", &CPU_Info::cpu_count},
    {"cpu_cores", &CPU_Info::cpu_cores},
    {"cpu_socket", &CPU_Info::cpu_socket},
    {"cpu_core_num_per_socket", &CPU_Info::cpu_core_num_per_socket},
    {"cpu_reservation", &CPU_Info::cpu_reservation},
    {"cpu_limit", &CPU_Info::cpu_limit},
    {"cpu_model", &CPU_Info::cpu_model},
    {"cpu_hot_plug_enabled", &CPU_Info::cpu_hot_plug_enabled},
    {"cpu_model_enabled", &CPU_Info::cpu_model_enabled},
};

Member<Mem_Info> const MEM[] = {
    {"mem_mbytes", &Mem_Info::mem_mbytes},
    {"mem_reservation", &Mem_Info::mem_reservation},
    {"enable_huge_page", &Mem_Info::enable_huge_page},
    {"mem_balloon_enabled", &Mem_Info::mem_balloon_enabled},
    {"mem_hot_add_enabled", &Mem_Info::mem_hot_add_enabled},
    {"mem_hot_plug_enabled", &Mem_Info::mem_hot_plug_enabled},
};

// The aggregate's type is read as an unsigned number and cut to 32 bits.
Member<Aggregate_Info> const AGGREGATE[] = {
    {"id", &Aggregate_Info::id},
    {"type", &Aggregate_Info::type},
};

template <typename R, size_t N>
bool load(json_spirit::Value const& value, R& record, Member<R> const (&table)[N], char const* message) {
  try {
    json_spirit::Object const& o = value.get_obj();
    for (Member<R> const& m : table) {
      switch (m.type) {
        case Member<R>::TEXT: record.*m.text = json_spirit::object_get_str_or_throw(o, m.key); break;
        case Member<R>::U64: record.*m.u64 = json_spirit::object_get_uint64_or_throw(o, m.key); break;
        case Member<R>::FLAG: record.*m.flag = json_spirit::object_get_bool_or_throw(o, m.key); break;
        case Member<R>::I32:
          record.*m.i32 = static_cast<int>(json_spirit::object_get_uint64_or_throw(o, m.key));
          break;
      }
    }
    return true;
  } catch (std::exception const& e) {
    ACE_ERROR((LM_ERROR, message, e.what()));
    return false;
  }
}

template <typename R, size_t N>
json_spirit::Object to_object(R const& record, Member<R> const (&table)[N]) {
  json_spirit::Object out;
  for (Member<R> const& m : table) {
    switch (m.type) {
      case Member<R>::TEXT: out[m.key] = record.*m.text; break;
      case Member<R>::U64: out[m.key] = record.*m.u64; break;
      case Member<R>::FLAG: out[m.key] = record.*m.flag; break;
      case Member<R>::I32: out[m.key] = record.*m.i32; break;
    }
  }
  return out;
}

// The record as an object of the document, keys in table order.
template <typename R, size_t N>
void write(YAJL_Gen& g, R const& record, Member<R> const (&table)[N]) {
  YAJL_Map_Guard map(g.get());
  for (Member<R> const& m : table) {
    g << m.key;
    switch (m.type) {
      case Member<R>::TEXT: g << record.*m.text; break;
      case Member<R>::U64: g << record.*m.u64; break;
      case Member<R>::FLAG: g << record.*m.flag; break;
      case Member<R>::I32: g << record.*m.i32; break;
    }
  }
}

ICS_Backup_Set const& ics(Backup_Set const& set) { return static_cast<ICS_Backup_Set const&>(set); }

void write_base_info(Backup_Set const& set, YAJL_Gen& g, char const* key) {
  g << key;
  write(g, ics(set).base_info, VM_BASE);
}

void write_cpu_info(Backup_Set const& set, YAJL_Gen& g, char const* key) {
  g << key;
  write(g, ics(set).cpu_info, CPU);
}

void write_mem_info(Backup_Set const& set, YAJL_Gen& g, char const* key) {
  g << key;
  write(g, ics(set).mem_info, MEM);
}

void write_aggregates(Backup_Set const& set, YAJL_Gen& g, char const* key) {
  g << key;
  YAJL_Array_Guard array(g.get());
  for (Aggregate_Info const& a : ics(set).aggregates) write(g, a, AGGREGATE);
}

void select_own_table(Select_SQL& select, char const* alias) {
  select.table("ics_backup_set", alias);
  for (Kind_Field const* f : ICS_Backup_Set::kind().columns()) Catalog_Columns::add(select, alias, f->key, f->key);
}

// A nested record from the document, by its table: unlike from_json, a
// member may be left out, and a fault names the member.
template <typename R, size_t N>
bool read_record(json_spirit::Value const& value, std::string const& name, R& record, Member<R> const (&table)[N],
                 std::string& error) {
  R read;
  Document_Members m(value, name, error);
  for (Member<R> const& f : table) {
    switch (f.type) {
      case Member<R>::TEXT: m.take(f.key, read.*f.text); break;
      case Member<R>::U64: m.take(f.key, read.*f.u64); break;
      case Member<R>::FLAG: m.take(f.key, read.*f.flag); break;
      case Member<R>::I32: m.take(f.key, read.*f.i32); break;
    }
  }
  if (!m.done()) return false;
  record = read;
  return true;
}

ICS_Backup_Set& ics(Backup_Set& set) { return static_cast<ICS_Backup_Set&>(set); }

bool read_base_info(Backup_Set& set, json_spirit::Value const& value, std::string const& name, std::string& error) {
  return read_record(value, name, ics(set).base_info, VM_BASE, error);
}

bool read_cpu_info(Backup_Set& set, json_spirit::Value const& value, std::string const& name, std::string& error) {
  return read_record(value, name, ics(set).cpu_info, CPU, error);
}

bool read_mem_info(Backup_Set& set, json_spirit::Value const& value, std::string const& name, std::string& error) {
  return read_record(value, name, ics(set).mem_info, MEM, error);
}

bool read_aggregates(Backup_Set& set, json_spirit::Value const& value, std::string const& name, std::string& error) {
  std::vector<Aggregate_Info> aggregates;
  bool const ok = Document_Members::each(value, name, error, [&](json_spirit::Value const& v, std::string const& at) {
    aggregates.emplace_back();
    return read_record(v, at, aggregates.back(), AGGREGATE, error);
  });
  if (ok) ics(set).aggregates = std::move(aggregates);
  return ok;
}

}  // namespace

bool ICS_Backup_Set::VM_Base::from_json(json_spirit::Value const& value) {
  return load(value, *this, VM_BASE, "Failed to load ICS_Backup_Set::VM_Base from JSON: %s\n");
}

json_spirit::Object ICS_Backup_Set::VM_Base::to_json() const { return to_object(*this, VM_BASE); }

bool ICS_Backup_Set::CPU_Info::from_json(json_spirit::Value const& value) {
  return load(value, *this, CPU, "Failed to load ICS_Backup_Set::CPU_Info from JSON: %s\n");
}

json_spirit::Object ICS_Backup_Set::CPU_Info::to_json() const { return to_object(*this, CPU); }

bool ICS_Backup_Set::Mem_Info::from_json(json_spirit::Value const& value) {
  return load(value, *this, MEM, "Failed to load ICS_Backup_Set::Mem_Info from JSON: %s\n");
}

json_spirit::Object ICS_Backup_Set::Mem_Info::to_json() const { return to_object(*this, MEM); }

bool ICS_Backup_Set::Aggregate_Info::from_json(json_spirit::Value const& value) {
  return load(value, *this, AGGREGATE, "Failed to load ICS_Backup_Set::Aggregate_Info from JSON: %s\n");
}

json_spirit::Object ICS_Backup_Set::Aggregate_Info::to_json() const { return to_object(*this, AGGREGATE); }

Backup_Set_Kind const& ICS_Backup_Set::kind() {
  typedef ICS_Backup_Set K;
  unsigned const COLUMN = Kind_Field::COLUMN | Kind_Field::NO_INTAKE;
  static Kind_Field const fields[] = {
      {"vm_name", &K::vm_name, COLUMN},
      {"vm_id", &K::vm_id, COLUMN},
      {"vm_uuid", &K::vm_uuid, COLUMN},
      {"vm_version", &K::vm_version, COLUMN},
      {"datacenter_id", &K::datacenter_id, COLUMN},
      {"owner_host_id", &K::owner_host_id, COLUMN},
      {"owner_host_ip", &K::owner_host_ip, COLUMN},
      {"owner_host_name", &K::owner_host_name, COLUMN},
      Kind_Field::custom("base_info", json_spirit::obj_type, write_base_info, COLUMN).read_by(read_base_info),
      Kind_Field::custom("cpu_info", json_spirit::obj_type, write_cpu_info, COLUMN).read_by(read_cpu_info),
      Kind_Field::custom("mem_info", json_spirit::obj_type, write_mem_info, COLUMN).read_by(read_mem_info),
      Kind_Field::custom("aggregates", json_spirit::array_type, write_aggregates, COLUMN).read_by(read_aggregates),
      {"boot_devices", &K::boot_devices, COLUMN},
      {"floppys", &K::floppys, COLUMN},
      {"cdroms", &K::cdroms, COLUMN},
      {"nics", &K::nics, COLUMN},
      {"gpus", &K::gpus, COLUMN},
      {"usbs", &K::usbs, COLUMN},
      {"vm_extended_attrs", &K::vm_extended_attrs, COLUMN},
  };
  static Backup_Set_Kind const kind =
      Backup_Set_Kind("ICS_Backup_Set", "incloud", Backup_Set_Kind::JOIN, "ics_backup_set", nullptr, fields)
          .own_select(select_own_table);
  return kind;
}

ICS_Backup_Set::ICS_Backup_Set() : Backup_Set("incloud") {}
ICS_Backup_Set::~ICS_Backup_Set() = default;

void ICS_Backup_Set::init_select_sql(Select_SQL& select, char const* alias) { kind().init_select_sql(select, alias); }

bool ICS_Backup_Set::generate_i(YAJL_Gen& gen) { return kind().generate(*this, gen); }
