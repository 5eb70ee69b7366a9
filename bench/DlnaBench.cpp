#include <benchmark/benchmark.h>

#include "dlna/DlnaProfiles.h"

namespace MediaServer {
namespace {

struct Film {
    const char* what;
    const char *container, *video, *audio;
    std::int32_t width, height, rate_num, rate_den;
    std::uint32_t video_bitrate, audio_bitrate;
};
/// Found by the first guesser, by the last, and by none.
constexpr Film kFilms[] = {
    {"avc", "mpeg_ts", "h264", "ac3", 1280, 720, 50, 1, 8000000, 384000},
    {"wmv", "asf", "wmv3", "wmav2", 640, 480, 30, 1, 2000000, 128000},
    {"none", "matroska,webm", "hevc", "opus", 3840, 2160, 24, 1, 20000000, 128000},
};

void DetectProfile(benchmark::State& state) {
    const Film& film = kFilms[state.range(0)];
    NIMB_MEDIA_INFO record;
    record.container_type = film.container;
    record.video_codec = film.video;
    record.audio_codec = film.audio;
    record.resolutionx = film.width;
    record.resolutiony = film.height;
    record.frame_rate_num = film.rate_num;
    record.frame_rate_den = film.rate_den;
    record.video_bitrate = film.video_bitrate;
    record.audio_bitrate = film.audio_bitrate;
    record.frame_bitrate = film.video_bitrate + film.audio_bitrate;
    record.frequency = 48000;
    record.channel = 2;
    for (auto _ : state) benchmark::DoNotOptimize(DetectVideoProfile(record));
    const ProfileEntry* profile = DetectVideoProfile(record);
    state.SetLabel(profile ? std::string(profile->name) : film.what);
}
BENCHMARK(DetectProfile)->DenseRange(0, 2);

}  // namespace
}  // namespace MediaServer
