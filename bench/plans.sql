-- The plans of the queries behind the pages, as the server words them but for the columns of records (*). :top is the directory of the library.
SELECT string_agg(id::text, ',') AS ids FROM (SELECT id FROM music ORDER BY id DESC LIMIT 50) AS page \gset
SET jit = off;
\set explain 'EXPLAIN (ANALYZE, COSTS OFF, TIMING OFF)'
\set page '*, (SELECT generation FROM library) AS library_generation'
\set tracks 'album, disc, track, path, id'
\set backwards 'album DESC, disc DESC, track DESC, path DESC, id DESC'
SELECT count(*) / 2 AS half FROM music \gset
SELECT id AS middle FROM music ORDER BY :tracks OFFSET :half LIMIT 1 \gset

\echo * 50 tracks
:explain SELECT :page FROM music ORDER BY :tracks LIMIT 50;
\echo * 50 tracks further on: the row where they begin, the first time
:explain SELECT id FROM music ORDER BY :tracks OFFSET :half LIMIT 1;
\echo * 50 tracks near the end: the row where they begin, the first time
:explain SELECT id FROM music ORDER BY :backwards OFFSET :half LIMIT 1;
\echo * 50 tracks further on: the page
:explain SELECT * FROM music WHERE ((:tracks) >= (SELECT :tracks FROM music WHERE id = :middle)) ORDER BY :tracks LIMIT 50;
\echo * total of the tracks, once for each change
:explain SELECT count(*) FROM music;
\echo * artists, once for each change
:explain SELECT artist as cateval, MIN(id) as minid FROM music
    GROUP BY cateval ORDER BY upper(artist), cateval LIMIT 12001;
\echo * albums, once for each change
:explain SELECT album as cateval, MIN(id) as minid FROM music
    GROUP BY cateval ORDER BY cateval, cateval LIMIT 12001;
\echo * genres, once for each change
:explain SELECT genre as cateval, MIN(id) as minid FROM music
    GROUP BY cateval ORDER BY cateval, cateval LIMIT 12001;
\echo * 50 tracks of an artist
:explain SELECT :page FROM music WHERE (artist='An Artist of Renown 7') ORDER BY :tracks LIMIT 50;
\echo * 50 directories of a directory
:explain SELECT id, title FROM directory WHERE (parent_id = (SELECT id FROM directory WHERE path = :'top'))
    ORDER BY title, id LIMIT 50;
\echo * 50 tracks of a directory
:explain SELECT * FROM music WHERE (parent_id = (SELECT id FROM directory WHERE path = :'top' || '/0 Flat'))
    ORDER BY :tracks LIMIT 50;

\echo * 50 tracks of a directory further on: the row where they begin, the first time
:explain SELECT id FROM music WHERE (parent_id = (SELECT id FROM directory WHERE path = :'top' || '/0 Flat'))
    ORDER BY :tracks OFFSET :half / 10 LIMIT 1;

\echo * a smart playlist by year: all ids, once for each change of the library
:explain SELECT array_agg(listed_id) FROM (SELECT *, id AS listed_id FROM music ORDER BY year DESC, id LIMIT 1500001) AS list;
\echo * 50 tracks of it
:explain SELECT * FROM music WHERE id IN (:ids) ORDER BY year DESC, id LIMIT 50;
