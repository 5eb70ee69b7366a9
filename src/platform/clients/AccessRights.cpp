#include "platform/clients/AccessRights.h"

#include <mutex>
#include <optional>
#include <set>
#include <utility>

#include "platform/clients/ClientListFile.h"
#include "platform/network/Interfaces.h"
#include "platform/network/NeighbourCache.h"
#include "platform/system/Files.h"
#include "platform/system/Log.h"

namespace MediaServer {
namespace {

struct Refused {
    std::set<std::string> macs, addresses;
};

/// @return null when the file is not usable, after the reason was logged.
std::shared_ptr<const Refused> ReadRefused(const std::string& list_file) {
    Json::Value root(Json::objectValue);
    if (const std::string problem = ReadClientList(list_file, root); !problem.empty()) {
        DMSPrintf(0, "could not read client list \"%s\", access rights stay as they were: %s", list_file.c_str(),
                  problem.c_str());
        return nullptr;
    }
    auto refused = std::make_shared<Refused>();
    const Json::Value& list = root[kListMember];
    for (auto client = list.begin(); client != list.end(); ++client) {
        if (MemberText(*client, kAccessMember) != "false") continue;
        refused->macs.insert(client.name());
        refused->addresses.insert(MemberText(*client, kAddressMember));
    }
    refused->addresses.erase("");
    return refused;
}

}  // namespace

struct AccessRights::State {
    explicit State(std::string file) : list_file(std::move(file)) {}

    const std::string list_file;
    NeighbourCache neighbours;
    std::mutex reading;  // held by the one who reads the file; nobody waits for it
    std::mutex mutex;
    std::optional<FileState> file_state;  // guarded by mutex; of the file as it was read last, usable or not
    std::shared_ptr<const Refused> refused = std::make_shared<Refused>();  // guarded by mutex; requests share it

    bool IsChanged(const std::optional<FileState>& present) {
        const std::lock_guard lock(mutex);
        return present && present != file_state;
    }
    void Update();
};

void AccessRights::State::Update() {
    // Taken before the file is read: a change in between must not pass for what was read.
    const auto present = StateOf(list_file);
    if (!IsChanged(present)) return;
    const std::unique_lock turn(reading, std::try_to_lock);
    if (!turn) return;
    {
        const std::lock_guard lock(mutex);
        file_state = present;
    }
    auto read = ReadRefused(list_file);
    const std::lock_guard lock(mutex);
    if (read) refused = std::move(read);
}

AccessRights::AccessRights(std::string list_file) : state_(std::make_unique<State>(std::move(list_file))) {
    state_->Update();
}
AccessRights::~AccessRights() = default;

bool AccessRights::IsQuick() const {
    return !state_->IsChanged(StateOf(state_->list_file));
}

bool AccessRights::IsRefused(const std::string& ip_address) {
    state_->Update();
    std::shared_ptr<const Refused> refused;
    {
        const std::lock_guard lock(state_->mutex);
        refused = state_->refused;
    }
    if (refused->macs.empty()) return false;
    const std::string mac = state_->neighbours.Find(ip_address, kUnknownMAC, GetMACAddressFromARPTable);
    return mac == kUnknownMAC ? refused->addresses.contains(ip_address) : refused->macs.contains(mac);
}

}  // namespace MediaServer
