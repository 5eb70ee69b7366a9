#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "platform/text/Text.h"
#include "platform/videolibrary/CatalogueQuery.h"
#include "platform/videolibrary/CatalogueTables.h"
#include "platform/videolibrary/VideoMetadataAPI.h"
#include "platform/videolibrary/VideoRecords.h"

namespace MediaServer::LibReelhouse {
namespace {

/// Condition of the directories that have videos of a kind; the files of shows are those of their episodes.
std::string HasKind(const VideoKind& kind) {
    const int type = kind.type == kTvShow ? kEpisode : kind.type;
    return "videos > 0 AND video_kinds & " + std::to_string(1 << type) + " <> 0";
}

/// A reply with rows of the columns "id", "path" and "title", and perhaps more.
void SetFolders(Json::Value& reply, const PGresult* rows) {
    reply = Json::Value(Json::objectValue);
    Json::Value& objects = reply["objects"] = Json::Value(Json::arrayValue);
    for (int row = 0; row < PQntuples(rows); ++row) objects.append(RecordOf(rows, row))["type"] = "folder";
}

struct VideoFile {
    std::string id, path;
    std::int32_t mapper_id;
};

bool ReadFiles(const std::vector<std::int32_t>& ids, std::vector<VideoFile>& files) {
    Parameters parameters;
    const std::string of_ids = " WHERE v.id = ANY (" + parameters.Bind(ArrayText(ids)) + "::integer[])";
    const PgResult rows = Ask("SELECT v.id, v.path, f.mapper_id FROM video AS v JOIN video_file AS f ON f.id = v.id" +
                                  of_ids + " ORDER BY upper(v.path), v.id",
                              parameters, "list the videos of a directory");
    for (int row = 0; rows && row < PQntuples(rows.get()); ++row) {
        files.push_back({std::string(Field(rows.get(), row, 0)), std::string(Field(rows.get(), row, 1)),
                         ToInt(Field(rows.get(), row, 2))});
    }
    return rows != nullptr;
}

/// Appends the records of files, with what makes each stand for its file.
bool AppendFiles(const VideoKind& kind, std::uint32_t additional, const std::vector<VideoFile>& files,
                 Json::Value& objects) {
    std::vector<std::int32_t> mapper_ids;
    for (const VideoFile& file : files) mapper_ids.push_back(file.mapper_id);
    Parameters mappers;
    const std::string of_files = " WHERE t.mapper_id = ANY (" + mappers.Bind(ArrayText(mapper_ids)) + "::integer[])";
    Json::Value records;
    if (!ReadRecords(SelectRecords(kind) + of_files, mappers, additional, records)) return false;
    std::unordered_map<std::int32_t, Json::ArrayIndex> record_of;
    for (Json::ArrayIndex i = 0; i < records.size(); ++i) {
        record_of.emplace(ToInt(records[i]["mapper_id"].asString()), i);
    }
    for (const VideoFile& file : files) {
        const auto record = record_of.find(file.mapper_id);
        if (record == record_of.end()) continue;  // it went between the two questions
        Json::Value& object = objects.append(records[record->second]);
        object["type"] = "file";
        object["id"] = file.id;
        object["path"] = file.path;
    }
    return true;
}

}  // namespace

bool VideoMetadataAPI::GetDirFilesCount(std::string_view folder_id, std::int32_t& count) {
    const std::optional<std::int32_t> row = ParseRowId(folder_id);
    if (!row) return false;
    Parameters parameters;
    const PgResult rows = Ask("SELECT videos FROM directory WHERE id = " + parameters.Bind(std::to_string(*row)),
                              parameters, "count the videos below a directory");
    if (!rows || PQntuples(rows.get()) == 0) return false;
    count = ToInt(Field(rows.get(), 0, 0));
    return true;
}

bool VideoMetadataAPI::ListDir(_VIDEO_TABLE_TYPE_ type, std::uint32_t additional, std::string_view directory, Page page,
                               bool subtitled, Json::Value& listing, std::int32_t& total) {
    const VideoKind* const kind = FindVideoKind(type);
    if (!kind) return false;
    Parameters parameters;
    const std::string source =
        " FROM video AS v JOIN video_file AS f ON f.id = v.id WHERE v.parent_id ="
        " (SELECT d.id FROM directory AS d WHERE d.path = " +
        parameters.Bind(directory) + ") AND f.type = " + std::to_string(kind->type) +
        (subtitled ? " AND f.subtitle" : "");
    const auto count = AskNumber("SELECT count(*)" + source, parameters, "count the videos of a directory");
    const auto ids = AskIds("SELECT v.id" + source + " ORDER BY upper(v.path), v.id", parameters, page,
                            Finding::ByIndex, "list the videos of a directory");
    std::vector<VideoFile> files;
    if (!count || !ids || !ReadFiles(*ids, files)) return false;
    total = *count;
    return files.empty() || AppendFiles(*kind, additional, files, listing["objects"]);
}

bool VideoMetadataAPI::GetFileIdPathByDirPath(std::string_view directory, std::string& file_id,
                                              std::string& file_path) {
    Parameters parameters;
    const PgResult rows =
        Ask("SELECT v.id, v.path FROM directory AS d JOIN video AS v ON v.id = d.first_video"
            " WHERE d.path = " +
                parameters.Bind(directory),
            parameters, "look for a video below a directory");
    if (!rows || PQntuples(rows.get()) == 0) return false;
    file_id = Field(rows.get(), 0, 0);
    file_path = Field(rows.get(), 0, 1);
    return true;
}

bool NIMBVideoGetRootDirByVideoType(Json::Value& reply, std::string_view table) {
    const VideoKind* const kind = FindVideoKind(table);
    if (!kind) return false;
    const PgResult roots = Ask(
        "SELECT id, path, title FROM directory WHERE parent_id IS NULL AND " + HasKind(*kind) + " ORDER BY title, id",
        {}, "list the shared folders with videos");
    if (!roots) return false;
    SetFolders(reply, roots.get());
    return true;
}

bool GetDirInfo(Json::Value& reply, std::string_view directory, std::string_view table, Page page) {
    const VideoKind* const kind = FindVideoKind(table);
    if (!kind) return false;
    Parameters path;
    const PgResult rows =
        Ask("SELECT id FROM directory WHERE path = " + path.Bind(directory), path, "look up a directory");
    if (!rows || PQntuples(rows.get()) == 0) return false;
    Parameters parameters;
    const std::string source =
        " FROM directory WHERE " + HasKind(*kind) + " AND parent_id = " + parameters.Bind(Field(rows.get(), 0, 0));
    const auto total = AskNumber("SELECT count(*)" + source, parameters, "count directories with videos");
    const auto ids =
        AskIds("SELECT id" + source + " ORDER BY title, id", parameters, page, Finding::ByIndex, "list directories");
    if (!total || !ids) return false;
    Parameters of_page;
    const std::string of_ids = " WHERE d.id = ANY (" + of_page.Bind(ArrayText(*ids)) + "::integer[])";
    const PgResult folders =
        Ask("SELECT d.id, d.path, d.title, v.id AS file_id, v.path AS file_path FROM directory AS d"
            " LEFT JOIN video AS v ON v.id = d.first_video" +
                of_ids + " ORDER BY d.title, d.id",
            of_page, "list directories");
    if (!folders) return false;
    SetFolders(reply, folders.get());
    reply["total"] = *total;
    reply["path"].append(std::string(directory));
    return true;
}

}  // namespace MediaServer::LibReelhouse
