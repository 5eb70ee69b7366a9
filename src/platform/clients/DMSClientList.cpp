#include "platform/clients/DMSClientList.h"

#include <algorithm>
#include <cerrno>
#include <optional>
#include <utility>
#include <vector>

#include <errno.h>
#include <stdio.h>
#include <string.h>

#include "platform/clients/ClientListFile.h"
#include "platform/clients/ClientProfile.h"
#include "platform/clients/DMSClientChecker.h"
#include "platform/system/Files.h"
#include "platform/system/Log.h"
#include "platform/text/Text.h"

namespace MediaServer {
namespace {

// Bounds: headers come from strangers, and a host on the link can invent as many hardware addresses as it likes.
constexpr std::size_t kMaxClients = 256;  // as many as a usual home network has addresses
constexpr std::size_t kMaxKeysPerClient = 64;
constexpr std::size_t kMaxClientBytes = 16 * 1024;  // of headers
constexpr std::size_t kMaxKeyBytes = 64;
constexpr std::size_t kMaxValueBytes = 1024;
constexpr std::size_t kMaxAddressBytes = 32;
constexpr int kMaxBrokenCopies = 10;

constexpr const char* kProfile = "profileName";
constexpr const char* kDetected = "detectedProfile";

struct CallerPrefix {
    std::string_view caller, prefix;
};
constexpr CallerPrefix kPrefixes[] = {{"HandleActionRequest", "browse_"}, {"WebSerOpen", "open_"}};

std::string_view PrefixOf(std::string_view caller) {
    for (const auto& row : kPrefixes) {
        if (row.caller == caller) return row.prefix;
    }
    return {};
}

/// What a header or an element may be called. A name of other bytes would come back from the file as another one.
bool IsPlainName(std::string_view name) {
    return !name.empty() && std::all_of(name.begin(), name.end(), [](char c) { return c > ' ' && c < 0x7F; });
}

/// What the headers of a client take. What the owner wrote into its entry does not count.
std::size_t BytesOfHeaders(const Json::Value& client) {
    std::size_t bytes = 0;
    for (auto member = client.begin(); member != client.end(); ++member) {
        const std::string name = member.name();
        const bool is_header = std::any_of(std::begin(kPrefixes), std::end(kPrefixes),
                                           [&](const CallerPrefix& row) { return name.starts_with(row.prefix); });
        if (is_header && member->isString()) bytes += name.size() + member->asString().size();
    }
    return bytes;
}

bool IsSetByHand(const Json::Value& client) {
    const std::string profile = MemberText(client, kProfile);
    return !profile.empty() && profile != MemberText(client, kDetected);
}

/// The profile whose rules hold for what is known of a client.
std::string DetectProfile(const ProfileList& profiles, const Json::Value& client) {
    const auto found = FindProfile(profiles, [&](const ClientProfile::MatchRule& rule) -> std::vector<std::string> {
        if (!rule.is_header) return {MemberText(client, rule.key)};
        std::vector<std::string> values;
        for (const auto& row : kPrefixes) values.push_back(MemberText(client, std::string(row.prefix) + rule.key));
        return values;
    });
    return found == nullptr ? std::string() : found->name;
}

/// Moves a file that cannot be used out of the way. An earlier copy is not overwritten while a name is free.
bool KeepAside(const std::string& path, const std::string& reason) {
    std::string aside = path + ".broken";
    for (int copy = 1; copy < kMaxBrokenCopies && NLIBCFileExist(aside.c_str()); ++copy) {
        aside = path + ".broken." + std::to_string(copy);
    }
    const bool is_moved = rename(path.c_str(), aside.c_str()) == 0;
    if (is_moved) {
        DMSPrintf(0, "could not read client list \"%s\", kept it as \"%s\": %s", path.c_str(), aside.c_str(),
                  reason.c_str());
    } else {
        DMSPrintf(0, "could not read client list \"%s\" nor move it aside (%s), changes will not be saved: %s",
                  path.c_str(), strerror(errno), reason.c_str());
    }
    return is_moved;
}

/// When each client was heard of last, as a running number, by MAC; clients only loaded count as older than all.
using LastUpdates = std::map<std::string, std::uint64_t>;

/// Clients that may be dropped for want of room, the one not heard of for the longest time first. What the owner set by
/// hand is never dropped for it.
std::vector<std::string> Droppable(const Json::Value& list, const LastUpdates& last_update) {
    std::vector<std::pair<std::uint64_t, std::string>> clients;
    for (auto client = list.begin(); client != list.end(); ++client) {
        if (IsSetByHand(*client) || !MemberText(*client, kAccessMember).empty()) continue;
        const auto seen = last_update.find(client.name());
        clients.emplace_back(seen == last_update.end() ? 0 : seen->second, client.name());
    }
    std::sort(clients.begin(), clients.end());
    std::vector<std::string> names;
    for (auto& [update, mac] : clients) names.push_back(std::move(mac));
    return names;
}

/// The document within the size that is read again: a list that grew beyond it would be put aside as broken at the next
/// start, and refused clients be let in. The clients not heard of for the longest time are left out.
std::string SerializeWithinLimit(Json::Value& root, const LastUpdates& last_update) {
    std::string text = SerializeClientList(root);
    if (text.size() <= kMaxClientListBytes) return text;
    Json::Value& list = root[kListMember];
    std::size_t freed = 0;
    for (const std::string& mac : Droppable(list, last_update)) {
        if (text.size() - freed <= kMaxClientListBytes) break;
        // By itself a client is indented less than in the list, so at least this much goes.
        freed += SerializeClientList(list[mac]).size();
        list.removeMember(mac);
    }
    return SerializeClientList(root);
}

}  // namespace

struct DMSClientList::State {
    /// Held by Load and WriteToFile from start to end, so that two of them do not interleave. Taken before the other.
    std::mutex file_mutex;
    // Guarded by file_mutex.
    std::string list_file;
    bool may_write = true;                // off while the file holds what could be neither read nor moved aside
    std::optional<FileState> file_state;  // of the file as it was read or written last

    /// Taken by every request, so never held while a file is read or written.
    mutable std::mutex mutex;
    // All below is guarded by mutex.
    Json::Value root{Json::objectValue};  // the document, unknown members and all
    bool is_access_disabled = false;
    LastUpdates last_update;
    std::uint64_t updates = 0;

    const Json::Value* Find(const std::string& mac) const {
        const Json::Value& list = std::as_const(root)[kListMember];
        return list.isObject() ? list.find(mac.data(), mac.data() + mac.size()) : nullptr;
    }
    Json::Value& List() {
        Json::Value& list = root[kListMember];
        if (!list.isObject()) list = Json::Value(Json::objectValue);
        return list;
    }
    void MakeRoom();
    void ReleaseAddress(const std::string& ip);
    bool StoreKeys(Json::Value& client, std::string_view prefix, const HeaderMap& keys);
};

void DMSClientList::State::MakeRoom() {
    Json::Value& list = List();
    if (list.size() < kMaxClients) return;
    for (const std::string& mac : Droppable(list, last_update)) {
        if (list.size() < kMaxClients) return;
        list.removeMember(mac);
        last_update.erase(mac);
    }
}

/// Takes an address from the client that had it before: addresses are leased, and FindMacByIP wants the present holder.
void DMSClientList::State::ReleaseAddress(const std::string& ip) {
    for (Json::Value& client : List()) {
        if (client.isObject() && MemberText(client, kAddressMember) == ip) client.removeMember(kAddressMember);
    }
}

/// @return whether anything is new.
bool DMSClientList::State::StoreKeys(Json::Value& client, std::string_view prefix, const HeaderMap& keys) {
    std::size_t bytes = BytesOfHeaders(client);
    bool is_new = false;
    for (const auto& [name, value] : keys) {
        std::string key = std::string(prefix) + name;
        // A renderer's description must not be able to write the owner's settings, whatever it calls its elements.
        const bool is_reserved = key == kAccessMember || key == kProfile || key == kDetected || key == kAddressMember;
        if (is_reserved || !IsPlainName(name) || key.size() > kMaxKeyBytes) continue;
        if (!client.isMember(key) && client.size() >= kMaxKeysPerClient) continue;
        std::string stored = DMSClientList::AsStored(value);
        if (!prefix.empty()) {
            const std::size_t before = client.isMember(key) ? key.size() + MemberText(client, key).size() : 0;
            const std::size_t after = bytes - before + key.size() + stored.size();
            if (after > kMaxClientBytes) continue;
            bytes = after;
        }
        Json::Value& known = client[key];
        if (known == stored) continue;
        known = std::move(stored);
        is_new = true;
    }
    return is_new;
}

std::string DMSClientList::AsStored(std::string_view value) {
    constexpr std::string_view kReplacementCharacter = "\xEF\xBF\xBD";  // U+FFFD, which such a byte is in the file, too
    std::string stored;
    while (!value.empty()) {
        const std::size_t length = Utf8SequenceLength(value);
        const std::string_view character = length == 0 ? kReplacementCharacter : value.substr(0, length);
        if (stored.size() + character.size() > kMaxValueBytes) break;
        stored.append(character);
        value.remove_prefix(std::max<std::size_t>(length, 1));
    }
    return stored;
}

DMSClientList::DMSClientList() : state_(std::make_unique<State>()) {}
DMSClientList::~DMSClientList() = default;

bool DMSClientList::WriteNewFile(const std::string& list_file) {
    Json::Value root(Json::objectValue);
    root[kListMember] = 0;
    if (WriteFileAtomically(list_file, SerializeClientList(root))) return true;
    DMSPrintf(0, "could not write client list \"%s\": %s", list_file.c_str(), strerror(errno));
    return false;
}

bool DMSClientList::Load(const std::string& list_file, const std::string& profile_file) {
    DMSClientChecker::InitProfileList(profile_file);

    std::lock_guard file_lock(state_->file_mutex);
    state_->list_file = list_file;
    state_->may_write = true;
    Json::Value root(Json::objectValue);
    // Taken before the file is read: a change in between must not pass for what was read.
    state_->file_state = StateOf(list_file);
    const bool exists = state_->file_state.has_value();
    if (const std::string problem = exists ? ReadClientList(list_file, root) : ""; !problem.empty()) {
        state_->may_write = KeepAside(list_file, problem);
        return false;
    }
    if (!exists) DMSPrintf(0, "could not read client list \"%s\": the file does not exist", list_file.c_str());
    std::lock_guard lock(state_->mutex);
    state_->root = std::move(root);
    state_->last_update.clear();
    return exists;
}

bool DMSClientList::WriteToFile() {
    std::lock_guard file_lock(state_->file_mutex);
    if (state_->list_file.empty() || !state_->may_write) return false;
    const auto present = StateOf(state_->list_file);
    if (present && present != state_->file_state) {
        // The owner's word (an access right, say) counts more than what clients said of themselves, which they say
        // again.
        DMSPrintf(0, "did not write client list \"%s\": it was changed meanwhile and not read again (SIGUSR2)",
                  state_->list_file.c_str());
        return false;
    }
    auto [root, last_update] = [this] {
        std::lock_guard lock(state_->mutex);
        return std::pair(state_->root, state_->last_update);
    }();
    if (!root.isMember(kListMember)) root[kListMember] = 0;
    const std::string text = SerializeWithinLimit(root, last_update);
    if (text.size() > kMaxClientListBytes) {
        DMSPrintf(0, "could not write client list \"%s\": what was set by hand alone is larger than 8 MiB",
                  state_->list_file.c_str());
        return false;
    }
    if (WriteFileAtomically(state_->list_file, text)) {
        state_->file_state = StateOf(state_->list_file);
        return true;
    }
    DMSPrintf(0, "could not write client list \"%s\": %s", state_->list_file.c_str(), strerror(errno));
    return false;
}

void DMSClientList::UpdateKeys(std::string_view caller, const std::string& mac, const std::string& ip,
                               const HeaderMap& keys) {
    if (mac.empty() || mac.size() > kMaxAddressBytes || ip.size() > kMaxAddressBytes) return;
    const auto profiles = CurrentProfiles();

    std::lock_guard lock(state_->mutex);
    if (state_->Find(mac) == nullptr) state_->MakeRoom();
    Json::Value& client = state_->List()[mac];
    if (!client.isObject()) client = Json::Value(Json::objectValue);
    std::uint64_t& last_update = state_->last_update[mac];
    bool is_new = last_update == 0 || MemberText(client, kAddressMember) != ip;
    if (is_new) {
        state_->ReleaseAddress(ip);
        client[kAddressMember] = ip;
    }
    is_new |= state_->StoreKeys(client, PrefixOf(caller), keys);
    last_update = ++state_->updates;
    // Who is known to no profile comes here with every request and says the same.
    if (!is_new || IsSetByHand(client)) return;

    const std::string profile = DetectProfile(*profiles, client);
    for (const char* member : {kProfile, kDetected}) {
        if (profile.empty()) {
            client.removeMember(member);
        } else {
            client[member] = profile;
        }
    }
}

std::string DMSClientList::FindKey(const std::string& mac, std::string_view key) const {
    std::lock_guard lock(state_->mutex);
    if (state_->is_access_disabled && key == kAccessMember) return {};
    const Json::Value* client = state_->Find(mac);
    return client == nullptr ? std::string() : MemberText(*client, std::string(key));
}

std::string DMSClientList::FindMacByIP(const std::string& ip) const {
    if (ip.empty()) return {};
    std::lock_guard lock(state_->mutex);
    const Json::Value& list = std::as_const(state_->root)[kListMember];
    if (!list.isObject()) return {};
    for (auto client = list.begin(); client != list.end(); ++client) {
        if (MemberText(*client, kAddressMember) == ip) return client.name();
    }
    return {};
}

void DMSClientList::EraseObject(const std::string& mac) {
    std::lock_guard lock(state_->mutex);
    if (state_->Find(mac) == nullptr) return;
    const std::string access = MemberText(*state_->Find(mac), kAccessMember);
    Json::Value& list = state_->List();
    list.removeMember(mac);
    if (!access.empty()) list[mac][kAccessMember] = access;
}

void DMSClientList::SetAccessRightsDisabled(bool disabled) {
    std::lock_guard lock(state_->mutex);
    state_->is_access_disabled = disabled;
}

}  // namespace MediaServer
