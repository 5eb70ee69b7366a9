extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/dict.h>
}

#include <algorithm>
#include <memory>

#include "indexer/MediaReader.h"
#include "platform/text/Text.h"

namespace MediaServer {
namespace {

/// Formats that hold their own content. Playlists and the like, under whatever name, would make the library open what
/// a stranger wrote into the file.
constexpr char kFormats[] =
    "aac,ac3,aiff,amr,ape,asf,avi,caf,dsf,dts,eac3,flac,flv,iff,matroska,mov,mp3,mpc,mpc8,mpeg,mpegts,mpegtsraw,"
    "mpegvideo,mxf,ogg,rm,tta,wav,w64,wtv,wv";

/// Names under which the container is known elsewhere; FFmpeg's own name for any other.
struct ContainerName {
    std::string_view format;
    const char* name;
};
constexpr ContainerName kContainers[] = {
    {"mov,mp4,m4a,3gp,3g2,mj2", "mp4"},
    {"mpegts", "mpeg_ts"},
    {"mpeg", "mpeg_ps"},
    {"mpegvideo", "mpeg_es"},
};

std::uint32_t BitRate(std::int64_t bits_per_second) {
    return static_cast<std::uint32_t>(std::clamp<std::int64_t>(bits_per_second, 0, UINT32_MAX));
}

struct FormatCloser {
    void operator()(AVFormatContext* context) const { avformat_close_input(&context); }
};
using Format = std::unique_ptr<AVFormatContext, FormatCloser>;

std::string ErrorText(int error) {
    char text[AV_ERROR_MAX_STRING_SIZE];
    av_strerror(error, text, sizeof text);
    return text;
}

Format Open(const std::string& path, std::string& reason) {
    // The library would print to standard error what the caller logs in one line.
    av_log_set_level(AV_LOG_QUIET);
    AVDictionary* options = nullptr;
    av_dict_set(&options, "protocol_whitelist", "file", 0);
    av_dict_set(&options, "format_whitelist", kFormats, 0);
    av_dict_set(&options, "max_streams", "64", 0);
    AVFormatContext* context = nullptr;
    int error = avformat_open_input(&context, ("file:" + path).c_str(), nullptr, &options);
    av_dict_free(&options);
    Format format(context);
    if (error >= 0) error = avformat_find_stream_info(context, nullptr);
    if (error >= 0) return format;
    reason = StringToLower(ErrorText(error));
    return nullptr;
}

std::string_view Tag(const AVFormatContext& format, const AVStream* stream, const char* name) {
    const AVDictionaryEntry* entry = av_dict_get(format.metadata, name, nullptr, 0);
    // Ogg keeps its comments with the stream.
    if (!entry && stream) entry = av_dict_get(stream->metadata, name, nullptr, 0);
    return entry ? entry->value : "";
}

void TakeTags(const AVFormatContext& format, const AVStream* stream, NIMB_MEDIA_INFO& record) {
    const std::pair<const char*, std::string NIMB_MEDIA_INFO::*> kTexts[] = {
        {"title", &NIMB_MEDIA_INFO::title},   {"album", &NIMB_MEDIA_INFO::album},
        {"artist", &NIMB_MEDIA_INFO::artist}, {"album_artist", &NIMB_MEDIA_INFO::album_artist},
        {"genre", &NIMB_MEDIA_INFO::genre},   {"composer", &NIMB_MEDIA_INFO::composer},
    };
    for (const auto& [name, member] : kTexts) {
        if (const std::string_view value = Tag(format, stream, name); !value.empty()) record.*member = value;
    }
    record.track = LeadingNumber(Tag(format, stream, "track"), 5);
    record.disc = LeadingNumber(Tag(format, stream, "disc"), 4);
    record.year = LeadingNumber(Tag(format, stream, "date"), 4);
}

const AVStream* BestStream(AVFormatContext& format, AVMediaType type) {
    const int index = av_find_best_stream(&format, type, -1, -1, nullptr, 0);
    return index >= 0 ? format.streams[index] : nullptr;
}

void TakeAudio(const AVStream& stream, NIMB_MEDIA_INFO& record) {
    const AVCodecParameters& codec = *stream.codecpar;
    record.audio_codec = avcodec_get_name(codec.codec_id);
    record.audio_bitrate = BitRate(codec.bit_rate);
    record.frequency = codec.sample_rate;
    record.channel = codec.ch_layout.nb_channels;
}

void TakeVideo(const AVStream& stream, NIMB_MEDIA_INFO& record) {
    const AVCodecParameters& codec = *stream.codecpar;
    record.video_codec = avcodec_get_name(codec.codec_id);
    record.video_bitrate = BitRate(codec.bit_rate);
    record.resolutionx = codec.width;
    record.resolutiony = codec.height;
    record.frame_rate_num = stream.avg_frame_rate.num;
    record.frame_rate_den = stream.avg_frame_rate.den;
}

void TakeFormat(const AVFormatContext& format, NIMB_MEDIA_INFO& record) {
    record.container_type = format.iformat->name;
    for (const ContainerName& known : kContainers) {
        if (record.container_type == known.format) record.container_type = known.name;
    }
    if (Tag(format, nullptr, "major_brand").starts_with("3gp")) record.container_type = "3gp";
    if (format.duration > 0) record.duration = static_cast<float>(format.duration) / AV_TIME_BASE;
    record.frame_bitrate = BitRate(format.bit_rate);
}

/// A cover is a stream of one picture.
bool IsPicture(const AVStream* stream) {
    return stream && (stream->disposition & AV_DISPOSITION_ATTACHED_PIC) != 0;
}

}  // namespace

bool ReadStreams(NIMB_MEDIA_INFO& record, MediaKind kind, std::string& reason) {
    const Format format = Open(record.path, reason);
    if (!format) return false;
    const AVStream* audio = BestStream(*format, AVMEDIA_TYPE_AUDIO);
    const AVStream* video = BestStream(*format, AVMEDIA_TYPE_VIDEO);
    const bool is_music = kind == MediaKind::Music;
    if (is_music ? !audio : !video || IsPicture(video)) {
        reason = is_music ? "no audio in it" : "no video in it";
        return false;
    }
    TakeFormat(*format, record);
    TakeTags(*format, is_music ? audio : video, record);
    if (audio) TakeAudio(*audio, record);
    if (!is_music) TakeVideo(*video, record);
    record.embedded_art = IsPicture(video);
    // Of uncompressed audio and of a single stream the whole is the audio.
    if (is_music && record.audio_bitrate == 0) record.audio_bitrate = record.frame_bitrate;
    return true;
}

bool ReadVideo(NIMB_MEDIA_INFO& record, std::string& reason) {
    return ReadStreams(record, MediaKind::Video, reason);
}

}  // namespace MediaServer
