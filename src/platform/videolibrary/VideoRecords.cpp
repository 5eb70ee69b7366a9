#include "platform/videolibrary/VideoRecords.h"

#include <charconv>
#include <unordered_map>
#include <vector>

#include "platform/text/Text.h"

namespace MediaServer::LibReelhouse {
namespace {

/// The columns of a file, under the names of its members. The duration is in seconds.
constexpr char kFiles[] =
    "SELECT f.mapper_id, v.id, v.path, v.audio_bitrate, v.audio_codec, v.channel, v.container_type,"
    " trunc(v.duration)::bigint AS duration, v.filesize, v.frame_bitrate, v.frame_rate_num, v.frame_rate_den, "
    "v.frequency,"
    " v.resolutionx, v.resolutiony, v.video_bitrate, v.video_codec"
    " FROM video_file AS f JOIN video AS v ON v.id = f.id WHERE f.mapper_id = ANY ($1::integer[])"
    " ORDER BY v.path, v.id";

Json::Value TextValue(std::string_view text) {
    return {text.data(), text.data() + text.size()};
}

bool IsUnknown(std::string_view text) {
    return text.empty() || text == "0";
}

/// Records of one reply by their mapper ids.
class RecordIndex {
public:
    explicit RecordIndex(Json::Value& records) : records_(records) {
        for (Json::ArrayIndex i = 0; i < records.size(); ++i) {
            const std::int32_t id = ToInt(records[i]["mapper_id"].asString());
            by_mapper_.emplace(id, i);
            ids_.push_back(id);
        }
    }
    std::string Ids() const { return ArrayText(ids_); }
    Json::Value& AdditionalOf(std::string_view mapper_id) {
        return records_[by_mapper_.at(ToInt(mapper_id))]["additional"];
    }

private:
    Json::Value& records_;
    std::unordered_map<std::int32_t, Json::ArrayIndex> by_mapper_;
    std::vector<std::int32_t> ids_;
};

void AddMember(Json::Value& file, const char* name, std::string_view text) {
    if (IsUnknown(text)) return;
    if (std::string_view(name) != "duration") {
        file[name] = TextValue(text);
        return;
    }
    file[name] = DMSFormatUPNPDuration(ToInt(text));
}

Json::Value FileOf(const PGresult* rows, int row) {
    Json::Value file(Json::objectValue);
    for (int column = 1; column < PQnfields(rows); ++column) {
        AddMember(file, PQfname(rows, column), Field(rows, row, column));
    }
    return file;
}

bool AddFiles(RecordIndex& records, const Parameters& mappers) {
    const PgResult rows = Ask(kFiles, mappers, "list the files of videos");
    for (int row = 0; rows && row < PQntuples(rows.get()); ++row) {
        records.AdditionalOf(Field(rows.get(), row, 0))["files"].append(FileOf(rows.get(), row));
    }
    return rows != nullptr;
}

bool AddNames(RecordIndex& records, const Parameters& mappers, const NameTable& table) {
    const std::string name(table.name);
    const PgResult rows =
        Ask("SELECT m.mapper_id, n." + name + " FROM " + name + "_map AS m JOIN " + name + " AS n ON n.id = m." + name +
                "_id WHERE m.mapper_id = ANY ($1::integer[]) ORDER BY m.mapper_id, m.position",
            mappers, "list who is in videos");
    for (int row = 0; rows && row < PQntuples(rows.get()); ++row) {
        Json::Value entry(Json::objectValue);
        entry["name"] = TextValue(Field(rows.get(), row, 1));
        records.AdditionalOf(Field(rows.get(), row, 0))[table.member].append(std::move(entry));
    }
    return rows != nullptr;
}

bool AddSummaries(RecordIndex& records, const Parameters& mappers) {
    const PgResult rows = Ask("SELECT mapper_id, summary FROM summary WHERE mapper_id = ANY ($1::integer[])", mappers,
                              "read the summaries of videos");
    for (int row = 0; rows && row < PQntuples(rows.get()); ++row) {
        records.AdditionalOf(Field(rows.get(), row, 0))["summary"] = TextValue(Field(rows.get(), row, 1));
    }
    return rows != nullptr;
}

bool AddAdditional(Json::Value& records, std::uint32_t additional) {
    if (additional == 0 || records.empty()) return true;
    RecordIndex index(records);
    Parameters mappers;
    mappers.Bind(index.Ids());
    if ((additional & _VIDEO_ADDITIONAL_::kFiles) != 0 && !AddFiles(index, mappers)) return false;
    if ((additional & _VIDEO_ADDITIONAL_::kSummary) != 0 && !AddSummaries(index, mappers)) return false;
    for (const NameTable& table : kNameTables) {
        if ((additional & table.additional) != 0 && !AddNames(index, mappers, table)) return false;
    }
    return true;
}

bool IsNumberMember(std::string_view name) {
    return name == "season" || name == "episode";
}

}  // namespace

Json::Value RecordOf(const PGresult* rows, int row) {
    Json::Value record(Json::objectValue);
    for (int column = 0; column < PQnfields(rows); ++column) {
        const char* name = PQfname(rows, column);
        const std::string_view text = Field(rows, row, column);
        if (IsNumberMember(name)) {
            record[name] = ToInt(text);
        } else if (!text.empty()) {
            record[name] = TextValue(text);
        }
    }
    return record;
}

bool ReadRecords(const std::string& sql, const Parameters& parameters, std::uint32_t additional, Json::Value& records) {
    records = Json::Value(Json::arrayValue);
    const PgResult rows = Ask(sql, parameters, "list videos");
    for (int row = 0; rows && row < PQntuples(rows.get()); ++row) records.append(RecordOf(rows.get(), row));
    return rows && AddAdditional(records, additional);
}

}  // namespace MediaServer::LibReelhouse
