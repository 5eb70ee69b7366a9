#include <optional>

#include "cds/CDSActions.h"
#include "cds/Criteria.h"
#include "platform/clients/DMSClientChecker.h"
#include "platform/database/MediaDB.h"
#include "platform/system/Log.h"
#include "platform/text/Text.h"
#include "tree/CategoryQuery.h"
#include "tree/ObjectId.h"

namespace MediaServer {

namespace {

constexpr std::string_view kArtistAlbumKey = "8";
constexpr std::string_view kPlaylistKey = "6";
constexpr std::string_view kAllSongs = "*";

/// Searches of classes from the root, and the list that holds the class. The first that the criteria name counts.
constexpr std::pair<std::string_view, std::string_view> kFlatLists[] = {
    {"object.item.audioItem", "4"},
    {"object.item.imageItem", "5"},
    {"object.item.videoItem", "6"},
};

std::int32_t BrowseFullMenu(ContentDirectoryService& directory, const std::string& criteria, BrowseQuery query,
                            CDSObjectSerializer& out, std::int32_t& total) {
    std::string object_id(query.object_id);
    if (const std::string artist = XBoxIsArtistAlbumsQuery(object_id, criteria); !artist.empty()) {
        std::string row = MinArtistId("artist", artist);
        if (row.empty()) row = MinArtistId("artist", "");
        object_id = std::string(kArtistAlbumKey).append(query.separator).append(row);
    }
    const auto [key, sub_id] = SplitObjectId(object_id, query.separator);
    CDSContainer* node = directory.FindNode(ContentDirectoryService::Full, key);
    if (node == nullptr) return kNoSuchObject;
    query.object_id = object_id;
    query.sub_id = sub_id;
    query.options |= BrowseOption::kNoShowAll;
    return node->Browse(query, out, total);
}

std::int32_t BrowseFlatMenu(ContentDirectoryService& directory, const std::string& criteria, BrowseQuery query,
                            CDSObjectSerializer& out, std::int32_t& total) {
    if (query.object_id != "0") return kNoSuchObject;
    for (const auto& [upnp_class, key] : kFlatLists) {
        if (criteria.find(upnp_class) == std::string::npos) continue;
        CDSContainer* node = directory.FindNode(ContentDirectoryService::Flat, key);
        if (node == nullptr) return kNoSuchObject;
        query.object_id = key;
        query.options |= BrowseOption::kNoOrder | BrowseOption::kNoShowAll;
        return node->Browse(query, out, total);
    }
    return kNoSuchObject;
}

}  // namespace

std::string MinArtistId(const std::string& column, std::string_view value) {
    MediaDB db(MediaKind::Music);
    db.AddCondition(column + "= '" + SQLEscapeString(value) + "'");
    if (db.Select("MIN(id) as minid", {}, 0, 0) <= 0 || !db.NextRow()) return {};
    return std::string(db.FetchField("minid"));
}

std::int32_t TranslateCriteria(ContentDirectoryService& directory, const std::string& criteria,
                               std::uint32_t filter_mask, std::uint32_t, std::int32_t start, std::int32_t count,
                               CDSObjectSerializer& out, std::int32_t& total) {
    const std::optional<Criteria> parsed = ParseCriteria(criteria);
    if (!parsed) {
        DMSPrintf(1, "refusing search criteria that cannot be understood: \"%s\"", criteria.c_str());
        return kBadCriteria;
    }
    DMSPrintf(3, "SQL=%s\n", parsed->condition.c_str());
    CDSContainer* node = directory.FindNode(ContentDirectoryService::Numbered, parsed->menu_key);
    if (parsed->menu_key.empty() || node == nullptr) return kNoSuchObject;

    const DMSClientChecker* client = out.GetClientChecker();
    const std::string_view separator = client != nullptr ? client->Separator() : "$";
    const std::string_view inner_separator = client != nullptr ? client->InnerSeparator() : "#";
    const BrowseQuery query{parsed->menu_key, {}, BrowseFlag::DirectChildren, filter_mask, 0, start, count, separator,
                            inner_separator};
    if (parsed->menu_key == kPlaylistKey) return node->Browse(query, out, total);
    CategoryList categories(MediaKind::Music);
    if (parsed->category != kAllSongs) categories.Add(parsed->category, 0);
    total = 0;
    return CategoryQuery(*node, categories, {}, directory.Strings(), query, out, parsed->condition).Browse(total);
}

std::int32_t SearchObjects(ContentDirectoryService& directory, const ClientRequest& request,
                           const std::string& container_id, const std::string& criteria, std::uint32_t filter_mask,
                           std::uint32_t options, std::int32_t start, std::int32_t count, CDSObjectSerializer& out,
                           std::int32_t& total) {
    if (container_id.size() > kMaxObjectId) return kNoSuchObject;
    const DMSClientChecker client(request.Header("user-agent"), request.profile_name, true);
    const BrowseQuery query{
        container_id,           {}, BrowseFlag::DirectChildren, filter_mask, options, start, count, client.Separator(),
        client.InnerSeparator()};
    if (client.full_menu) return BrowseFullMenu(directory, criteria, query, out, total);
    if (client.flat_menu) return BrowseFlatMenu(directory, criteria, query, out, total);
    if (!client.numbered_containers) return kNoSuchObject;
    return TranslateCriteria(directory, criteria, filter_mask, options, start, count, out, total);
}

}  // namespace MediaServer
