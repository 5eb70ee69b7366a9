#include <benchmark/benchmark.h>

#include "dlna/DlnaProfiles.h"
#include "support/Records.h"

namespace MediaServer {
namespace {

/// Found by the first guesser, by the last, and by none.
constexpr std::pair<const char*, FilmFacts> kFilms[] = {
    {"avc", {"mpeg_ts", "h264", 1280, 720, 50, 1, 8000000, 8384000, {"ac3", 384000, 48000, 2}}},
    {"wmv", {"asf", "wmv3", 640, 480, 30, 1, 2000000, 2128000, {"wmav2", 128000, 48000, 2}}},
    {"none", {"matroska,webm", "hevc", 3840, 2160, 24, 1, 20000000, 20128000, {"opus", 128000, 48000, 2}}},
};

void DetectProfile(benchmark::State& state) {
    const auto& [what, film] = kFilms[state.range(0)];
    const NIMB_MEDIA_INFO record = RecordOf(film);
    for (auto _ : state) benchmark::DoNotOptimize(DetectVideoProfile(record));
    const ProfileEntry* profile = DetectVideoProfile(record);
    state.SetLabel(profile ? std::string(profile->name) : what);
}
BENCHMARK(DetectProfile)->DenseRange(0, 2);

}  // namespace
}  // namespace MediaServer
