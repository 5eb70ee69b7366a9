-- The video library: what the files of the table "video" are - movies, episodes of shows, home videos, recordings - and
-- who is in them. Filled by the indexer, read by everyone else.
--
-- Rules that the readers rely on:
--   * A record is a row of "mapper" and the row of its kind's table that refers to it. Kinds ("type"): 1 movie, 2 show,
--     3 episode, 4 home video, 5 recording.
--   * A file's facts stand in "video" alone, under the same id. A record without files goes in the statement that takes
--     its last file, and a show with its last episode.
--   * Text and numbers are never NULL: '' and 0 stand for "unknown". Dates are text, "YYYY-MM-DD" or
--     "YYYY-MM-DD HH:MM:SS".
--   * Every change raises library.generation in the same transaction.

SET search_path = public, pg_catalog;

CREATE TABLE mapper (
    id         serial PRIMARY KEY,
    type       integer NOT NULL,
    key        text NOT NULL,                   -- files of the same kind and key are one record
    source_id  integer NOT NULL DEFAULT 0,      -- the file that described the record
    source_nfo boolean NOT NULL DEFAULT false,  -- whether it had a description beside it, or only its name
    UNIQUE (type, key)
);

CREATE TABLE video_file (
    id        integer PRIMARY KEY REFERENCES video ON DELETE CASCADE,
    mapper_id integer NOT NULL REFERENCES mapper ON DELETE CASCADE,
    type      integer NOT NULL,
    subtitle  boolean NOT NULL DEFAULT false,  -- a file "<name>.srt" lies beside it
    stamp     text NOT NULL DEFAULT ''         -- what the indexer saw when it described the file
);
CREATE INDEX video_file_mapper ON video_file (mapper_id, id);

-- In lists of one kind the title comes first; the id at the end of each index makes pages join and lets them be found
-- from the index alone. "subtitled" is true for a record of one file that has a subtitle file beside it.
CREATE TABLE movie (
    id                 serial PRIMARY KEY,
    mapper_id          integer NOT NULL UNIQUE REFERENCES mapper ON DELETE CASCADE,
    title              text COLLATE library_order NOT NULL DEFAULT '',
    sort_title         text COLLATE library_order NOT NULL DEFAULT '',
    tag_line           text NOT NULL DEFAULT '',
    year               integer NOT NULL DEFAULT 0,
    original_available text NOT NULL DEFAULT '',
    subtitled          boolean NOT NULL DEFAULT false
);
CREATE INDEX movie_sort ON movie (sort_title, id, mapper_id);
CREATE INDEX movie_year ON movie (year, sort_title, id, mapper_id);
CREATE INDEX movie_subtitled ON movie (sort_title, id, mapper_id) WHERE subtitled;

CREATE TABLE tvshow (
    id                 serial PRIMARY KEY,
    mapper_id          integer NOT NULL UNIQUE REFERENCES mapper ON DELETE CASCADE,
    title              text COLLATE library_order NOT NULL DEFAULT '',
    sort_title         text COLLATE library_order NOT NULL DEFAULT '',
    year               integer NOT NULL DEFAULT 0,
    original_available text NOT NULL DEFAULT ''
);
CREATE INDEX tvshow_sort ON tvshow (sort_title, id, mapper_id);

-- An episode's title is its show's; its own is the tag line.
CREATE TABLE tvshow_episode (
    id                 serial PRIMARY KEY,
    mapper_id          integer NOT NULL UNIQUE REFERENCES mapper ON DELETE CASCADE,
    tvshow_id          integer NOT NULL REFERENCES tvshow ON DELETE CASCADE,
    season             integer NOT NULL DEFAULT 0,  -- 0 for specials
    episode            integer NOT NULL DEFAULT 0,
    tag_line           text NOT NULL DEFAULT '',
    year               integer NOT NULL DEFAULT 0,
    original_available text NOT NULL DEFAULT '',
    subtitled          boolean NOT NULL DEFAULT false
);
CREATE INDEX tvshow_episode_sort ON tvshow_episode (season, episode, id);
CREATE INDEX tvshow_episode_show ON tvshow_episode (tvshow_id, season, episode, id);
CREATE INDEX tvshow_episode_year ON tvshow_episode (year, tvshow_id, id);

CREATE TABLE home_video (
    id          serial PRIMARY KEY,
    mapper_id   integer NOT NULL UNIQUE REFERENCES mapper ON DELETE CASCADE,
    title       text COLLATE library_order NOT NULL DEFAULT '',
    sort_title  text COLLATE library_order NOT NULL DEFAULT '',
    record_date text NOT NULL DEFAULT '',
    subtitled   boolean NOT NULL DEFAULT false
);
CREATE INDEX home_video_sort ON home_video (sort_title, id, mapper_id);
CREATE INDEX home_video_date ON home_video (left(record_date, 10), sort_title, id, mapper_id);
CREATE INDEX home_video_subtitled ON home_video (sort_title, id, mapper_id) WHERE subtitled;

CREATE TABLE tv_record (
    id           serial PRIMARY KEY,
    mapper_id    integer NOT NULL UNIQUE REFERENCES mapper ON DELETE CASCADE,
    title        text COLLATE library_order NOT NULL DEFAULT '',
    sort_title   text COLLATE library_order NOT NULL DEFAULT '',
    channel_name text COLLATE library_order NOT NULL DEFAULT '',
    record_date  text NOT NULL DEFAULT '',
    subtitled    boolean NOT NULL DEFAULT false
);
CREATE INDEX tv_record_sort ON tv_record (sort_title, id, mapper_id);
CREATE INDEX tv_record_program ON tv_record (title, id);
CREATE INDEX tv_record_channel ON tv_record (channel_name, sort_title, id, mapper_id);
CREATE INDEX tv_record_date ON tv_record (left(record_date, 10), sort_title, id, mapper_id);
CREATE INDEX tv_record_subtitled ON tv_record (sort_title, id, mapper_id) WHERE subtitled;

CREATE TABLE summary (
    mapper_id integer PRIMARY KEY REFERENCES mapper ON DELETE CASCADE,
    summary   text NOT NULL
);

-- People and genres: the names, and the records that have them. "position" is the order in which a record's are told.
CREATE TABLE actor (
    id    serial PRIMARY KEY,
    actor text COLLATE library_order NOT NULL UNIQUE
);
CREATE TABLE actor_map (
    mapper_id integer NOT NULL REFERENCES mapper ON DELETE CASCADE,
    actor_id  integer NOT NULL REFERENCES actor,
    type      integer NOT NULL,
    position  integer NOT NULL,
    PRIMARY KEY (mapper_id, actor_id)
);
CREATE INDEX actor_map_records ON actor_map (actor_id, type, mapper_id);

CREATE TABLE director (
    id       serial PRIMARY KEY,
    director text COLLATE library_order NOT NULL UNIQUE
);
CREATE TABLE director_map (
    mapper_id   integer NOT NULL REFERENCES mapper ON DELETE CASCADE,
    director_id integer NOT NULL REFERENCES director,
    type        integer NOT NULL,
    position    integer NOT NULL,
    PRIMARY KEY (mapper_id, director_id)
);
CREATE INDEX director_map_records ON director_map (director_id, type, mapper_id);

CREATE TABLE writer (
    id     serial PRIMARY KEY,
    writer text COLLATE library_order NOT NULL UNIQUE
);
CREATE TABLE writer_map (
    mapper_id integer NOT NULL REFERENCES mapper ON DELETE CASCADE,
    writer_id integer NOT NULL REFERENCES writer,
    type      integer NOT NULL,
    position  integer NOT NULL,
    PRIMARY KEY (mapper_id, writer_id)
);
CREATE INDEX writer_map_records ON writer_map (writer_id, type, mapper_id);

CREATE TABLE gnere (
    id    serial PRIMARY KEY,
    gnere text COLLATE library_order NOT NULL UNIQUE
);
CREATE TABLE gnere_map (
    mapper_id integer NOT NULL REFERENCES mapper ON DELETE CASCADE,
    gnere_id  integer NOT NULL REFERENCES gnere,
    type      integer NOT NULL,
    position  integer NOT NULL,
    PRIMARY KEY (mapper_id, gnere_id)
);
CREATE INDEX gnere_map_records ON gnere_map (gnere_id, type, mapper_id);

-- What a directory has below it, at any depth, so that those without videos are passed over without looking into them.
ALTER TABLE directory
    ADD COLUMN videos      integer NOT NULL DEFAULT 0,  -- files of the video library
    ADD COLUMN first_video integer NOT NULL DEFAULT 0,  -- the smallest id of them
    ADD COLUMN video_kinds integer NOT NULL DEFAULT 0,  -- which kinds are among them: the bits 1 << type
    ADD COLUMN nfo_stamp   bigint NOT NULL DEFAULT 0;   -- names and times of the descriptions (.nfo) directly in it
CREATE INDEX directory_with_videos ON directory (parent_id, title, id) WHERE videos > 0;

-- Directories whose videos the indexer has yet to describe. The triggers see to it that no change of "video" is missed,
-- whoever made it and whatever happened to him afterwards.
CREATE TABLE video_work (
    directory_id integer PRIMARY KEY,
    is_described boolean NOT NULL DEFAULT false  -- what lies below it and above has yet to be counted
);

CREATE FUNCTION note_video_work() RETURNS trigger LANGUAGE plpgsql AS $$
BEGIN
    INSERT INTO video_work SELECT DISTINCT parent_id FROM changed WHERE parent_id IS NOT NULL
        ON CONFLICT (directory_id) DO UPDATE SET is_described = false;
    RETURN NULL;
END $$;
CREATE TRIGGER note_added AFTER INSERT ON video
    REFERENCING NEW TABLE AS changed FOR EACH STATEMENT EXECUTE FUNCTION note_video_work();
CREATE TRIGGER note_changed_from AFTER UPDATE ON video
    REFERENCING OLD TABLE AS changed FOR EACH STATEMENT EXECUTE FUNCTION note_video_work();
CREATE TRIGGER note_changed_to AFTER UPDATE ON video
    REFERENCING NEW TABLE AS changed FOR EACH STATEMENT EXECUTE FUNCTION note_video_work();
CREATE TRIGGER note_removed AFTER DELETE ON video
    REFERENCING OLD TABLE AS changed FOR EACH STATEMENT EXECUTE FUNCTION note_video_work();
CREATE TRIGGER note_removed AFTER DELETE ON directory
    REFERENCING OLD TABLE AS changed FOR EACH STATEMENT EXECUTE FUNCTION note_video_work();

-- A record that lost a file goes with the last one; what remains of it is described anew.
CREATE FUNCTION keep_mapper() RETURNS trigger LANGUAGE plpgsql AS $$
BEGIN
    DELETE FROM mapper AS m WHERE m.id IN (SELECT mapper_id FROM gone)
        AND NOT EXISTS (SELECT 1 FROM video_file AS f WHERE f.mapper_id = m.id);
    WITH other AS (
        UPDATE video_file SET stamp = '' WHERE mapper_id IN (SELECT mapper_id FROM gone) RETURNING id)
    INSERT INTO video_work SELECT DISTINCT v.parent_id FROM video AS v JOIN other USING (id)
        WHERE v.parent_id IS NOT NULL ON CONFLICT (directory_id) DO UPDATE SET is_described = false;
    RETURN NULL;
END $$;
CREATE TRIGGER keep_mapper AFTER DELETE ON video_file
    REFERENCING OLD TABLE AS gone FOR EACH STATEMENT EXECUTE FUNCTION keep_mapper();

CREATE FUNCTION keep_tvshow() RETURNS trigger LANGUAGE plpgsql AS $$
BEGIN
    DELETE FROM mapper WHERE id IN (
        SELECT s.mapper_id FROM tvshow AS s WHERE s.id IN (SELECT tvshow_id FROM gone)
            AND NOT EXISTS (SELECT 1 FROM tvshow_episode AS e WHERE e.tvshow_id = s.id));
    RETURN NULL;
END $$;
CREATE TRIGGER keep_tvshow AFTER DELETE ON tvshow_episode
    REFERENCING OLD TABLE AS gone FOR EACH STATEMENT EXECUTE FUNCTION keep_tvshow();

-- A library that was indexed before it had this catalogue.
INSERT INTO video_work SELECT DISTINCT parent_id FROM video WHERE parent_id IS NOT NULL;
