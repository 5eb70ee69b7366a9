#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>

namespace MediaServer {

using HeaderMap = std::map<std::string, std::string>;  ///< lower-cased names to values

/// The clients that the server has seen, by MAC address, kept in client_list.json.
/// Threads: every operation may be called at any time; one lock serialises them. No call holds it during file I/O of
/// another path than the list's own.
class DMSClientList {
public:
    DMSClientList();
    virtual ~DMSClientList();

    /// Reads the list and the profile definitions, forgetting what was in memory. A broken file is kept aside as
    /// "<name>.broken" with a log line and the list starts empty. @return false when the file could not be used.
    bool Load(const std::string& list_file, const std::string& profile_file);
    /// Writes the list back, whole or not at all. @return false after the reason was logged.
    bool WriteToFile();

    /// Creates or updates a client's entry. Keys are stored as "browse_<key>" for the caller tag
    /// "HandleActionRequest" and "open_<key>" for "WebSerOpen"; for "HandleDiscovery" as they stand. Also finds the
    /// profile by the rules of agent.conf over all keys of the entry and stores it as "profileName", unless the
    /// entry carries one set by hand. Bounded: entries, keys per entry and value lengths have limits.
    void UpdateKeys(std::string_view caller, const std::string& mac, const std::string& ip, const HeaderMap& keys);
    /// The stored value or empty. "isAccess" is always empty while access rights are disabled.
    std::string FindKey(const std::string& mac, std::string_view key) const;
    /// MAC of the entry with that address, or empty.
    std::string FindMacByIP(const std::string& ip) const;
    void EraseObject(const std::string& mac);

    void SetAccessRightsDisabled(bool disabled);

private:
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace MediaServer
