#pragma once

#include <string>
#include <string_view>

#include "indexer/VideoDetails.h"

namespace MediaServer {

/// What a video's name and those of its folders tell. In this order:
///   - an episode: "Show S01E02 Title", "Show 1x02 Title", "Show/Season 1/02 Title"; the show is called as the folder
///     above that of the season, else as what stands before, else as the folder. "Specials" is season 0.
///   - a recording: "Channel - Programme - 2026-01-02 20-15" or "20260102 2015 - Channel - Programme", with blanks
///   around
///     the dashes; the time may only be missing from files as recorders write them (.ts, .m2ts, .mts, .mpg, .mpeg,
///     .wtv, .dvr-ms, .tp, .trp).
///   - a movie: "Title (2010)", whatever follows, also as the name of the folder when the file's begins with the same
///     title, or "Title.2010.1080p" with a mark of its quality behind the year.
///   - else a home video, with the date that the name has, if any.
/// The texts are pieces of the path. Total: any path gives something.
VideoDetails ReadVideoName(std::string_view path);

/// A name without what marks one of several parts at its end: "cd1", "part 2", "disc3".
std::string_view WithoutPart(std::string_view name);

/// Whether a folder of that name holds a season of the show that the folder above is named after.
bool IsSeasonFolder(std::string_view name);

/// A title without a year in parentheses at its end, which goes to `year`.
std::string TakeYear(std::string_view title, std::int32_t& year);

}  // namespace MediaServer
