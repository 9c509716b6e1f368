-- Application kinds, third group, SQLite form: the virtual-machine and
-- cloud kinds (VMware, Hyper-V, OpenStack, FusionCompute, FusionCloud, ICS,
-- H3C CAS, CloudOS), typed as in the steps before (INTEGER, BOOLEAN, TEXT,
-- UNSIGNED BIG INT for unsigned 64-bit values) with JSON for the free JSON
-- and the nested hardware descriptions (text read back as a document).
-- Windows bare-metal and Kubernetes sets have no member table: their keys
-- live in backup_set.application only.

CREATE TABLE vmware_backup_set (
  set_uuid             BLOB NOT NULL PRIMARY KEY REFERENCES backup_set(uuid) ON DELETE CASCADE,
  vm_uuid              TEXT,
  instance_uuid        TEXT,
  parent_uuid          TEXT,
  vm_name              TEXT,
  esxi_name            TEXT,
  esxi_uuid            TEXT,
  esxi_moid            TEXT,
  vcenter_name         TEXT,
  firmware             TEXT,
  guestos_id           TEXT,
  version              TEXT,
  memory_size          UNSIGNED BIG INT,
  cpu_num              UNSIGNED BIG INT,
  cpu_cores_per_socket UNSIGNED BIG INT,
  controllers          JSON,
  network_adapters     JSON,
  cd_roms              JSON,
  tags                 JSON,
  resource_pool_name   TEXT,
  resource_pool_moid   TEXT,
  folder_moid          TEXT,
  datastore            TEXT,
  snapshot_id          TEXT,
  merge_backup_id      TEXT,
  is_template          BOOLEAN
);

CREATE TABLE hyperv_backup_set (
  set_uuid           BLOB NOT NULL PRIMARY KEY REFERENCES backup_set(uuid) ON DELETE CASCADE,
  vm_name            TEXT,
  vm_guid            TEXT,
  vm_setting_id      TEXT,
  vm_prev_setting_id TEXT,
  vm_config_version  TEXT,
  vm_generation      INTEGER,
  memory_mbytes      INTEGER,
  cpu_count          INTEGER,
  network_adapters   JSON,
  controllers        JSON,
  drives             JSON,
  vhd_chains         JSON
);

-- set_uuid is the set's uuid; the cloud's own identifiers are the others.
CREATE TABLE openstack_backup_set (
  set_uuid              BLOB NOT NULL PRIMARY KEY REFERENCES backup_set(uuid) ON DELETE CASCADE,
  vm_id                 TEXT,
  vm_name               TEXT,
  backup_uuid           TEXT,
  last_backup_uuid      TEXT,
  last_full_backup_uuid TEXT,
  profile               JSON,
  volumes               JSON
);

CREATE TABLE fusioncompute_backup_set (
  set_uuid         BLOB NOT NULL PRIMARY KEY REFERENCES backup_set(uuid) ON DELETE CASCADE,
  vm_name          TEXT,
  vm_uuid          TEXT,
  vm_uri           TEXT,
  location_urn     TEXT,
  os_type          TEXT,
  os_version       INTEGER,
  cpu_count        INTEGER,
  memory_mbytes    INTEGER,
  network_adapters JSON,
  volumes          JSON,
  snapshot_urn     TEXT
);

CREATE TABLE fusioncloud_backup_set (
  set_uuid           BLOB NOT NULL PRIMARY KEY REFERENCES backup_set(uuid) ON DELETE CASCADE,
  vm_id              TEXT,
  vm_name            TEXT,
  project_id         TEXT,
  project_name       TEXT,
  vm_profile         JSON,
  flavor_profile     JSON,
  interfaces_profile JSON,
  image_profile      JSON,
  volumes_profile    JSON
);

CREATE TABLE ics_backup_set (
  set_uuid          BLOB NOT NULL PRIMARY KEY REFERENCES backup_set(uuid) ON DELETE CASCADE,
  vm_name           TEXT,
  vm_id             TEXT,
  vm_uuid           TEXT,
  vm_version        TEXT,
  datacenter_id     TEXT,
  owner_host_id     TEXT,
  owner_host_ip     TEXT,
  owner_host_name   TEXT,
  base_info         JSON,
  cpu_info          JSON,
  mem_info          JSON,
  aggregates        JSON,
  boot_devices      JSON,
  floppys           JSON,
  cdroms            JSON,
  nics              JSON,
  gpus              JSON,
  usbs              JSON,
  vm_extended_attrs JSON
);

CREATE TABLE h3ccas_backup_set (
  set_uuid       BLOB NOT NULL PRIMARY KEY REFERENCES backup_set(uuid) ON DELETE CASCADE,
  cvk_host_id    TEXT,
  cvk_host_name  TEXT,
  cvk_host_ip    TEXT,
  vm_id          TEXT,
  vm_title       TEXT,
  vm_name        TEXT,
  vm_config_path TEXT,
  cbt_name       TEXT,
  vm_disks       JSON,
  cpu_count      INTEGER,
  cpu_cores      INTEGER,
  memory_mbytes  INTEGER
);

CREATE TABLE cloudos_backup_set (
  set_uuid    BLOB NOT NULL PRIMARY KEY REFERENCES backup_set(uuid) ON DELETE CASCADE,
  host_id     TEXT,
  host_name   TEXT,
  vm_id       TEXT,
  vm_name     TEXT,
  vm_disks    JSON,
  vm_config   JSON,
  snapshot_id TEXT
);
