#include <algorithm>
#include <cerrno>
#include <cstring>

#include "platform/audio/ConfigFolder.h"
#include "platform/audio/NimbAudioUtils.h"
#include "platform/database/PageBounds.h"
#include "platform/playlist/PlaylistFormats.h"
#include "platform/system/Files.h"
#include "platform/system/Log.h"
#include "platform/system/Paths.h"
#include "platform/text/Text.h"

namespace MediaServer {
namespace {

struct Genre {
    std::string name;
    std::vector<RadioStation> stations;
};
using Genres = std::shared_ptr<const std::vector<Genre>>;

bool IsWebAddress(std::string_view location) {
    return EqualsIgnoreCase(location.substr(0, 7), "http://") || EqualsIgnoreCase(location.substr(0, 8), "https://");
}

void ReadStationFile(const ConfigFile& file, std::vector<Genre>& genres) {
    const auto text = ReadWholeFile(file.path, kMaxConfigFileBytes);
    if (!text) {
        DMSPrintf(0, "could not read radio stations \"%s\": %s", file.path.c_str(), std::strerror(errno));
        return;
    }
    Genre genre{std::string(BaseNameWithoutExtension(file.path)), {}};
    std::string title;  // the genre is called as the owner called the file
    ReadPlaylist(PathExtension(file.path), *text, title, [&](const PlaylistEntry& entry) {
        if (!IsWebAddress(entry.location)) return true;
        RadioStation station;
        station.title = entry.title.empty() ? entry.location : entry.title;
        station.url = entry.location;
        station.album = genre.name;
        station.number = static_cast<std::int32_t>(genre.stations.size());
        genre.stations.push_back(std::move(station));
        return true;
    });
    genres.push_back(std::move(genre));
}

Genres All() {
    static ConfigFolder<Genre> folder({"m3u", "m3u8", "pls"}, ReadStationFile);
    return folder.Get(SystemPath(std::string(kPackageConfigDir) + "/radio"));
}

/// Calls `add` with each position of a page. @return how many.
template <typename Add>
std::int32_t ForPage(std::size_t size, std::int32_t start, std::int32_t count, std::int32_t& total, Add add) {
    total = static_cast<std::int32_t>(size);
    const PageBounds page = BoundsOfPage(start, count, total);
    for (std::int32_t i = page.first; i < page.end; ++i) add(i);
    return page.Size();
}

}  // namespace

void RadioInit() {
    All();
}

std::int32_t RadioGetGenreCount() {
    return static_cast<std::int32_t>(All()->size());
}

std::int32_t RadioGetGenres(std::int32_t start, std::int32_t count, std::vector<RadioGenre>& genres,
                            std::int32_t& total) {
    const Genres all = All();
    return ForPage(all->size(), start, count, total, [&](std::int32_t i) {
        genres.push_back({i, (*all)[static_cast<std::size_t>(i)].name});
    });
}

int RadioGetGenreData(std::int32_t genre, RadioGenre& record) {
    const Genres all = All();
    const Genre* found = EntryAt(*all, genre);
    if (found == nullptr) return 0;
    record = {genre, found->name};
    return 1;
}

std::int32_t RadioGetGenreStationCount(std::int32_t genre) {
    const Genres all = All();
    const Genre* found = EntryAt(*all, genre);
    return found == nullptr ? 0 : static_cast<std::int32_t>(found->stations.size());
}

std::int32_t RadioGetStations(std::int32_t genre, std::int32_t start, std::int32_t count,
                              std::vector<RadioStation>& stations, std::int32_t& total) {
    const Genres all = All();
    const Genre* found = EntryAt(*all, genre);
    total = 0;
    if (found == nullptr) return 0;
    return ForPage(found->stations.size(), start, count, total,
                   [&](std::int32_t i) { stations.push_back(found->stations[static_cast<std::size_t>(i)]); });
}

int RadioGetStationData(std::int32_t genre, std::int32_t station, RadioStation& record) {
    const Genres all = All();
    const Genre* in = EntryAt(*all, genre);
    const RadioStation* found = in == nullptr ? nullptr : EntryAt(in->stations, station);
    if (found == nullptr) return 0;
    record = *found;
    return 1;
}

bool RadioHasStation(std::string_view url) {
    const Genres all = All();
    return std::any_of(all->begin(), all->end(), [&](const Genre& genre) {
        return std::any_of(genre.stations.begin(), genre.stations.end(),
                           [&](const RadioStation& station) { return station.url == url; });
    });
}

}  // namespace MediaServer
