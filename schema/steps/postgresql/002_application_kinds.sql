-- Application kinds, PostgreSQL form. Each set document carries an
-- application part; the whole part is kept as a jsonb object on the set, and
-- the fields the views select on are kept typed in one member table per
-- kind. A member row belongs to one set and is deleted with it. Every member
-- column may be null: an agent fills only what its application knows.
--
-- Integers are bigint, flags boolean, times timestamp(0) without time zone
-- holding UTC like the set's own times. Unsigned 64-bit values are
-- numeric(20,0), which holds all of them.

ALTER TABLE backup_set ADD COLUMN application jsonb;

-- The views select the sets of one module.
CREATE INDEX backup_set_module ON backup_set(catalog_module);

-- File-system sets are read from this same table, hence its last five
-- columns.
CREATE TABLE dmdb_backup_set (
  set_uuid           bytea   NOT NULL PRIMARY KEY REFERENCES backup_set(uuid) ON DELETE CASCADE,
  seq                bigint,
  backup_version     bigint,
  object             text,
  compression        text,
  backup_set         text,
  backup_base        text,
  arch_log_start     bigint,
  arch_log_end       bigint,
  permanent_db_magic bigint,
  db_magic           bigint,
  case_sensitive     bigint,
  unicode_flag       bigint,
  page_size          bigint,
  extent_size        bigint,
  channels           bigint,
  hash_algorithm     text,
  pool_type          text,
  multidevice        boolean,
  encryption         text
);

CREATE TABLE dmdb_log_backup_set (
  set_uuid           bytea   NOT NULL PRIMARY KEY REFERENCES backup_set(uuid) ON DELETE CASCADE,
  seq                bigint,
  backup_version     bigint,
  dm_type            bigint,
  compression        text,
  backup_set         text,
  arch_start_time    text,
  arch_end_time      text,
  permanent_db_magic bigint,
  db_magic           bigint,
  timezone_offset    bigint,
  number             bigint,
  active             boolean
);

CREATE TABLE dmdb_logical_backup_set (
  set_uuid       bytea   NOT NULL PRIMARY KEY REFERENCES backup_set(uuid) ON DELETE CASCADE,
  seq            bigint,
  backup_version bigint,
  case_sensitive bigint,
  backup_set     text,
  dm_type        text,
  exp_mode       text
);

CREATE TABLE hana_backup_set (
  set_uuid           bytea   NOT NULL PRIMARY KEY REFERENCES backup_set(uuid) ON DELETE CASCADE,
  lifeline           text,
  sid                text,
  system_version     text,
  instance_num       numeric(20,0),
  instance_name      text,
  extended_attrs     text,
  database           text,
  database_backup_id numeric(20,0)
);

CREATE TABLE db2_backup_set (
  set_uuid           bytea   NOT NULL PRIMARY KEY REFERENCES backup_set(uuid) ON DELETE CASCADE,
  database           text,
  base_start_point   bigint,
  meta_file          text,
  archive_dir        text,
  archive_first_log  text,
  archive_last_log   text,
  archive_start_time timestamp(0) without time zone,
  archive_end_time   timestamp(0) without time zone,
  is_archive_set     boolean
);

CREATE TABLE gaussdb_backup_set (
  set_uuid         bytea   NOT NULL PRIMARY KEY REFERENCES backup_set(uuid) ON DELETE CASCADE,
  seq              bigint,
  meta_destination text,
  backup_key       text,
  prior_backup_key text,
  timeline         text,
  compression      text,
  granularity      text,
  database         text,
  nodes_count      bigint,
  series           bigint
);

CREATE TABLE cachedb_backup_set (
  set_uuid    bytea   NOT NULL PRIMARY KEY REFERENCES backup_set(uuid) ON DELETE CASCADE,
  start_log   text,
  end_log     text,
  current_log text,
  journal_dir text
);

CREATE TABLE informix_backup_set (
  set_uuid      bytea   NOT NULL PRIMARY KEY REFERENCES backup_set(uuid) ON DELETE CASCADE,
  pre_seal_time timestamp(0) without time zone
);

CREATE TABLE sharepoint_backup_set (
  set_uuid      bytea   NOT NULL PRIMARY KEY REFERENCES backup_set(uuid) ON DELETE CASCADE,
  device_uuid   text,
  database      text,
  domain        text,
  backup_method text,
  rev           bigint
);
