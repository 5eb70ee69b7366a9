#include "tree/DirectoryListing.h"

#include <algorithm>
#include <array>
#include <iterator>

#include "model/PropertyFilter.h"
#include "platform/clients/DMSClientChecker.h"
#include "platform/system/Log.h"
#include "platform/text/Text.h"
#include "tree/MediaItems.h"

namespace MediaServer {

namespace {

struct RowLookup {
    Lookup result;
    std::int32_t row = 0;
};

RowLookup FindDirectoryRow(std::string_view path) {
    MediaDB directories(MediaKind::Directory);
    directories.AddCondition("path='" + SQLEscapeString(path) + "'");
    if (directories.Select("id", {}, 0, 1) < 0) return {Lookup::Failed};
    if (!directories.NextRow()) return {Lookup::NotFound};
    return {Lookup::Found, directories.FetchFieldAsInt("id")};
}

void LogDirectChildren(std::string_view directory) {
    if (DMSLOGGetLevel() < 2) return;
    const std::string path = SQLEscapeCondition(directory);
    DMSPrintf(2, "browseChildren: cond=path like '%s/%%' and path not like '%s/%%/%%'\n", path.c_str(), path.c_str());
}

}  // namespace

DirectoryListing::DirectoryListing(const CDSMenuEntry& node, MediaKind kind, const FolderScope& scope,
                                   const BrowseQuery& query, CDSObjectSerializer& out)
    : node_(node), kind_(kind), scope_(scope), query_(query), out_(out) {}

std::int32_t DirectoryListing::Browse(std::int32_t& total) {
    const std::optional<FolderTarget> target = ParseFolderTarget(query_.sub_id);
    if (!target) return kNoSuchObject;
    target_ = *target;
    return query_.flag == BrowseFlag::Metadata ? WriteMetadata(total) : WriteChildren(total);
}

std::int32_t DirectoryListing::WriteMetadata(std::int32_t& total) {
    std::int32_t written;
    if (target_.kind == FolderTarget::Kind::Node) {
        written = WriteNode();
    } else {
        const bool is_file = target_.kind == FolderTarget::Kind::File;
        NIMB_MEDIA_INFO record;
        const Lookup found = FindMediaRecord(is_file ? kind_ : MediaKind::Directory, target_.row, record);
        if (found != Lookup::Found) return found == Lookup::NotFound ? 0 : kActionFailed;
        written = WriteRow(record, is_file);
    }
    if (written > 0) total = 1;
    return written;
}

std::int32_t DirectoryListing::WriteNode() {
    if (scope_.ListsLocations() && (query_.filter_mask & Property::kChildCount) != 0) {
        out_.SerializeContainerWithCount(node_.id, node_.parentId, node_.title,
                                         static_cast<std::int32_t>(scope_.locations.size()),
                                         ObjectType::kStorageFolder);
        return 1;
    }
    return WriteContainer(node_.id, node_.parentId, node_.title, scope_.root);
}

std::int32_t DirectoryListing::WriteRow(const NIMB_MEDIA_INFO& record, bool is_file) {
    const std::optional<std::string> parent_id = ParentIdOf(record.path);
    if (!parent_id) return kActionFailed;
    ChildId ids = Ids();
    if (is_file) {
        out_.SerializeMediaItem(kind_, ids.Item(record.id), *parent_id, record);
        return 1;
    }
    const auto location = scope_.locations.find(record.path);
    return WriteContainer(ids.Row(record.id), *parent_id,
                          location == scope_.locations.end() ? record.title : location->second, record.path);
}

std::int32_t DirectoryListing::WriteContainer(std::string_view id, std::string_view parent_id, std::string_view title,
                                              std::string_view directory) {
    if ((query_.filter_mask & Property::kChildCount) == 0) {
        out_.SerializeContainer(id, parent_id, title, ObjectType::kStorageFolder);
        return 1;
    }
    const std::int32_t children = CountChildren(directory);
    if (children < 0) return kActionFailed;
    out_.SerializeContainerWithCount(id, parent_id, title, children, ObjectType::kStorageFolder);
    return 1;
}

std::int32_t DirectoryListing::WriteChildren(std::int32_t& total) {
    if (target_.kind == FolderTarget::Kind::Node) {
        return scope_.ListsLocations() ? WriteLocations(total) : WriteDirectory(scope_.root, total);
    }
    NIMB_MEDIA_INFO record;
    const bool is_file = target_.kind == FolderTarget::Kind::File;
    const Lookup found = FindMediaRecord(is_file ? kind_ : MediaKind::Directory, target_.row, record);
    if (found == Lookup::Failed) return kActionFailed;
    return WriteDirectory(record.path, total);
}

std::int32_t DirectoryListing::WriteLocations(std::int32_t& total) {
    DMSPrintf(2, "browseChildren: cond=%s\n", "BrowseIndexFolder");
    const auto size = static_cast<std::int32_t>(scope_.locations.size());
    total = size;
    const std::int32_t start = std::clamp(query_.start, 0, size);
    const std::int32_t left = size - start;
    const std::int32_t wanted = query_.count == 0 ? left : std::clamp(query_.count, 0, left);
    auto location = std::next(scope_.locations.begin(), start);
    ChildId ids = Ids();
    for (std::int32_t i = 0; i < wanted; ++i, ++location) {
        const RowLookup folder = FindDirectoryRow(location->first);
        if (folder.result == Lookup::Failed) return kActionFailed;
        const std::string_view id = folder.result == Lookup::Found ? ids.Row(folder.row) : ids.Field("no");
        out_.SerializeContainerWithCount(id, BrowsedId(), location->second, query_.ListedChildCount(),
                                         ObjectType::kStorageFolder);
    }
    return wanted;
}

std::int32_t DirectoryListing::WriteDirectory(std::string_view directory, std::int32_t& total) {
    total = 0;
    // Nothing is recorded outside a directory; a condition on the empty path would match the top of every tree.
    if (directory.empty()) return 0;
    LogDirectChildren(directory);

    MediaDB folders(MediaKind::Directory);
    MediaDB files(kind_);
    folders.AddParentCondition(directory);
    RestrictFiles(files, directory);
    struct Group {
        MediaDB* rows;
        std::int32_t (DirectoryListing::*write)(MediaDB&, std::int32_t, std::int32_t);
        std::int32_t total;
    };
    const std::int32_t folder_count = folders.SelectTotal();
    files.ShareGeneration(folders);
    std::array groups{Group{&folders, &DirectoryListing::WriteFolders, folder_count},
                      Group{&files, &DirectoryListing::WriteFiles, files.SelectTotal()}};
    for (const Group& group : groups) {
        if (group.total < 0) return kActionFailed;
        total += group.total;
    }
    if (FilesComeFirst()) std::swap(groups[0], groups[1]);

    std::int32_t written = 0;
    std::int32_t start = std::max(query_.start, 0);
    for (const Group& group : groups) {
        if (query_.count != 0 && written >= query_.count) break;
        if (start < group.total) {
            const std::int32_t left = query_.count == 0 ? 0 : query_.count - written;
            const std::int32_t rows = (this->*group.write)(*group.rows, start, left);
            if (rows < 0) return rows;
            written += rows;
        }
        start = std::max(start - group.total, 0);
    }
    return written;
}

std::int32_t DirectoryListing::WriteFolders(MediaDB& folders, std::int32_t start, std::int32_t count) {
    if (folders.Select("id, title", "title", start, count) < 0) return kActionFailed;
    std::int32_t written = 0;
    ChildId ids = Ids();
    while (folders.NextRow()) {
        out_.SerializeContainerWithCount(ids.Row(folders.FetchFieldAsInt("id")), BrowsedId(),
                                         folders.FetchField("title"), query_.ListedChildCount(),
                                         ObjectType::kStorageFolder);
        ++written;
    }
    return folders.Failed() ? kActionFailed : written;
}

std::int32_t DirectoryListing::WriteFiles(MediaDB& files, std::int32_t start, std::int32_t count) {
    return WriteItems(files, kind_, ItemOrderOf(kind_, out_.GetOptions(), false), start, count, Ids(), BrowsedId(),
                      out_);
}

void DirectoryListing::RestrictFiles(MediaDB& files, std::string_view directory) const {
    files.AddParentCondition(directory);
    AddItemExclusions(files, kind_, out_);
}

std::int32_t DirectoryListing::CountChildren(std::string_view directory) const {
    if (directory.empty()) return 0;
    MediaDB folders(MediaKind::Directory);
    MediaDB files(kind_);
    folders.AddParentCondition(directory);
    RestrictFiles(files, directory);
    const std::int32_t folder_count = folders.SelectTotal();
    const std::int32_t file_count = files.SelectTotal();
    return folder_count < 0 || file_count < 0 ? -1 : folder_count + file_count;
}

bool DirectoryListing::FilesComeFirst() const {
    const DMSClientChecker* client = out_.GetClientChecker();
    return kind_ == MediaKind::Photo && client != nullptr && client->full_menu;
}

std::optional<std::string> DirectoryListing::ParentIdOf(std::string_view path) const {
    if (scope_.locations.contains(std::string(path))) return node_.id;
    const std::string_view directory = DirName(path);
    // Mapped to the node although the root may have a row, so that an object's own parent is the one it is listed in.
    if (!scope_.ListsLocations() && directory == scope_.root) return node_.id;
    const RowLookup folder = FindDirectoryRow(directory);
    if (folder.result == Lookup::Failed) return std::nullopt;
    if (folder.result == Lookup::NotFound) return std::string();
    ChildId ids = Ids();
    return std::string(ids.Row(folder.row));
}

}  // namespace MediaServer
