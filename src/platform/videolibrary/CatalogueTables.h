#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "platform/videolibrary/VideoMetadataAPI.h"

namespace MediaServer::LibReelhouse {

/// How the records of one kind are read. The texts are SQL in which "t" is the kind's own table and, for episodes, "s"
/// the shows; null where the kind has no such thing.
struct VideoKind {
    _VIDEO_TABLE_TYPE_ type;
    const char* table;
    const char* list_key;        ///< member of a reply that has the records
    const char* columns;         ///< of a record, under the names of its members
    const char* join;            ///< what the columns need beside "t"
    const char* title_order[2];  ///< up to two keys; the id follows
    const char* time_order[2];
    const char* year;
    const char* date;
};
/// @return null for a number that is no kind.
const VideoKind* FindVideoKind(_VIDEO_TABLE_TYPE_ type);
const VideoKind* FindVideoKind(std::string_view table);

/// "SELECT … FROM …" of the records of a kind, for the conditions to follow.
std::string SelectRecords(const VideoKind& kind);

/// A kind of values that a record may have several of: its table, which is also the name of its column, the table
/// "<name>_map" and the column "<name>_id" in that.
struct NameTable {
    std::string_view name;
    std::uint32_t additional;  ///< bit that asks for them
    const char* member;        ///< where a record has them
};
inline constexpr NameTable kNameTables[] = {
    {"actor", _VIDEO_ADDITIONAL_::kActor, "actor"},
    {"director", _VIDEO_ADDITIONAL_::kDirector, "director"},
    {"writer", _VIDEO_ADDITIONAL_::kWriter, "writer"},
    {"gnere", _VIDEO_ADDITIONAL_::kGenre, "genre"},
};
/// Those that are categories come first and in the order of the categories.
static_assert(kCast == 1 && kDirector == 2 && kWriter == 3 && kGenre == 4);

/// A field that can be asked for by name. The table's rows are called "t" in the text.
struct VideoField {
    std::string_view table, name;
    const char* sql;
    bool is_number;
};
/// @return null when there is none of that name.
const VideoField* FindVideoField(std::string_view table, std::string_view name);
/// All fields of all tables, those of one table together.
std::span<const VideoField> AllVideoFields();

}  // namespace MediaServer::LibReelhouse
