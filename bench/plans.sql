-- The plans of the queries behind the pages, as the server words them. :top is the directory of the library.
SELECT :'top' || '/%' AS below \gset
SELECT string_agg(id::text, ',') AS ids FROM (SELECT id FROM music ORDER BY id DESC LIMIT 50) AS page \gset
SET jit = off;
\set explain 'EXPLAIN (ANALYZE, COSTS OFF, TIMING OFF)'
\set page '*, (SELECT generation FROM library) AS library_generation'
\set tracks 'album, disc, track, path, id'

\echo * 50 tracks
:explain SELECT :page FROM music WHERE (path LIKE :'below') ORDER BY :tracks LIMIT 50;
\echo * 50 tracks further on: all ids, once for each change of the library
:explain SELECT array_agg(listed_id) FROM (SELECT *, id AS listed_id FROM music WHERE (path LIKE :'below')
    ORDER BY :tracks LIMIT 1500001) AS list;
\echo * 50 tracks further on: the page
:explain SELECT * FROM music WHERE id IN (:ids) ORDER BY :tracks LIMIT 50;
\echo * total of the tracks, once for each change
:explain SELECT count(*) FROM music WHERE (path LIKE :'below');
\echo * artists, once for each change
:explain SELECT artist as cateval, MIN(id) as minid FROM music WHERE (path LIKE :'below')
    GROUP BY cateval ORDER BY upper(artist), cateval LIMIT 20001;
\echo * albums, once for each change
:explain SELECT album as cateval, MIN(id) as minid FROM music WHERE (path LIKE :'below')
    GROUP BY cateval ORDER BY cateval, cateval LIMIT 20001;
\echo * genres, once for each change
:explain SELECT genre as cateval, MIN(id) as minid FROM music WHERE (path LIKE :'below')
    GROUP BY cateval ORDER BY cateval, cateval LIMIT 20001;
\echo * 50 tracks of an artist
:explain SELECT :page FROM music WHERE (artist='An Artist of Renown 7') AND (path LIKE :'below') ORDER BY :tracks LIMIT 50;
\echo * 50 directories of a directory
:explain SELECT id, title FROM directory WHERE (parent_id = (SELECT id FROM directory WHERE path = :'top'))
    ORDER BY title, id LIMIT 50;
\echo * 50 tracks of a directory
:explain SELECT * FROM music WHERE (parent_id = (SELECT id FROM directory WHERE path = :'top' || '/0 Flat'))
    ORDER BY :tracks LIMIT 50;

\echo * a smart playlist by year: all ids, once for each change of the library
:explain SELECT array_agg(listed_id) FROM (SELECT *, id AS listed_id FROM music ORDER BY year DESC, id LIMIT 1500001) AS list;
\echo * 50 tracks of it
:explain SELECT * FROM music WHERE id IN (:ids) ORDER BY year DESC, id LIMIT 50;
