#pragma once

#include <condition_variable>
#include <mutex>
#include <semaphore>
#include <set>
#include <string>

#include "gateway/DescriptorCache.h"
#include "platform/picture/PictureScaler.h"

namespace MediaServer {

/// Where a picture is: a file that is one (or a camera's raw file that has one), one carried by a media file, or a
/// frame of a video.
enum class PictureIn { File, Tags, Video };
struct PictureOrigin {
    PictureIn kind;
    std::string path;
};

/// Makes pictures in the size and format that a client wants, and keeps the ones last asked for in memory.
/// Threads: any, at once.
class PictureStore {
public:
    /// @param max_pending  most callers that make a picture or wait for their turn: with the rest of the workers the
    ///                     server still answers for files, however many pictures are asked for at once.
    explicit PictureStore(std::ptrdiff_t max_pending);

    /// @param max_side   the picture is scaled to fit a square of that side; 0 changes its format at most.
    /// @param[out] busy  set when nothing comes back because too many callers are pending; else untouched.
    /// @return a descriptor of the caller's own; nothing when there is no such picture, it is no picture, or one that
    ///         is too large, the last two with a log line at level 1.
    UniqueFd Open(const PictureOrigin& origin, PictureFormat format, int max_side, bool& busy);

private:
    class Place;
    class Making;

    UniqueFd Make(const PictureOrigin& origin, PictureFormat format, int max_side, const struct timespec& modified);

    DescriptorCache kept_;
    std::counting_semaphore<> pending_;
    std::counting_semaphore<> turns_;  // each may take some hundred megabytes for a picture at the limit
    std::mutex mutex_;
    std::condition_variable made_;
    std::set<std::string> making_;  // guarded by mutex_; what Open() makes for its cache right now
};

}  // namespace MediaServer
