#pragma once

#include <cstdint>
#include <functional>

#include <json/value.h>

#include "platform/videolibrary/VideoMetadataAPI.h"
#include "tree/CDSContainer.h"

namespace MediaServer {

/// One page of the children of an object, cut out of lists that follow each other (first the videos, then their
/// subtitles). Lists are read in portions, so that no request holds more than one.
/// Lifetime: one request. Threads: one.
class RecordWindow {
public:
    /// @param start  index of the first child wanted, from zero.
    /// @param count  most children to write; 0 means all the rest, a negative one none.
    RecordWindow(std::int32_t start, std::int32_t count);
    /// Takes nothing; for totals.
    static RecordWindow Nothing() { return {0, -1}; }

    /// Reads a portion of a list: its records and the number of all. @return false when it cannot be read.
    using Fetch = std::function<bool(LibReelhouse::Page page, Json::Value& records, std::int32_t& total)>;
    /// @return false when the record cannot be shown.
    using Write = std::function<bool(Json::Value& record)>;
    /// Goes through the next list.
    /// @return false when a portion could not be read.
    bool Append(const Fetch& fetch, const Write& write);

    /// Goes through a list of `size` that is at hand. `write` takes an index.
    void AppendWhole(Json::ArrayIndex size, const std::function<bool(Json::ArrayIndex index)>& write);

    std::int32_t Written() const { return written_; }
    /// What a Browse gives when a list could not be read: no objects. What stands in the answer already cannot be taken
    /// back; then there is no answer.
    std::int32_t ResultOfFailure() const { return written_ == 0 ? 0 : kActionFailed; }
    /// Length of all lists; 0 when the window begins behind them.
    std::int32_t Total() const;

private:
    const std::int64_t start_, end_;
    std::int64_t total_ = 0;
    std::int32_t written_ = 0;
};

}  // namespace MediaServer
