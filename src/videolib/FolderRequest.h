#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "tree/ObjectId.h"
#include "videolib/RecordWindow.h"
#include "videolib/cdsfolder_rh.h"

namespace MediaServer {

/// One Browse of the folders of the video library. Lifetime: that Browse. Threads: one.
class FolderRequest {
public:
    /// Everything outlives the request. @param query  with its separator.
    FolderRequest(const CDSStorageFolder_RH& node, const BrowseQuery& query, CDSObjectSerializer& out);

    /// As CDSContainer::Browse. What goes wrong is told to the system log and gives no objects.
    std::int32_t Browse(std::int32_t& total);

private:
    /// The directory that the identifier names; "@Root@" for the node itself. Empty when it names none.
    std::string Directory();
    /// The shared folders that hold videos of the kind; titles that are not the only ones are numbered.
    bool ListRoots(Json::Value& roots);
    /// Writes what the window takes: folders, then files, then their subtitles for a client that is shown them.
    /// @return false when there is no such directory, or the catalogue does not answer.
    bool ListFolder(const std::string& directory, RecordWindow& window);
    bool ListFiles(const std::string& directory, bool subtitled, RecordWindow& window);

    bool WriteFolder(const Json::Value& record);
    bool WriteFile(const Json::Value& record);
    bool WriteSubtitle(Json::Value& record);
    void WriteFileObject(const Json::Value& record, std::string_view prefix, std::int32_t index, bool subtitle);

    std::int32_t WriteMetadata(std::int32_t& total);
    std::string TitleOf(const std::string& directory);

    const CDSStorageFolder_RH& node_;
    const BrowseQuery& query_;
    CDSObjectSerializer& out_;
    const std::string_view object_id_, parent_id_, last_field_;  // the last two are empty for the node itself
    const std::uint32_t additional_;
    ChildId child_id_;
    LibReelhouse::VideoMetadataAPI library_;
};

}  // namespace MediaServer
