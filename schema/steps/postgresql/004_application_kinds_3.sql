-- Application kinds, third group, PostgreSQL form: the virtual-machine and
-- cloud kinds (VMware, Hyper-V, OpenStack, FusionCompute, FusionCloud, ICS,
-- H3C CAS, CloudOS), typed as in the steps before (bigint, boolean, text,
-- numeric(20,0) for unsigned 64-bit values) with json (not jsonb) for the
-- free JSON and the nested hardware descriptions, so that they reach a
-- record as documents.
-- Windows bare-metal and Kubernetes sets have no member table: their keys
-- live in backup_set.application only.

CREATE TABLE vmware_backup_set (
  set_uuid             bytea NOT NULL PRIMARY KEY REFERENCES backup_set(uuid) ON DELETE CASCADE,
  vm_uuid              text,
  instance_uuid        text,
  parent_uuid          text,
  vm_name              text,
  esxi_name            text,
  esxi_uuid            text,
  esxi_moid            text,
  vcenter_name         text,
  firmware             text,
  guestos_id           text,
  version              text,
  memory_size          numeric(20,0),
  cpu_num              numeric(20,0),
  cpu_cores_per_socket numeric(20,0),
  controllers          json,
  network_adapters     json,
  cd_roms              json,
  tags                 json,
  resource_pool_name   text,
  resource_pool_moid   text,
  folder_moid          text,
  datastore            text,
  snapshot_id          text,
  merge_backup_id      text,
  is_template          boolean
);

CREATE TABLE hyperv_backup_set (
  set_uuid           bytea NOT NULL PRIMARY KEY REFERENCES backup_set(uuid) ON DELETE CASCADE,
  vm_name            text,
  vm_guid            text,
  vm_setting_id      text,
  vm_prev_setting_id text,
  vm_config_version  text,
  vm_generation      bigint,
  memory_mbytes      bigint,
  cpu_count          bigint,
  network_adapters   json,
  controllers        json,
  drives             json,
  vhd_chains         json
);

-- set_uuid is the set's uuid; the cloud's own identifiers are the others.
CREATE TABLE openstack_backup_set (
  set_uuid              bytea NOT NULL PRIMARY KEY REFERENCES backup_set(uuid) ON DELETE CASCADE,
  vm_id                 text,
  vm_name               text,
  backup_uuid           text,
  last_backup_uuid      text,
  last_full_backup_uuid text,
  profile               json,
  volumes               json
);

CREATE TABLE fusioncompute_backup_set (
  set_uuid         bytea NOT NULL PRIMARY KEY REFERENCES backup_set(uuid) ON DELETE CASCADE,
  vm_name          text,
  vm_uuid          text,
  vm_uri           text,
  location_urn     text,
  os_type          text,
  os_version       bigint,
  cpu_count        bigint,
  memory_mbytes    bigint,
  network_adapters json,
  volumes          json,
  snapshot_urn     text
);

CREATE TABLE fusioncloud_backup_set (
  set_uuid           bytea NOT NULL PRIMARY KEY REFERENCES backup_set(uuid) ON DELETE CASCADE,
  vm_id              text,
  vm_name            text,
  project_id         text,
  project_name       text,
  vm_profile         json,
  flavor_profile     json,
  interfaces_profile json,
  image_profile      json,
  volumes_profile    json
);

CREATE TABLE ics_backup_set (
  set_uuid          bytea NOT NULL PRIMARY KEY REFERENCES backup_set(uuid) ON DELETE CASCADE,
  vm_name           text,
  vm_id             text,
  vm_uuid           text,
  vm_version        text,
  datacenter_id     text,
  owner_host_id     text,
  owner_host_ip     text,
  owner_host_name   text,
  base_info         json,
  cpu_info          json,
  mem_info          json,
  aggregates        json,
  boot_devices      json,
  floppys           json,
  cdroms            json,
  nics              json,
  gpus              json,
  usbs              json,
  vm_extended_attrs json
);

CREATE TABLE h3ccas_backup_set (
  set_uuid       bytea NOT NULL PRIMARY KEY REFERENCES backup_set(uuid) ON DELETE CASCADE,
  cvk_host_id    text,
  cvk_host_name  text,
  cvk_host_ip    text,
  vm_id          text,
  vm_title       text,
  vm_name        text,
  vm_config_path text,
  cbt_name       text,
  vm_disks       json,
  cpu_count      bigint,
  cpu_cores      bigint,
  memory_mbytes  bigint
);

CREATE TABLE cloudos_backup_set (
  set_uuid    bytea NOT NULL PRIMARY KEY REFERENCES backup_set(uuid) ON DELETE CASCADE,
  host_id     text,
  host_name   text,
  vm_id       text,
  vm_name     text,
  vm_disks    json,
  vm_config   json,
  snapshot_id text
);
