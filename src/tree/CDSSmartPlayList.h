#pragma once

#include "tree/CDSContainer.h"

namespace MediaServer {

/// Every smart playlist, and inside each its songs.
/// Threads: Browse may run in several at once; only the separator is mutable.
class CDSSmartPlayList : public ListEntry {
public:
    CDSSmartPlayList(std::string parent_id, std::string object_id, std::string object_title, ObjectTypeCode code);

private:
    std::int32_t List(const BrowseQuery& query, CDSObjectSerializer& out, std::int32_t& total) override;
    std::int32_t WriteMetadata(const BrowseQuery& query, CDSObjectSerializer& out, std::int32_t& total) const;
    std::int32_t WritePlaylists(const BrowseQuery& query, CDSObjectSerializer& out, std::int32_t& total) const;
};

}  // namespace MediaServer
