#pragma once

#include <cstdint>

#include "gateway/PictureStore.h"
#include "gateway/RecentPaths.h"
#include "model/MimeTable.h"
#include "model/ServiceOptions.h"
#include "platform/http/HttpServer.h"
#include "platform/media/MediaUrl.h"

namespace MediaServer {

/// The files that media URLs name by row id, each under the type and the DLNA field with which it was announced.
/// Threads: any, at once.
class MediaFiles {
public:
    /// @param mime, options, pictures  outlive this. @param port  where this endpoint is reached, for the URL of a
    /// subtitle.
    MediaFiles(const MimeTable& mime, std::uint16_t port, const ServiceOptions& options, PictureStore& pictures)
        : mime_(mime), port_(port), options_(options), pictures_(pictures) {}

    /// 404 for a row or file that is not there or an extension that is not the file's; 503 when the database does not
    /// answer.
    HttpResponse Serve(const HttpRequest& request, const MediaUrl& url) const;
    /// Whether Serve waits for nothing: another part of a file that was asked for a moment ago.
    bool IsQuick(const MediaUrl& url) const;

private:
    HttpResponse ServeWhole(const HttpRequest& request, const MediaUrl& url, const std::string& path) const;
    HttpResponse ServeRendition(const HttpRequest& request, const MediaUrl& url, const std::string& photo_path) const;
    HttpResponse ServeVideo(const HttpRequest& request, const MediaUrl& url, const std::string& path) const;

    const MimeTable& mime_;
    const std::uint16_t port_;
    const ServiceOptions& options_;
    PictureStore& pictures_;
    mutable RecentPaths paths_;
};

}  // namespace MediaServer
