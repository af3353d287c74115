-- The database "photo" of the shared tree (PostgreSQL). Safe to run again.
--
-- Keys named path are absolute; sharename is an album's path below the shared photo folder, "/" for the root. Both compare
-- as bytes (collation "C"). A btree entry holds 2,704 bytes and a path may be longer, so a key is kept unique and found by
-- equality through a hash (an exclusion constraint), and found by prefix through an SP-GiST tree, which has no such limit.
-- Flags are the texts 't' and 'f'; updated is '0' (marked by a reindex) or '1' (seen). Times are free-form texts.
-- pphoto.sql has the same tables and columns for personal folders.

SET client_min_messages = warning;
BEGIN;

-- Two programs that set the database up at once wait for each other instead of failing.
SELECT pg_advisory_xact_lock(7310525);

CREATE TABLE IF NOT EXISTS photo_image (
  id SERIAL PRIMARY KEY,
  path TEXT COLLATE "C" NOT NULL,
  name TEXT,
  title TEXT,
  description TEXT,
  album TEXT,
  size BIGINT,
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
  lat DOUBLE PRECISION,
  lng DOUBLE PRECISION,
  focal_length_v2 TEXT,
  lens_v2 TEXT,
  flash_v2 TEXT,
  CONSTRAINT photo_image_path_key EXCLUDE USING hash (path WITH =)
);
CREATE INDEX IF NOT EXISTS photo_image_path_prefix ON photo_image USING spgist (path);
CREATE INDEX IF NOT EXISTS photo_image_shareid ON photo_image (shareid);

CREATE TABLE IF NOT EXISTS video (
  id SERIAL PRIMARY KEY,
  path TEXT COLLATE "C" NOT NULL,
  filesize BIGINT,
  title TEXT,
  album TEXT,
  frame_bitrate BIGINT,
  duration INTEGER,
  resolutionx INTEGER,
  resolutiony INTEGER,
  audio_bitrate BIGINT,
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
  video_bitrate BIGINT,
  gps TEXT,
  disabled TEXT DEFAULT 'f',
  shareid INTEGER,
  privilege_shareid INTEGER,
  rotation INTEGER DEFAULT 1,
  updated TEXT DEFAULT '1',
  lat DOUBLE PRECISION,
  lng DOUBLE PRECISION,
  CONSTRAINT video_path_key EXCLUDE USING hash (path WITH =)
);
CREATE INDEX IF NOT EXISTS video_path_prefix ON video USING spgist (path);
CREATE INDEX IF NOT EXISTS video_shareid ON video (shareid);

CREATE TABLE IF NOT EXISTS video_desc (
  id SERIAL PRIMARY KEY,
  path TEXT COLLATE "C" NOT NULL,
  title TEXT,
  description TEXT,
  updated TEXT DEFAULT '1',
  CONSTRAINT video_desc_path_key EXCLUDE USING hash (path WITH =)
);
CREATE INDEX IF NOT EXISTS video_desc_path_prefix ON video_desc USING spgist (path);

CREATE TABLE IF NOT EXISTS video_comment (
  id SERIAL PRIMARY KEY,
  path TEXT COLLATE "C" NOT NULL,
  name TEXT,
  email TEXT,
  comment TEXT,
  date TEXT,
  updated TEXT DEFAULT '1'
);
CREATE INDEX IF NOT EXISTS video_comment_path ON video_comment USING hash (path);
CREATE INDEX IF NOT EXISTS video_comment_path_prefix ON video_comment USING spgist (path);

CREATE TABLE IF NOT EXISTS video_convert (
  id SERIAL PRIMARY KEY,
  video_path TEXT COLLATE "C" NOT NULL,
  convert_file_path TEXT COLLATE "C" NOT NULL,
  filesize BIGINT,
  resolutionx INTEGER,
  resolutiony INTEGER,
  video_bitrate BIGINT,
  vcodec TEXT,
  video_profile INTEGER,
  video_level INTEGER,
  container_type TEXT,
  acodec TEXT,
  audio_bitrate BIGINT,
  audio_frequency INTEGER,
  audio_channel INTEGER,
  convert_type TEXT,
  updated TEXT DEFAULT '1',
  -- One array stands for the pair, since a hash covers one value.
  CONSTRAINT video_convert_paths_key EXCLUDE USING hash ((ARRAY[video_path, convert_file_path]) WITH =)
);
CREATE INDEX IF NOT EXISTS video_convert_video_path ON video_convert USING hash (video_path);
CREATE INDEX IF NOT EXISTS video_convert_video_path_prefix ON video_convert USING spgist (video_path);

CREATE TABLE IF NOT EXISTS photo_share (
  shareid INTEGER PRIMARY KEY,
  sharename TEXT COLLATE "C" NOT NULL,
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
  password TEXT DEFAULT '',
  CONSTRAINT photo_share_sharename_key EXCLUDE USING hash (sharename WITH =)
);
CREATE INDEX IF NOT EXISTS photo_share_sharename_prefix ON photo_share USING spgist (sharename);

CREATE TABLE IF NOT EXISTS photo_access_right (userid INTEGER, shareid INTEGER, time TEXT);
CREATE TABLE IF NOT EXISTS photo_access_right_for_zor_account (userid INTEGER, shareid INTEGER, time TEXT);
CREATE TABLE IF NOT EXISTS photo_upload_right (userid INTEGER, shareid INTEGER, time TEXT);
CREATE TABLE IF NOT EXISTS photo_upload_right_for_zor_account (userid INTEGER, shareid INTEGER, time TEXT);
CREATE TABLE IF NOT EXISTS photo_manage_right (userid INTEGER, shareid INTEGER, time TEXT);
CREATE TABLE IF NOT EXISTS photo_manage_right_for_zor_account (userid INTEGER, shareid INTEGER, time TEXT);

CREATE TABLE IF NOT EXISTS photo_config (
  config_key TEXT COLLATE "C" PRIMARY KEY,
  config_value TEXT
);

CREATE TABLE IF NOT EXISTS photo_label (
  id SERIAL PRIMARY KEY,
  category INTEGER NOT NULL,
  name TEXT COLLATE "C" NOT NULL,
  CONSTRAINT photo_label_name_key EXCLUDE USING hash ((category::text || ':' || name) WITH =)
);
CREATE INDEX IF NOT EXISTS photo_label_name ON photo_label USING hash (name);

CREATE TABLE IF NOT EXISTS photo_image_label (
  id SERIAL PRIMARY KEY,
  image_id INTEGER NOT NULL REFERENCES photo_image (id) ON DELETE CASCADE,
  label_id INTEGER NOT NULL REFERENCES photo_label (id) ON DELETE CASCADE,
  info TEXT DEFAULT '',
  info_new TEXT DEFAULT '',
  status TEXT DEFAULT 't'
);
CREATE INDEX IF NOT EXISTS photo_image_label_image_id ON photo_image_label (image_id, label_id);
CREATE INDEX IF NOT EXISTS photo_image_label_label_id ON photo_image_label (label_id);

CREATE TABLE IF NOT EXISTS photo_video_label (
  id SERIAL PRIMARY KEY,
  video_path TEXT COLLATE "C" NOT NULL,
  label_id INTEGER NOT NULL REFERENCES photo_label (id) ON DELETE CASCADE,
  info TEXT DEFAULT '',
  info_new TEXT DEFAULT '',
  status TEXT DEFAULT 't'
);
CREATE INDEX IF NOT EXISTS photo_video_label_video_path ON photo_video_label USING hash (video_path);
CREATE INDEX IF NOT EXISTS photo_video_label_video_path_prefix ON photo_video_label USING spgist (video_path);
CREATE INDEX IF NOT EXISTS photo_video_label_label_id ON photo_video_label (label_id);

-- Two programs that write the same at the same moment each look first and find nothing. These keys refuse the row of the
-- later one: an account has a right on an album once, and no link is there twice (the same person in two places of a
-- photo is two links). A database of earlier days may hold such rows; the first of them stays.
DO $$
DECLARE
  right_table TEXT;
BEGIN
  FOREACH right_table IN ARRAY ARRAY[
    'photo_access_right', 'photo_access_right_for_zor_account', 'photo_upload_right',
    'photo_upload_right_for_zor_account', 'photo_manage_right', 'photo_manage_right_for_zor_account'] LOOP
    CONTINUE WHEN to_regclass(right_table || '_key') IS NOT NULL;
    EXECUTE format('LOCK TABLE %I IN SHARE ROW EXCLUSIVE MODE', right_table);
    EXECUTE format('DELETE FROM %1$I A USING %1$I B '
                   'WHERE B.shareid = A.shareid AND B.userid = A.userid AND B.ctid < A.ctid', right_table);
    EXECUTE format('DROP INDEX IF EXISTS %I', right_table || '_shareid');
    EXECUTE format('CREATE UNIQUE INDEX %I ON %I (shareid, userid)', right_table || '_key', right_table);
  END LOOP;

  IF to_regclass('photo_image_label_key') IS NULL THEN
    LOCK TABLE photo_image_label IN SHARE ROW EXCLUSIVE MODE;
    DELETE FROM photo_image_label A USING photo_image_label B
      WHERE B.image_id = A.image_id AND B.label_id = A.label_id AND B.info = A.info
        AND B.info_new = A.info_new AND B.status = A.status AND B.id < A.id;
    -- A text may be longer than an entry. In an order in which no statement finds anything by it: the indexes above do
    -- that, and cost less.
    CREATE UNIQUE INDEX photo_image_label_key
      ON photo_image_label ((md5(info_new)::uuid), (md5(info)::uuid), status, image_id, label_id);
  END IF;
END $$;

INSERT INTO photo_share (shareid, sharename, public, comment, ref_shareid) VALUES (1, '/', 't', 'f', 1)
  ON CONFLICT DO NOTHING;

-- What the indexing service keeps here about its runs, and nothing that is indexed.
CREATE TABLE IF NOT EXISTS lumivault_fact (
  name TEXT NOT NULL PRIMARY KEY,
  number BIGINT NOT NULL DEFAULT 0,
  value TEXT NOT NULL DEFAULT ''
);
COMMENT ON TABLE lumivault_fact IS 'generation: raised by every batch, and the name of its run; generation/CATALOGUE: the last one of those who wrote last; marked: rows are marked by a reindex; mounts: on which file systems below the tree rows lie.';

COMMENT ON TABLE photo_image IS 'One row a photo.';
COMMENT ON COLUMN photo_image.path IS 'Absolute path, raw bytes.';
COMMENT ON COLUMN photo_image.version IS '1 when the large thumbnail lies the other way than the photo.';
COMMENT ON COLUMN photo_image.updated IS '0: marked by a running reindex; 1: seen.';
COMMENT ON COLUMN photo_image.shareid IS 'The album that holds the file.';
COMMENT ON COLUMN photo_image.privilege_shareid IS 'The album whose rights govern the file.';
COMMENT ON COLUMN photo_image.rotation IS 'Orientation code of the image, 1 to 8; 0 when unknown.';
COMMENT ON COLUMN photo_image.gps IS 'The position as JSON text.';
COMMENT ON TABLE video IS 'One row a video.';
COMMENT ON COLUMN video.rotation IS 'Orientation code: 1, 3, 6 or 8.';
COMMENT ON TABLE video_desc IS 'Title and description of a video, where they are not just its name.';
COMMENT ON TABLE video_comment IS 'Comments people leave on a video.';
COMMENT ON TABLE video_convert IS 'Converted copies of a video.';
COMMENT ON TABLE photo_share IS 'Albums, one row a folder.';
COMMENT ON COLUMN photo_share.sharename IS 'Path below the shared photo folder, "/" for the root.';
COMMENT ON COLUMN photo_share.ref_shareid IS 'The album whose settings this one refers to.';
COMMENT ON COLUMN photo_share.conversion IS 'f: videos below this top-level album are not converted.';
COMMENT ON TABLE photo_access_right IS 'Who may see an album.';
COMMENT ON TABLE photo_upload_right IS 'Who may add to an album.';
COMMENT ON TABLE photo_manage_right IS 'Who may manage an album.';
COMMENT ON TABLE photo_access_right_for_zor_account IS 'Who may see an album, accounts of the second account system.';
COMMENT ON TABLE photo_upload_right_for_zor_account IS 'Who may add to an album, accounts of the second account system.';
COMMENT ON TABLE photo_manage_right_for_zor_account IS 'Who may manage an album, accounts of the second account system.';
COMMENT ON TABLE photo_config IS 'Settings: key and value.';
COMMENT ON TABLE photo_label IS 'People (category 0) and keywords (category 2).';
COMMENT ON TABLE photo_image_label IS 'Labels of photos; info_new replaces info where it is not empty.';
COMMENT ON COLUMN photo_image_label.status IS 't: confirmed.';
COMMENT ON TABLE photo_video_label IS 'Labels of videos.';

COMMIT;
