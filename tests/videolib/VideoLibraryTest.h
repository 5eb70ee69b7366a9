#pragma once

#include <string>
#include <vector>

#include "platform/database/TestDatabase.h"
#include "platform/media/Subtitle.h"
#include "platform/system/Files.h"
#include "support/TempDir.h"
#include "videolib/VideoRecorder.h"
#include "videolib/VideoTables.h"
#include "videolib/cdsfolder_rh.h"

namespace MediaServer {

/// A test with a catalogue of its own, filled as the indexer fills it. String keys are their own texts.
class VideoLibraryTest : public DatabaseTest {
protected:
    using Kind = LibReelhouse::_VIDEO_TABLE_TYPE_;

    static std::string Quoted(std::string_view text) { return "'" + SQLEscapeString(text) + "'"; }

    /// A record of a kind with its files, which lie below the folders that AddFolder() was given.
    /// @param columns,values  SQL of its further columns. @return its mapper id.
    std::int32_t AddVideo(Kind kind, const std::string& title, const std::vector<std::string>& files,
                          const std::string& columns = "", const std::string& values = "") {
        const std::string type = std::to_string(kind);
        const std::int32_t mapper =
            database.Insert("mapper", "type, key", type + ", " + Quoted(files.empty() ? title : files[0]));
        const bool is_episode = kind == LibReelhouse::kEpisode;
        const std::string own = is_episode ? "tvshow_id" : "title, sort_title";
        const std::string own_values = is_episode ? "(SELECT id FROM tvshow WHERE title = " + Quoted(title) + ")"
                                                  : Quoted(title) + ", " + Quoted(title);
        database.Insert(std::string(TableNames()[kind]), "mapper_id, " + own + (columns.empty() ? "" : ", " + columns),
                        std::to_string(mapper) + ", " + own_values + (values.empty() ? "" : ", " + values));
        for (const std::string& path : files) AddFile(mapper, type, path);
        if (files.size() == 1 && NLIBCFileExist(SubtitleBeside(files[0]).c_str())) {
            database.Execute("UPDATE " + std::string(TableNames()[kind]) +
                             " SET subtitled = true WHERE mapper_id = " + std::to_string(mapper));
        }
        return mapper;
    }

    void AddName(const std::string& table, std::int32_t mapper, const std::string& name) {
        const std::string id = std::to_string(mapper);
        database.Execute("INSERT INTO " + table + " (" + table + ") VALUES (" + Quoted(name) +
                         ") ON CONFLICT DO NOTHING; INSERT INTO " + table + "_map SELECT " + id +
                         ", n.id, m.type, (SELECT count(*) FROM " + table + "_map WHERE mapper_id = " + id + ") FROM " +
                         table + " AS n, mapper AS m WHERE n." + table + " = " + Quoted(name) + " AND m.id = " + id);
    }

    std::int32_t AddFolder(const std::string& path, const std::string& title = "") {
        return database.Insert("directory", "path, title, parent_id",
                               Quoted(path) + ", " + Quoted(title.empty() ? BaseName(path) : title) +
                                   ", (SELECT id FROM directory WHERE path = " + Quoted(DirName(path)) + ")");
    }

    /// Counts the videos below each folder, as the indexer does at the end of its work.
    void CountFolders() {
        const std::string below =
            " FROM video AS v JOIN video_file AS f USING (id) WHERE starts_with(v.path, d.path || '/')";
        database.Execute("UPDATE directory AS d SET videos = (SELECT count(*)" + below +
                         "), first_video = coalesce((SELECT min(v.id)" + below +
                         "), 0), video_kinds = coalesce((SELECT bit_or(1 << f.type)" + below + "), 0)");
    }

    CDSCategoryFolder_RH& Node(Kind kind, const std::string& category = "") {
        auto& node = nodes.Make<CDSCategoryFolder_RH>(kind, "P", "N", "Node", ObjectType::kContainer, strings);
        if (!category.empty()) node.AddCategory(category, 0);
        return node;
    }

    TempSysroot disk;
    DMSStringBundle strings{"enu"};
    MenuNodes nodes;

private:
    void AddFile(std::int32_t mapper, const std::string& type, const std::string& path) {
        const std::int32_t id =
            database.Insert("video", "path, title, parent_id",
                            Quoted(path) + ", " + Quoted(BaseNameWithoutExtension(path)) +
                                ", (SELECT id FROM directory WHERE path = " + Quoted(DirName(path)) + ")");
        const bool subtitle = NLIBCFileExist(SubtitleBeside(path).c_str());
        database.Execute("INSERT INTO video_file (id, mapper_id, type, subtitle) VALUES (" + std::to_string(id) + ", " +
                         std::to_string(mapper) + ", " + type + ", " + (subtitle ? "true" : "false") + ")");
    }
};

}  // namespace MediaServer
