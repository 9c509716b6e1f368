#include "backup/backup_set/common/sybase_backup_set.h"

Backup_Set_Kind const& Sybase_Backup_Set::kind() {
  typedef Sybase_Backup_Set K;
  unsigned const WRITE = Kind_Field::NO_INTAKE;
  static Kind_Field const fields[] = {
      {"resource_name", &K::resource_name, WRITE},
      {"database", &K::database, WRITE},
      {"dbtype", &K::dbtype, WRITE},
      {"last_dumptrdate", &K::last_dumptrdate, WRITE},
      {"current_dumptrdate", &K::current_dumptrdate, WRITE},
      {"fork_point_uuid", &K::fork_point_uuid, WRITE},
      {"recovery_fork_guid", &K::recovery_fork_guid, WRITE},
      {"compression", &K::compression, WRITE},
      {"piece_name", &K::piece_name, WRITE},
      {"dev_size", &K::dev_size, WRITE},
  };
  static Backup_Set_Kind const kind("Sybase_Backup_Set", "sybase", Backup_Set_Kind::NONE, nullptr, nullptr, fields);
  return kind;
}

Sybase_Backup_Set::Sybase_Backup_Set() : Backup_Set("sybase") {}
Sybase_Backup_Set::~Sybase_Backup_Set() = default;

bool Sybase_Backup_Set::generate_i(YAJL_Gen& gen) { return kind().generate(*this, gen); }

std::string Sybase_Backup_Set::multi_channels_uri_format(std::string uri) {
  std::string::size_type point = uri.rfind('.');
  uri.insert(point == std::string::npos ? uri.size() : point, "_%d");
  return uri;
}
