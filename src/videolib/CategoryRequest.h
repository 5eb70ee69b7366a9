#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "tree/ObjectId.h"
#include "videolib/RecordWindow.h"
#include "videolib/VideoTables.h"
#include "videolib/cdsfolder_rh.h"

namespace MediaServer {

/// One Browse of a category folder of the video library. Lifetime: that Browse. Threads: one.
class CategoryRequest {
public:
    /// Everything outlives the request. @param query  with its separator.
    CategoryRequest(const CDSCategoryFolder_RH& node, const BrowseQuery& query, CDSObjectSerializer& out);

    /// As CDSContainer::Browse. A catalogue that does not answer gives no objects and a log line.
    std::int32_t Browse(std::int32_t& total);

private:
    bool AreFieldsGood() const;
    /// Which videos the object has. It may ask the catalogue for the title that a filter wants.
    LibReelhouse::ListQuery MakeListQuery();
    std::int64_t RecentRule() const;
    bool List(const LibReelhouse::ListQuery& list, Json::Value& reply);

    std::int32_t ListValues(std::int32_t& total);
    bool WriteValue(const Json::Value& entry);
    std::int32_t ListVideos(std::int32_t& total);
    bool WriteShow(const Json::Value& entry);
    bool WriteVideo(const Json::Value& entry);
    bool WriteSubtitle(Json::Value& entry);
    std::int32_t ListFiles(std::int32_t& total);
    bool WriteFile(const Json::Value& record, const std::string& file_id, std::int32_t index, bool several_files,
                   bool subtitle);

    std::int32_t WriteMetadata(std::int32_t& total);
    std::int32_t CountChildren();
    std::int32_t CountValues();
    std::string TitleOfVideo(const Json::Value& record) const;
    std::string TitleOfContainer(std::string_view id);
    std::string TitleOfValue(std::string_view value);
    ObjectTypeCode ContainerType() const;

    const CDSCategoryFolder_RH& node_;
    const BrowseQuery& query_;
    CDSObjectSerializer& out_;
    const std::string_view object_id_;            // without separators at its end
    const std::vector<std::string_view> fields_;  // at least the node's own
    const VideoCategory* const category_;         // null: the node has none, or one that nobody knows
    const VideoBrowseLevel level_;
    const std::uint32_t additional_;
    RecordWindow window_;
    ChildId video_id_;
    LibReelhouse::VideoMetadataAPI library_;
};

}  // namespace MediaServer
