#include "tree/CategoryQuery.h"

#include <algorithm>
#include <optional>

#include "model/PropertyFilter.h"
#include "platform/system/Log.h"
#include "platform/text/Text.h"
#include "tree/MediaItems.h"

namespace MediaServer {

namespace {

constexpr std::string_view kGroup = "cateval";
// "%s" stands for the category's expression.
constexpr std::string_view kValueGroups = "%s as cateval, MIN(id) as minid";
constexpr std::string_view kLetterGroups = "upper(substr(%s,1,1)) as cateval, MIN(id) as minid";
constexpr std::string_view kIsLetter = "upper(substr(%s, 1,1)) ~ '[0-9A-Z]'";
constexpr std::string_view kIsOther = "upper(substr(%s, 1,1)) !~ '[0-9A-Z]'";
constexpr std::string_view kHasLetter = "upper(substr(%s, 1,1)) = '";

std::string With(std::string_view text, std::string_view expression) {
    std::string result(text);
    return result.replace(result.find("%s"), 2, expression);
}

std::string_view ShowAllItemsLabel(MediaKind media) {
    switch (media) {
        case MediaKind::Music:
            return "showall_music_items";
        case MediaKind::Video:
            return "showall_video_items";
        default:
            return "showall_photo_items";
    }
}

std::string_view OrderOf(const CategoryLevel& level) {
    return level.category->name == "artist" && !level.letters ? "upper(artist)" : kGroup;
}

// Select list of a level; also leaves out what has no letter at a letter level.
std::string AddLevel(MediaDB& db, const CategoryLevel& level) {
    if (!level.letters) return With(kValueGroups, level.category->expression);
    db.AddCondition(With(kIsLetter, level.category->expression));
    return With(kLetterGroups, level.category->expression);
}

std::int32_t ResultOf(Lookup lookup) {
    return lookup == Lookup::Failed ? kActionFailed : 0;
}

}  // namespace

CategoryQuery::CategoryQuery(const CDSContainer& node, const CategoryList& categories, std::string_view directory,
                             const DMSStringBundle& strings, const BrowseQuery& query, CDSObjectSerializer& out,
                             std::string_view condition)
    : node_(node),
      media_(categories.Media()),
      levels_(categories.Levels()),
      directory_(directory),
      condition_(condition),
      strings_(strings),
      query_(query),
      out_(out) {}

std::int32_t CategoryQuery::Browse(std::int32_t& total) {
    if (!ParseFields()) return kNoSuchObject;
    if (query_.flag == BrowseFlag::Metadata) return WriteMetadata(total);
    if (fields_.size() > levels_.size()) {
        DMSPrintf(1, "ID %s is too long", std::string(query_.object_id).c_str());
        total = 0;
        return 0;
    }
    return fields_.size() == levels_.size() ? WriteItemPage(total) : WriteLevel(total);
}

// Splits the sub-identifier into fields. An item can only stand behind the last level.
bool CategoryQuery::ParseFields() {
    std::string_view rest = query_.sub_id;
    while (!rest.empty()) {
        const std::size_t end = rest.find(query_.separator);
        const std::optional<CategoryField> field = ParseCategoryField(rest.substr(0, end), query_.inner_separator);
        if (!field) return false;
        if (field->kind == CategoryField::Kind::Item && fields_.size() != levels_.size()) return false;
        fields_.push_back(*field);
        if (end == std::string_view::npos) break;
        rest.remove_prefix(end + query_.separator.size());
        if (rest.empty()) return false;
    }
    return true;
}

Lookup CategoryQuery::ReadValue(const CategoryDef& category, std::int32_t row, std::string& value) const {
    MediaDB db(media_);
    db.AddCondition("id=" + std::to_string(row));
    if (db.Select(std::string(category.expression) + " as result", {}, 0, 0) < 0) return Lookup::Failed;
    if (!db.NextRow()) return Lookup::NotFound;
    value = db.FetchField("result");
    return Lookup::Found;
}

// Turns the chosen fields into conditions. @param equals  what stands between an expression and its value.
Lookup CategoryQuery::ReadConditions(std::string_view equals) {
    for (std::size_t i = 0; i < fields_.size() && i < levels_.size(); ++i) {
        const CategoryDef& category = *levels_[i].category;
        const CategoryField& field = fields_[i];
        switch (field.kind) {
            case CategoryField::Kind::Letter:
                conditions_.push_back(With(kHasLetter, category.expression) + field.letter + "'");
                break;
            case CategoryField::Kind::OtherLetters:
                conditions_.push_back(With(kIsOther, category.expression));
                break;
            case CategoryField::Kind::Value: {
                std::string value;
                const Lookup found = ReadValue(category, field.row, value);
                if (found != Lookup::Found) return found;
                conditions_.push_back(std::string(category.expression).append(equals) + "'" + SQLEscapeString(value) +
                                      "'");
                break;
            }
            case CategoryField::Kind::ShowAll:
            case CategoryField::Kind::Item:
                break;
        }
    }
    return Lookup::Found;
}

void CategoryQuery::Restrict(MediaDB& db) const {
    for (const std::string& condition : conditions_) db.AddCondition(condition);
    db.AddCondition(condition_);
    if (!directory_.empty()) db.AddSubtreeCondition(directory_);
}

std::int32_t CategoryQuery::WriteMetadata(std::int32_t& total) {
    std::int32_t written = 0;
    if (fields_.empty()) {
        written = WriteNode();
    } else if (fields_.back().kind == CategoryField::Kind::Item) {
        written = WriteItem(fields_.back().row);
    } else if (fields_.size() <= levels_.size()) {
        written = WriteChosen();
    }
    if (written > 0) total = 1;
    return written;
}

std::int32_t CategoryQuery::WriteNode() {
    const std::int32_t children = CountChildren();
    if (children < 0) return kActionFailed;
    // The code under which its parent lists it, so that both agree.
    out_.SerializeContainerWithCount(node_.id, node_.parentId, node_.title, children, node_.typeCode);
    return 1;
}

std::int32_t CategoryQuery::WriteItem(std::int32_t row) {
    NIMB_MEDIA_INFO record;
    const Lookup found = FindMediaRecord(media_, row, record);
    if (found != Lookup::Found) return ResultOf(found);
    out_.SerializeMediaItem(media_, query_.object_id, ParentId(), record);
    return 1;
}

std::int32_t CategoryQuery::WriteChosen() {
    const CategoryField& field = fields_.back();
    if (field.kind == CategoryField::Kind::ShowAll && (query_.options & BrowseOption::kNoShowAll) != 0) return 0;
    const std::size_t level = fields_.size() - 1;
    std::string title;
    const Lookup found = TitleOf(field, level, title);
    if (found != Lookup::Found) return ResultOf(found);
    const ObjectTypeCode code =
        field.kind == CategoryField::Kind::Value ? levels_[level].category->type_code : ObjectType::kContainer;
    if ((query_.filter_mask & Property::kChildCount) == 0) {
        out_.SerializeContainer(query_.object_id, ParentId(), title, code);
        return 1;
    }
    const Lookup conditions = ReadConditions(" = ");
    if (conditions != Lookup::Found) return ResultOf(conditions);
    const std::int32_t children = CountChildren();
    if (children < 0) return kActionFailed;
    out_.SerializeContainerWithCount(query_.object_id, ParentId(), title, children, code);
    return 1;
}

Lookup CategoryQuery::TitleOf(const CategoryField& field, std::size_t level, std::string& title) const {
    switch (field.kind) {
        case CategoryField::Kind::Letter:
            title = field.letter;
            break;
        case CategoryField::Kind::OtherLetters:
            title = strings_.Translate("class_letter_others");
            break;
        case CategoryField::Kind::ShowAll:
            title = ShowAllTitle(level);
            break;
        case CategoryField::Kind::Item:
            break;
        case CategoryField::Kind::Value: {
            std::string value;
            const Lookup found = ReadValue(*levels_[level].category, field.row, value);
            if (found != Lookup::Found) return found;
            title = ValueTitle(*levels_[level].category, value);
            break;
        }
    }
    return Lookup::Found;
}

// Children of the fields chosen so far: the values of the next level, or the items behind the last one.
std::int32_t CategoryQuery::CountChildren() const {
    MediaDB db(media_);
    Restrict(db);
    if (fields_.size() == levels_.size()) {
        AddItemExclusions(db, media_, out_);
        return db.SelectTotal();
    }
    const CategoryLevel& level = levels_[fields_.size()];
    const std::int32_t groups = db.SelectTotal(AddLevel(db, level), kGroup, OrderOf(level));
    return groups < 0 ? groups : groups + (level.letters || ShowsAllEntry(level, groups) ? 1 : 0);
}

bool CategoryQuery::ShowsAllEntry(const CategoryLevel& level, std::int32_t groups) const {
    return !level.letters && !fields_.empty() && groups >= 2 && (query_.options & BrowseOption::kNoShowAll) == 0;
}

std::int32_t CategoryQuery::WriteLevel(std::int32_t& total) {
    const Lookup conditions = ReadConditions(" = ");
    if (conditions == Lookup::Failed) total = -1;
    if (conditions != Lookup::Found) return ResultOf(conditions);

    const CategoryLevel& level = levels_[fields_.size()];
    MediaDB db(media_);
    Restrict(db);
    const std::string fields = AddLevel(db, level);
    const std::int32_t groups = db.SelectTotal(fields, kGroup, OrderOf(level));
    if (groups < 0) {
        total = groups;
        return kActionFailed;
    }
    const bool show_all = ShowsAllEntry(level, groups);
    total = groups + (level.letters || show_all ? 1 : 0);

    const std::int32_t start = std::max(query_.start, 0);
    std::int32_t written = 0;
    ChildId ids = Ids();
    if (show_all && start == 0) {
        out_.SerializeContainer(ids.Field("0"), BrowsedId(), ShowAllTitle(fields_.size()), level.category->type_code);
        ++written;
    }
    const std::int32_t offset = show_all ? std::max(start - 1, 0) : start;
    if (offset < groups && (query_.count == 0 || written < query_.count)) {
        const std::int32_t limit = query_.count == 0 ? 0 : query_.count - written;
        if (db.Select(fields, OrderOf(level), offset, limit, kGroup) < 0) return kActionFailed;
        for (; db.NextRow(); ++written) WriteGroup(level, ids, db);
        if (db.Failed()) return kActionFailed;
    }
    if (level.letters && start <= groups && (query_.count <= 0 || written < query_.count)) {
        WriteOtherLetters(ids);
        ++written;
    }
    return written;
}

void CategoryQuery::WriteOtherLetters(ChildId& ids) {
    const std::string_view inner = query_.inner_separator;
    out_.SerializeContainerWithCount(ids.Field(inner, inner), BrowsedId(), strings_.Translate("class_letter_others"),
                                     query_.ListedChildCount(), ObjectType::kContainer);
}

void CategoryQuery::WriteGroup(const CategoryLevel& level, ChildId& ids, const MediaDB& row) {
    const std::string_view value = row.FetchField("cateval");
    if (level.letters) {
        out_.SerializeContainerWithCount(ids.Field(query_.inner_separator, value), BrowsedId(), value,
                                         query_.ListedChildCount(), ObjectType::kContainer);
        return;
    }
    const std::string_view row_id = row.FetchField("minid");
    const std::string title = ValueTitle(*level.category, value);
    if (level.category->type_code == ObjectType::kMusicAlbum) {
        out_.SerializeMusicAlbum(ids.Field(row_id), BrowsedId(), title, row_id, {}, {});
    } else {
        out_.SerializeContainerWithCount(ids.Field(row_id), BrowsedId(), title, query_.ListedChildCount(),
                                         level.category->type_code);
    }
}

std::int32_t CategoryQuery::WriteItemPage(std::int32_t& total) {
    const Lookup conditions = ReadConditions("=");
    if (conditions != Lookup::Found) return ResultOf(conditions);
    LogItemConditions();
    if (query_.count < 0) return 0;
    MediaDB items(media_);
    Restrict(items);
    AddItemExclusions(items, media_, out_);
    ItemOrder order = ItemOrderOf(media_, out_.GetOptions(), true);
    if ((query_.options & BrowseOption::kNoOrder) != 0) order.order = {};
    const std::int32_t written = WriteItems(items, media_, order, query_.start, query_.count, Ids(), BrowsedId(), out_);
    if (written <= 0) return written;
    const std::int32_t all = items.SelectTotal();
    if (all < 0) return kActionFailed;
    total = all;
    return written;
}

void CategoryQuery::LogItemConditions() const {
    if (DMSLOGGetLevel() < 2) return;
    std::string text;
    for (const std::string& condition : conditions_) text.append(text.empty() ? "" : " and ").append(condition);
    if (!condition_.empty()) text.append(text.empty() ? "(" : " and (").append(condition_).append(")");
    if (!directory_.empty()) {
        text.append(text.empty() ? "" : " and ").append("path like '" + SQLEscapeCondition(directory_) + "/%'");
    }
    DMSPrintf(2, "browseObjectItems: %s", text.c_str());
}

// Named after what lies behind the values of the level: the next category, or the items.
std::string CategoryQuery::ShowAllTitle(std::size_t level) const {
    const std::string_view label =
        level + 1 < levels_.size() ? levels_[level + 1].category->show_all_label : ShowAllItemsLabel(media_);
    return "= " + strings_.Translate(label) + " =";
}

std::string CategoryQuery::ValueTitle(const CategoryDef& category, std::string_view value) const {
    if (!value.empty() && value != category.unknown_value) return std::string(value);
    return strings_.Translate(category.unknown_label);
}

std::string_view CategoryQuery::ParentId() const {
    return SplitLastField(query_.object_id, query_.separator).parent_id;
}

}  // namespace MediaServer
