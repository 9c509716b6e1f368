-- Application kinds, second group, SQLite form: Oracle, PostgreSQL,
-- MongoDB, NDMP, Domino, Kingbase, Oscar and Hive member tables, typed as in
-- step 2 (INTEGER, BOOLEAN, TEXT times in UTC, UNSIGNED BIG INT for unsigned
-- 64-bit values) and JSON for the free-form JSON columns (text read back as
-- a document). A flag that its kind reads back as an integer is an
-- INTEGER. OceanBase sets have no member table: their keys live in
-- backup_set.application only.

CREATE TABLE oracle_backup_set (
  set_uuid         BLOB    NOT NULL PRIMARY KEY REFERENCES backup_set(uuid) ON DELETE CASCADE,
  archivelog       BOOLEAN,
  cluster          BOOLEAN,
  standby          BOOLEAN,
  cdb              BOOLEAN,
  reset_time       TEXT,
  controlfile_time TEXT,
  checkpoint_time  TEXT,
  timezone_offset  INTEGER,
  dbid             UNSIGNED BIG INT,
  db_incarnation   UNSIGNED BIG INT,
  reset_scn        UNSIGNED BIG INT,
  controlfile_scn  UNSIGNED BIG INT,
  checkpoint_scn   UNSIGNED BIG INT,
  backup_type      TEXT,
  database         TEXT,
  compatible       TEXT,
  scsipool_id      TEXT,
  stage_id         TEXT,
  snapshot_id      TEXT,
  merge_tag        TEXT,
  special_files    JSON
);

CREATE TABLE oracle_arch_backup_set (
  set_uuid        BLOB    NOT NULL PRIMARY KEY REFERENCES backup_set(uuid) ON DELETE CASCADE,
  thread          UNSIGNED BIG INT,
  sequence        UNSIGNED BIG INT,
  reset_scn       UNSIGNED BIG INT,
  reset_time      TEXT,
  next_scn        UNSIGNED BIG INT,
  next_time       TEXT,
  archived        BOOLEAN,
  timezone_offset INTEGER
);

CREATE TABLE oracle_exp_backup_set (
  set_uuid    BLOB    NOT NULL PRIMARY KEY REFERENCES backup_set(uuid) ON DELETE CASCADE,
  exp_type    TEXT,
  exp_mode    TEXT,
  object_name TEXT,
  database    TEXT
);

-- What every PostgreSQL set records.
CREATE TABLE postgres_backup_set (
  set_uuid BLOB    NOT NULL PRIMARY KEY REFERENCES backup_set(uuid) ON DELETE CASCADE,
  seq      INTEGER,
  db_info  JSON,
  db_size  JSON,
  mtf      INTEGER,
  flavor   TEXT,
  grade    TEXT,
  format   TEXT
);

-- What a physical (base backup plus WAL) PostgreSQL set adds.
CREATE TABLE postgres_physical_set (
  set_uuid            BLOB    NOT NULL PRIMARY KEY REFERENCES backup_set(uuid) ON DELETE CASCADE,
  log_branch          TEXT,
  checkpoint_location TEXT,
  timeline            TEXT,
  start_wal_file      TEXT,
  start_wal_location  TEXT,
  stop_wal_file       TEXT,
  stop_wal_location   TEXT,
  data_dir            TEXT,
  archivelog_dir      TEXT,
  os_user             TEXT,
  suffix              TEXT,
  tablespace_path     JSON,
  from_wal_location   TEXT,
  channels            INTEGER,
  contain_log         INTEGER
);

CREATE TABLE mongodb_backup_set (
  set_uuid         BLOB    NOT NULL PRIMARY KEY REFERENCES backup_set(uuid) ON DELETE CASCADE,
  seq              INTEGER,
  arch_log_start   INTEGER,
  arch_log_end     INTEGER,
  arch_log_start_i INTEGER,
  arch_log_end_i   INTEGER,
  archive          INTEGER
);

CREATE TABLE ndmp_backup_set (
  set_uuid    BLOB    NOT NULL PRIMARY KEY REFERENCES backup_set(uuid) ON DELETE CASCADE,
  backup_type TEXT,
  seq         UNSIGNED BIG INT,
  level       UNSIGNED BIG INT,
  compression TEXT,
  vols        TEXT
);

CREATE TABLE domino_backup_set (
  set_uuid    BLOB    NOT NULL PRIMARY KEY REFERENCES backup_set(uuid) ON DELETE CASCADE,
  seq         INTEGER,
  source_type TEXT,
  data_path   TEXT,
  compression TEXT,
  daos        TEXT
);

CREATE TABLE kingbase_backup_set (
  set_uuid BLOB    NOT NULL PRIMARY KEY REFERENCES backup_set(uuid) ON DELETE CASCADE,
  seq      INTEGER
);

CREATE TABLE oscar_backup_set (
  set_uuid    BLOB    NOT NULL PRIMARY KEY REFERENCES backup_set(uuid) ON DELETE CASCADE,
  seq         INTEGER,
  tablespaces JSON
);

CREATE TABLE oscar_brcmd_backup_set (
  set_uuid             BLOB    NOT NULL PRIMARY KEY REFERENCES backup_set(uuid) ON DELETE CASCADE,
  backup_id            TEXT,
  last_backup_id       TEXT,
  last_full_backup_id  TEXT,
  backup_file          TEXT,
  backup_lsn           INTEGER,
  backup_scn           INTEGER,
  last_backup_lsn      INTEGER,
  last_backup_scn      INTEGER,
  last_full_backup_lsn INTEGER,
  last_full_backup_scn INTEGER
);

-- A Hive set is read from one relation holding the set's columns and its
-- Hive columns: the view hive_backup_set over the set and its member row.
-- The view names the set's columns one by one, so a later step that adds
-- a set column the statements read recreates it.
CREATE TABLE hive_member (
  set_uuid       BLOB    NOT NULL PRIMARY KEY REFERENCES backup_set(uuid) ON DELETE CASCADE,
  last_repl_id   TEXT,
  seq            INTEGER,
  channels       INTEGER,
  hash_algorithm TEXT,
  pool_type      TEXT,
  multidevice    BOOLEAN,
  encryption     TEXT
);

CREATE VIEW hive_backup_set AS
  SELECT s.uuid, s.catalog_module, s.status, s.name, s.job_instance_uuid, s.definition_uuid, s.uid, s.host_uuid,
         s.resource_uuid, s.minor_resource_id, s.minor_resource_name, s.agent, s.incarnation, s.type,
         s.first_time, s.last_time, s.backup_start_time, s.backup_end_time, s.source_size, s.size, s.uri, s.host,
         s.instance, s.instance_version, s.first_scn, s.last_scn, s.resource_tree, s.extended_attrs, s.uname,
         s.lsb, s.parents, s.created_time, s.application,
         h.last_repl_id, h.seq, h.channels, h.hash_algorithm, h.pool_type, h.multidevice, h.encryption
  FROM backup_set s JOIN hive_member h ON h.set_uuid = s.uuid;
