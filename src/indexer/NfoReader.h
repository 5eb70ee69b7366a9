#pragma once

#include <optional>
#include <string_view>

#include "indexer/VideoDetails.h"

namespace MediaServer {

/// Largest description that is read; a long cast takes a tenth of it.
inline constexpr std::size_t kMaxNfoBytes = 512 * 1024;

/// Reads a description as media centres write it beside videos (".nfo"): the root element says what is described
/// ("movie", "tvshow", "episodedetails"), its children are "title", "sorttitle", "tagline", "plot", "year", "season",
/// "episode", "premiered" or "aired", "genre", "director", "credits" (the writers) and "actor" with a "name". Only the
/// first root element counts. What strangers wrote is bounded: no entities, at most so many names, and texts are
/// cleaned and cut.
/// @return nothing when it is no such description or breaks a bound before its end.
/// Threads: any, at once.
std::optional<VideoDetails> ReadNfo(std::string_view document);

}  // namespace MediaServer
