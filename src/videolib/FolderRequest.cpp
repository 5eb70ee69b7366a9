#include "videolib/FolderRequest.h"

#include <cstdio>
#include <map>
#include <optional>
#include <utility>

#include "model/VideoRecord.h"
#include "platform/system/Log.h"
#include "platform/text/Text.h"
#include "videolib/FileObject.h"
#include "videolib/FolderKey.h"
#include "videolib/VideoTables.h"

namespace MediaServer {

using namespace LibReelhouse;

namespace {

/// Stands for the list of shared folders where a directory is expected.
constexpr const char* kRoots = "@Root@";
constexpr std::size_t kTitleField = 256;
constexpr std::size_t kMaxFolderObjectId = 4095;

bool HasFolders(_VIDEO_TABLE_TYPE_ kind) {
    return kind == kMovie || kind == kTvShow || kind == kHomeVideo;
}

/// Puts a number behind every title that stands more than once, in the order in which they stand.
void NumberTitles(Json::Value& folders) {
    struct Use {
        int in_all = 0, so_far = 0;
    };
    std::map<std::string, Use> uses;
    for (const Json::Value& folder : folders) ++uses[MemberText(folder, "title")].in_all;
    for (Json::Value& folder : folders) {
        const std::string title = MemberText(folder, "title");
        Use& use = uses[title];
        if (title.empty() || use.in_all < 2) continue;
        char numbered[kTitleField];
        std::snprintf(numbered, sizeof numbered, "%s(%d)", title.c_str(), ++use.so_far);
        folder["title"] = numbered;
    }
}

}  // namespace

FolderRequest::FolderRequest(const CDSStorageFolder_RH& node, const BrowseQuery& query, CDSObjectSerializer& out)
    : node_(node),
      query_(query),
      out_(out),
      object_id_(query.sub_id.empty() ? std::string_view(node.id) : query.object_id),
      parent_id_(SplitLastField(object_id_, query.separator).parent_id),
      last_field_(SplitLastField(query.sub_id, query.separator).field),
      additional_(AdditionalData(out, query.filter_mask)),
      child_id_(object_id_, query.separator, kMaxFolderObjectId) {}

std::int32_t FolderRequest::Browse(std::int32_t& total) {
    total = 0;
    if (!HasFolders(node_.Kind())) {
        SysLogError("%s:%d Error: not support [by folder], type = %d", kFolderSource, __LINE__,
                    static_cast<int>(node_.Kind()));
        return 0;
    }
    if (query_.flag == BrowseFlag::Metadata) return WriteMetadata(total);
    RecordWindow window(query_.start, query_.count);
    if (!ListFolder(Directory(), window)) return window.ResultOfFailure();
    total = window.Total();
    return window.Written();
}

std::string FolderRequest::Directory() {
    return last_field_.empty() ? kRoots : ResolveFolderKey(library_, last_field_);
}

bool FolderRequest::ListRoots(Json::Value& roots) {
    Json::Value reply;
    if (!NIMBVideoGetRootDirByVideoType(reply, TableNames()[node_.Kind()])) {
        SysLogError("%s:%d Failed to get root paht for by folder", kFolderSource, __LINE__);
        return false;
    }
    NumberTitles(reply["objects"]);
    for (Json::Value& folder : reply["objects"]) {
        std::int32_t files = 0;
        if (library_.GetDirFilesCount(MemberText(folder, "id"), files) && files != 0) roots.append(std::move(folder));
    }
    return true;
}

bool FolderRequest::ListFolder(const std::string& directory, RecordWindow& window) {
    if (directory.empty()) {
        SysLogError("%s:%d Bad parameter", kFolderSource, __LINE__);
        return false;
    }
    if (directory == kRoots) {
        Json::Value roots(Json::arrayValue);
        if (!ListRoots(roots)) return false;
        window.AppendWhole(roots.size(), [&](Json::ArrayIndex i) { return WriteFolder(roots[i]); });
        return true;
    }
    const auto fetch = [&](Page page, Json::Value& folders, std::int32_t& size) {
        Json::Value reply;
        if (!GetDirInfo(reply, directory, TableNames()[node_.Kind()], page)) return false;
        size = ToInt(MemberText(reply, "total"));
        folders = std::move(reply["objects"]);
        return true;
    };
    return window.Append(fetch, [&](const Json::Value& record) { return WriteFolder(record); }) &&
           ListFiles(directory, false, window) && (!ListsSubtitles(out_) || ListFiles(directory, true, window));
}

bool FolderRequest::ListFiles(const std::string& directory, bool subtitled, RecordWindow& window) {
    const auto fetch = [&](Page page, Json::Value& files, std::int32_t& size) {
        Json::Value listing;
        const bool is_read =
            library_.ListDir(FiledKind(node_.Kind()), additional_, directory, page, subtitled, listing, size);
        files = std::move(listing["objects"]);
        return is_read;
    };
    return window.Append(fetch,
                         [&](Json::Value& record) { return subtitled ? WriteSubtitle(record) : WriteFile(record); });
}

bool FolderRequest::WriteFolder(const Json::Value& record) {
    const std::string title = MemberText(record, "title");
    if (MemberText(record, "type") != "folder" || MemberText(record, "id").empty()) return false;
    const std::string path = MemberText(record, "path"), file_path = MemberText(record, "file_path");
    // The catalogue tells a file of each folder of a page, which saves a question for each.
    const std::string key = path.empty() || file_path.empty()
                                ? MakeFolderKey(library_, path)
                                : MakeFolderKey(path, MemberText(record, "file_id"), file_path);
    if (key.empty() || title.empty()) return false;
    out_.SerializeContainerWithCount(child_id_.Field(key), object_id_, title, query_.ListedChildCount(),
                                     ObjectType::kStorageFolder);
    return true;
}

bool FolderRequest::WriteFile(const Json::Value& record) {
    const std::string path = MemberText(record, "path");
    if (MemberText(record, "type") != "file" || MemberText(record, "id").empty() || path.empty()) return false;
    WriteFileObject(record, "@", FileIndexOf(record, "path", path), false);
    return true;
}

bool FolderRequest::WriteSubtitle(Json::Value& record) {
    if (MemberText(record, "title").empty() || FilesOf(record).empty()) return false;
    // Of a video of several files the one that lies here; its path is the record's until it becomes the subtitle's.
    const std::int32_t index = FileIndexOf(record, "path", MemberText(record, "path"));
    if (!MakeSubtitle(record["additional"]["files"][index])) return false;
    record["subtitle"] = true;
    WriteFileObject(record, "@s_", index, true);
    return true;
}

void FolderRequest::WriteFileObject(const Json::Value& record, std::string_view prefix, std::int32_t index,
                                    bool subtitle) {
    const std::string id = MemberText(record, "id");
    FileObject{node_.Kind(), child_id_.Field(prefix, id), object_id_, index, true, subtitle}.Write(out_, record);
}

std::int32_t FolderRequest::WriteMetadata(std::int32_t& total) {
    if (const std::optional<FileField> file = ParseFileField(last_field_)) {
        total = WriteFileMetadata(node_.Kind(), *file, object_id_, parent_id_, query_.filter_mask, true, out_);
        return total;
    }
    const std::string directory = Directory();
    RecordWindow counted = RecordWindow::Nothing();
    if (!ListFolder(directory, counted)) return 0;
    const bool is_node = last_field_.empty();
    out_.SerializeContainerWithCount(object_id_, is_node ? node_.parentId : parent_id_,
                                     is_node ? node_.title : TitleOf(directory), counted.Total(),
                                     ObjectType::kStorageFolder);
    total = 1;
    return 1;
}

std::string FolderRequest::TitleOf(const std::string& directory) {
    Json::Value roots(Json::arrayValue);
    ListRoots(roots);
    for (const Json::Value& root : roots) {
        if (MemberText(root, "path") == directory) return MemberText(root, "title");
    }
    return std::string(BaseName(directory));
}

}  // namespace MediaServer
