#include "serializer/CDSDIDLSerializer.h"

namespace MediaServer {

// The video library's catalogue is not offered yet: no menu has a node that lists its entries, so none arrives here.
void CDSDIDLSerializer::SerializeReelhouseItem(std::string_view, std::string_view, std::int32_t, std::int32_t, bool,
                                               const Json::Value&) {}

void CDSDIDLSerializer::SerializeReelhouseFile(std::string_view, std::string_view, std::int32_t, std::int32_t, bool,
                                               const Json::Value&) {}

}  // namespace MediaServer
