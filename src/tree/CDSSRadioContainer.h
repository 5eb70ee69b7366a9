#pragma once

#include "tree/CDSContainer.h"

namespace MediaServer {

/// The genres of the internet radio, and inside each its stations.
/// Threads: Browse may run in several at once; only the separator is mutable.
class CDSSRadioContainer : public CDSMenuEntry {
public:
    CDSSRadioContainer(std::string parent_id, std::string object_id, std::string object_title, ObjectTypeCode code);

    std::int32_t Browse(const BrowseQuery& query, CDSObjectSerializer& out, std::int32_t& total) override;
    void SetSeparator(std::string_view separator) override { separator_.Set(separator); }

private:
    void WriteMetadata(const BrowseQuery& query, CDSObjectSerializer& out) const;
    std::int32_t WriteGenres(const BrowseQuery& query, CDSObjectSerializer& out, std::int32_t& total) const;
    std::int32_t WriteStations(const BrowseQuery& query, CDSObjectSerializer& out, std::int32_t& total) const;

    NodeSeparator separator_;
};

}  // namespace MediaServer
