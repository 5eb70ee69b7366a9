#include "model/ClientRequest.h"

#include "platform/text/Text.h"

namespace MediaServer {

std::string ClientRequest::Header(std::string_view name) const {
    const auto found = headers.find(StringToLower(name));
    return found == headers.end() ? std::string{} : found->second;
}

}  // namespace MediaServer
