#pragma once

#include <string_view>

#include "gateway/PictureStore.h"
#include "platform/http/HttpServer.h"

namespace MediaServer {

/// Answers for the cover art of songs, albums and videos, as JPEG_TN or PNG_TN pictures or in original size.
/// @param rest  what follows "/transcoder/jpegtnscaler.cgi/": "<kind>/<row id>.<jpg or png>", the kind perhaps with
///              "_orig" for original size. 404 for anything else, for a row that is not there and for one that has no
///              picture of that kind; 503 when the database does not answer or too many pictures are being made.
HttpResponse ServeCover(const HttpRequest& request, std::string_view rest, PictureStore& pictures);

}  // namespace MediaServer
