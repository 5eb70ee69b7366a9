#include "tree/ContentDirectoryService.h"

#include "model/MimeTypes.h"
#include "platform/clients/DMSClientChecker.h"
#include "tree/BuiltInMenus.h"
#include "tree/ObjectId.h"
#include "tree/cdsmenu.h"

namespace MediaServer {

std::uint32_t ContainerUpdateTable::Update(std::string_view id, std::uint32_t total) {
    const std::lock_guard lock(mutex_);
    if (const auto found = by_id_.find(id); found != by_id_.end()) {
        entries_.splice(entries_.begin(), entries_, found->second);
        Entry& entry = *found->second;
        if (entry.total != total) {
            entry.total = total;
            ++entry.counter;
        }
        return entry.counter;
    }
    if (entries_.size() == kMaxEntries) {
        by_id_.erase(entries_.back().id);
        entries_.pop_back();
    }
    entries_.push_front({std::string(id), total, 0});
    by_id_.emplace(entries_.front().id, entries_.begin());
    return 0;
}

namespace {

ContentDirectoryService::Menu MenuOf(const DMSClientChecker& client, std::string_view key) {
    using Service = ContentDirectoryService;
    if (client.full_menu) return Service::Full;
    if (client.flat_menu) return Service::Flat;
    if (client.numbered_containers && (key == "1" || key == "6")) return Service::Numbered;
    return client.audio_only ? Service::Music : Service::Default;
}

}  // namespace

ContentDirectoryService::ContentDirectoryService(const DMSStringBundle& strings, const VideoLibraryNodes& library)
    : strings_(strings), library_(library) {
    for (CDSMenuEntry*& root : roots_) root = &nodes_.Make<CDSMenuEntry>("Root", "0", "-1", ObjectType::kContainer);
    LoadMimeTypes(mime_);
}

bool ContentDirectoryService::LoadMenu(const std::string& menu_file, VideoLibraryPlaces library, bool with_radio) {
    BuildFullMenu(nodes_, *roots_[Full], strings_, library.in_full_menu ? &library_ : nullptr);
    BuildFlatMenu(nodes_, *roots_[Flat], strings_);
    BuildNumberedMenu(nodes_, *roots_[Numbered], strings_);
    MenuLoader loader({nodes_, *roots_[Default], *roots_[Music], strings_, library_, with_radio});
    const bool loaded = loader.LoadMenu(menu_file, library.in_template);
    for (std::size_t menu = 0; menu < kMenus; ++menu) AddMenuEntries(sets_[menu], *roots_[menu]);
    is_built_.store(true, std::memory_order_release);
    return loaded;
}

void ContentDirectoryService::RefreshIndexLocations() {
    if (is_built_.load(std::memory_order_acquire)) nodes_.RefreshIndexLocations();
}

CDSContainer* ContentDirectoryService::FindNode(Menu menu, std::string_view key) const {
    // The device is registered before its menu is built: an early request finds nothing rather than a half-made tree.
    if (!is_built_.load(std::memory_order_acquire)) return nullptr;
    const auto found = sets_[menu].find(key);
    return found == sets_[menu].end() ? nullptr : dynamic_cast<CDSContainer*>(found->second);
}

std::int32_t ContentDirectoryService::FindObject(const ClientRequest& request, std::string_view object_id,
                                                 BrowseFlag flag, std::uint32_t filter_mask, std::uint32_t options,
                                                 std::int32_t start, std::int32_t count, CDSObjectSerializer& out,
                                                 std::int32_t& total, std::uint32_t& update_id) {
    const DMSClientChecker client(request.Header("user-agent"), request.profile_name, true);
    const std::string_view separator = client.Separator();
    const auto [key, sub_id] = SplitObjectId(object_id, separator);
    const Menu menu = MenuOf(client, key);
    CDSContainer* node = object_id.size() <= kMaxObjectId ? FindNode(menu, key) : nullptr;
    // Albums, artists and genres that a search found in the numbered menu can be opened.
    const bool may_be_found = client.numbered_containers && (menu == Default || menu == Music) && !sub_id.empty();
    if (node == nullptr && may_be_found && object_id.size() <= kMaxObjectId) node = FindNode(Numbered, key);
    if (node == nullptr) {
        total = 0;
        return kNoSuchObject;
    }
    const BrowseQuery query{
        object_id, sub_id, flag, filter_mask, options, start, count, separator, client.InnerSeparator()};
    const std::int32_t written = node->Browse(query, out, total);
    if (written >= 0 && flag == BrowseFlag::DirectChildren && NamesContainer(object_id, separator)) {
        update_id = updates_.Update(object_id, static_cast<std::uint32_t>(total));
    }
    return written;
}

}  // namespace MediaServer
