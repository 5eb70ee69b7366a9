#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace MediaServer {

/// Identifiers of objects. S is the client's separator ("$" or "/"), T its inner separator ("#" or "$").
///
///     object   = node [ S ] | node S place
///     node     = the id of a menu node, "0" for the root
///     place    = folder / category / playlist / radio
///     folder   = row / "c" row / "@" row / "no"      below storage and index folders, whatever the depth
///     category = field *( S field ) [ S "@" row ]    below category nodes, one field a level
///     field    = row / "0" / T letter / T T          value, show-all entry, initial letter, all other initials
///     playlist = ( row / "S" number ) [ S "@" row ]  below playlist nodes; smart playlists by their place
///     radio    = number [ S "@" number ]             below radio nodes: genre and station by their place
///     letter   = "0" to "9" / "A" to "Z"
///     row      = decimal digits, at most 2147483647: the id of a database row
///
/// "21" is a menu node, "21$7" a directory (or the genre of row 7), "21$@7" the file of row 7 below a folder,
/// "22$#B" the artists with B, "22$#B$7$@9" a song of one of them; the same for a "/" client: "22/$B/7/@9".
/// "21$no" is an index location without a row. An item has "@" after its last separator, a container never has.
inline constexpr std::size_t kMaxFolderId = 31;   ///< longest identifier below a folder; longer ones are cut
inline constexpr std::size_t kMaxObjectId = 511;  ///< longest identifier of all

/// Takes the key (the menu node) off an identifier. The rest is empty without a separator or after a final one.
struct ObjectIdParts {
    std::string_view key, sub_id;
};
ObjectIdParts SplitObjectId(std::string_view object_id, std::string_view separator);

/// An identifier up to its last separator, and what follows it: nothing, and the whole, without a separator.
struct LastField {
    std::string_view parent_id, field;
};
LastField SplitLastField(std::string_view object_id, std::string_view separator);

/// True unless the last field begins with "@".
bool NamesContainer(std::string_view object_id, std::string_view separator);

/// What the sub-identifier of a folder names.
struct FolderTarget {
    enum class Kind { Node, Directory, File };
    Kind kind;
    std::int32_t row = 0;
};
/// Nothing for a text that no folder has written.
std::optional<FolderTarget> ParseFolderTarget(std::string_view sub_id);

/// One field below a category node.
struct CategoryField {
    enum class Kind { Value, ShowAll, Letter, OtherLetters, Item };
    Kind kind;
    std::int32_t row = 0;  ///< Value, Item
    char letter = 0;       ///< Letter
};
/// Nothing for a text that no category node has written.
std::optional<CategoryField> ParseCategoryField(std::string_view field, std::string_view inner_separator);

/// Forms the identifiers of the children of one object, one after another in the same storage.
class ChildId {
public:
    ChildId(std::string_view base, std::string_view separator, std::size_t limit);

    /// Each result is cut at the limit and valid until the next call.
    std::string_view Row(std::int32_t row);
    std::string_view Item(std::int32_t row);
    std::string_view Field(std::string_view first, std::string_view second = {});

private:
    std::string text_;
    const std::size_t prefix_;
    const std::size_t limit_;
};

}  // namespace MediaServer
