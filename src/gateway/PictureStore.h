#pragma once

#include <semaphore>
#include <string>

#include "gateway/DescriptorCache.h"
#include "gateway/PictureScaler.h"

namespace MediaServer {

/// Where a picture is: a file that is one, or a media file that carries one.
struct PictureOrigin {
    std::string path;
    bool embedded = false;
};

/// Makes pictures in the size and format that a client wants, and keeps the ones last asked for in memory.
/// Threads: any, at once.
class PictureStore {
public:
    PictureStore();

    /// @param max_side  the picture is scaled to fit a square of that side; 0 leaves it as it is, except for its
    /// format.
    /// @return a descriptor of the caller's own; nothing when there is no such picture, it is no picture, or one that
    /// is
    ///         too large, the last two with a log line at level 1.
    UniqueFd Open(const PictureOrigin& origin, PictureFormat format, int max_side);

private:
    UniqueFd Render(const PictureOrigin& origin, PictureFormat format, int max_side, const struct timespec& modified);

    DescriptorCache kept_;
    std::counting_semaphore<2> turns_;  // each may take some hundred megabytes for a picture at the limit
};

}  // namespace MediaServer
