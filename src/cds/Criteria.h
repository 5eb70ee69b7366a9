#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace MediaServer {

/// What a search asks for, as the music table can answer it.
struct Criteria {
    std::string menu_key;   ///< node of the numbered menu that holds the class; empty when no class was named
    std::string category;   ///< "artist", "album" or "genre"; "*" for songs; empty when no class was named
    std::string condition;  ///< SQL; always balanced, of columns, operators and escaped texts only; empty for all
};

/// Translates search criteria (UPnP ContentDirectory:1, 2.5.5): comparisons of properties with quoted texts, joined by
/// "and" and "or" in brackets. Brackets that do not pair are paired, and what the music table cannot tell holds for
/// no row ("or") or every row ("and").
/// @return nothing for text that cannot be understood: anything else between the comparisons, an operator that does not
///     fit its property, or criteria that cost too much to read.
/// Threads: any.
std::optional<Criteria> ParseCriteria(std::string_view criteria);

/// Name of the artist in a query for the albums of one; empty for every other query.
std::string XBoxIsArtistAlbumsQuery(std::string_view container_id, std::string_view criteria);

}  // namespace MediaServer
