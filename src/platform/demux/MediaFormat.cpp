#include "platform/demux/MediaFormat.h"

extern "C" {
#include <libavformat/avformat.h>
#include <libavutil/dict.h>
#include <libavutil/log.h>
}

#include "platform/text/Text.h"

namespace MediaServer {
namespace {

using Clock = std::chrono::steady_clock;

int IsLate(void* deadline) {
    return Clock::now() > *static_cast<const Clock::time_point*>(deadline) ? 1 : 0;
}

}  // namespace

void MediaFormatCloser::operator()(AVFormatContext* context) const noexcept {
    avformat_close_input(&context);
}

MediaFormat OpenMedia(const std::string& path, Clock::time_point& deadline, std::string& reason) {
    // The library would print to standard error what the caller logs in one line.
    av_log_set_level(AV_LOG_QUIET);
    AVDictionary* options = nullptr;
    av_dict_set(&options, "protocol_whitelist", "file", 0);
    av_dict_set(&options, "format_whitelist", kMediaFormats, 0);
    av_dict_set(&options, "max_streams", "64", 0);
    AVFormatContext* context = avformat_alloc_context();
    if (context) context->interrupt_callback = {IsLate, &deadline};
    // Frees the context when it fails.
    const int error = avformat_open_input(&context, ("file:" + path).c_str(), nullptr, &options);
    av_dict_free(&options);
    if (error < 0) reason = MediaErrorText(error);
    return MediaFormat(context);
}

std::string MediaErrorText(int error) {
    char text[AV_ERROR_MAX_STRING_SIZE];
    av_strerror(error, text, sizeof text);
    return StringToLower(text);
}

}  // namespace MediaServer
