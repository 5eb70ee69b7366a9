#pragma once

#include "tree/CDSContainer.h"

namespace MediaServer {

/// The playlists of the library, on demand followed by the smart playlists, and inside each its songs.
/// Threads: Browse may run in several at once; only the separator is mutable after start-up.
class CDSPlayListEntry : public ListEntry {
public:
    /// @param merge_smart  lists the smart playlists after those of the library.
    CDSPlayListEntry(std::string parent_id, std::string object_id, std::string object_title, ObjectTypeCode code,
                     bool merge_smart);

    /// Songs get identifiers below `base` instead of below their playlist. Before the node is shared.
    void SetSongIdBase(std::string base) { song_id_base_ = std::move(base); }

private:
    std::int32_t List(const BrowseQuery& query, CDSObjectSerializer& out, std::int32_t& total) override;
    std::int32_t WriteSelf(CDSObjectSerializer& out, std::int32_t& total) const;
    std::int32_t WriteMetadata(const BrowseQuery& query, CDSObjectSerializer& out, std::int32_t& total) const;
    std::int32_t WritePlaylists(const BrowseQuery& query, CDSObjectSerializer& out, std::int32_t& total) const;
    std::int32_t WritePlaylistSongs(const BrowseQuery& query, CDSObjectSerializer& out, std::int32_t& total) const;

    const bool merge_smart_;
    std::string song_id_base_;
};

}  // namespace MediaServer
