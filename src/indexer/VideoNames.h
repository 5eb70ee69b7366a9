#pragma once

#include <string>
#include <string_view>

#include "indexer/VideoDetails.h"

namespace MediaServer {

/// What a video's name and those of its folders tell; docs/videos.md has the patterns. In this order:
///   - an extra is a home video, see IsExtra.
///   - an episode: "Show S01E02 Title", "Show 1x02 Title", "Show/Season 1/02 Title"; the show is called as the folder
///     above that of the season, else as what stands before, else as the folder. "Specials" is season 0.
///   - a recording: "Channel - Programme - 2026-01-02 20-15" or "20260102 2015 - Channel - Programme", with blanks
///     around the dashes; time and channel may only be missing from files as recorders write them.
///   - a movie: "Title (2010)", whatever follows, also as the name of the folder when the file's is the same title, or
///     "Title.2010.1080p" with the marks of a release behind the year.
///   - else a home video, with the date that the name has, if any.
/// The texts are pieces of the path. Total: any path gives something.
VideoDetails ReadVideoName(std::string_view path);

/// Whether a file comes with a movie or a show and is none of its files: trailers, samples, deleted scenes and the
/// like, by the end of its name or by its folder.
bool IsExtra(std::string_view path);

/// A name without what marks one of several parts at its end: "cd1", "part 2", "disc3".
std::string_view WithoutPart(std::string_view name);

/// Whether a directory holds a season of a show: "/Show/Season 1", "/Show Season 1".
bool IsSeasonFolder(std::string_view directory);

/// The show that the folders of an episode are named after.
std::string ShowOfFolders(std::string_view path);

/// A title without a year in parentheses at its end, which goes to `year`.
std::string TakeYear(std::string_view title, std::int32_t& year);

}  // namespace MediaServer
