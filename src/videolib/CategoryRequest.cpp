#include "videolib/CategoryRequest.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <map>
#include <optional>
#include <utility>

#include "model/VideoRecord.h"
#include "platform/clients/DMSClientChecker.h"
#include "platform/system/Log.h"
#include "platform/system/LogLimit.h"
#include "platform/text/Text.h"
#include "videolib/FileObject.h"

namespace MediaServer {

using namespace LibReelhouse;
using enum VideoBrowseLevel;

namespace {

/// Stands in identifiers for the value of the videos that have none.
constexpr std::string_view kUnknownValue = "_99";
/// What the catalogue calls that value, and the year of films without one.
constexpr const char* kUnknownId = "0";
constexpr std::size_t kTitleField = 1024;

/// What identifiers of values are made of: row ids, years and dates.
bool IsValue(std::string_view field) {
    constexpr std::size_t kLongest = 10;  // of both a row id and "2020-12-31"
    return field == kUnknownValue || (field.size() <= kLongest && std::all_of(field.begin(), field.end(), [](char c) {
                                          return (c >= '0' && c <= '9') || c == '-';
                                      }));
}

std::string_view WithoutFinal(std::string_view text, std::string_view separator) {
    while (text.ends_with(separator)) text.remove_suffix(separator.size());
    return text;
}

const VideoCategory* CategoryOf(const CDSCategoryFolder_RH& node) {
    return node.Categories().empty() ? nullptr : VideoCategoryTable(node.Categories().front());
}

VideoBrowseLevel LevelOf(const CDSCategoryFolder_RH& node, std::size_t fields) {
    const bool is_known = node.Categories().empty() || CategoryOf(node) != nullptr;
    return is_known ? BrowseLevelOf(node.Kind(), node.Categories().size(), fields) : Invalid;
}

}  // namespace

CategoryRequest::CategoryRequest(const CDSCategoryFolder_RH& node, const BrowseQuery& query, CDSObjectSerializer& out)
    : node_(node),
      query_(query),
      out_(out),
      object_id_(WithoutFinal(query.object_id, query.separator)),
      fields_(StringExplode(object_id_, query.separator)),
      category_(CategoryOf(node)),
      level_(LevelOf(node, fields_.size())),
      additional_(AdditionalData(out, query.filter_mask)),
      window_(query.start, query.count),
      video_id_(object_id_, query.separator, kMaxVideoId) {}

std::int32_t CategoryRequest::Browse(std::int32_t& total) {
    total = 0;
    if (!AreFieldsGood()) return kNoSuchObject;
    if (query_.flag == BrowseFlag::Metadata) return WriteMetadata(total);
    switch (level_) {
        case CategoryValues:
            return ListValues(total);
        case FileList:
            return ListFiles(total);
        case ShowList:
        case EpisodeList:
        case VideoList:
            return ListVideos(total);
        case Invalid:
            break;
    }
    return 0;
}

bool CategoryRequest::AreFieldsGood() const {
    for (std::size_t i = 1; i < fields_.size(); ++i) {
        const bool is_value = i == 1 && category_ != nullptr && IsValue(fields_[i]);
        const bool is_file = i + 1 == fields_.size() && ParseFileField(fields_[i]);
        if (!is_value && !is_file && !ParseRowId(fields_[i])) return false;
    }
    return !fields_.empty();
}

std::int32_t CategoryRequest::ListValues(std::int32_t& total) {
    const auto fetch = [&](Page page, Json::Value& values, std::int32_t& size) {
        Json::Value reply;
        std::int32_t second = 0;
        if (!library_.CategoryBrowse(FiledKind(node_.Kind()), category_->value, page, kAscending, nullptr, reply, size,
                                     second)) {
            DMSPrintf(0, "Failed to category browse - database access error\n");
            return false;
        }
        if (!reply.isMember("metadatas")) {
            DMSPrintf(0, "There is no key [metadatas] in JSON\n");
            return false;
        }
        values = std::move(reply["metadatas"]);
        return true;
    };
    if (!window_.Append(fetch, [&](const Json::Value& entry) { return WriteValue(entry); })) {
        return window_.ResultOfFailure();
    }
    total = window_.Total();
    return window_.Written();
}

bool CategoryRequest::WriteValue(const Json::Value& entry) {
    std::string id = MemberText(entry, "id");
    std::string title = MemberText(entry, "name");
    if (id.empty() || title.empty() || (id == kUnknownId && title == kUnknownId)) {
        id = kUnknownValue;
        title = node_.Strings().Translate("unknown");
    } else if (category_->by_title && node_.Kind() == kTvRecord) {
        std::map<std::string, std::string> row;
        if (!library_.GetFieldMapByKey(category_->table, category_->field, "'" + title + "'", row)) return false;
        id = row["id"];
    }
    const std::string child = std::string(object_id_).append(query_.separator).append(id);
    out_.SerializeContainerWithCount(child, object_id_, title, query_.ListedChildCount(), ContainerType());
    return true;
}

ListQuery CategoryRequest::MakeListQuery() {
    ListQuery list;
    list.type = level_ == EpisodeList ? kEpisode : node_.Kind();
    list.recent = RecentRule();
    if (level_ == EpisodeList) list.show_id = fields_.back();
    if (category_ == nullptr || fields_.size() < 2) return list;

    std::string value(fields_[1] == kUnknownValue ? std::string_view() : fields_[1]);
    if (category_->by_title && !value.empty()) {
        value = library_.GetFieldValueById(category_->table, value, category_->field);
    }
    list.by_date = category_->value == kDate;
    if (category_->filter != nullptr) {
        list.*category_->filter = std::move(value);
    } else {
        list.year = value.empty() ? kUnknownId : value;
    }
    return list;
}

std::int64_t CategoryRequest::RecentRule() const {
    if (node_.Rules().size() != 1) return 0;
    const std::vector<std::string_view> parts = StringExplode(node_.Rules().front(), ":");
    if (parts.size() != 2 || parts[0] != "recent") return 0;
    std::int64_t count = 0;
    std::from_chars(parts[1].data(), parts[1].data() + parts[1].size(), count);
    return count;
}

bool CategoryRequest::List(const ListQuery& list, Json::Value& reply) {
    if (library_.List(list, reply)) return true;
    DMSPrintf(0, "Failed to database[reelhouse] list\n");
    return false;
}

std::int32_t CategoryRequest::ListVideos(std::int32_t& total) {
    ListQuery list = MakeListQuery();
    list.additional = additional_;
    list.sort_by = level_ == EpisodeList ? "sort_time" : "sort_title";
    const auto fetch = [&](Page page, Json::Value& records, std::int32_t& size) {
        list.page = page;
        Json::Value reply;
        if (!List(list, reply)) return false;
        records = std::move(reply[VideoListKeyTable(list.type)]);
        size = records.isArray() ? ToInt(MemberText(reply, "total")) : 0;
        return true;
    };
    const auto write = [&](const Json::Value& entry) {
        return level_ == ShowList ? WriteShow(entry) : WriteVideo(entry);
    };
    bool is_read = window_.Append(fetch, write);
    if (is_read && level_ != ShowList && ListsSubtitles(out_)) {
        list.subtitled = true;
        is_read = window_.Append(fetch, [&](Json::Value& entry) { return WriteSubtitle(entry); });
    }
    if (!is_read) return window_.ResultOfFailure();
    total = window_.Total();
    return window_.Written();
}

bool CategoryRequest::WriteShow(const Json::Value& entry) {
    const std::string id = MemberText(entry, "id");
    const std::string title = MemberText(entry, "title");
    if (id.empty() || title.empty()) return false;
    out_.SerializeContainerWithCount(video_id_.Field(id), object_id_, title, query_.ListedChildCount(),
                                     ContainerType());
    return true;
}

bool CategoryRequest::WriteVideo(const Json::Value& entry) {
    const std::string id = MemberText(entry, "id");
    const Json::Value& files = FilesOf(entry);
    if (id.empty() || !files.isArray()) return false;
    if (files.size() == 1) return WriteFile(entry, MemberText(files[0], "id"), 0, false, false);
    out_.SerializeContainerWithCount(video_id_.Field(id), object_id_, TitleOfVideo(entry), query_.ListedChildCount(),
                                     ContainerType());
    return true;
}

bool CategoryRequest::WriteSubtitle(Json::Value& entry) {
    if (MemberText(entry, "id").empty() || FilesOf(entry).size() != 1) return false;
    Json::Value& file = entry["additional"]["files"][0];
    if (!MakeSubtitle(file)) return false;
    entry["subtitle"] = true;
    return WriteFile(entry, MemberText(file, "id"), 0, false, true);
}

bool CategoryRequest::WriteFile(const Json::Value& record, const std::string& file_id, std::int32_t index,
                                bool several_files, bool subtitle) {
    if (file_id.empty()) return false;
    FileObject{node_.Kind(), video_id_.Field("@", file_id), object_id_, index, several_files, subtitle}.Write(out_,
                                                                                                              record);
    return true;
}

std::int32_t CategoryRequest::ListFiles(std::int32_t& total) {
    const _VIDEO_TABLE_TYPE_ type = FiledKind(node_.Kind());
    Json::Value reply;
    if (!library_.GetInfo(type, additional_, fields_.back(), reply)) {
        // An id that is not there fails, too.
        static LogLimit limit;
        if (limit.Admit()) DMSPrintf(0, "Failed to database[reelhouse] getinfo\n");
        return 0;
    }
    Json::Value& records = reply[VideoListKeyTable(type)];
    if (!records.isArray() || records.empty() || !FilesOf(records[0]).isArray()) return 0;
    Json::Value& record = records[0];
    Json::Value& files = record["additional"]["files"];
    const Json::ArrayIndex videos = files.size();
    for (Json::ArrayIndex i = 0; ListsSubtitles(out_) && i < videos; ++i) {
        Json::Value file = files[i];
        if (!MakeSubtitle(file)) continue;
        file["subtitle"] = true;
        files.append(std::move(file));
    }
    window_.AppendWhole(files.size(), [&](Json::ArrayIndex i) {
        return WriteFile(record, MemberText(files[i], "id"), static_cast<std::int32_t>(i), true, i >= videos);
    });
    total = window_.Total();
    return window_.Written();
}

std::int32_t CategoryRequest::WriteMetadata(std::int32_t& total) {
    const std::string_view parent = SplitLastField(object_id_, query_.separator).parent_id;
    if (const std::optional<FileField> file = ParseFileField(fields_.back())) {
        total = WriteFileMetadata(node_.Kind(), *file, object_id_, parent, query_.filter_mask, false, out_);
        return total;
    }
    const bool is_node = fields_.size() == 1;
    const std::string title = is_node ? node_.title : TitleOfContainer(fields_.back());
    out_.SerializeContainerWithCount(object_id_, is_node ? node_.parentId : parent, title, CountChildren(),
                                     ContainerType());
    total = 1;
    return 1;
}

std::int32_t CategoryRequest::CountChildren() {
    if (level_ == Invalid) return -1;
    if (level_ == CategoryValues) return CountValues();
    ListQuery list = MakeListQuery();
    list.page.limit = 1;
    Json::Value reply;
    return List(list, reply) ? ToInt(MemberText(reply, "total")) : 0;
}

std::int32_t CategoryRequest::CountValues() {
    Json::Value reply;
    std::int32_t count = 0, second = 0;
    if (library_.CategoryBrowse(FiledKind(node_.Kind()), category_->value, {0, 1}, kAscending, nullptr, reply, count,
                                second)) {
        return count;
    }
    DMSPrintf(0, "Failed to category browse\n");
    return -1;
}

std::string CategoryRequest::TitleOfVideo(const Json::Value& record) const {
    const std::string tagline = MemberText(record, "tagline");
    const std::string suffix = tagline.empty() ? tagline : " - " + tagline;
    const std::string title = MemberText(record, "title");
    char text[kTitleField];
    if (node_.Kind() == kTvShow) {
        std::snprintf(text, sizeof text, "%s - S%02dE%02d%s", title.c_str(), ToInt(MemberText(record, "season")),
                      ToInt(MemberText(record, "episode")), suffix.c_str());
    } else {
        std::snprintf(text, sizeof text, "%s%s", title.c_str(), suffix.c_str());
    }
    return text;
}

std::string CategoryRequest::TitleOfContainer(std::string_view id) {
    if (!node_.Categories().empty() && fields_.size() == 2) return TitleOfValue(id);
    if (level_ == FileList && node_.Kind() == kTvShow) {
        // An episode of several files; its id is none of the shows' table.
        Json::Value reply;
        const bool is_known = library_.GetInfo(kEpisode, 0, id, reply);
        return is_known ? TitleOfVideo(reply[VideoListKeyTable(kEpisode)][0]) : std::string();
    }
    const std::string_view table = TableNames()[node_.Kind()];
    std::string title = library_.GetFieldValueById(table, id, "title");
    if (node_.Kind() != kMovie) return title;
    const std::string tagline = library_.GetFieldValueById(table, id, "tag_line");
    return tagline.empty() ? title : title + " - " + tagline;
}

std::string CategoryRequest::TitleOfValue(std::string_view value) {
    if (value == kUnknownValue) return node_.Strings().Translate("unknown");
    if (category_ == nullptr || *category_->table == '\0') return std::string(value);
    return library_.GetFieldValueById(category_->table, value, category_->field);
}

// The clients that get all properties of everything take these for folders.
ObjectTypeCode CategoryRequest::ContainerType() const {
    const DMSClientChecker* client = out_.GetClientChecker();
    return client != nullptr && client->full_menu ? ObjectType::kStorageFolder : ObjectType::kContainer;
}

}  // namespace MediaServer
