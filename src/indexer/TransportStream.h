#pragma once

#include <string>

namespace MediaServer {

/// Name of a transport stream's container by its packets: "mpeg_ts" for plain ones of 188 bytes (ISO/IEC 13818-1),
/// "mpeg_ts_timestamp" and "mpeg_ts_dlna" for those of 192 bytes, whose first four are a time stamp, in use or all zero
/// (DLNA guidelines, media formats). "mpeg_ts_other" for packets of another size.
/// Looks at the first packets only.
std::string TransportStreamName(const std::string& path);

}  // namespace MediaServer
