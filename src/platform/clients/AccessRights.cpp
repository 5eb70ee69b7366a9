#include "platform/clients/AccessRights.h"

#include <mutex>
#include <optional>
#include <set>
#include <utility>

#include "platform/clients/ClientListFile.h"
#include "platform/network/Interfaces.h"
#include "platform/system/Files.h"
#include "platform/system/Log.h"

namespace MediaServer {

struct AccessRights::State {
    std::string list_file;
    std::mutex mutex;
    // All below is guarded by mutex.
    std::optional<FileState> file_state;  // of the file as it was read last, usable or not
    std::set<std::string> macs, addresses;

    void Read();
};

void AccessRights::State::Read() {
    // Taken before the file is read: a change in between must not pass for what was read.
    const auto present = StateOf(list_file);
    if (!present || present == file_state) return;
    file_state = present;
    Json::Value root(Json::objectValue);
    if (const std::string problem = ReadClientList(list_file, root); !problem.empty()) {
        DMSPrintf(0, "could not read client list \"%s\", access rights stay as they were: %s", list_file.c_str(),
                  problem.c_str());
        return;
    }
    macs.clear();
    addresses.clear();
    const Json::Value& list = root[kListMember];
    for (auto client = list.begin(); client != list.end(); ++client) {
        if (MemberText(*client, kAccessMember) != "false") continue;
        macs.insert(client.name());
        addresses.insert(MemberText(*client, kAddressMember));
    }
    addresses.erase("");
}

AccessRights::AccessRights(std::string list_file) : state_(std::make_unique<State>()) {
    state_->list_file = std::move(list_file);
}
AccessRights::~AccessRights() = default;

bool AccessRights::IsRefused(const std::string& ip_address) {
    std::lock_guard lock(state_->mutex);
    state_->Read();
    if (state_->macs.empty()) return false;
    const std::string mac = GetMACAddressFromARPTable(ip_address);
    return mac == kUnknownMAC ? state_->addresses.contains(ip_address) : state_->macs.contains(mac);
}

}  // namespace MediaServer
