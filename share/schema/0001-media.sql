-- The media database: one table for each kind of media, filled by the indexer and read by everyone else.
--
-- Rules that the readers rely on:
--   * Text and numbers are never NULL: '' and 0 stand for "unknown", and '1970-01-01' for an unknown date.
--   * parent_id is the row of the directory that holds the file or directory; NULL only for the top of a shared folder.
--   * Every change of any table raises library.generation in the same transaction.

SET search_path = public, pg_catalog;

-- How names are ordered. People expect "abba" beside "ABBA", "Édith" beside "Edith" and "Disc 2" before "Disc 10",
-- which byte order gives none of, so names carry this collation whatever the database was created with. Equality
-- stays byte by byte. It costs LIKE its use of the plain indexes; prefix searches have indexes of their own with
-- text_pattern_ops.
CREATE COLLATION library_order (provider = icu, locale = 'und-u-kn-true');

-- The built-in to_char is only STABLE because some formats print month names in the session's language; the
-- categories use digits only, and need an index. Connections search this schema before pg_catalog, so the
-- category's own text finds this function.
CREATE FUNCTION to_char(timestamp, text) RETURNS text
    LANGUAGE sql IMMUTABLE STRICT PARALLEL SAFE
    AS 'SELECT pg_catalog.to_char($1, $2)';

-- One row. The generation lets a reader keep totals until the library really changes. It starts at the time, so that a
-- database made anew never repeats what a reader remembers of the old one.
CREATE TABLE library (
    only_row   boolean PRIMARY KEY DEFAULT true CHECK (only_row),
    generation bigint NOT NULL DEFAULT (extract(epoch FROM clock_timestamp()) * 1000000)::bigint
);
INSERT INTO library DEFAULT VALUES;

CREATE TABLE directory (
    id        serial PRIMARY KEY,
    parent_id integer,
    path      text COLLATE library_order NOT NULL UNIQUE,
    title     text COLLATE library_order NOT NULL DEFAULT '',
    date      timestamp NOT NULL DEFAULT '1970-01-01',
    mtime     bigint NOT NULL DEFAULT 0  -- nanoseconds since the epoch
);
CREATE INDEX directory_path_prefix ON directory (path text_pattern_ops);
CREATE INDEX directory_children ON directory (parent_id, title, id);

CREATE TABLE music (
    id             serial PRIMARY KEY,
    parent_id      integer,
    path           text COLLATE library_order NOT NULL UNIQUE,
    title          text COLLATE library_order NOT NULL DEFAULT '',
    album          text COLLATE library_order NOT NULL DEFAULT '',
    artist         text COLLATE library_order NOT NULL DEFAULT '',
    album_artist   text COLLATE library_order NOT NULL DEFAULT '',
    genre          text COLLATE library_order NOT NULL DEFAULT '',
    composer       text COLLATE library_order NOT NULL DEFAULT '',
    track          integer NOT NULL DEFAULT 0,
    disc           integer NOT NULL DEFAULT 0,
    year           integer NOT NULL DEFAULT 0,
    date           timestamp NOT NULL DEFAULT '1970-01-01',
    duration       real NOT NULL DEFAULT 0,       -- seconds
    container_type text NOT NULL DEFAULT '',
    audio_codec    text NOT NULL DEFAULT '',
    audio_bitrate  bigint NOT NULL DEFAULT 0,     -- bits per second
    frame_bitrate  bigint NOT NULL DEFAULT 0,     -- bits per second of the whole file
    frequency      integer NOT NULL DEFAULT 0,    -- Hz
    channel        integer NOT NULL DEFAULT 0,
    embedded_art   integer NOT NULL DEFAULT 0,
    filesize       bigint NOT NULL DEFAULT 0,     -- bytes
    mtime          bigint NOT NULL DEFAULT 0,     -- nanoseconds since the epoch
    inode          bigint NOT NULL DEFAULT 0
);
-- Each category has one index that finds a value's rows and gives them as the listing wants them, album by album. The id
-- at its end lets the list of a category's values (smallest id of each) be read from the index alone.
CREATE INDEX music_inode ON music (inode);  -- finds what a new name was before
CREATE INDEX music_path_prefix ON music (path text_pattern_ops);
CREATE INDEX music_children ON music (parent_id, album, disc, track);
CREATE INDEX music_album ON music (album, disc, track, path, id);
CREATE INDEX music_album_id ON music (album, id);
CREATE INDEX music_artist ON music (artist, album, disc, track, id);
CREATE INDEX music_album_artist ON music (album_artist, album, disc, track, id);
CREATE INDEX music_genre ON music (genre, album, disc, track, id);
CREATE INDEX music_composer ON music (composer, album, disc, track, id);
CREATE INDEX music_year ON music (year, album, disc, track, id);
CREATE INDEX music_month ON music (to_char(date, 'YYYY/MM'), album, disc, track);
CREATE INDEX music_day ON music (to_char(date, 'YYYY/MM/DD'), album, disc, track);
CREATE INDEX music_artist_letter ON music (upper(substr(artist, 1, 1)), artist, id);
CREATE INDEX music_album_letter ON music (upper(substr(album, 1, 1)), album, id);

CREATE TABLE video (
    id             serial PRIMARY KEY,
    parent_id      integer,
    path           text COLLATE library_order NOT NULL UNIQUE,
    title          text COLLATE library_order NOT NULL DEFAULT '',
    album          text COLLATE library_order NOT NULL DEFAULT '',
    genre          text COLLATE library_order NOT NULL DEFAULT '',
    year           integer NOT NULL DEFAULT 0,
    date           timestamp NOT NULL DEFAULT '1970-01-01',
    duration       real NOT NULL DEFAULT 0,
    container_type text NOT NULL DEFAULT '',
    video_codec    text NOT NULL DEFAULT '',
    audio_codec    text NOT NULL DEFAULT '',
    video_bitrate  bigint NOT NULL DEFAULT 0,
    frame_bitrate  bigint NOT NULL DEFAULT 0,
    audio_bitrate  bigint NOT NULL DEFAULT 0,
    frame_rate_num integer NOT NULL DEFAULT 0,
    frame_rate_den integer NOT NULL DEFAULT 0,
    frequency      integer NOT NULL DEFAULT 0,
    channel        integer NOT NULL DEFAULT 0,
    resolutionx    integer NOT NULL DEFAULT 0,
    resolutiony    integer NOT NULL DEFAULT 0,
    embedded_art   integer NOT NULL DEFAULT 0,
    filesize       bigint NOT NULL DEFAULT 0,
    mtime          bigint NOT NULL DEFAULT 0,
    inode          bigint NOT NULL DEFAULT 0
);
CREATE INDEX video_inode ON video (inode);
CREATE INDEX video_path_prefix ON video (path text_pattern_ops);
CREATE INDEX video_children_path ON video (parent_id, upper(path), id);
CREATE INDEX video_children_title ON video (parent_id, upper(title), id);
CREATE INDEX video_name ON video (upper("substring"(path, '([^/]+)$')), id);
CREATE INDEX video_title ON video (upper(title), id);
CREATE INDEX video_month ON video (to_char(date, 'YYYY/MM'), upper(title), id);
CREATE INDEX video_day ON video (to_char(date, 'YYYY/MM/DD'), upper(title), id);

CREATE TABLE photo (
    id             serial PRIMARY KEY,
    parent_id      integer,
    path           text COLLATE library_order NOT NULL UNIQUE,
    title          text COLLATE library_order NOT NULL DEFAULT '',
    album          text COLLATE library_order NOT NULL DEFAULT '',
    date           timestamp NOT NULL DEFAULT '1970-01-01',
    timetaken      timestamp NOT NULL DEFAULT '1970-01-01',
    container_type text NOT NULL DEFAULT '',
    resolutionx    integer NOT NULL DEFAULT 0,
    resolutiony    integer NOT NULL DEFAULT 0,
    filesize       bigint NOT NULL DEFAULT 0,
    mtime          bigint NOT NULL DEFAULT 0,
    inode          bigint NOT NULL DEFAULT 0
);
CREATE INDEX photo_inode ON photo (inode);
CREATE INDEX photo_path_prefix ON photo (path text_pattern_ops);
CREATE INDEX photo_children ON photo (parent_id, title, id);
CREATE INDEX photo_title ON photo (title, id);
CREATE INDEX photo_year ON photo (EXTRACT(YEAR FROM date), title, id);
CREATE INDEX photo_month_of_year ON photo (EXTRACT(MONTH FROM date), title, id);
CREATE INDEX photo_month ON photo (to_char(date, 'YYYY/MM'), title, id);
CREATE INDEX photo_day ON photo (to_char(date, 'YYYY/MM/DD'), title, id);
CREATE INDEX photo_month_taken ON photo (to_char(timetaken, 'YYYY/MM'), title, id);
CREATE INDEX photo_day_taken ON photo (to_char(timetaken, 'YYYY/MM/DD'), title, id);

CREATE TABLE playlist (
    id        serial PRIMARY KEY,
    parent_id integer,
    path      text COLLATE library_order NOT NULL UNIQUE,
    title     text COLLATE library_order NOT NULL DEFAULT '',
    date      timestamp NOT NULL DEFAULT '1970-01-01',
    filesize  bigint NOT NULL DEFAULT 0,
    mtime     bigint NOT NULL DEFAULT 0,
    inode     bigint NOT NULL DEFAULT 0
);
CREATE INDEX playlist_inode ON playlist (inode);
CREATE INDEX playlist_path_prefix ON playlist (path text_pattern_ops);
CREATE INDEX playlist_children ON playlist (parent_id, title, id);
CREATE INDEX playlist_title ON playlist (title, id);
