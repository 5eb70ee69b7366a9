#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "platform/text/DMSStringBundle.h"
#include "platform/videolibrary/VideoMetadataAPI.h"
#include "tree/CDSContainer.h"
#include "tree/VideoLibraryNodes.h"

namespace MediaServer {

/// One kind of the video library: all its videos, or its videos by the values of a category.
///
/// Identifiers below it (S is the separator; values and ids are row ids, years or dates; "_99" is the unknown value):
///
///     node S value             the videos of a category value; only with a category
///     node [S value] S id      a show, or a video of several files
///     … S "@" file             a file; S "@s_" file is its subtitle
///
/// Threads: Browse may run in several at once; only the separator is mutable after start-up.
class CDSCategoryFolder_RH : public ListEntry {
public:
    /// @param strings  label of unknown values; outlives the node.
    CDSCategoryFolder_RH(LibReelhouse::_VIDEO_TABLE_TYPE_ kind, std::string parent_id, std::string object_id,
                         std::string object_title, ObjectTypeCode code, const DMSStringBundle& strings);

    /// A node with more than one category lists nothing. The index means nothing here.
    void AddCategory(const std::string& name, std::int32_t index);
    /// "recent:N" narrows the lists to the N newest videos. Other rules do nothing, and neither do two.
    void AddRule(const std::string& rule) { rules_.push_back(rule); }

    LibReelhouse::_VIDEO_TABLE_TYPE_ Kind() const { return kind_; }
    const std::vector<std::string>& Categories() const { return categories_; }
    const std::vector<std::string>& Rules() const { return rules_; }
    const DMSStringBundle& Strings() const { return strings_; }

private:
    std::int32_t List(const BrowseQuery& query, CDSObjectSerializer& out, std::int32_t& total) override;

    const LibReelhouse::_VIDEO_TABLE_TYPE_ kind_;
    std::vector<std::string> categories_, rules_;
    const DMSStringBundle& strings_;
};

/// One kind of the video library by the folders in which its files lie. Only movies, shows and home videos have them.
///
/// Identifiers below it: node S folder, node S folder S folder …, and S "@" file or S "@s_" file as above, where
///
///     folder = file "L" levels     the folder so many levels above the one in which the file lies: "1234L2"
///
/// Only the last field counts: a folder is found again as long as that file is.
class CDSStorageFolder_RH : public ListEntry {
public:
    CDSStorageFolder_RH(LibReelhouse::_VIDEO_TABLE_TYPE_ kind, std::string parent_id, std::string object_id,
                        std::string object_title, ObjectTypeCode code);

    LibReelhouse::_VIDEO_TABLE_TYPE_ Kind() const { return kind_; }

private:
    std::int32_t List(const BrowseQuery& query, CDSObjectSerializer& out, std::int32_t& total) override;

    const LibReelhouse::_VIDEO_TABLE_TYPE_ kind_;
};

/// Makes both for the menus.
class VideoLibrary final : public VideoLibraryNodes {
public:
    /// @param strings  outlives the nodes.
    explicit VideoLibrary(const DMSStringBundle& strings) : strings_(strings) {}
    CDSMenuEntry& MakeCategoryFolder(MenuNodes& nodes, VideoLibraryEntry entry) const override;
    CDSMenuEntry& MakeStorageFolder(MenuNodes& nodes, VideoLibraryEntry entry) const override;

private:
    const DMSStringBundle& strings_;
};

}  // namespace MediaServer
