#pragma once

#include "tree/CDSContainer.h"

namespace MediaServer {

/// The genres of the internet radio, and inside each its stations.
/// Threads: Browse may run in several at once; only the separator is mutable.
class CDSSRadioContainer : public ListEntry {
public:
    CDSSRadioContainer(std::string parent_id, std::string object_id, std::string object_title, ObjectTypeCode code);

private:
    std::int32_t List(const BrowseQuery& query, CDSObjectSerializer& out, std::int32_t& total) override;
    void WriteMetadata(const BrowseQuery& query, CDSObjectSerializer& out) const;
    std::int32_t WriteGenres(const BrowseQuery& query, CDSObjectSerializer& out, std::int32_t& total) const;
    std::int32_t WriteStations(const BrowseQuery& query, CDSObjectSerializer& out, std::int32_t& total) const;
};

}  // namespace MediaServer
