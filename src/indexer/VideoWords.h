#pragma once

#include <string_view>

namespace MediaServer {

// The words by which names of videos and of their folders tell what they are; case does not count.

/// "Season" in the languages of the menus, and a bare S. A number follows, so a word stands before its own beginning;
/// so with the words for an episode.
inline constexpr std::string_view kSeasonWords[] = {"season",   "series",  "staffel", "saison",   "temporada",
                                                    "stagione", "seizoen", "säsong",  "シーズン", "s"};
inline constexpr std::string_view kEpisodeWords[] = {"episode",    "episodio", "épisode", "folge",
                                                     "aflevering", "avsnitt",  "ep",      "e"};

/// What only releases of a movie or an episode say of themselves.
inline constexpr std::string_view kMarksOfQuality[] = {
    "480p",   "540p",   "576p",  "720p",   "1080p",   "1080i",   "2160p", "2160i", "4k",     "8k",   "uhd",
    "bluray", "bd",     "brrip", "bdrip",  "bdremux", "blu-ray", "web",   "webdl", "webrip", "dvd",  "dvd5",
    "dvd9",   "dvdrip", "hdtv",  "dvdscr", "hdrip",   "remux",   "x264",  "x265",  "h264",   "h265", "h.264",
    "h.265",  "hevc",   "avc",   "av1",    "xvid",    "divx",    "10bit", "hdr",   "ac3",    "dts",  "aac"};
/// What else may stand between a year and those: languages, cuts and where a release comes from. Other words are those
/// of one event among several of a title and year.
inline constexpr std::string_view kMarksOfVersion[] = {
    "english",  "eng",       "german",     "ger",        "french",   "truefrench", "vostfr",     "italian",
    "ita",      "spanish",   "castellano", "dutch",      "swedish",  "nordic",     "danish",     "norwegian",
    "finnish",  "polish",    "portuguese", "russian",    "hindi",    "japanese",   "korean",     "chinese",
    "multi",    "dual",      "dl",         "dubbed",     "subbed",   "extended",   "directors",  "director's",
    "dc",       "final",     "special",    "theatrical", "unrated",  "uncut",      "uncensored", "remastered",
    "restored", "criterion", "imax",       "limited",    "internal", "complete",   "proper",     "repack",
    "rerip",    "hybrid",    "3d",         "amzn",       "nf",       "dsnp",       "hmax",       "atvp"};

/// Last words of the names of what comes with a movie or an episode and is no part of it: some behind a dash, others,
/// with which hardly a title ends, also behind a dot or " - ", or alone.
inline constexpr std::string_view kExtraMarks[] = {"deleted", "deletedscene", "interview", "scene",
                                                   "short",   "extra",        "other"};
inline constexpr std::string_view kClearExtraMarks[] = {"trailer", "sample", "behindthescenes", "featurette"};
/// Before the name of what a sample is of.
inline constexpr std::string_view kSample = "sample-";
inline constexpr std::string_view kExtraFolders[] = {
    "extra",      "extras",     "trailer",     "trailers",          "sample",
    "samples",    "featurette", "featurettes", "behind the scenes", "deleted scenes",
    "interviews", "scenes",     "shorts"};

/// Of files as recorders write them. Camcorders write .mts, .m2ts and .mpg as well, so that these tell nothing.
inline constexpr std::string_view kRecorderExtensions[] = {"ts", "wtv", "dvr-ms", "tp", "trp"};

/// Before the number of one of several parts.
inline constexpr std::string_view kPartWords[] = {"cd", "part", "pt", "disc", "disk", "dvd"};

}  // namespace MediaServer
