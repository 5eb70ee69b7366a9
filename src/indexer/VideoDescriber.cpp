#include "indexer/VideoDescriber.h"

#include <array>
#include <charconv>
#include <optional>

#include <sys/stat.h>

#include "indexer/FolderWalker.h"
#include "indexer/NfoReader.h"
#include "indexer/VideoNames.h"
#include "platform/media/Subtitle.h"
#include "platform/system/Files.h"
#include "platform/system/Log.h"
#include "platform/text/Text.h"

namespace MediaServer {
namespace {

using LibReelhouse::kEpisode;
using LibReelhouse::kHomeVideo;
using LibReelhouse::kMovie;
using LibReelhouse::kTvShow;

std::string WithName(std::string_view path, std::string_view name, std::string_view extension) {
    return std::string(DirName(path)).append("/").append(name).append(extension);
}

/// Where a video's own description may lie, the most special first. That of a folder's movie is not of its extras.
std::array<std::string, 3> NfoPathsOf(std::string_view path) {
    const std::string_view name = BaseNameWithoutExtension(path);
    return {WithName(path, name, ".nfo"), WithName(path, WithoutPart(name), ".nfo"),
            IsExtra(path) ? std::string() : WithName(path, "movie", ".nfo")};
}

std::array<std::string, 2> ShowNfoPathsOf(std::string_view path) {
    const std::string_view directory = DirName(path);
    return {WithName(path, "tvshow", ".nfo"),
            IsSeasonFolder(directory) ? WithName(directory, "tvshow", ".nfo") : std::string()};
}

/// A hash (FNV-1a) that tells two states apart; nobody gains by making two alike.
class Hash {
public:
    void Add(std::string_view text) {
        for (const char c : text) Mix(static_cast<unsigned char>(c));
        Mix(0);
    }
    void AddState(const std::string& path) {
        struct stat status;
        if (path.empty() || stat(path.c_str(), &status) != 0) return Add("");
        const FileState state = StateOf(status);
        Add(std::to_string(state.mtime) + " " + std::to_string(state.size));
    }
    std::string Text() const {
        char text[20];
        return {text, std::to_chars(text, text + sizeof text, value_, 16).ptr};
    }

private:
    void Mix(unsigned char byte) { value_ = (value_ ^ byte) * 1099511628211U; }
    std::uint64_t value_ = 14695981039346656037U;
};

/// What a description leaves open is as the name has it.
void Complete(VideoDetails& details, const VideoDetails& by_name) {
    if (details.title.empty()) details.title = by_name.title;
    if (details.show.empty()) details.show = by_name.show;
    if (details.date.empty()) details.date = by_name.date;
    if (details.year == 0) details.year = by_name.year;
    if (details.season < 0) details.season = by_name.season;
    if (details.episode < 0) details.episode = by_name.episode;
}

/// Episodes have what their show has.
void InheritFrom(const VideoDetails& show, VideoDetails& episode) {
    if (episode.genres.empty()) episode.genres = show.genres;
    if (episode.directors.empty()) episode.directors = show.directors;
    if (episode.writers.empty()) episode.writers = show.writers;
    if (episode.year == 0) episode.year = show.year;
    episode.actors.insert(episode.actors.end(), show.actors.begin(), show.actors.end());
}

std::string YearAsDate(std::int32_t year) {
    return year >= 1000 && year <= 9999 ? std::to_string(year) + "-01-01" : std::string();
}

}  // namespace

bool VideoDescriber::HasSubtitle(const std::string& path) {
    return NLIBCFileExist(SubtitleBeside(path).c_str());
}

std::string VideoDescriber::StampOf(const CatalogueFile& file) const {
    Hash hash;
    for (const std::string* text : {&file.path, &file.title, &file.date}) hash.Add(*text);
    for (const std::string& path : NfoPathsOf(file.path)) hash.AddState(path);
    for (const std::string& path : ShowNfoPathsOf(file.path)) hash.AddState(path);
    hash.Add(HasSubtitle(file.path) ? "subtitle" : "");
    return hash.Text();
}

/// @param kept  what was read last of this sort.
const std::optional<VideoDetails>& VideoDescriber::Read(const std::string& path, Nfo& kept) {
    if (kept.path == path) return kept.details;
    kept.path = path;
    kept.details.reset();
    if (!NLIBCFileExist(path.c_str())) return kept.details;
    const auto document = ReadWholeFile(path, kMaxNfoBytes);
    if (document) kept.details = ReadNfo(*document);
    // Other programs have other uses for the name.
    if (!kept.details) DMSPrintf(2, "\"%s\" is no description of a video", path.c_str());
    return kept.details;
}

const VideoDetails* VideoDescriber::FindOwn(const std::string& path) {
    const auto [own, of_parts, of_folder] = NfoPathsOf(path);
    for (const std::string& nfo : {own, of_parts}) {
        const auto& details = Read(nfo, own_);
        if (details && details->type != kTvShow) return &*details;
    }
    const auto& details = Read(of_folder, of_folder_);
    return details && details->type == kMovie ? &*details : nullptr;
}

void VideoDescriber::DescribeShow(const std::string& path, VideoDescription& description) {
    VideoDetails& show = description.show;
    for (const std::string& nfo : ShowNfoPathsOf(path)) {
        if (nfo.empty() || description.show_has_nfo) continue;
        const auto& details = Read(nfo, of_show_);
        description.show_has_nfo = details && details->type == kTvShow;
        if (description.show_has_nfo) show = *details;
    }
    if (show.title.empty()) show.title = description.video.show;
    if (show.title.empty()) show.title = ShowOfFolders(path);
    std::int32_t year = 0;
    show.title = TakeYear(show.title, year);
    if (show.year == 0) show.year = year;
    show.type = kTvShow;
    InheritFrom(show, description.video);
}

VideoDescription VideoDescriber::Describe(const CatalogueFile& file) {
    VideoDescription description;
    VideoDetails by_name = ReadVideoName(file.path);
    const VideoDetails* const own = FindOwn(file.path);
    description.has_nfo = own != nullptr;
    VideoDetails& video = description.video;
    video = own ? *own : by_name;
    if (own) Complete(video, by_name);
    if (video.type == kEpisode) {
        DescribeShow(file.path, description);
    } else if (video.title.empty()) {
        video.title = file.title;
    }
    if (video.date.empty()) video.date = video.type == kHomeVideo ? file.date : YearAsDate(video.year);
    return description;
}

}  // namespace MediaServer
