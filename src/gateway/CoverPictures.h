#pragma once

#include <memory>
#include <semaphore>
#include <string>
#include <string_view>

#include "gateway/DescriptorCache.h"
#include "gateway/PictureScaler.h"
#include "platform/http/HttpServer.h"

namespace MediaServer {

/// Cover art of songs, albums and videos, as JPEG_TN or PNG_TN pictures or in original size.
/// Threads: any, at once.
class CoverPictures {
public:
    CoverPictures();

    /// @param rest  what follows "/transcoder/jpegtnscaler.cgi/": "<kind>/<row id>.<jpg or png>". A kind that ends in
    ///              "_orig" means original size. 404 for anything else, for a row that is not there and for one that
    ///              has no picture of that kind; 503 when the database does not answer.
    HttpResponse Serve(const HttpRequest& request, std::string_view rest);

private:
    struct Wanted {
        PictureFormat format;
        bool original;
    };
    /// Where a picture may be: a file that is one, or a song that carries one.
    struct Origin {
        std::string path;
        bool embedded;
    };
    UniqueFd Open(const Origin& origin, const Wanted& wanted);
    UniqueFd Render(const Origin& origin, const Wanted& wanted, const struct timespec& modified);

    DescriptorCache thumbnails_;
    std::counting_semaphore<2> decoders_;  // each may take some hundred megabytes for a picture at the limit
};

}  // namespace MediaServer
