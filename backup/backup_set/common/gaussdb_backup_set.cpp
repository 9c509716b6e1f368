#include "backup/backup_set/common/gaussdb_backup_set.h"

namespace {

// The statement adds "seq" after "compression"; the document writes it
// after "series". Both orders are part of the contract.
char const* const COLUMN_ORDER[] = {"meta_destination", "backup_key", "prior_backup_key", "nodes_count", "series",
                                    "timeline",         "compression", "seq",             "granularity", "database",
                                    nullptr};

}  // namespace

Backup_Set_Kind const& GaussDB_Backup_Set::kind() {
  typedef GaussDB_Backup_Set K;
  unsigned const COLUMN = Kind_Field::COLUMN;
  static Kind_Field const fields[] = {
      {"meta_destination", &K::meta_destination, COLUMN},
      {"backup_key", &K::backup_key, COLUMN},
      {"prior_backup_key", &K::prior_backup_key, COLUMN},
      {"nodes_count", &K::nodes_count, COLUMN},
      {"series", &K::series, COLUMN},
      {"seq", &K::seq, COLUMN},
      {"timeline", &K::timeline, COLUMN},
      {"compression", &K::compression, COLUMN},
      {"granularity", &K::granularity, COLUMN},
      {"database", &K::database, COLUMN},
      {"tables", &K::tables},
  };
  static Backup_Set_Kind const kind("GaussDB_Backup_Set", "gaussdb", Backup_Set_Kind::JOIN, "gaussdb_backup_set", "g",
                                    fields, COLUMN_ORDER);
  return kind;
}

GaussDB_Backup_Set::GaussDB_Backup_Set() : Backup_Set("gaussdb") {}
GaussDB_Backup_Set::~GaussDB_Backup_Set() = default;

void GaussDB_Backup_Set::init_select_sql(Select_SQL& sql, char const* alias) { kind().init_select_sql(sql, alias); }

bool GaussDB_Backup_Set::print_cstr(int index, char const* key, char const* value, unsigned long long length) {
  return kind().print_cstr(*this, index, key, value, length);
}

bool GaussDB_Backup_Set::print_int(int index, char const* key, long long value) {
  return kind().print_int(*this, index, key, value);
}

bool GaussDB_Backup_Set::print_json(int index, char const* key, json_spirit::Value const& value) {
  return kind().print_json(*this, index, key, value);
}

bool GaussDB_Backup_Set::generate_i(YAJL_Gen& gen) { return kind().generate(*this, gen); }
