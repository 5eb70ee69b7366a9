#include "videolib/FileObject.h"

#include <map>
#include <utility>

#include "model/PropertyFilter.h"
#include "model/VideoRecord.h"
#include "platform/clients/DMSClientChecker.h"
#include "platform/media/Subtitle.h"
#include "platform/system/Files.h"
#include "platform/text/Text.h"
#include "videolib/VideoTables.h"

namespace MediaServer {

using namespace LibReelhouse;

namespace {

bool HasFlag(const CDSObjectSerializer& out, std::uint32_t flag) {
    const DMSClientChecker* client = out.GetClientChecker();
    return client != nullptr && client->Has(flag);
}

}  // namespace

bool ListsSubtitles(const CDSObjectSerializer& out) {
    return HasFlag(out, ClientFlag::kTextItems);
}

std::uint32_t AdditionalData(const CDSObjectSerializer& out, std::uint32_t filter_mask) {
    namespace Additional = _VIDEO_ADDITIONAL_;
    static constexpr std::pair<std::uint32_t, std::uint32_t> kDetails[] = {
        {Property::kActor, Additional::kActor},
        {Property::kDirector, Additional::kDirector},
        {Property::kAuthor, Additional::kWriter},
        {Property::kGenre, Additional::kGenre},
        {Property::kLongDescription, Additional::kSummary},
    };
    std::uint32_t additional = Additional::kFiles;
    if (!HasFlag(out, ClientFlag::kVideoDetails)) return additional;
    for (const auto& [property, data] : kDetails) additional |= (filter_mask & property) != 0 ? data : 0;
    return additional;
}

std::optional<FileField> ParseFileField(std::string_view field) {
    if (!field.starts_with('@')) return std::nullopt;
    field.remove_prefix(1);
    const bool subtitle = field.starts_with(kSubtitleMark);
    if (subtitle) field.remove_prefix(kSubtitleMark.size());
    if (!ParseRowId(field)) return std::nullopt;
    return FileField{field, subtitle};
}

bool MakeSubtitle(Json::Value& file) {
    const std::string path = SubtitleBeside(MemberText(file, "path"));
    const std::string id = MemberText(file, "id");
    if (id.empty() || path.empty()) return false;
    file["id"] = std::string(kSubtitleMark) + id;
    if (!NLIBCFileExist(path.c_str())) return false;
    file["path"] = path;
    return true;
}

void FileObject::Write(CDSObjectSerializer& out, const Json::Value& record) const {
    const auto write =
        subtitle ? &CDSObjectSerializer::SerializeReelhouseFile : &CDSObjectSerializer::SerializeReelhouseItem;
    (out.*write)(id, parent_id, static_cast<std::int32_t>(kind), file_index, several_files, record);
}

std::int32_t FileIndexOf(const Json::Value& record, const char* member, std::string_view value) {
    const Json::Value& files = FilesOf(record);
    for (Json::ArrayIndex i = 0; i < files.size(); ++i) {
        if (MemberText(files[i], member) == value) return static_cast<std::int32_t>(i);
    }
    return 0;
}

std::int32_t WriteFileMetadata(_VIDEO_TABLE_TYPE_ kind, const FileField& field, std::string_view object_id,
                               std::string_view parent_id, std::uint32_t filter_mask, bool by_name,
                               CDSObjectSerializer& out) {
    VideoMetadataAPI library;
    const std::string mapper_id = library.GetFieldValueById("video_file", field.file_id, "mapper_id");
    if (mapper_id.empty()) return 0;
    const _VIDEO_TABLE_TYPE_ type = FiledKind(kind);
    std::map<std::string, std::string> video;
    if (!library.GetFieldMapByKey(TableNames()[type], "mapper_id", mapper_id, video)) return 0;
    Json::Value reply;
    if (!library.GetInfo(type, AdditionalData(out, filter_mask), video["id"], reply)) return 0;
    Json::Value& records = reply[VideoListKeyTable(type)];
    if (!records.isArray() || records.empty()) return 0;
    Json::Value& record = records[0];

    const std::int32_t index = FileIndexOf(record, "id", field.file_id);
    const bool several = FilesOf(record).size() >= 2;
    if (field.subtitle && !FilesOf(record).empty()) MakeSubtitle(record["additional"]["files"][index]);
    FileObject{kind, object_id, parent_id, index, by_name || several, field.subtitle}.Write(out, record);
    return 1;
}

}  // namespace MediaServer
