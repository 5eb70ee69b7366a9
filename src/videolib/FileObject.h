#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include <json/value.h>

#include "model/CDSObjectSerializer.h"
#include "platform/videolibrary/VideoMetadataAPI.h"
#include "tree/CDSContainer.h"

namespace MediaServer {

/// Longest identifier of a video, show or file below a category node; longer ones are cut.
inline constexpr std::size_t kMaxVideoId = 49;

/// True when the requesting client is shown the subtitle files beside videos.
bool ListsSubtitles(const CDSObjectSerializer& out);
/// What the records of a Browse have to carry: _VIDEO_ADDITIONAL_ bits.
std::uint32_t AdditionalData(const CDSObjectSerializer& out, std::uint32_t filter_mask);

/// The last field of an identifier when it names a file: "@12", or "@s_12" for its subtitle.
struct FileField {
    std::string_view file_id;
    bool subtitle;
};
/// Nothing for any other field.
std::optional<FileField> ParseFileField(std::string_view field);

/// Turns a file of a record into its subtitle: the id becomes "s_" and the file's, the path that of the subtitle file.
/// @return false when there is no such file on the disk (the path then stays), or when the record lacks id or path.
bool MakeSubtitle(Json::Value& file);

/// One file of a video as an object of the tree.
struct FileObject {
    LibReelhouse::_VIDEO_TABLE_TYPE_ kind;
    std::string_view id, parent_id;
    std::int32_t file_index;
    bool several_files;
    bool subtitle;

    void Write(CDSObjectSerializer& out, const Json::Value& record) const;
};

/// Index of the first file of a record whose member is `value`; 0 when none is.
std::int32_t FileIndexOf(const Json::Value& record, const char* member, std::string_view value);

/// Answers BrowseMetadata of a file below either kind of node.
/// @param object_id,parent_id  identifiers as they are written.
/// @param by_name  files are shown by their names even if they are the only ones of their video.
/// @return 1, or 0 when the catalogue does not know the file any more.
std::int32_t WriteFileMetadata(LibReelhouse::_VIDEO_TABLE_TYPE_ kind, const FileField& field,
                               std::string_view object_id, std::string_view parent_id, std::uint32_t filter_mask,
                               bool by_name, CDSObjectSerializer& out);

}  // namespace MediaServer
