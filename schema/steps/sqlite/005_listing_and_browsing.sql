-- Listing and browsing at scale, SQLite form.
--
-- Set views walk one index in (backup_start_time DESC, uuid) order and page
-- by key, never by offset; each filter a view offers has an index of its
-- own in that order. Only complete sets are listed, so the indexes hold
-- only those.
--
-- A piece knows its directory (`dir`: its path up to the last '/', '' when
-- there is none), and backup_piece_dir holds every directory of a set once,
-- with the pieces and bytes beneath it: listing the children of a directory
-- reads two index ranges, whatever the size of the set. The index of a
-- set's pieces by id stays: a set's pieces read back in the order they were
-- written.

CREATE INDEX backup_set_listing ON backup_set(backup_start_time DESC, uuid) WHERE status='complete';
CREATE INDEX backup_set_listing_host ON backup_set(host_uuid, backup_start_time DESC, uuid) WHERE status='complete';
CREATE INDEX backup_set_listing_resource ON backup_set(resource_uuid, backup_start_time DESC, uuid)
  WHERE status='complete';
CREATE INDEX backup_set_listing_module ON backup_set(catalog_module, backup_start_time DESC, uuid)
  WHERE status='complete';
CREATE INDEX backup_set_listing_name ON backup_set(name, backup_start_time DESC, uuid) WHERE status='complete';

ALTER TABLE backup_piece ADD COLUMN dir TEXT NOT NULL DEFAULT '';
UPDATE backup_piece SET dir = CASE WHEN rtrim(path, replace(path, '/', '')) = '' THEN ''
  ELSE substr(rtrim(path, replace(path, '/', '')), 1, length(rtrim(path, replace(path, '/', ''))) - 1) END;

CREATE INDEX backup_piece_path ON backup_piece(set_uuid, path, id);
CREATE INDEX backup_piece_children ON backup_piece(set_uuid, dir, path, id);
-- Of indexes that serve a lookup equally well SQLite takes the newest: made
-- again last, the index by set (and id) keeps reading a set's pieces in the
-- order they were written.
DROP INDEX backup_piece_set;
CREATE INDEX backup_piece_set ON backup_piece(set_uuid);

CREATE TABLE backup_piece_dir (
  set_uuid BLOB    NOT NULL REFERENCES backup_set(uuid) ON DELETE CASCADE,
  path     TEXT    NOT NULL,
  parent   TEXT    NOT NULL,
  -- Pieces anywhere beneath the directory, and the sum of their sizes.
  pieces   INTEGER NOT NULL DEFAULT 0,
  size     INTEGER NOT NULL DEFAULT 0,
  PRIMARY KEY (set_uuid, path)
) WITHOUT ROWID;
CREATE INDEX backup_piece_dir_children ON backup_piece_dir(set_uuid, parent, path);

-- The directories of the pieces already stored: each piece's directory and
-- every directory above it, up to the root ('').
INSERT INTO backup_piece_dir(set_uuid, path, parent, pieces, size)
WITH RECURSIVE up(set_uuid, path, size) AS (
  SELECT set_uuid, dir, size FROM backup_piece WHERE dir <> ''
  UNION ALL
  SELECT set_uuid, CASE WHEN rtrim(path, replace(path, '/', '')) = '' THEN ''
    ELSE substr(rtrim(path, replace(path, '/', '')), 1, length(rtrim(path, replace(path, '/', ''))) - 1) END, size
  FROM up WHERE rtrim(path, replace(path, '/', '')) <> ''
)
SELECT set_uuid, path, CASE WHEN rtrim(path, replace(path, '/', '')) = '' THEN ''
    ELSE substr(rtrim(path, replace(path, '/', '')), 1, length(rtrim(path, replace(path, '/', ''))) - 1) END,
  count(*), sum(size)
FROM up WHERE path <> '' GROUP BY set_uuid, path;
