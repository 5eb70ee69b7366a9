#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "model/ObjectTypes.h"
#include "platform/media/MediaKind.h"

namespace MediaServer {

/// One tag by which a media kind can be walked.
struct CategoryDef {
    MediaKind media;
    std::string_view name;
    std::string_view expression;      ///< SQL expression of the value over the media table
    std::string_view unknown_value;   ///< what the indexer stores when the tag is missing, besides the empty text
    std::string_view unknown_label;   ///< string key shown for it; empty shows an empty title
    std::string_view show_all_label;  ///< string key of the show-all entry that stands for this level
    ObjectTypeCode type_code;         ///< of the values' containers
};

/// Null for an unknown name.
const CategoryDef* FindCategory(MediaKind media, std::string_view name);

/// One level of a category walk.
struct CategoryLevel {
    const CategoryDef* category;  ///< static
    bool letters;                 ///< lists the initial letters of the values instead of the values
};

/// The levels of a category node, from the first to the last before the items.
class CategoryList {
public:
    explicit CategoryList(MediaKind media) : media_(media) {}

    /// As Categorizable::AddCategory.
    void Add(std::string_view name, std::int32_t index);
    MediaKind Media() const { return media_; }
    const std::vector<CategoryLevel>& Levels() const { return levels_; }

private:
    MediaKind media_;
    std::vector<CategoryLevel> levels_;
};

}  // namespace MediaServer
