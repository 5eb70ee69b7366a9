#pragma once

#include <string>

namespace MediaServer {

// The statements that describe videos, a few hundred at a time: what is known of them goes into the temporary table
// "incoming", and each statement then brings one table in line with that.

inline constexpr char kCreateIncoming[] =
    "CREATE TEMP TABLE IF NOT EXISTS incoming (id integer, type integer, key text, nfo boolean, stamp text,"
    " subtitle boolean, title text, sort_title text, tag_line text, year integer, date text, channel_name text,"
    " season integer, episode integer, summary text, names jsonb, show_key text, show_title text,"
    " show_sort_title text, show_year integer, show_date text, show_nfo boolean,"
    " mapper_id integer, show_mapper_id integer, describes boolean)";

/// $1, $2: ids and stamps of directories. The descriptions of a folder may be those of a show, whose seasons lie below.
inline constexpr char kNoteChangedNfos[] =
    "WITH changed AS (UPDATE directory AS d SET nfo_stamp = seen.stamp"
    " FROM unnest($1::integer[], $2::bigint[]) AS seen (id, stamp)"
    " WHERE d.id = seen.id AND d.nfo_stamp <> seen.stamp RETURNING d.id)"
    " INSERT INTO video_work SELECT id FROM changed"
    " UNION SELECT d.id FROM directory AS d JOIN changed ON d.parent_id = changed.id"
    " ON CONFLICT (directory_id) DO UPDATE SET is_described = false";

/// $1: directories, $2 and $3: directory and id of the last file, $4: most rows.
inline constexpr char kSelectFiles[] =
    "SELECT v.parent_id, v.id, v.path, v.title, v.date, f.stamp FROM video AS v LEFT JOIN video_file AS f USING (id)"
    " WHERE v.parent_id = ANY ($1::integer[]) AND (v.parent_id, v.id) > ($2::integer, $3::integer)"
    " ORDER BY v.parent_id, v.id LIMIT $4::integer";

/// $1: rows of "incoming".
inline constexpr char kFillIncoming[] =
    "INSERT INTO incoming SELECT * FROM json_populate_recordset(NULL::incoming, $1::json)";

inline constexpr const char* kStoreRecords[] = {
    // A file that belongs to another record now leaves the old one, which may go with it.
    "DELETE FROM video_file AS f USING incoming AS i, mapper AS m"
    " WHERE f.id = i.id AND m.id = f.mapper_id AND (m.type, m.key) <> (i.type, i.key)",
    "INSERT INTO mapper (type, key) SELECT type, key FROM incoming"
    " UNION SELECT 2, show_key FROM incoming WHERE show_key IS NOT NULL ON CONFLICT (type, key) DO NOTHING",
    "UPDATE incoming AS i SET mapper_id = m.id FROM mapper AS m WHERE m.type = i.type AND m.key = i.key",
    "UPDATE incoming AS i SET show_mapper_id = m.id FROM mapper AS m WHERE m.type = 2 AND m.key = i.show_key",

    // The first file describes a record, until one comes that has a description, or the first has gone.
    "UPDATE incoming AS i SET describes = true FROM (SELECT DISTINCT ON (i.mapper_id) i.id"
    " FROM incoming AS i JOIN mapper AS m ON m.id = i.mapper_id"
    " WHERE m.source_id = i.id OR (i.nfo AND NOT m.source_nfo) OR NOT EXISTS"
    " (SELECT 1 FROM video_file AS f WHERE f.id = m.source_id AND f.mapper_id = m.id)"
    " ORDER BY i.mapper_id, i.nfo DESC, i.id) AS chosen WHERE i.id = chosen.id",
    "INSERT INTO video_file (id, mapper_id, type, subtitle, stamp)"
    " SELECT id, mapper_id, type, subtitle, stamp FROM incoming ON CONFLICT (id) DO UPDATE"
    " SET mapper_id = EXCLUDED.mapper_id, type = EXCLUDED.type, subtitle = EXCLUDED.subtitle, stamp = EXCLUDED.stamp",
    // Where a description went, another file of the record may have one still.
    "WITH other AS (UPDATE video_file AS f SET stamp = '' FROM incoming AS i JOIN mapper AS m ON m.id = i.mapper_id"
    " WHERE i.describes AND NOT i.nfo AND m.source_nfo AND f.mapper_id = m.id AND f.id <> i.id RETURNING f.id)"
    " INSERT INTO video_work SELECT DISTINCT v.parent_id FROM video AS v JOIN other USING (id)"
    " WHERE v.parent_id IS NOT NULL ON CONFLICT (directory_id) DO UPDATE SET is_described = false",
    "UPDATE mapper AS m SET source_id = i.id, source_nfo = i.nfo FROM incoming AS i"
    " WHERE i.describes AND m.id = i.mapper_id",

    "INSERT INTO movie (mapper_id, title, sort_title, tag_line, year, original_available)"
    " SELECT mapper_id, title, sort_title, tag_line, year, date FROM incoming WHERE describes AND type = 1"
    " ON CONFLICT (mapper_id) DO UPDATE SET title = EXCLUDED.title, sort_title = EXCLUDED.sort_title,"
    " tag_line = EXCLUDED.tag_line, year = EXCLUDED.year, original_available = EXCLUDED.original_available",
    "INSERT INTO home_video (mapper_id, title, sort_title, record_date)"
    " SELECT mapper_id, title, sort_title, date FROM incoming WHERE describes AND type = 4"
    " ON CONFLICT (mapper_id) DO UPDATE SET title = EXCLUDED.title, sort_title = EXCLUDED.sort_title,"
    " record_date = EXCLUDED.record_date",
    "INSERT INTO tv_record (mapper_id, title, sort_title, channel_name, record_date)"
    " SELECT mapper_id, title, sort_title, channel_name, date FROM incoming WHERE describes AND type = 5"
    " ON CONFLICT (mapper_id) DO UPDATE SET title = EXCLUDED.title, sort_title = EXCLUDED.sort_title,"
    " channel_name = EXCLUDED.channel_name, record_date = EXCLUDED.record_date",

    // A show's description comes with its episodes; only who has none leaves one that stands.
    "INSERT INTO tvshow (mapper_id, title, sort_title, year, original_available)"
    " SELECT DISTINCT ON (show_mapper_id) show_mapper_id, show_title, show_sort_title, show_year, show_date"
    " FROM incoming AS i JOIN mapper AS m ON m.id = i.show_mapper_id"
    " WHERE i.show_nfo OR NOT m.source_nfo OR m.source_id = i.id"
    " OR NOT EXISTS (SELECT 1 FROM video_file AS f WHERE f.id = m.source_id)"
    " ORDER BY show_mapper_id, show_nfo DESC, i.id"
    " ON CONFLICT (mapper_id) DO UPDATE SET title = EXCLUDED.title, sort_title = EXCLUDED.sort_title,"
    " year = EXCLUDED.year, original_available = EXCLUDED.original_available",
    "UPDATE mapper AS m SET source_id = i.id, source_nfo = i.show_nfo FROM"
    " (SELECT DISTINCT ON (show_mapper_id) * FROM incoming ORDER BY show_mapper_id, show_nfo DESC, id) AS i"
    " WHERE m.id = i.show_mapper_id AND (i.show_nfo OR NOT m.source_nfo OR m.source_id = i.id"
    " OR NOT EXISTS (SELECT 1 FROM video_file AS f WHERE f.id = m.source_id))",
    "INSERT INTO tvshow_episode (mapper_id, tvshow_id, season, episode, tag_line, year, original_available)"
    " SELECT i.mapper_id, s.id, i.season, i.episode, i.tag_line, i.year, i.date"
    " FROM incoming AS i JOIN tvshow AS s ON s.mapper_id = i.show_mapper_id WHERE i.describes"
    " ON CONFLICT (mapper_id) DO UPDATE SET tag_line = EXCLUDED.tag_line, year = EXCLUDED.year,"
    " original_available = EXCLUDED.original_available",

    "DELETE FROM summary AS s USING incoming AS i WHERE i.describes AND s.mapper_id = i.mapper_id",
    "INSERT INTO summary SELECT mapper_id, summary FROM incoming WHERE describes AND summary <> ''",
};

/// "%" stands for the name of a table of names.
inline constexpr const char* kStoreNames[] = {
    "INSERT INTO % (%) SELECT DISTINCT name FROM incoming, jsonb_array_elements_text(names->'%') AS name"
    " WHERE describes ON CONFLICT (%) DO NOTHING",
    "DELETE FROM %_map AS m USING incoming AS i WHERE i.describes AND m.mapper_id = i.mapper_id",
    "INSERT INTO %_map (mapper_id, %_id, type, position) SELECT i.mapper_id, n.id, i.type, min(told.position)"
    " FROM incoming AS i, jsonb_array_elements_text(i.names->'%') WITH ORDINALITY AS told (name, position)"
    " JOIN % AS n ON n.% = told.name WHERE i.describes GROUP BY i.mapper_id, n.id, i.type",
};
inline constexpr char kDropUnusedNames[] =
    "DELETE FROM % AS n WHERE NOT EXISTS (SELECT 1 FROM %_map AS m WHERE m.%_id = n.id)";

/// "%" stands for the table of a kind of records.
inline constexpr char kMarkSubtitled[] =
    "UPDATE % AS t SET subtitled = f.is_only_one FROM"
    " (SELECT mapper_id, count(*) = 1 AND bool_or(subtitle) AS is_only_one FROM video_file"
    " WHERE mapper_id IN (SELECT mapper_id FROM incoming) GROUP BY mapper_id) AS f"
    " WHERE t.mapper_id = f.mapper_id AND t.subtitled <> f.is_only_one";

/// Counts again what lies below the directories that were described, and those above them.
inline constexpr const char* kCountDirectories[] = {
    "WITH RECURSIVE counted (id, parent_id, path) AS ("
    "SELECT d.id, d.parent_id, d.path FROM directory AS d JOIN video_work AS w ON w.directory_id = d.id"
    " WHERE w.is_described UNION"
    " SELECT d.id, d.parent_id, d.path FROM directory AS d JOIN counted ON counted.parent_id = d.id)"
    " UPDATE directory AS d SET videos = below.files, first_video = below.first, video_kinds = below.kinds"
    " FROM counted CROSS JOIN LATERAL (SELECT count(*) AS files, coalesce(min(v.id), 0) AS first,"
    " coalesce(bit_or(1 << f.type), 0) AS kinds"
    " FROM video AS v JOIN video_file AS f ON f.id = v.id"
    " WHERE v.path ~>=~ (counted.path || '/') AND v.path ~<~ (counted.path || '0')) AS below"
    " WHERE d.id = counted.id AND (d.videos, d.first_video, d.video_kinds) <> (below.files, below.first, below.kinds)",
    "DELETE FROM video_work WHERE is_described",
};

/// The statement with the name of a table in place of each "%".
inline std::string WithTable(const char* statement, const char* table) {
    std::string text;
    for (; *statement; ++statement) {
        if (*statement == '%') {
            text.append(table);
        } else {
            text.push_back(*statement);
        }
    }
    return text;
}

}  // namespace MediaServer
