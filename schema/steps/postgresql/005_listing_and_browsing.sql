-- Listing and browsing at scale, PostgreSQL form.
--
-- Set views walk one index in (backup_start_time DESC NULLS LAST, uuid)
-- order and page by key, never by offset; each filter a view offers has an
-- index of its own in that order. Only complete sets are listed, so the
-- indexes hold only those.
--
-- A piece knows its directory (`dir`: its path up to the last '/', '' when
-- there is none), and backup_piece_dir holds every directory of a set once,
-- with the pieces and bytes beneath it: listing the children of a directory
-- reads two index ranges, whatever the size of the set. The index of a
-- set's pieces by id stays: a set's pieces read back in the order they were
-- written.
--
-- Paths compare byte by byte (collation "C"), as SQLite compares them, so
-- both engines page pieces in the same order.

CREATE INDEX backup_set_listing ON backup_set(backup_start_time DESC NULLS LAST, uuid) WHERE status='complete';
CREATE INDEX backup_set_listing_host ON backup_set(host_uuid, backup_start_time DESC NULLS LAST, uuid) WHERE status='complete';
CREATE INDEX backup_set_listing_resource ON backup_set(resource_uuid, backup_start_time DESC NULLS LAST, uuid)
  WHERE status='complete';
CREATE INDEX backup_set_listing_module ON backup_set(catalog_module, backup_start_time DESC NULLS LAST, uuid)
  WHERE status='complete';
CREATE INDEX backup_set_listing_name ON backup_set(name, backup_start_time DESC NULLS LAST, uuid) WHERE status='complete';

ALTER TABLE backup_piece ALTER COLUMN path TYPE text COLLATE "C";
ALTER TABLE backup_piece ADD COLUMN dir text COLLATE "C" NOT NULL DEFAULT '';
UPDATE backup_piece SET dir = CASE WHEN rtrim(path, replace(path, '/', '')) = '' THEN ''
  ELSE substr(rtrim(path, replace(path, '/', '')), 1, length(rtrim(path, replace(path, '/', ''))) - 1) END;

CREATE INDEX backup_piece_path ON backup_piece(set_uuid, path, id);
CREATE INDEX backup_piece_children ON backup_piece(set_uuid, dir, path, id);

-- The check that a piece's set exists runs once per statement over the rows
-- it added, not once per row as a foreign key does: a COPY of a large batch
-- spent two thirds of its time in the per-row checks. Deleting a set still
-- takes its pieces with it.
ALTER TABLE backup_piece DROP CONSTRAINT IF EXISTS backup_piece_set_uuid_fkey;

CREATE FUNCTION backup_piece_sets_exist() RETURNS trigger LANGUAGE plpgsql AS $$
BEGIN
  IF EXISTS (SELECT 1 FROM (SELECT DISTINCT set_uuid FROM added) a
             WHERE NOT EXISTS (SELECT 1 FROM backup_set b WHERE b.uuid = a.set_uuid)) THEN
    RAISE foreign_key_violation USING MESSAGE = 'a piece names a set that is not in backup_set';
  END IF;
  RETURN NULL;
END $$;
CREATE TRIGGER backup_piece_inserted AFTER INSERT ON backup_piece REFERENCING NEW TABLE AS added
  FOR EACH STATEMENT EXECUTE FUNCTION backup_piece_sets_exist();
CREATE TRIGGER backup_piece_updated AFTER UPDATE ON backup_piece REFERENCING NEW TABLE AS added
  FOR EACH STATEMENT EXECUTE FUNCTION backup_piece_sets_exist();

CREATE FUNCTION backup_set_pieces_go() RETURNS trigger LANGUAGE plpgsql AS $$
BEGIN
  DELETE FROM backup_piece WHERE set_uuid = OLD.uuid;
  RETURN NULL;
END $$;
CREATE TRIGGER backup_set_deleted AFTER DELETE ON backup_set FOR EACH ROW EXECUTE FUNCTION backup_set_pieces_go();

-- A set's uuid names its pieces; it is not changed while it has any.
CREATE FUNCTION backup_set_uuid_kept() RETURNS trigger LANGUAGE plpgsql AS $$
BEGIN
  IF EXISTS (SELECT 1 FROM backup_piece WHERE set_uuid = OLD.uuid) THEN
    RAISE foreign_key_violation USING MESSAGE = 'the uuid of a set that has pieces cannot change';
  END IF;
  RETURN NULL;
END $$;
CREATE TRIGGER backup_set_uuid_changed AFTER UPDATE OF uuid ON backup_set FOR EACH ROW
  WHEN (OLD.uuid IS DISTINCT FROM NEW.uuid) EXECUTE FUNCTION backup_set_uuid_kept();

CREATE TABLE backup_piece_dir (
  set_uuid bytea  NOT NULL REFERENCES backup_set(uuid) ON DELETE CASCADE,
  path     text   COLLATE "C" NOT NULL,
  parent   text   COLLATE "C" NOT NULL,
  -- Pieces anywhere beneath the directory, and the sum of their sizes.
  pieces   bigint NOT NULL DEFAULT 0,
  size     bigint NOT NULL DEFAULT 0,
  PRIMARY KEY (set_uuid, path)
);
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
