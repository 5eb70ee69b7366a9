-- The plans of the queries behind the pages of the video library, as the server words them.
-- :top is the directory of the library.
SET jit = off;
SET search_path = public, pg_catalog;
\set explain 'EXPLAIN (ANALYZE, COSTS OFF, TIMING OFF)'
\set movie 't.id, t.mapper_id, t.title, t.sort_title, t.tag_line AS tagline, t.original_available'
SELECT id AS folder FROM directory WHERE path = :'top' || '/Movies' \gset
SELECT array_agg(id) AS ids, array_agg(mapper_id) AS mappers FROM (SELECT id, mapper_id FROM movie ORDER BY id DESC LIMIT 50) AS page \gset

\echo * 50 movies: their ids
:explain SELECT t.id FROM movie AS t ORDER BY t.sort_title, t.id LIMIT 50 OFFSET 900;
\echo * 50 movies further on: all ids, once for each change of the library
:explain SELECT t.id FROM movie AS t ORDER BY t.sort_title, t.id LIMIT 250001;
\echo * 50 movies: the page
:explain SELECT :movie FROM movie AS t WHERE t.id = ANY (:'ids'::integer[]) ORDER BY t.sort_title, t.id;
\echo * the files of 50 movies
:explain SELECT f.mapper_id, v.id, v.path FROM video_file AS f JOIN video AS v ON v.id = f.id
    WHERE f.mapper_id = ANY (:'mappers'::integer[]) ORDER BY v.path, v.id;
\echo * who is in 50 movies
:explain SELECT m.mapper_id, n.actor FROM actor_map AS m JOIN actor AS n ON n.id = m.actor_id
    WHERE m.mapper_id = ANY (:'mappers'::integer[]) ORDER BY m.mapper_id, m.position;
\echo * total of the movies, once for each change
:explain SELECT count(*) FROM movie AS t;
\echo * movies of an actor
:explain SELECT t.id FROM movie AS t WHERE (t.mapper_id IN (SELECT m.mapper_id FROM actor_map AS m WHERE m.actor_id = 77))
    ORDER BY t.sort_title, t.id LIMIT 50;
\echo * movies of a genre
:explain SELECT t.id FROM movie AS t WHERE (t.mapper_id IN (SELECT m.mapper_id FROM gnere_map AS m WHERE m.gnere_id = 3))
    ORDER BY t.sort_title, t.id LIMIT 50 OFFSET 750;
\echo * movies without a writer
:explain SELECT t.id FROM movie AS t WHERE (NOT EXISTS (SELECT 1 FROM writer_map AS m WHERE m.mapper_id = t.mapper_id))
    ORDER BY t.sort_title, t.id LIMIT 50 OFFSET 900;
\echo * actors of movies, once for each change
:explain SELECT v.id, v.name FROM (SELECT n.id::text AS id, n.actor AS name FROM actor AS n
    WHERE EXISTS (SELECT 1 FROM actor_map AS m WHERE m.actor_id = n.id AND m.type = 1)) AS v ORDER BY v.name LIMIT 20001;
\echo * shows of a genre
:explain SELECT t.id FROM tvshow AS t WHERE (t.id IN (SELECT t.tvshow_id FROM tvshow_episode AS t
    WHERE (t.mapper_id IN (SELECT m.mapper_id FROM gnere_map AS m WHERE m.gnere_id = 3)))) ORDER BY t.sort_title, t.id LIMIT 50;
\echo * shows added last
:explain SELECT t.id FROM (SELECT t.* FROM tvshow AS t
    ORDER BY (SELECT max(e.id) FROM tvshow_episode AS e WHERE e.tvshow_id = t.id) DESC LIMIT 24) AS t ORDER BY t.sort_title, t.id;
\echo * days of home videos, once for each change
:explain SELECT v.id, v.name FROM (SELECT (left(t.record_date, 10))::text AS id, left(t.record_date, 10) AS name
    FROM home_video AS t WHERE left(t.record_date, 10) <> '' GROUP BY left(t.record_date, 10)) AS v ORDER BY v.name LIMIT 20001;
\echo * 50 directories with movies of a directory
:explain SELECT id FROM directory WHERE videos > 0 AND video_kinds & 2 <> 0 AND parent_id = :folder
    ORDER BY title, id LIMIT 50 OFFSET 900;
\echo * 50 videos of a directory
:explain SELECT v.id FROM video AS v JOIN video_file AS f ON f.id = v.id WHERE v.parent_id =
    (SELECT d.id FROM directory AS d WHERE d.path = :'top' || '/Home') AND f.type = 4
    ORDER BY upper(v.path), v.id LIMIT 50 OFFSET 900;
