-- Application kinds, SQLite form. Each set document carries an application
-- part; the whole part is kept as a JSON object on the set, and the fields
-- the views select on are kept typed in one member table per kind. A member
-- row belongs to one set and is deleted with it. Every member column may be
-- null: an agent fills only what its application knows.
--
-- Integers are 64-bit INTEGER, flags BOOLEAN holding 0 or 1, times TEXT
-- "YYYY-MM-DD HH:MM:SS" in UTC. "UNSIGNED BIG INT" columns hold unsigned
-- 64-bit values by their bit pattern: values above 2^63 - 1 read back
-- negative and are turned back into unsigned by whoever reads them.

ALTER TABLE backup_set ADD COLUMN application TEXT;

-- The views select the sets of one module.
CREATE INDEX backup_set_module ON backup_set(catalog_module);

-- File-system sets are read from this same table, hence its last five
-- columns.
CREATE TABLE dmdb_backup_set (
  set_uuid           BLOB    NOT NULL PRIMARY KEY REFERENCES backup_set(uuid) ON DELETE CASCADE,
  seq                INTEGER,
  backup_version     INTEGER,
  object             TEXT,
  compression        TEXT,
  backup_set         TEXT,
  backup_base        TEXT,
  arch_log_start     INTEGER,
  arch_log_end       INTEGER,
  permanent_db_magic INTEGER,
  db_magic           INTEGER,
  case_sensitive     INTEGER,
  unicode_flag       INTEGER,
  page_size          INTEGER,
  extent_size        INTEGER,
  channels           INTEGER,
  hash_algorithm     TEXT,
  pool_type          TEXT,
  multidevice        BOOLEAN,
  encryption         TEXT
);

CREATE TABLE dmdb_log_backup_set (
  set_uuid           BLOB    NOT NULL PRIMARY KEY REFERENCES backup_set(uuid) ON DELETE CASCADE,
  seq                INTEGER,
  backup_version     INTEGER,
  dm_type            INTEGER,
  compression        TEXT,
  backup_set         TEXT,
  arch_start_time    TEXT,
  arch_end_time      TEXT,
  permanent_db_magic INTEGER,
  db_magic           INTEGER,
  timezone_offset    INTEGER,
  number             INTEGER,
  active             BOOLEAN
);

CREATE TABLE dmdb_logical_backup_set (
  set_uuid       BLOB    NOT NULL PRIMARY KEY REFERENCES backup_set(uuid) ON DELETE CASCADE,
  seq            INTEGER,
  backup_version INTEGER,
  case_sensitive INTEGER,
  backup_set     TEXT,
  dm_type        TEXT,
  exp_mode       TEXT
);

CREATE TABLE hana_backup_set (
  set_uuid           BLOB    NOT NULL PRIMARY KEY REFERENCES backup_set(uuid) ON DELETE CASCADE,
  lifeline           TEXT,
  sid                TEXT,
  system_version     TEXT,
  instance_num       UNSIGNED BIG INT,
  instance_name      TEXT,
  extended_attrs     TEXT,
  database           TEXT,
  database_backup_id UNSIGNED BIG INT
);

CREATE TABLE db2_backup_set (
  set_uuid           BLOB    NOT NULL PRIMARY KEY REFERENCES backup_set(uuid) ON DELETE CASCADE,
  database           TEXT,
  base_start_point   INTEGER,
  meta_file          TEXT,
  archive_dir        TEXT,
  archive_first_log  TEXT,
  archive_last_log   TEXT,
  archive_start_time TEXT,
  archive_end_time   TEXT,
  is_archive_set     BOOLEAN
);

CREATE TABLE gaussdb_backup_set (
  set_uuid         BLOB    NOT NULL PRIMARY KEY REFERENCES backup_set(uuid) ON DELETE CASCADE,
  seq              INTEGER,
  meta_destination TEXT,
  backup_key       TEXT,
  prior_backup_key TEXT,
  timeline         TEXT,
  compression      TEXT,
  granularity      TEXT,
  database         TEXT,
  nodes_count      INTEGER,
  series           INTEGER
);

CREATE TABLE cachedb_backup_set (
  set_uuid    BLOB    NOT NULL PRIMARY KEY REFERENCES backup_set(uuid) ON DELETE CASCADE,
  start_log   TEXT,
  end_log     TEXT,
  current_log TEXT,
  journal_dir TEXT
);

CREATE TABLE informix_backup_set (
  set_uuid      BLOB    NOT NULL PRIMARY KEY REFERENCES backup_set(uuid) ON DELETE CASCADE,
  pre_seal_time TEXT
);

CREATE TABLE sharepoint_backup_set (
  set_uuid      BLOB    NOT NULL PRIMARY KEY REFERENCES backup_set(uuid) ON DELETE CASCADE,
  device_uuid   TEXT,
  database      TEXT,
  domain        TEXT,
  backup_method TEXT,
  rev           INTEGER
);
