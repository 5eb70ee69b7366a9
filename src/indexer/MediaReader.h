#pragma once

#include <string>
#include <string_view>

#include "platform/media/MediaKind.h"
#include "platform/media/NIMB_MEDIA_INFO.h"

namespace MediaServer {

/// Longest text that a tag may bring into the database: an index entry must fit a third of a page.
inline constexpr std::size_t kMaxTagBytes = 400;

/// Reads what a file tells about itself into `record`, whose path, title (the file's name), date and size are set.
/// Texts come out as the file has them; ReadMedia cleans them.
/// @return false with `reason` set when the file is not what its name says, or is broken.
using MediaReader = bool (*)(NIMB_MEDIA_INFO& record, std::string& reason);

bool ReadMusic(NIMB_MEDIA_INFO& record, std::string& reason);
bool ReadVideo(NIMB_MEDIA_INFO& record, std::string& reason);
/// The size is that of the upright picture.
bool ReadPhoto(NIMB_MEDIA_INFO& record, std::string& reason);

/// Reads with libavformat: streams, duration and tags of any file that it can open without looking elsewhere.
bool ReadStreams(NIMB_MEDIA_INFO& record, MediaKind kind, std::string& reason);

/// Reads a file of any kind with the reader of its kind, then cleans its texts.
/// Threads: any, at once.
bool ReadMedia(MediaKind kind, NIMB_MEDIA_INFO& record, std::string& reason);

/// The text as the database and clients can take it: broken UTF-8 dropped, control characters made blanks, no blanks
/// at the ends, at most `limit` bytes cut between characters.
std::string CleanText(std::string_view text, std::size_t limit = kMaxTagBytes);

/// Leading number of a tag such as "3/12", "1999-05-06" or "19990506", of at most so many digits; 0 when there is none.
std::int32_t LeadingNumber(std::string_view text, std::size_t digits);

}  // namespace MediaServer
