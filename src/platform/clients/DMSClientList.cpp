#include "platform/clients/DMSClientList.h"

#include <algorithm>
#include <optional>
#include <vector>

#include <errno.h>
#include <json/json.h>
#include <stdio.h>
#include <string.h>
#include <sys/stat.h>

#include "platform/clients/ClientProfile.h"
#include "platform/clients/DMSClientChecker.h"
#include "platform/system/Files.h"
#include "platform/system/Log.h"
#include "platform/text/Text.h"

namespace MediaServer {
namespace {

// Bounds: headers come from strangers, and a host on the link can invent as many hardware addresses as it likes.
constexpr std::size_t kMaxFileBytes = 8 * 1024 * 1024;
constexpr std::size_t kMaxClients = 1024;
constexpr std::size_t kMaxKeysPerClient = 64;
constexpr std::size_t kMaxKeyBytes = 64;
constexpr std::size_t kMaxValueBytes = 1024;
constexpr std::size_t kMaxAddressBytes = 32;
constexpr int kMaxBrokenCopies = 10;
constexpr int kMaxJsonDepth = 16;

constexpr const char* kListMember = "ClientList";
constexpr const char* kAddress = "ip";
constexpr const char* kProfile = "profileName";
constexpr const char* kDetected = "detectedProfile";
constexpr const char* kAccess = "isAccess";

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

/// A member as text. A hand may write false instead of "false"; both mean the same.
std::string Text(const Json::Value& object, const std::string& member) {
    if (!object.isObject()) return {};
    const Json::Value& value = object[member];
    return value.isConvertibleTo(Json::stringValue) ? value.asString() : std::string();
}

/// Value as it can be stored: bounded, and cut before a UTF-8 sequence that the bound would tear.
std::string Bounded(std::string_view value) {
    std::size_t size = std::min(value.size(), kMaxValueBytes);
    while (size < value.size() && size > 0 && (static_cast<unsigned char>(value[size]) & 0xC0) == 0x80) --size;
    return std::string(value.substr(0, size));
}

/// What a header or an element may be called. A name of other bytes would come back from the file as another one.
bool IsPlainName(std::string_view name) {
    return !name.empty() && std::all_of(name.begin(), name.end(), [](char c) { return c > ' ' && c < 0x7F; });
}

bool IsSetByHand(const Json::Value& client) {
    const std::string profile = Text(client, kProfile);
    return !profile.empty() && profile != Text(client, kDetected);
}

/// The profile whose rules hold for what is known of a client.
std::string DetectProfile(const ProfileList& profiles, const Json::Value& client) {
    const auto found = FindProfile(profiles, [&](const ClientProfile::MatchRule& rule) -> std::vector<std::string> {
        if (!rule.is_header) return {Text(client, rule.key)};
        std::vector<std::string> values;
        for (const auto& row : kPrefixes) values.push_back(Text(client, std::string(row.prefix) + rule.key));
        return values;
    });
    return found == nullptr ? std::string() : found->name;
}

std::string Serialize(const Json::Value& root) {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "\t";
    return Json::writeString(builder, root) + "\n";
}

/// Reads the document. @return the reason why it is no client list, empty when it is one.
std::string Parse(const std::string& text, Json::Value& root) {
    Json::CharReaderBuilder builder;
    builder["strictRoot"] = true;
    builder["failIfExtra"] = true;
    builder["stackLimit"] = kMaxJsonDepth;
    std::string errors;
    const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    try {
        if (!reader->parse(text.data(), text.data() + text.size(), &root, &errors)) {
            std::replace(errors.begin(), errors.end(), '\n', ' ');
            return errors;
        }
    } catch (const std::exception& error) {  // the reader throws when the nesting is too deep
        return error.what();
    }
    if (!root.isObject()) return "the document is not an object";
    const Json::Value& list = root[kListMember];
    const bool is_list = list.isNull() || list.isObject() || (list.isInt() && list.asInt() == 0);
    return is_list ? std::string() : "\"ClientList\" is neither 0 nor an object";
}

/// What tells one content of a file from another without reading it.
struct FileState {
    ino_t inode = 0;
    off_t size = 0;
    timespec modified{};

    bool operator==(const FileState& other) const {
        return inode == other.inode && size == other.size && modified.tv_sec == other.modified.tv_sec &&
               modified.tv_nsec == other.modified.tv_nsec;
    }
};

/// State of a file; nothing when there is none.
std::optional<FileState> StateOf(const std::string& path) {
    struct stat facts {};
    if (stat(path.c_str(), &facts) != 0) return std::nullopt;
    return FileState{facts.st_ino, facts.st_size, facts.st_mtim};
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

}  // namespace

struct DMSClientList::State {
    mutable std::mutex mutex;
    // All below is guarded by mutex.
    std::string list_file;
    Json::Value root{Json::objectValue};  // the document, unknown members and all
    bool may_write = true;                // off while the file holds what could be neither read nor moved aside
    std::optional<FileState> file_state;  // of the file as it was read or written last
    bool is_access_disabled = false;
    std::map<std::string, std::uint64_t> last_update;  // by MAC; clients only loaded count as older than all of these
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
    void StoreKeys(Json::Value& client, std::string_view prefix, const HeaderMap& keys);
};

/// Drops the client that was not heard of for the longest time. What the owner set by hand is never dropped for it.
void DMSClientList::State::MakeRoom() {
    Json::Value& list = List();
    if (list.size() < kMaxClients) return;
    std::string oldest;
    std::uint64_t oldest_update = ~std::uint64_t{0};
    for (const std::string& mac : list.getMemberNames()) {
        const Json::Value& client = list[mac];
        if (IsSetByHand(client) || !Text(client, kAccess).empty()) continue;
        const auto seen = last_update.find(mac);
        const std::uint64_t update = seen == last_update.end() ? 0 : seen->second;
        if (update >= oldest_update) continue;
        oldest = mac;
        oldest_update = update;
    }
    list.removeMember(oldest);
    last_update.erase(oldest);
}

/// Takes an address from the client that had it before: addresses are leased, and FindMacByIP wants the present holder.
void DMSClientList::State::ReleaseAddress(const std::string& ip) {
    for (Json::Value& client : List()) {
        if (client.isObject() && Text(client, kAddress) == ip) client.removeMember(kAddress);
    }
}

void DMSClientList::State::StoreKeys(Json::Value& client, std::string_view prefix, const HeaderMap& keys) {
    for (const auto& [name, value] : keys) {
        std::string key = std::string(prefix) + name;
        // A renderer's description must not be able to write the owner's settings, whatever it calls its elements.
        const bool is_reserved = key == kAccess || key == kProfile || key == kDetected || key == kAddress;
        if (is_reserved || !IsPlainName(name) || key.size() > kMaxKeyBytes) continue;
        if (!client.isMember(key) && client.size() >= kMaxKeysPerClient) continue;
        client[key] = Bounded(value);
    }
}

DMSClientList::DMSClientList() : state_(std::make_unique<State>()) {}
DMSClientList::~DMSClientList() = default;

bool DMSClientList::WriteNewFile(const std::string& list_file) {
    Json::Value root(Json::objectValue);
    root[kListMember] = 0;
    if (WriteFileAtomically(list_file, Serialize(root))) return true;
    DMSPrintf(0, "could not write client list \"%s\": %s", list_file.c_str(), strerror(errno));
    return false;
}

bool DMSClientList::Load(const std::string& list_file, const std::string& profile_file) {
    DMSClientChecker::InitProfileList(profile_file);

    std::lock_guard lock(state_->mutex);
    state_->list_file = list_file;
    state_->may_write = true;
    Json::Value root(Json::objectValue);
    std::string problem;
    // Taken before the file is read: a change in between must not pass for what was read.
    state_->file_state = StateOf(list_file);
    const bool exists = state_->file_state.has_value();
    if (exists) {
        const auto text = ReadWholeFile(list_file, kMaxFileBytes);
        problem = text ? Parse(*text, root) : "the file is unreadable or larger than 8 MiB";
    }
    if (!problem.empty()) {
        state_->may_write = KeepAside(list_file, problem);
        return false;
    }
    // Hardware addresses compare as text; a hand may have written them in capitals.
    if (root[kListMember].isObject()) {
        Json::Value list(Json::objectValue);
        for (const std::string& mac : root[kListMember].getMemberNames()) {
            list[StringToLower(mac)] = root[kListMember][mac];
        }
        root[kListMember] = std::move(list);
    }
    state_->root = std::move(root);
    state_->last_update.clear();
    if (!exists) DMSPrintf(0, "could not read client list \"%s\": the file does not exist", list_file.c_str());
    return exists;
}

bool DMSClientList::WriteToFile() {
    std::lock_guard lock(state_->mutex);
    if (state_->list_file.empty() || !state_->may_write) return false;
    const auto present = StateOf(state_->list_file);
    if (present && present != state_->file_state) {
        // The owner's word (an access right, say) counts more than what clients said of themselves, which they say
        // again.
        DMSPrintf(0, "did not write client list \"%s\": it was changed meanwhile and not read again (SIGUSR2)",
                  state_->list_file.c_str());
        return false;
    }
    Json::Value root = state_->root;
    if (!root.isMember(kListMember)) root[kListMember] = 0;
    if (WriteFileAtomically(state_->list_file, Serialize(root))) {
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
    state_->ReleaseAddress(ip);
    Json::Value& client = state_->List()[mac];
    if (!client.isObject()) client = Json::Value(Json::objectValue);
    client[kAddress] = ip;
    state_->StoreKeys(client, PrefixOf(caller), keys);
    state_->last_update[mac] = ++state_->updates;
    if (IsSetByHand(client)) return;

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
    if (state_->is_access_disabled && key == kAccess) return {};
    const Json::Value* client = state_->Find(mac);
    return client == nullptr ? std::string() : Text(*client, std::string(key));
}

std::string DMSClientList::FindMacByIP(const std::string& ip) const {
    if (ip.empty()) return {};
    std::lock_guard lock(state_->mutex);
    const Json::Value& list = std::as_const(state_->root)[kListMember];
    if (!list.isObject()) return {};
    for (auto client = list.begin(); client != list.end(); ++client) {
        if (Text(*client, kAddress) == ip) return client.name();
    }
    return {};
}

void DMSClientList::EraseObject(const std::string& mac) {
    std::lock_guard lock(state_->mutex);
    if (state_->Find(mac) == nullptr) return;
    const std::string access = Text(*state_->Find(mac), kAccess);
    Json::Value& list = state_->List();
    list.removeMember(mac);
    if (!access.empty()) list[mac][kAccess] = access;
}

void DMSClientList::SetAccessRightsDisabled(bool disabled) {
    std::lock_guard lock(state_->mutex);
    state_->is_access_disabled = disabled;
}

}  // namespace MediaServer
