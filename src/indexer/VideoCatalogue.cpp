#include "indexer/VideoCatalogue.h"

#include <algorithm>
#include <cstdlib>

#include <json/json.h>

#include "indexer/LibraryTables.h"
#include "indexer/VideoStatements.h"
#include "platform/media/Subtitle.h"
#include "platform/text/Text.h"

namespace MediaServer {
namespace {

using LibReelhouse::kEpisode;
using LibReelhouse::kMovie;

constexpr std::size_t kSeenAtOnce = 500;
constexpr char kDirectoriesAtOnce[] = "200";
constexpr char kFilesAtOnce[] = "300";
/// As many new descriptions make the planner's idea of the tables worth renewing.
constexpr std::size_t kManyFiles = 500;

/// Ends a transaction that did not come to its end.
class Transaction {
public:
    explicit Transaction(PGconn* connection) : connection_(connection) {}
    ~Transaction() {
        if (connection_) PgResult{PQexec(connection_, "ROLLBACK")};
    }
    void Done() { connection_ = nullptr; }

private:
    PGconn* connection_;
};

std::string FieldOf(const PGresult* rows, int row, int column) {
    return {PQgetvalue(rows, row, column), static_cast<std::size_t>(PQgetlength(rows, row, column))};
}

std::string OneValue(const PgResult& rows) {
    return PQntuples(rows.get()) > 0 ? FieldOf(rows.get(), 0, 0) : std::string();
}

Json::Value NameList(const std::vector<std::string>& names) {
    Json::Value list(Json::arrayValue);
    for (const std::string& name : names) list.append(name);
    return list;
}

std::string ShowKey(const VideoDetails& show) {
    return StringToLower(show.title) + "|" + std::to_string(show.year);
}

/// Files with equal keys are one record. What has no identity of its own is a record for itself.
std::string KeyOf(const CatalogueFile& file, const VideoDescription& description) {
    const VideoDetails& video = description.video;
    if (video.type == kMovie) return StringToLower(video.title) + "|" + std::to_string(video.year);
    if (video.type == kEpisode && video.episode >= 0) {
        return ShowKey(description.show) + "|" + std::to_string(video.season) + "|" + std::to_string(video.episode);
    }
    return std::to_string(file.id);
}

const std::string& SortTitle(const VideoDetails& details) {
    return details.sort_title.empty() ? details.title : details.sort_title;
}

/// A row of the table "incoming".
Json::Value RowOf(const CatalogueFile& file, const VideoDescription& description, const std::string& stamp) {
    const VideoDetails& video = description.video;
    const bool is_episode = video.type == kEpisode;
    Json::Value row(Json::objectValue);
    row["id"] = file.id;
    row["type"] = static_cast<int>(video.type);
    row["key"] = KeyOf(file, description);
    row["nfo"] = description.has_nfo;
    row["stamp"] = stamp;
    row["subtitle"] = VideoDescriber::HasSubtitle(file.path);
    row["title"] = video.title;
    row["sort_title"] = SortTitle(video);
    row["tag_line"] = is_episode ? video.title : video.tag_line;
    row["year"] = video.year;
    row["date"] = video.date;
    row["channel_name"] = video.channel;
    row["season"] = std::max(video.season, 0);
    row["episode"] = std::max(video.episode, 0);
    row["summary"] = video.summary;
    row["names"]["actor"] = NameList(video.actors);
    row["names"]["director"] = NameList(video.directors);
    row["names"]["writer"] = NameList(video.writers);
    row["names"]["gnere"] = NameList(video.genres);
    if (!is_episode) return row;
    row["show_key"] = ShowKey(description.show);
    row["show_title"] = description.show.title;
    row["show_sort_title"] = SortTitle(description.show);
    row["show_year"] = description.show.year;
    row["show_date"] = description.show.date;
    row["show_nfo"] = description.show_has_nfo;
    return row;
}

}  // namespace

VideoCatalogue::VideoCatalogue(PGconn* connection) : connection_(connection) {
    RunPlain(kCreateIncoming);
}

PgResult VideoCatalogue::Run(const std::string& sql, std::span<const char* const> params, const char* what) {
    PgResult result = Query(connection_, sql.c_str(), params, what, kStatementPatience);
    if (!result) throw DatabaseError{};
    return result;
}

void VideoCatalogue::RunPlain(const std::string& sql) {
    Run(sql, {}, "update the video library");
}

void VideoCatalogue::See(const Listing& listing) {
    seen_.emplace_back(listing.id, listing.nfo_stamp);
    if (seen_.size() >= kSeenAtOnce) CompareSeen();
}

void VideoCatalogue::CompareSeen() {
    std::string ids = "{", stamps = "{";
    for (const auto& [id, stamp] : seen_) {
        const char* const comma = ids.size() > 1 ? "," : "";
        ids.append(comma).append(std::to_string(id));
        stamps.append(comma).append(std::to_string(stamp));
    }
    ids += "}";
    stamps += "}";
    const char* const params[] = {ids.c_str(), stamps.c_str()};
    Run(kNoteChangedNfos, params, "look for changed descriptions");
    seen_.clear();
}

std::size_t VideoCatalogue::Update(const std::atomic<bool>& stop) {
    if (!seen_.empty()) CompareSeen();
    std::size_t described = 0;
    bool has_work = false;
    for (std::string directories; !stop && !(directories = TakeDirectories()).empty(); has_work = true) {
        described += DescribeDirectories(directories);
    }
    // First, because the count goes over all that is new, and a bad plan of it would take for ever.
    if (described >= kManyFiles) Analyze();
    // Also what an earlier run described and could not finish.
    if (has_work || !OneValue(Run("SELECT 1 FROM video_work LIMIT 1", {}, "look for work")).empty()) {
        CountDirectories();
    }
    return described;
}

/// @return ids of directories to describe as the text of an array; empty when there are none.
std::string VideoCatalogue::TakeDirectories() {
    return OneValue(Run(std::string("SELECT array_agg(directory_id) FROM (SELECT directory_id FROM video_work"
                                    " WHERE NOT is_described ORDER BY directory_id LIMIT ") +
                            kDirectoriesAtOnce + ") AS work",
                        {}, "look for changed videos"));
}

std::size_t VideoCatalogue::DescribeDirectories(const std::string& directories) {
    Transaction transaction(connection_);
    RunPlain("BEGIN");
    // First, so that what the work itself makes necessary is noted again.
    const char* const params[] = {directories.c_str()};
    Run("UPDATE video_work SET is_described = true WHERE directory_id = ANY ($1::integer[])", params,
        "note described directories");
    std::size_t described = 0;
    Position position;
    for (PgResult files; (files = NextFiles(directories, position));) described += DescribeFiles(files.get());
    if (described > 0) RunPlain(kRaiseGeneration);
    RunPlain("COMMIT");
    transaction.Done();
    return described;
}

/// @return the next rows of kSelectFiles, null after the last.
PgResult VideoCatalogue::NextFiles(const std::string& directories, Position& position) {
    const char* const params[] = {directories.c_str(), position.directory.c_str(), position.file.c_str(), kFilesAtOnce};
    PgResult rows = Run(kSelectFiles, params, "list changed videos");
    const int count = PQntuples(rows.get());
    if (count == 0) return nullptr;
    position = {FieldOf(rows.get(), count - 1, 0), FieldOf(rows.get(), count - 1, 1)};
    return rows;
}

std::size_t VideoCatalogue::DescribeFiles(const PGresult* rows) {
    Json::Value incoming(Json::arrayValue);
    for (int row = 0; row < PQntuples(rows); ++row) {
        const CatalogueFile file{ToInt(FieldOf(rows, row, 1)), FieldOf(rows, row, 2), FieldOf(rows, row, 3),
                                 FieldOf(rows, row, 4)};
        if (IsSubtitle(file.path)) continue;
        const std::string stamp = describer_.StampOf(file);
        if (stamp != FieldOf(rows, row, 5)) incoming.append(RowOf(file, describer_.Describe(file), stamp));
    }
    if (incoming.empty()) return 0;
    Json::StreamWriterBuilder writer;
    writer["indentation"] = "";
    Store(Json::writeString(writer, incoming));
    return incoming.size();
}

void VideoCatalogue::Store(const std::string& json) {
    RunPlain("TRUNCATE incoming");
    const char* const params[] = {json.c_str()};
    Run(kFillIncoming, params, "describe videos");
    for (const char* statement : kStoreRecords) RunPlain(statement);
    for (const char* name : {"actor", "director", "writer", "gnere"}) {
        for (const char* statement : kStoreNames) RunPlain(WithTable(statement, name));
    }
    for (const char* table : {"movie", "tvshow_episode", "home_video", "tv_record"}) {
        RunPlain(WithTable(kMarkSubtitled, table));
    }
}

void VideoCatalogue::CountDirectories() {
    Transaction transaction(connection_);
    RunPlain("BEGIN");
    for (const char* statement : kCountDirectories) RunPlain(statement);
    for (const char* name : {"actor", "director", "writer", "gnere"}) RunPlain(WithTable(kDropUnusedNames, name));
    RunPlain(kRaiseGeneration);
    RunPlain("COMMIT");
    transaction.Done();
}

void VideoCatalogue::Analyze() {
    RunPlain(
        "VACUUM (ANALYZE) mapper, video_file, movie, tvshow, tvshow_episode, home_video, tv_record, summary, actor,"
        " actor_map, director, director_map, writer, writer_map, gnere, gnere_map, directory");
}

}  // namespace MediaServer
