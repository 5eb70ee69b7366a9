#include "tree/CategoryDef.h"

#include <algorithm>
#include <iterator>

namespace MediaServer {

namespace {

using enum MediaKind;

// clang-format off
constexpr CategoryDef kCategories[] = {
    {Music, "album", "album", "", "unknown_music_album", "showall_album", ObjectType::kMusicAlbum},
    {Music, "artist", "artist", "", "unknown_music_artist", "showall_artist", ObjectType::kMusicArtist},
    {Music, "albumartist", "album_artist", "", "unknown_music_albumartist", "showall_albumartist", ObjectType::kContainer},
    {Music, "year", "year", "0", "unknown_music_year", "showall_year", ObjectType::kContainer},
    {Music, "genre", "genre", "", "unknown_music_genre", "showall_genre", ObjectType::kMusicGenre},
    {Music, "composer", "composer", "", "unknown_music_composer", "showall_composer", ObjectType::kContainer},
    {Music, "yearmon", "to_char(date, 'YYYY/MM')", "1970/01", "", "showall_yearmon", ObjectType::kContainer},
    {Music, "yearmonday", "to_char(date, 'YYYY/MM/DD')", "1970/01/01", "", "showall_yearmonday", ObjectType::kContainer},
    {Photo, "year", "EXTRACT(YEAR FROM date)", "", "", "showall_year", ObjectType::kContainer},
    {Photo, "month", "EXTRACT(MONTH FROM date)", "", "", "showall_month", ObjectType::kContainer},
    {Photo, "yearmon", "to_char(date, 'YYYY/MM')", "1970/01", "", "showall_yearmon", ObjectType::kContainer},
    {Photo, "yearmonday", "to_char(date, 'YYYY/MM/DD')", "1970/01/01", "", "showall_yearmonday", ObjectType::kContainer},
    {Photo, "timetaken_yearmon", "to_char(timetaken, 'YYYY/MM')", "1970/01", "unknown_takendate", "showall_takendate", ObjectType::kContainer},
    {Photo, "timetaken", "to_char(timetaken, 'YYYY/MM/DD')", "1970/01/01", "unknown_takendate", "showall_takendate", ObjectType::kContainer},
    {Video, "yearmon", "to_char(date, 'YYYY/MM')", "1970/01", "", "showall_yearmon", ObjectType::kContainer},
    {Video, "yearmonday", "to_char(date, 'YYYY/MM/DD')", "1970/01/01", "", "showall_yearmonday", ObjectType::kContainer},
};
// clang-format on

}  // namespace

const CategoryDef* FindCategory(MediaKind media, std::string_view name) {
    const auto* found = std::find_if(std::begin(kCategories), std::end(kCategories), [&](const CategoryDef& category) {
        return category.media == media && category.name == name;
    });
    return found == std::end(kCategories) ? nullptr : found;
}

void CategoryList::Add(std::string_view name, std::int32_t index) {
    if (const CategoryDef* category = FindCategory(media_, name)) levels_.push_back({category, index != 0});
}

}  // namespace MediaServer
