// What one page of a Browse costs once its rows are there: the part of an answer that grows with its length.

#include <benchmark/benchmark.h>

#include "model/PropertyFilter.h"
#include "model/ServiceOptions.h"
#include "serializer/CDSDIDLSerializer.h"
#include "serializer/CDSHtmlSerializer.h"
#include "support/Records.h"

namespace MediaServer {
namespace {

NIMB_MEDIA_INFO Track() {
    NIMB_MEDIA_INFO track = RecordOf(SoundFacts{"mp3", 320000, 44100, 2});
    track.id = 4211;
    track.path = "/srv/music/An Artist of Some Renown/The Album & More/03 - A Song Whose Name Is Not Short.mp3";
    track.title = "A Song Whose Name Is Not Short";
    track.album = "The Album & More";
    track.artist = track.album_artist = track.composer = "An Artist of Some Renown";
    track.genre = "Progressive Rock";
    track.track = 3;
    track.year = 1974;
    track.duration = 512.4F;
    track.filesize = 20496000;
    return track;
}

void TracksAsDidl(benchmark::State& state) {
    MimeTable mime;
    mime.AddPairs("mp3 audio/mpeg wav audio/wav l16 audio/L16;rate=44100;channels=2");
    const DMSClientChecker client("", "", true);
    const NIMB_MEDIA_INFO track = Track();
    std::size_t bytes = 0;
    for (auto _ : state) {
        CDSDIDLSerializer page(client, mime, "192.168.1.10", 50001, OptionFlag::kFolderArt, Property::kAll, "");
        for (std::int64_t i = 0; i < state.range(0); ++i) {
            page.SerializeMusicItem("music-artist$12$34$@4211", "music-artist$12$34", track);
        }
        bytes += page.Text().size();
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
    state.SetBytesProcessed(static_cast<std::int64_t>(bytes));
}
BENCHMARK(TracksAsDidl)->Arg(1)->Arg(50)->Arg(1000);

void TracksAsHtml(benchmark::State& state) {
    const NIMB_MEDIA_INFO track = Track();
    for (auto _ : state) {
        CDSHtmlSerializer page;
        for (std::int64_t i = 0; i < state.range(0); ++i) page.SerializeMusicItem("", "", track);
        benchmark::DoNotOptimize(page.Text().data());
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(TracksAsHtml)->Arg(500);

}  // namespace
}  // namespace MediaServer
