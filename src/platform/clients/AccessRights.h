#pragma once

#include <memory>
#include <string>

namespace MediaServer {

/// Who is refused by "isAccess" in client_list.json, for a program that serves beside the one that keeps the list. Only
/// reads: the file is neither written nor moved, and what the keeper has not written yet does not matter, because
/// "isAccess" is set in the file by hand. It is read again when it has changed; while it is broken or missing, what was
/// read last stands, so that a slip of the pen lets nobody in.
/// Threads: any, at once. One reads a file that has changed; the others meanwhile go by what was read before.
class AccessRights {
public:
    explicit AccessRights(std::string list_file);
    ~AccessRights();

    /// Whether IsRefused would now answer without reading the list.
    bool IsQuick() const;
    /// By the client's hardware address; when the kernel knows none, by the address that the list has for a client.
    bool IsRefused(const std::string& ip_address);

private:
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace MediaServer
