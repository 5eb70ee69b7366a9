#include "web/BrowsePage.h"

#include <algorithm>
#include <cstdint>
#include <string>

#include "platform/text/Text.h"
#include "serializer/CDSHtmlSerializer.h"
#include "serializer/CDSSimpleSerializer.h"

namespace MediaServer {
namespace {

constexpr std::string_view kHead =
    "<html><head><meta http-equiv=\"Content-Type\" content=\"text/html; charset=utf-8\"></head><body><p>";
constexpr std::string_view kTail = "</p></body></html>";
constexpr std::string_view kRootId = "0";
constexpr std::size_t kParentField = 256;
constexpr std::int32_t kPortion = 500;
/// The page shows no property that could be left out; to ask for child counts would make every container count.
constexpr std::uint32_t kNoProperties = 0;

/// "#" separates fields of some identifiers, but would end the path of a link.
std::string LinkId(std::string_view id) {
    std::string link;
    for (const char c : id) c == '#' ? link.append("%23") : link.append(1, c);
    return link;
}

/// The list of a page. The plain HTML list passes over counted containers and albums, which is what artists, letters
/// and folders are written as; a person needs the links to go on.
class PageList : public CDSHtmlSerializer {
public:
    void SerializeContainer(std::string_view id, std::string_view parent_id, std::string_view title,
                            ObjectTypeCode code) override {
        CDSHtmlSerializer::SerializeContainer(LinkId(id), parent_id, title, code);
    }
    void SerializeContainerWithCount(std::string_view id, std::string_view parent_id, std::string_view title,
                                     std::int32_t /*child_count*/, ObjectTypeCode code) override {
        SerializeContainer(id, parent_id, title, code);
    }
    void SerializeMusicAlbum(std::string_view id, std::string_view parent_id, std::string_view title, std::string_view,
                             std::string_view, std::string_view) override {
        SerializeContainer(id, parent_id, title, ObjectType::kMusicAlbum);
    }
};

/// The object of a page: menu nodes are always written with their count.
class PageObject : public CDSSimpleSerializer {
public:
    void SerializeContainerWithCount(std::string_view id, std::string_view parent_id, std::string_view title,
                                     std::int32_t /*child_count*/, ObjectTypeCode code) override {
        SerializeContainer(id, parent_id, title, code);
    }
};

/// One object, browsed as its requester sees it.
class Browser {
public:
    Browser(ContentDirectoryService& directory, const ClientRequest& request, std::string_view id)
        : directory_(directory), request_(request), id_(id) {}

    /// Lists one portion of the children. No browse options: the page shows no counts.
    std::int32_t Children(std::int32_t start, CDSObjectSerializer& out, std::int32_t& total) {
        return Browse(BrowseFlag::DirectChildren, start, kPortion, out, total);
    }

    /// The link to the parent; empty when the object does not tell its parent.
    std::string ParentLink() {
        PageObject own;
        std::int32_t total = 0;
        if (Browse(BrowseFlag::Metadata, 0, 0, own, total) < 0 || own.Objects().empty()) return {};
        const std::string link =
            "&lt;&lt;&nbsp; <a href=\"/cds/" + XMLEscape(LinkId(own.Objects().front().parentId)) + "\">Parent";
        // Cut short it would lead elsewhere and leave its attribute open.
        return link.size() < kParentField ? link : std::string();
    }

private:
    std::int32_t Browse(BrowseFlag flag, std::int32_t start, std::int32_t count, CDSObjectSerializer& out,
                        std::int32_t& total) {
        std::uint32_t update_id = 0;
        return directory_.FindObject(request_, id_, flag, kNoProperties, 0, start, count, out, total, update_id);
    }

    ContentDirectoryService& directory_;
    const ClientRequest& request_;
    const std::string_view id_;
};

bool RenderList(Browser& object, bool is_root, const PageSink& sink) {
    std::int32_t total = 0;
    std::int32_t start = 0;
    do {
        PageList list;
        const std::int32_t listed = object.Children(start, list, total);
        if (start == 0) {
            if (listed < 0) return true;
            if (!is_root && !sink(object.ParentLink())) return false;
            if (!sink("<ul>")) return false;
        }
        if (list.IsBroken() || !sink(list.Text())) return false;
        // A portion that failed or came out empty ends the list: the library has changed meanwhile.
        if (listed <= 0) break;
        start += listed;
    } while (start < total);
    return sink("</ul>");
}

}  // namespace

bool RenderBrowsePage(ContentDirectoryService& directory, const ClientRequest& request, std::string_view url,
                      const PageSink& sink) {
    const std::string_view id = url == kPagePrefix ? kRootId : url.substr(std::min(url.size(), kPagePrefix.size()));
    if (!sink(kHead)) return false;
    Browser object(directory, request, id);
    return RenderList(object, id == kRootId, sink) && sink(kTail);
}

}  // namespace MediaServer
