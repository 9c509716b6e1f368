#include "backup/backup_set/common/k8s_backup_set.h"

Backup_Set_Kind const& K8S_Backup_Set::kind() {
  typedef K8S_Backup_Set K;
  unsigned const OUT = Kind_Field::NO_INTAKE;
  static Kind_Field const fields[] = {
      {"seq", &K::seq, OUT},
      {"channels", &K::channels, OUT},
      {"pvc_backup_type", &K::pvc_backup_type, OUT},
      {"backup_details", &K::backup_details, OUT},
  };
  static Backup_Set_Kind const kind("K8S_Backup_Set", "kubernetes", Backup_Set_Kind::NONE, nullptr, nullptr, fields);
  return kind;
}

K8S_Backup_Set::K8S_Backup_Set() : Backup_Set("kubernetes") {}
K8S_Backup_Set::~K8S_Backup_Set() = default;

bool K8S_Backup_Set::generate_i(YAJL_Gen& gen) { return kind().generate(*this, gen); }
