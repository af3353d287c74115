-- The database of one personal photo folder (SQLite). Run once when the folder is first used, and safe to run again.
--
-- Keys named path are relative to the photo folder; sharename is an album's path below it, "/" for the root. Both are raw
-- bytes compared as such: BINARY collation serves equality, LIKE prefixes and order with one index. Flags are the texts
-- 't' and 'f'; updated is '0' (marked by a reindex) or '1' (seen). Times are free-form texts.
-- photo.sql has the same tables and columns for the shared tree.

PRAGMA journal_mode = WAL;
BEGIN IMMEDIATE;

CREATE TABLE IF NOT EXISTS photo_image (
  id INTEGER PRIMARY KEY AUTOINCREMENT,
  path TEXT NOT NULL UNIQUE,
  name TEXT,
  title TEXT,
  description TEXT,
  album TEXT,
  size INTEGER,
  camera_make TEXT,
  camera_model TEXT,
  exposure TEXT,
  aperture TEXT,
  resolutionx INTEGER,
  resolutiony INTEGER,
  iso INTEGER,
  timetaken TEXT,
  updated TEXT DEFAULT '1',
  create_time TEXT,
  version INTEGER DEFAULT 0,
  gps TEXT,
  disabled TEXT DEFAULT 'f',
  shareid INTEGER,
  privilege_shareid INTEGER,
  rotation INTEGER DEFAULT 0,
  lat REAL,
  lng REAL,
  focal_length_v2 TEXT,
  lens_v2 TEXT,
  flash_v2 TEXT
);
CREATE INDEX IF NOT EXISTS photo_image_shareid ON photo_image (shareid);

CREATE TABLE IF NOT EXISTS video (
  id INTEGER PRIMARY KEY AUTOINCREMENT,
  path TEXT NOT NULL UNIQUE,
  filesize INTEGER,
  title TEXT,
  album TEXT,
  frame_bitrate INTEGER,
  duration INTEGER,
  resolutionx INTEGER,
  resolutiony INTEGER,
  audio_bitrate INTEGER,
  frequency INTEGER,
  channel INTEGER,
  date TEXT,
  mdate TEXT,
  video_codec TEXT,
  audio_codec TEXT,
  video_profile INTEGER,
  video_level INTEGER,
  container_type TEXT,
  frame_rate_num INTEGER,
  frame_rate_den INTEGER,
  video_bitrate INTEGER,
  gps TEXT,
  disabled TEXT DEFAULT 'f',
  shareid INTEGER,
  privilege_shareid INTEGER,
  rotation INTEGER DEFAULT 1,
  updated TEXT DEFAULT '1',
  lat REAL,
  lng REAL
);
CREATE INDEX IF NOT EXISTS video_shareid ON video (shareid);

CREATE TABLE IF NOT EXISTS video_desc (
  id INTEGER PRIMARY KEY,
  path TEXT NOT NULL UNIQUE,
  title TEXT,
  description TEXT,
  updated TEXT DEFAULT '1'
);

-- Comments people leave on a video, several to one path.
CREATE TABLE IF NOT EXISTS video_comment (
  id INTEGER PRIMARY KEY,
  path TEXT NOT NULL,
  name TEXT,
  email TEXT,
  comment TEXT,
  date TEXT,
  updated TEXT DEFAULT '1'
);
CREATE INDEX IF NOT EXISTS video_comment_path ON video_comment (path);

-- Converted copies of a video.
CREATE TABLE IF NOT EXISTS video_convert (
  id INTEGER PRIMARY KEY,
  video_path TEXT NOT NULL,
  convert_file_path TEXT NOT NULL,
  filesize INTEGER,
  resolutionx INTEGER,
  resolutiony INTEGER,
  video_bitrate INTEGER,
  vcodec TEXT,
  video_profile INTEGER,
  video_level INTEGER,
  container_type TEXT,
  acodec TEXT,
  audio_bitrate INTEGER,
  audio_frequency INTEGER,
  audio_channel INTEGER,
  convert_type TEXT,
  updated TEXT DEFAULT '1',
  UNIQUE (video_path, convert_file_path)
);

-- Albums. ref_shareid is the album whose settings this one refers to.
CREATE TABLE IF NOT EXISTS photo_share (
  shareid INTEGER PRIMARY KEY,
  sharename TEXT NOT NULL UNIQUE,
  title TEXT DEFAULT '',
  description TEXT DEFAULT '',
  public TEXT DEFAULT 'f',
  hits INTEGER DEFAULT 0,
  cover TEXT DEFAULT '',
  comment TEXT DEFAULT 'f',
  is_subdir TEXT DEFAULT 'f',
  updated TEXT DEFAULT '1',
  conversion TEXT DEFAULT 't',
  ref_shareid INTEGER,
  password TEXT DEFAULT ''
);

-- Who may see, add to and manage an album; rows are written by position.
CREATE TABLE IF NOT EXISTS photo_access_right (userid INTEGER, shareid INTEGER, time TEXT);
CREATE TABLE IF NOT EXISTS photo_access_right_for_zor_account (userid INTEGER, shareid INTEGER, time TEXT);
CREATE TABLE IF NOT EXISTS photo_upload_right (userid INTEGER, shareid INTEGER, time TEXT);
CREATE TABLE IF NOT EXISTS photo_upload_right_for_zor_account (userid INTEGER, shareid INTEGER, time TEXT);
CREATE TABLE IF NOT EXISTS photo_manage_right (userid INTEGER, shareid INTEGER, time TEXT);
CREATE TABLE IF NOT EXISTS photo_manage_right_for_zor_account (userid INTEGER, shareid INTEGER, time TEXT);

CREATE TABLE IF NOT EXISTS photo_config (
  config_key TEXT PRIMARY KEY,
  config_value TEXT
);

-- Labels: people (category 0), places and the like, keywords (category 2).
CREATE TABLE IF NOT EXISTS photo_label (
  id INTEGER PRIMARY KEY,
  category INTEGER NOT NULL,
  name TEXT NOT NULL,
  UNIQUE (category, name)
);

-- A label on a photo. info_new replaces info where it is not empty; status 't' is confirmed.
CREATE TABLE IF NOT EXISTS photo_image_label (
  id INTEGER PRIMARY KEY AUTOINCREMENT,
  image_id INTEGER NOT NULL REFERENCES photo_image (id) ON DELETE CASCADE,
  label_id INTEGER NOT NULL REFERENCES photo_label (id) ON DELETE CASCADE,
  info TEXT DEFAULT '',
  info_new TEXT DEFAULT '',
  status TEXT DEFAULT 't'
);
CREATE INDEX IF NOT EXISTS photo_image_label_image_id ON photo_image_label (image_id, label_id);
CREATE INDEX IF NOT EXISTS photo_image_label_label_id ON photo_image_label (label_id);

CREATE TABLE IF NOT EXISTS photo_video_label (
  id INTEGER PRIMARY KEY AUTOINCREMENT,
  video_path TEXT NOT NULL,
  label_id INTEGER NOT NULL REFERENCES photo_label (id) ON DELETE CASCADE,
  info TEXT DEFAULT '',
  info_new TEXT DEFAULT '',
  status TEXT DEFAULT 't'
);
CREATE INDEX IF NOT EXISTS photo_video_label_video_path ON photo_video_label (video_path);
CREATE INDEX IF NOT EXISTS photo_video_label_label_id ON photo_video_label (label_id);

-- Two programs that write the same at the same moment each look first and find nothing. These keys refuse the row of the
-- later one: an account has a right on an album once, and no link is there twice (the same person in two places of a
-- photo is two links). A database of earlier days may hold such rows; the first of them stays.
DELETE FROM photo_access_right WHERE EXISTS (SELECT 1 FROM photo_access_right B
  WHERE B.shareid = photo_access_right.shareid AND B.userid = photo_access_right.userid
    AND B.rowid < photo_access_right.rowid);
DROP INDEX IF EXISTS photo_access_right_shareid;
CREATE UNIQUE INDEX IF NOT EXISTS photo_access_right_key ON photo_access_right (shareid, userid);
DELETE FROM photo_access_right_for_zor_account WHERE EXISTS (SELECT 1 FROM photo_access_right_for_zor_account B
  WHERE B.shareid = photo_access_right_for_zor_account.shareid AND B.userid = photo_access_right_for_zor_account.userid
    AND B.rowid < photo_access_right_for_zor_account.rowid);
DROP INDEX IF EXISTS photo_access_right_for_zor_account_shareid;
CREATE UNIQUE INDEX IF NOT EXISTS photo_access_right_for_zor_account_key ON photo_access_right_for_zor_account (shareid, userid);
DELETE FROM photo_upload_right WHERE EXISTS (SELECT 1 FROM photo_upload_right B
  WHERE B.shareid = photo_upload_right.shareid AND B.userid = photo_upload_right.userid
    AND B.rowid < photo_upload_right.rowid);
DROP INDEX IF EXISTS photo_upload_right_shareid;
CREATE UNIQUE INDEX IF NOT EXISTS photo_upload_right_key ON photo_upload_right (shareid, userid);
DELETE FROM photo_upload_right_for_zor_account WHERE EXISTS (SELECT 1 FROM photo_upload_right_for_zor_account B
  WHERE B.shareid = photo_upload_right_for_zor_account.shareid AND B.userid = photo_upload_right_for_zor_account.userid
    AND B.rowid < photo_upload_right_for_zor_account.rowid);
DROP INDEX IF EXISTS photo_upload_right_for_zor_account_shareid;
CREATE UNIQUE INDEX IF NOT EXISTS photo_upload_right_for_zor_account_key ON photo_upload_right_for_zor_account (shareid, userid);
DELETE FROM photo_manage_right WHERE EXISTS (SELECT 1 FROM photo_manage_right B
  WHERE B.shareid = photo_manage_right.shareid AND B.userid = photo_manage_right.userid
    AND B.rowid < photo_manage_right.rowid);
DROP INDEX IF EXISTS photo_manage_right_shareid;
CREATE UNIQUE INDEX IF NOT EXISTS photo_manage_right_key ON photo_manage_right (shareid, userid);
DELETE FROM photo_manage_right_for_zor_account WHERE EXISTS (SELECT 1 FROM photo_manage_right_for_zor_account B
  WHERE B.shareid = photo_manage_right_for_zor_account.shareid AND B.userid = photo_manage_right_for_zor_account.userid
    AND B.rowid < photo_manage_right_for_zor_account.rowid);
DROP INDEX IF EXISTS photo_manage_right_for_zor_account_shareid;
CREATE UNIQUE INDEX IF NOT EXISTS photo_manage_right_for_zor_account_key ON photo_manage_right_for_zor_account (shareid, userid);
DELETE FROM photo_image_label WHERE EXISTS (SELECT 1 FROM photo_image_label B
  WHERE B.image_id = photo_image_label.image_id AND B.label_id = photo_image_label.label_id
    AND B.info = photo_image_label.info AND B.info_new = photo_image_label.info_new
    AND B.status = photo_image_label.status AND B.id < photo_image_label.id);
-- In an order in which no statement finds anything by it: the indexes above do that, and cost less.
CREATE UNIQUE INDEX IF NOT EXISTS photo_image_label_key
  ON photo_image_label (info_new, info, status, image_id, label_id);

-- What the indexing service keeps here about its runs, and nothing that is indexed: 'generation', a number that every batch
-- raises and the name of its run; 'generation/CATALOGUE', the last one of those who wrote last; 'marked', while rows are marked by a reindex; 'mounts', on which file
-- systems below the library rows lie.
CREATE TABLE IF NOT EXISTS lumivault_fact (
  name TEXT NOT NULL PRIMARY KEY,
  number INTEGER NOT NULL DEFAULT 0,
  value TEXT NOT NULL DEFAULT ''
);

-- The photo folder itself is the album "/".
INSERT OR IGNORE INTO photo_share (shareid, sharename, public, comment, ref_shareid) VALUES (1, '/', 't', 'f', 1);

-- Planner statistics of an ordinary library: few labels on a photo, many photos to a label. With these SQLite steps from
-- label to label when it looks for unused ones, instead of through every link. Those that somebody has taken stay. The
-- first ANALYZE makes their table and looks at nothing, the last one has this connection read it.
ANALYZE sqlite_master;
INSERT INTO sqlite_stat1 (tbl, idx, stat)
  SELECT column1, column2, column3 FROM (VALUES
    ('photo_image_label', 'photo_image_label_image_id', '200000 4 1'),
    ('photo_image_label', 'photo_image_label_label_id', '200000 1000'),
    ('photo_video_label', 'photo_video_label_video_path', '200000 4'),
    ('photo_video_label', 'photo_video_label_label_id', '200000 1000'))
  WHERE NOT EXISTS (SELECT 1 FROM sqlite_stat1 WHERE idx = column2);
ANALYZE sqlite_master;

COMMIT;
