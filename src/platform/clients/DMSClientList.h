#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>

namespace MediaServer {

using HeaderMap = std::map<std::string, std::string>;  ///< lower-cased names to values

/// The clients that the server has seen, by MAC address, kept in client_list.json.
/// The file, written whole with one tab as indentation; members that the list does not know stay as they are:
///   {"ClientList": {"aa:bb:cc:dd:ee:ff": {"ip": "192.168.1.7", "profileName": "VLC", "detectedProfile": "VLC",
///                                         "isAccess": "false", "browse_user-agent": "...", "modelName": "..."}}}
/// "ClientList" is 0 while no client was ever seen. A "profileName" that differs from "detectedProfile" was set by hand
/// and stays; the list never writes "isAccess".
/// Threads: every operation may be called at any time; one lock serialises them, and none holds it while a file is read
/// or written.
class DMSClientList {
public:
    DMSClientList();
    virtual ~DMSClientList();

    /// Writes the file of a fresh installation: "ClientList" with the value 0, in the layout of WriteToFile.
    static bool WriteNewFile(const std::string& list_file);

    /// Reads the list and the profile definitions, forgetting what was in memory. A broken file is kept aside as
    /// "<name>.broken" with a log line; what was in memory then stands (nothing, at start-up), so that a slip of the
    /// pen in an editor neither loses the list nor lets refused clients in. A missing file empties the list.
    /// @return false when the file could not be used.
    bool Load(const std::string& list_file, const std::string& profile_file);
    /// Writes the list back, whole or not at all. A file that somebody changed since it was read last is left alone,
    /// for Load to read. What would make the file larger than Load reads is left out: clients not heard of for the
    /// longest time, never those with something set by hand. @return false after the reason was logged.
    bool WriteToFile();

    /// Creates or updates a client's entry. Keys are stored as "browse_<key>" for the caller tag
    /// "HandleActionRequest" and "open_<key>" for "WebSerOpen"; for "HandleDiscovery" as they stand. Also finds the
    /// profile by the rules of agent.conf over all keys of the entry and stores it as "profileName", unless the
    /// entry carries one set by hand. Bounded: entries (the one not heard of for the
    /// longest time goes first), keys and bytes of an entry and value lengths have limits.
    void UpdateKeys(std::string_view caller, const std::string& mac, const std::string& ip, const HeaderMap& keys);
    /// What FindKey gives for a value that UpdateKeys was given, before the file was written and read again as after:
    /// bytes that are not UTF-8 are U+FFFD, and the text ends before the character that the bound would tear.
    static std::string AsStored(std::string_view value);
    /// The stored value or empty. "isAccess" is always empty while access rights are disabled.
    std::string FindKey(const std::string& mac, std::string_view key) const;
    /// MAC of the entry with that address, or empty.
    std::string FindMacByIP(const std::string& ip) const;
    /// Forgets what a client said of itself and the profile that came of it. "isAccess" stays: it is the owner's word
    /// about the device, and this is called because the client changed its user agent, which is the client's to choose.
    void EraseObject(const std::string& mac);

    void SetAccessRightsDisabled(bool disabled);

private:
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace MediaServer
