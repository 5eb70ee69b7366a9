-- The songs of a folder in the order of their list. The index holds the whole order, so a page far inside begins at a
-- remembered row instead of sorting all that stand before it.

SET search_path = public, pg_catalog;

DROP INDEX music_children;
CREATE INDEX music_children ON music (parent_id, album, disc, track, path, id);
