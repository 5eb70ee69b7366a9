extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/dict.h>
}

#include <algorithm>
#include <chrono>
#include <cmath>
#include <iterator>
#include <span>

#include <fcntl.h>
#include <unistd.h>

#include "indexer/MediaReader.h"
#include "indexer/TransportStream.h"
#include "platform/demux/MediaFormat.h"
#include "platform/media/Subtitle.h"
#include "platform/system/Files.h"
#include "platform/text/Text.h"

namespace MediaServer {
namespace {

/// Names under which the container is known elsewhere; FFmpeg's own name for any other.
struct OtherName {
    std::string_view ffmpeg;
    const char* name;
};
constexpr OtherName kContainers[] = {
    {"mov,mp4,m4a,3gp,3g2,mj2", "mp4"},
    {"mpeg", "mpeg_ps"},
    {"mpegvideo", "mpeg_es"},
};
constexpr OtherName kAudioCodecs[] = {{"atrac3", "amr_atrac3"}, {"atrac3p", "amr_atrac3"}};
// Brands of 3GPP TS 26.244: "3gp6", "3gg6", "3gr6" and so on.
constexpr std::string_view k3gppBrand = "3g";
// Of 3GPP2 C.S0050, which is another container: "3g2a".
constexpr std::string_view k3gpp2Brand = "3g2";

std::string NameIn(std::span<const OtherName> table, std::string_view ffmpeg) {
    const auto found =
        std::find_if(table.begin(), table.end(), [&](const OtherName& row) { return row.ffmpeg == ffmpeg; });
    return found == table.end() ? std::string(ffmpeg) : found->name;
}

/// What is more than Low Complexity gets a name of its own.
struct AacProfile {
    int profile;
    const char* name;
};
constexpr AacProfile kAacProfiles[] = {
    {FF_PROFILE_AAC_MAIN, "aac_main"}, {FF_PROFILE_AAC_SSR, "aac_ssr"},     {FF_PROFILE_AAC_LTP, "aac_ltp"},
    {FF_PROFILE_AAC_HE, "aac_he"},     {FF_PROFILE_AAC_HE_V2, "aac_he_v2"}, {FF_PROFILE_AAC_LD, "aac_ld"},
    {FF_PROFILE_AAC_ELD, "aac_eld"},   {FF_PROFILE_MPEG2_AAC_HE, "aac_he"},
};

std::string AudioCodecName(const AVCodecParameters& codec) {
    // Samples of a DVD are those of any other file, in packets of their own.
    if (codec.codec_id == AV_CODEC_ID_PCM_DVD && codec.bits_per_coded_sample <= 16) return "pcm_s16be";
    if (codec.codec_id == AV_CODEC_ID_AAC || codec.codec_id == AV_CODEC_ID_AAC_LATM) {
        const auto* const found = std::find_if(std::begin(kAacProfiles), std::end(kAacProfiles),
                                               [&](const AacProfile& row) { return row.profile == codec.profile; });
        if (found != std::end(kAacProfiles)) return found->name;
    }
    return NameIn(kAudioCodecs, avcodec_get_name(codec.codec_id));
}

/// Bit rates of MPEG audio layer 3 (ISO/IEC 11172-3 and 13818-3); containers tell an average that is a little off.
constexpr std::uint32_t kMp3BitRates[] = {8000,  16000,  24000,  32000,  40000,  48000,  56000,  64000,  80000,
                                          96000, 112000, 128000, 144000, 160000, 192000, 224000, 256000, 320000};

std::uint32_t NearMp3BitRate(std::uint32_t average) {
    constexpr std::uint32_t kTolerance = 100;  // a hundredth
    for (const std::uint32_t known : kMp3BitRates) {
        const std::uint32_t off = std::max(known, average) - std::min(known, average);
        if (off <= known / kTolerance) return known;
    }
    return average;
}

/// Bit rates of AMR narrow band (3GPP TS 26.101), and what its frames take with the byte before each (RFC 4867, 5.3).
struct AmrBitRate {
    std::uint32_t stored, speech;
};
constexpr AmrBitRate kAmrBitRates[] = {{5200, 4750}, {5600, 5150}, {6400, 5900},   {7200, 6700},
                                       {8000, 7400}, {8400, 7950}, {10800, 10200}, {12800, 12200}};

std::uint32_t AmrSpeechBitRate(std::uint32_t stored) {
    const auto* const found = std::find_if(std::begin(kAmrBitRates), std::end(kAmrBitRates),
                                           [&](const AmrBitRate& row) { return row.stored == stored; });
    return found == std::end(kAmrBitRates) ? stored : found->speech;
}

/// Rates that video is made with. Containers that count time in thousandths of a second blur them.
constexpr AVRational kFrameRates[] = {{24000, 1001}, {24, 1},       {25, 1}, {30000, 1001}, {30, 1},
                                      {50, 1},       {60000, 1001}, {60, 1}, {15, 1}};

AVRational FrameRate(AVRational measured) {
    constexpr double kBlur = 0.0003;  // 24000/1001 and 24 are a thousandth apart
    const double rate = measured.den > 0 ? av_q2d(measured) : 0;
    for (const AVRational& known : kFrameRates) {
        if (std::abs(av_q2d(known) - rate) < kBlur * rate) return known;
    }
    return measured;
}

std::uint32_t BitRate(std::int64_t bits_per_second) {
    return static_cast<std::uint32_t>(std::clamp<std::int64_t>(bits_per_second, 0, UINT32_MAX));
}

using Clock = std::chrono::steady_clock;
/// Far more than a whole file takes, less than a hostile one might.
constexpr std::chrono::seconds kPatience{20};

MediaFormat Open(const std::string& path, Clock::time_point& deadline, std::string& reason) {
    MediaFormat format = OpenMedia(path, deadline, reason);
    const int error = format ? avformat_find_stream_info(format.get(), nullptr) : 0;
    if (error >= 0) return format;
    reason = MediaErrorText(error);
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
    record.audio_codec = AudioCodecName(codec);
    record.audio_bitrate = BitRate(codec.bit_rate);
    if (codec.codec_id == AV_CODEC_ID_MP3) record.audio_bitrate = NearMp3BitRate(record.audio_bitrate);
    if (codec.codec_id == AV_CODEC_ID_AMR_NB) record.audio_bitrate = AmrSpeechBitRate(record.audio_bitrate);
    record.frequency = codec.sample_rate;
    record.channel = codec.ch_layout.nb_channels;
}

void TakeVideo(const AVStream& stream, NIMB_MEDIA_INFO& record) {
    const AVCodecParameters& codec = *stream.codecpar;
    record.video_codec = avcodec_get_name(codec.codec_id);
    record.video_bitrate = BitRate(codec.bit_rate);
    record.resolutionx = codec.width;
    record.resolutiony = codec.height;
    // Where no stream says it, there is no average.
    const bool has_average = stream.avg_frame_rate.num > 0 && stream.avg_frame_rate.den > 0;
    const AVRational rate = FrameRate(has_average ? stream.avg_frame_rate : stream.r_frame_rate);
    record.frame_rate_num = rate.num;
    record.frame_rate_den = rate.den;
}

void TakeFormat(const AVFormatContext& format, NIMB_MEDIA_INFO& record) {
    record.container_type = NameIn(kContainers, format.iformat->name);
    if (record.container_type == "mpegts") record.container_type = TransportStreamName(record.path);
    if (record.container_type == "mp4") {
        const std::string_view brand = Tag(format, nullptr, "major_brand");
        if (brand.starts_with(k3gppBrand) && !brand.starts_with(k3gpp2Brand)) record.container_type = "3gp";
        // QuickTime files of old name no brand.
        if (brand.empty() || brand.starts_with("qt")) record.container_type = "mov";
    }
    if (format.duration > 0) record.duration = static_cast<float>(format.duration) / AV_TIME_BASE;
    record.frame_bitrate = BitRate(format.bit_rate);
}

/// A subtitle is listed with the videos, as text.
bool ReadSubtitle(NIMB_MEDIA_INFO& record, std::string& reason) {
    constexpr std::size_t kStartBytes = 4096;
    char start[kStartBytes];
    const UniqueFd file(open(record.path.c_str(), O_RDONLY | O_CLOEXEC));
    const ssize_t count = file ? pread(file.get(), start, sizeof start, 0) : -1;
    const std::string_view text(start, static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    const bool is_utf16 = text.starts_with("\xFF\xFE") || text.starts_with("\xFE\xFF");
    if (text.empty() || (!is_utf16 && text.find('\0') != std::string_view::npos)) {
        reason = "no text in it";
        return false;
    }
    record.video_codec = "text";
    return true;
}

/// A cover is a stream of one picture.
bool IsPicture(const AVStream* stream) {
    return stream && (stream->disposition & AV_DISPOSITION_ATTACHED_PIC) != 0;
}

}  // namespace

bool ReadStreams(NIMB_MEDIA_INFO& record, MediaKind kind, std::string& reason) {
    Clock::time_point deadline = Clock::now() + kPatience;
    const MediaFormat format = Open(record.path, deadline, reason);
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
    if (IsSubtitle(record.path)) return ReadSubtitle(record, reason);
    return ReadStreams(record, MediaKind::Video, reason);
}

}  // namespace MediaServer
