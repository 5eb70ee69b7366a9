-- A library of :songs songs as rows, below directory :top: 12 songs to an album, 8 albums to an artist, 24 genres. Each
-- album has its directory, but every tenth song lies in the one directory "0 Flat", which is listed first.
BEGIN;
DELETE FROM music WHERE path LIKE :'top' || '/%';
DELETE FROM directory WHERE path LIKE :'top' || '/%';
INSERT INTO directory (path, title) VALUES (:'top', 'm') ON CONFLICT (path) DO NOTHING;
CREATE TEMP TABLE home ON COMMIT DROP AS SELECT id FROM directory WHERE path = :'top';

INSERT INTO directory (parent_id, path, title)
SELECT home.id, :'top' || '/0 Flat', '0 Flat' FROM home
UNION ALL
SELECT home.id, :'top' || '/Album ' || to_char(album, 'FM000000'), 'Album ' || album
FROM home, generate_series(0, (:songs - 1) / 12) AS albums(album);

INSERT INTO music (parent_id, path, title, album, artist, album_artist, genre, composer, track, disc, year, date, duration,
                   container_type, audio_codec, audio_bitrate, frequency, channel, filesize)
SELECT directory.id, directory.path || '/' || to_char(song, 'FM0000000') || ' A Song of Some Length.mp3',
       'A Song of Some Length ' || song, 'The Album ' || album, 'An Artist of Renown ' || artist,
       'An Artist of Renown ' || artist, 'Genre ' || artist % 24, 'A Composer ' || artist % 500, song % 12 + 1, 1,
       1960 + album % 60, timestamp '2015-01-01' + album % 3000 * interval '1 day', 180 + song % 240,
       'mp3', 'mp3', 320000, 44100, 2, 7200000 + song
FROM generate_series(0, :songs - 1) AS songs(song) CROSS JOIN LATERAL (SELECT song / 12 AS album, song / 96 AS artist) AS numbers
JOIN directory ON directory.path = :'top' || CASE WHEN song % 10 = 0 THEN '/0 Flat'
                                                  ELSE '/Album ' || to_char(album, 'FM000000') END;
UPDATE library SET generation = generation + 1;
COMMIT;
VACUUM ANALYZE music, directory;
