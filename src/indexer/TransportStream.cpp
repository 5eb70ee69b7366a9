#include "indexer/TransportStream.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <string_view>

#include <fcntl.h>
#include <unistd.h>

#include "platform/system/Files.h"

namespace MediaServer {
namespace {

constexpr char kSync = 0x47;
constexpr std::size_t kPlainBytes = 188, kStampedBytes = 192, kStampBytes = 4;
/// So many sync bytes in a row are no accident.
constexpr std::size_t kPackets = 8;

/// Whether sync bytes follow each other at that distance to the end of what was read.
bool HasPackets(std::string_view bytes, std::size_t first, std::size_t packet_bytes) {
    if (first + (kPackets - 1) * packet_bytes >= bytes.size()) return false;
    for (std::size_t packet = 0; packet < kPackets; ++packet) {
        if (bytes[first + packet * packet_bytes] != kSync) return false;
    }
    return true;
}

/// Place of the first sync byte of packets of that size; npos when there are none.
std::size_t FindPackets(std::string_view bytes, std::size_t packet_bytes) {
    for (std::size_t first = 0; first < packet_bytes; ++first) {
        if (HasPackets(bytes, first, packet_bytes)) return first;
    }
    return std::string_view::npos;
}

bool HasTimeStamps(std::string_view bytes, std::size_t first_sync) {
    // Before the first packet the start of its stamp may be missing.
    for (std::size_t sync = first_sync + kStampedBytes; sync < bytes.size(); sync += kStampedBytes) {
        const std::string_view stamp = bytes.substr(sync - kStampBytes, kStampBytes);
        if (stamp.find_first_not_of('\0') != std::string_view::npos) return true;
    }
    return false;
}

}  // namespace

std::string TransportStreamName(const std::string& path) {
    std::array<char, kStampedBytes*(kPackets + 1)> buffer{};
    const UniqueFd file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    const ssize_t count = file ? pread(file.get(), buffer.data(), buffer.size(), 0) : 0;
    const std::string_view bytes(buffer.data(), static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    if (FindPackets(bytes, kPlainBytes) != std::string_view::npos) return "mpeg_ts";
    const std::size_t stamped = FindPackets(bytes, kStampedBytes);
    if (stamped == std::string_view::npos) return "mpeg_ts_other";
    return HasTimeStamps(bytes, stamped) ? "mpeg_ts_timestamp" : "mpeg_ts_dlna";
}

}  // namespace MediaServer
