-- Application kinds, second group, PostgreSQL form: Oracle, PostgreSQL,
-- MongoDB, NDMP, Domino, Kingbase, Oscar and Hive member tables, typed as
-- in step 2 (bigint, boolean, timestamp(0) in UTC, numeric(20,0) for
-- unsigned 64-bit values). The free-form JSON columns are json, not jsonb:
-- a json column reaches a record as a document by its type, where a jsonb
-- one stays text unless the reader's value table names it. A flag that its
-- kind reads back as an integer is a bigint. OceanBase sets have no member
-- table: their keys live in backup_set.application only.

CREATE TABLE oracle_backup_set (
  set_uuid         bytea   NOT NULL PRIMARY KEY REFERENCES backup_set(uuid) ON DELETE CASCADE,
  archivelog       boolean,
  cluster          boolean,
  standby          boolean,
  cdb              boolean,
  reset_time       timestamp(0) without time zone,
  controlfile_time timestamp(0) without time zone,
  checkpoint_time  timestamp(0) without time zone,
  timezone_offset  bigint,
  dbid             numeric(20,0),
  db_incarnation   numeric(20,0),
  reset_scn        numeric(20,0),
  controlfile_scn  numeric(20,0),
  checkpoint_scn   numeric(20,0),
  backup_type      text,
  database         text,
  compatible       text,
  scsipool_id      text,
  stage_id         text,
  snapshot_id      text,
  merge_tag        text,
  special_files    json
);

CREATE TABLE oracle_arch_backup_set (
  set_uuid        bytea   NOT NULL PRIMARY KEY REFERENCES backup_set(uuid) ON DELETE CASCADE,
  thread          numeric(20,0),
  sequence        numeric(20,0),
  reset_scn       numeric(20,0),
  reset_time      timestamp(0) without time zone,
  next_scn        numeric(20,0),
  next_time       timestamp(0) without time zone,
  archived        boolean,
  timezone_offset bigint
);

CREATE TABLE oracle_exp_backup_set (
  set_uuid    bytea   NOT NULL PRIMARY KEY REFERENCES backup_set(uuid) ON DELETE CASCADE,
  exp_type    text,
  exp_mode    text,
  object_name text,
  database    text
);

-- What every PostgreSQL set records.
CREATE TABLE postgres_backup_set (
  set_uuid bytea   NOT NULL PRIMARY KEY REFERENCES backup_set(uuid) ON DELETE CASCADE,
  seq      bigint,
  db_info  json,
  db_size  json,
  mtf      bigint,
  flavor   text,
  grade    text,
  format   text
);

-- What a physical (base backup plus WAL) PostgreSQL set adds.
CREATE TABLE postgres_physical_set (
  set_uuid            bytea   NOT NULL PRIMARY KEY REFERENCES backup_set(uuid) ON DELETE CASCADE,
  log_branch          text,
  checkpoint_location text,
  timeline            text,
  start_wal_file      text,
  start_wal_location  text,
  stop_wal_file       text,
  stop_wal_location   text,
  data_dir            text,
  archivelog_dir      text,
  os_user             text,
  suffix              text,
  tablespace_path     json,
  from_wal_location   text,
  channels            bigint,
  contain_log         bigint
);

CREATE TABLE mongodb_backup_set (
  set_uuid         bytea   NOT NULL PRIMARY KEY REFERENCES backup_set(uuid) ON DELETE CASCADE,
  seq              bigint,
  arch_log_start   bigint,
  arch_log_end     bigint,
  arch_log_start_i bigint,
  arch_log_end_i   bigint,
  archive          bigint
);

CREATE TABLE ndmp_backup_set (
  set_uuid    bytea   NOT NULL PRIMARY KEY REFERENCES backup_set(uuid) ON DELETE CASCADE,
  backup_type text,
  seq         numeric(20,0),
  level       numeric(20,0),
  compression text,
  vols        text
);

CREATE TABLE domino_backup_set (
  set_uuid    bytea   NOT NULL PRIMARY KEY REFERENCES backup_set(uuid) ON DELETE CASCADE,
  seq         bigint,
  source_type text,
  data_path   text,
  compression text,
  daos        text
);

CREATE TABLE kingbase_backup_set (
  set_uuid bytea   NOT NULL PRIMARY KEY REFERENCES backup_set(uuid) ON DELETE CASCADE,
  seq      bigint
);

CREATE TABLE oscar_backup_set (
  set_uuid    bytea   NOT NULL PRIMARY KEY REFERENCES backup_set(uuid) ON DELETE CASCADE,
  seq         bigint,
  tablespaces json
);

CREATE TABLE oscar_brcmd_backup_set (
  set_uuid             bytea   NOT NULL PRIMARY KEY REFERENCES backup_set(uuid) ON DELETE CASCADE,
  backup_id            text,
  last_backup_id       text,
  last_full_backup_id  text,
  backup_file          text,
  backup_lsn           bigint,
  backup_scn           bigint,
  last_backup_lsn      bigint,
  last_backup_scn      bigint,
  last_full_backup_lsn bigint,
  last_full_backup_scn bigint
);

-- A Hive set is read from one relation holding the set's columns and its
-- Hive columns: the view hive_backup_set over the set and its member row.
-- The view names the set's columns one by one, so a later step that adds
-- a set column the statements read recreates it.
CREATE TABLE hive_member (
  set_uuid       bytea   NOT NULL PRIMARY KEY REFERENCES backup_set(uuid) ON DELETE CASCADE,
  last_repl_id   text,
  seq            bigint,
  channels       bigint,
  hash_algorithm text,
  pool_type      text,
  multidevice    boolean,
  encryption     text
);

CREATE VIEW hive_backup_set AS
  SELECT s.uuid, s.catalog_module, s.status, s.name, s.job_instance_uuid, s.definition_uuid, s.uid, s.host_uuid,
         s.resource_uuid, s.minor_resource_id, s.minor_resource_name, s.agent, s.incarnation, s.type,
         s.first_time, s.last_time, s.backup_start_time, s.backup_end_time, s.source_size, s.size, s.uri, s.host,
         s.instance, s.instance_version, s.first_scn, s.last_scn, s.resource_tree, s.extended_attrs, s.uname,
         s.lsb, s.parents, s.created_time, s.application,
         h.last_repl_id, h.seq, h.channels, h.hash_algorithm, h.pool_type, h.multidevice, h.encryption
  FROM backup_set s JOIN hive_member h ON h.set_uuid = s.uuid;
