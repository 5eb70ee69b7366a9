#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace MediaServer {

/// An answer of the private listener: status 0 when there was none in time.
struct RelayAnswer {
    int status = 0;
    std::map<std::string, std::string> headers;  ///< lower-cased names
};

/// Sends a request without body to a listener on 127.0.0.1 and waits for the head of its answer, boundedly long.
RelayAnswer RelayToLoopback(std::uint16_t port, const std::string& method, const std::string& path,
                            const std::vector<std::pair<std::string, std::string>>& headers);

/// Reads the head of an HTTP answer; status 0 when it is none.
RelayAnswer ParseAnswerHead(const std::string& head);

}  // namespace MediaServer
