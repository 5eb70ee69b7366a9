#include "tree/ObjectId.h"

#include <charconv>

#include "platform/text/Text.h"

namespace MediaServer {

namespace {

bool IsLetter(char c) {
    return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z');
}

// Digits of a row id, without an allocation for each row of a listing.
struct RowText {
    explicit RowText(std::int32_t row) : end(std::to_chars(text, text + sizeof text, row).ptr) {}
    std::string_view View() const { return {text, static_cast<std::size_t>(end - text)}; }
    char text[12];
    char* end;
};

}  // namespace

ObjectIdParts SplitObjectId(std::string_view object_id, std::string_view separator) {
    const std::size_t cut = object_id.find(separator);
    if (cut == std::string_view::npos) return {object_id, {}};
    return {object_id.substr(0, cut), object_id.substr(cut + separator.size())};
}

LastField SplitLastField(std::string_view object_id, std::string_view separator) {
    const std::size_t cut = object_id.rfind(separator);
    if (cut == std::string_view::npos) return {{}, object_id};
    return {object_id.substr(0, cut), object_id.substr(cut + separator.size())};
}

bool NamesContainer(std::string_view object_id, std::string_view separator) {
    const std::size_t last = object_id.rfind(separator);
    return last == std::string_view::npos || !object_id.substr(last + separator.size()).starts_with('@');
}

std::optional<FolderTarget> ParseFolderTarget(std::string_view sub_id) {
    using Kind = FolderTarget::Kind;
    if (sub_id.empty()) return FolderTarget{Kind::Node};
    const bool file = sub_id.front() == '@';
    if (file || sub_id.front() == 'c') sub_id.remove_prefix(1);
    const std::optional<std::int32_t> row = ParseRowId(sub_id);
    if (!row) return std::nullopt;
    return FolderTarget{file ? Kind::File : Kind::Directory, *row};
}

std::optional<CategoryField> ParseCategoryField(std::string_view field, std::string_view inner_separator) {
    using Kind = CategoryField::Kind;
    if (field == "0") return CategoryField{Kind::ShowAll};
    if (field.starts_with(inner_separator)) {
        field.remove_prefix(inner_separator.size());
        if (field == inner_separator) return CategoryField{Kind::OtherLetters};
        if (field.size() == 1 && IsLetter(field.front())) return CategoryField{Kind::Letter, 0, field.front()};
        return std::nullopt;
    }
    const bool item = field.starts_with('@');
    if (item) field.remove_prefix(1);
    const std::optional<std::int32_t> row = ParseRowId(field);
    if (!row) return std::nullopt;
    return CategoryField{item ? Kind::Item : Kind::Value, *row};
}

ChildId::ChildId(std::string_view base, std::string_view separator, std::size_t limit)
    : text_(std::string(base).append(separator)), prefix_(text_.size()), limit_(limit) {}

std::string_view ChildId::Row(std::int32_t row) {
    return Field(RowText(row).View());
}

std::string_view ChildId::Item(std::int32_t row) {
    return Field("@", RowText(row).View());
}

std::string_view ChildId::Field(std::string_view first, std::string_view second) {
    text_.resize(prefix_);
    text_.append(first).append(second);
    return std::string_view(text_).substr(0, limit_);
}

}  // namespace MediaServer
