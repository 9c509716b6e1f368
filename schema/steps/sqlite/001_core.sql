-- Catalogue of backup sets, SQLite form. UUIDs are 16-byte BLOBs, JSON
-- documents TEXT, times TEXT "YYYY-MM-DD HH:MM:SS" in UTC, sizes and state
-- words 64-bit INTEGER. Safe to run again: every object is created only when
-- missing.

CREATE TABLE IF NOT EXISTS backup_set (
  uuid                BLOB    NOT NULL PRIMARY KEY,
  catalog_module      TEXT    NOT NULL DEFAULT '',
  -- 'staged' while pieces are still being added, 'complete' once the set is
  -- whole, 'aborted' when the job gave it up.
  status              TEXT    NOT NULL DEFAULT 'complete',
  name                TEXT,
  job_instance_uuid   BLOB,
  definition_uuid     BLOB,
  uid                 BLOB,
  host_uuid           BLOB,
  resource_uuid       BLOB,
  minor_resource_id   TEXT,
  minor_resource_name TEXT,
  agent               TEXT,
  incarnation         BLOB,
  type                TEXT,
  first_time          TEXT,
  last_time           TEXT,
  backup_start_time   TEXT,
  backup_end_time     TEXT,
  source_size         INTEGER NOT NULL DEFAULT 0,
  size                INTEGER NOT NULL DEFAULT 0,
  uri                 TEXT,
  host                TEXT,
  instance            TEXT,
  instance_version    TEXT,
  first_scn           INTEGER NOT NULL DEFAULT 0,
  last_scn            INTEGER NOT NULL DEFAULT 0,
  resource_tree       TEXT,
  extended_attrs      TEXT,
  uname               TEXT,
  lsb                 TEXT,
  -- JSON array of the UUID texts of the sets this one depends on.
  parents             TEXT,
  created_time        TEXT    NOT NULL DEFAULT (strftime('%Y-%m-%d %H:%M:%S', 'now'))
);

CREATE INDEX IF NOT EXISTS backup_set_resource ON backup_set(resource_uuid, backup_start_time);
CREATE INDEX IF NOT EXISTS backup_set_host ON backup_set(host_uuid);
CREATE INDEX IF NOT EXISTS backup_set_job ON backup_set(job_instance_uuid);
CREATE INDEX IF NOT EXISTS backup_set_status ON backup_set(status);

CREATE TABLE IF NOT EXISTS backup_piece (
  id             INTEGER PRIMARY KEY,
  set_uuid       BLOB    NOT NULL REFERENCES backup_set(uuid) ON DELETE CASCADE,
  path           TEXT    NOT NULL DEFAULT '',
  object         TEXT    NOT NULL DEFAULT '',
  size           INTEGER NOT NULL DEFAULT 0,
  extended_attrs TEXT
);

CREATE INDEX IF NOT EXISTS backup_piece_set ON backup_piece(set_uuid);

CREATE TABLE IF NOT EXISTS backup_set_storage (
  id                 INTEGER PRIMARY KEY,
  set_uuid           BLOB    NOT NULL REFERENCES backup_set(uuid) ON DELETE CASCADE,
  pool_uuid          BLOB    NOT NULL,
  size               INTEGER NOT NULL DEFAULT 0,
  state              INTEGER NOT NULL DEFAULT 0,
  upstream_pool_uuid BLOB,
  extended_attrs     TEXT,
  -- One copy per pool; also the index that finds a set's storages.
  UNIQUE (set_uuid, pool_uuid)
);

CREATE INDEX IF NOT EXISTS backup_set_storage_pool ON backup_set_storage(pool_uuid);

CREATE TABLE IF NOT EXISTS backup_set_media (
  set_storage_id INTEGER NOT NULL REFERENCES backup_set_storage(id) ON DELETE CASCADE,
  media_tag      TEXT    NOT NULL,
  PRIMARY KEY (set_storage_id, media_tag)
);
