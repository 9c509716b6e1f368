-- Staged sets that can be retried and expired, PostgreSQL form.
--
-- A staged set records when it was last written (`touched_time`, seconds
-- since the epoch): catalogd aborts staged sets left untouched longer than
-- its expiry, also those a crashed server left behind. Sets staged before
-- this step count as touched now.
--
-- backup_piece_batch remembers the batches of pieces a set has taken, by the
-- key the client gave them, so a retried batch is recognised and stored
-- once. The rows go with their set.

ALTER TABLE backup_set ADD COLUMN touched_time bigint;
UPDATE backup_set SET touched_time = extract(epoch FROM now())::bigint WHERE status = 'staged';
CREATE INDEX backup_set_staged ON backup_set(touched_time) WHERE status = 'staged';

CREATE TABLE backup_piece_batch (
  set_uuid bytea  NOT NULL REFERENCES backup_set(uuid) ON DELETE CASCADE,
  batch    text   COLLATE "C" NOT NULL,
  pieces   bigint NOT NULL DEFAULT 0,
  PRIMARY KEY (set_uuid, batch)
);
