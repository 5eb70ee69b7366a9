-- A video library of :videos records of each kind as rows, below directory :top: movies with a directory each, ten
-- episodes to a show, all home videos in one directory, recordings of 20 channels. Five actors of :videos / 4 and one of
-- 24 genres to a movie or episode; one movie in ten has two files.
BEGIN;
DELETE FROM video WHERE path LIKE :'top' || '/%';
DELETE FROM directory WHERE path LIKE :'top' || '/%';
SET client_min_messages = warning;
TRUNCATE mapper, actor, director, writer, gnere RESTART IDENTITY CASCADE;
INSERT INTO directory (path, title) VALUES (:'top', 'm') ON CONFLICT (path) DO NOTHING;
CREATE TEMP TABLE home ON COMMIT DROP AS SELECT id FROM directory WHERE path = :'top';
CREATE TEMP TABLE number ON COMMIT DROP AS SELECT n FROM generate_series(1, :videos) AS n;

INSERT INTO directory (parent_id, path, title)
SELECT home.id, :'top' || '/' || name, name FROM home, (VALUES ('Movies'), ('Shows'), ('Home'), ('Recordings')) AS v (name);
INSERT INTO directory (parent_id, path, title)
SELECT d.id, d.path || '/A Movie of Some Length ' || n, 'A Movie of Some Length ' || n
FROM number, directory AS d WHERE d.path = :'top' || '/Movies';
INSERT INTO directory (parent_id, path, title)
SELECT d.id, d.path || '/A Show ' || n, 'A Show ' || n
FROM number, directory AS d WHERE d.path = :'top' || '/Shows' AND n <= :videos / 10;

-- Which file belongs to which record, before either has an id.
CREATE TEMP TABLE file (type integer, key text, path text, directory text) ON COMMIT DROP;
INSERT INTO file
SELECT 1, n::text, d || '/A Movie cd' || part || '.mkv', d FROM number
CROSS JOIN LATERAL (SELECT :'top' || '/Movies/A Movie of Some Length ' || n AS d) AS directory,
generate_series(1, CASE WHEN n % 10 = 0 THEN 2 ELSE 1 END) AS part
UNION ALL SELECT 3, n::text, d || '/S01E' || n % 10 || '.mkv', d FROM number
CROSS JOIN LATERAL (SELECT :'top' || '/Shows/A Show ' || (n - 1) / 10 + 1 AS d) AS directory
UNION ALL SELECT 4, n::text, :'top' || '/Home/Clip ' || n || '.mp4', :'top' || '/Home' FROM number
UNION ALL SELECT 5, n::text, :'top' || '/Recordings/Recording ' || n || '.ts', :'top' || '/Recordings' FROM number;
INSERT INTO video (parent_id, path, title, duration, container_type, video_codec, audio_codec, frame_bitrate,
                   frame_rate_num, frame_rate_den, frequency, channel, resolutionx, resolutiony, filesize)
SELECT d.id, file.path, key, 5400, 'matroska', 'h264', 'ac3', 4000000, 25, 1, 48000, 6, 1920, 1080, 2700000000
FROM file JOIN directory AS d ON d.path = file.directory;

INSERT INTO mapper (type, key) SELECT type, n::text FROM (VALUES (1), (3), (4), (5)) AS v (type), number;
INSERT INTO mapper (type, key) SELECT 2, n::text FROM number WHERE n <= :videos / 10;
INSERT INTO video_file (id, mapper_id, type, subtitle)
SELECT v.id, m.id, m.type, v.id % 3 = 0 FROM file JOIN video AS v USING (path) JOIN mapper AS m USING (type, key);
CREATE TEMP TABLE record ON COMMIT DROP AS
SELECT m.id AS mapper_id, m.type, m.key::integer AS n, count(*) = 1 AND bool_or(f.subtitle) AS subtitled
FROM mapper AS m LEFT JOIN video_file AS f ON f.mapper_id = m.id GROUP BY m.id;

INSERT INTO movie (mapper_id, title, sort_title, tag_line, year, original_available, subtitled)
SELECT mapper_id, 'A Movie of Some Length ' || n, 'A Movie of Some Length ' || n, '', 1960 + n % 60,
       (1960 + n % 60) || '-05-06', subtitled FROM record WHERE type = 1 ORDER BY md5(n::text);
INSERT INTO tvshow (mapper_id, title, sort_title) SELECT mapper_id, 'A Show ' || n, 'A Show ' || n FROM record WHERE type = 2;
INSERT INTO tvshow_episode (mapper_id, tvshow_id, season, episode, tag_line, year, subtitled)
SELECT record.mapper_id, s.id, 1, n % 10, 'An Episode ' || n, 1960 + n % 60, subtitled
FROM record JOIN tvshow AS s ON s.title = 'A Show ' || (n - 1) / 10 + 1 WHERE type = 3;
INSERT INTO home_video (mapper_id, title, sort_title, record_date, subtitled)
SELECT mapper_id, 'Clip ' || n, 'Clip ' || n, (timestamp '2015-01-01' + n % 3000 * interval '1 day')::date::text, subtitled
FROM record WHERE type = 4 ORDER BY md5(n::text);
INSERT INTO tv_record (mapper_id, title, sort_title, channel_name, record_date, subtitled)
SELECT mapper_id, 'Programme ' || n % 1000, 'Programme ' || n % 1000, 'Channel ' || n % 20,
       to_char(timestamp '2015-01-01 20:15:00' + n % 3000 * interval '1 day', 'YYYY-MM-DD HH24:MI:SS'), subtitled
FROM record WHERE type = 5 ORDER BY md5(n::text);

INSERT INTO actor (actor) SELECT 'Actor of Renown ' || n FROM number WHERE n <= :videos / 4;
INSERT INTO actor_map (mapper_id, actor_id, type, position)
SELECT mapper_id, 1 + (n * 7 + place * 1009) % (:videos / 4), type, place
FROM record, generate_series(1, 5) AS place WHERE type IN (1, 3) ON CONFLICT DO NOTHING;
INSERT INTO gnere (gnere) SELECT 'Genre ' || n FROM generate_series(1, 24) AS n;
INSERT INTO gnere_map (mapper_id, gnere_id, type, position)
SELECT mapper_id, 1 + n % 24, type, 1 FROM record WHERE type IN (1, 3);

ANALYZE video, video_file, directory;
SET LOCAL enable_hashjoin = off;  -- one directory has few videos, which the planner cannot know
SET LOCAL enable_mergejoin = off;
UPDATE directory AS d SET (videos, first_video, video_kinds) = (SELECT count(*), coalesce(min(v.id), 0), coalesce(bit_or(1 << f.type), 0)
    FROM video AS v JOIN video_file AS f USING (id) WHERE v.path ~>=~ (d.path || '/') AND v.path ~<~ (d.path || '0'))
WHERE d.path LIKE :'top' || '%';
DELETE FROM video_work;
UPDATE library SET generation = generation + 1;
COMMIT;
VACUUM ANALYZE video, directory, mapper, video_file, movie, tvshow, tvshow_episode, home_video, tv_record, actor, actor_map,
    director, director_map, writer, writer_map, gnere, gnere_map, summary;
