// A datagram of the SSDP port.
#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <string>

#include "Target.h"
#include "platform/text/Text.h"
#include "platform/upnp/SearchSocket.h"

using namespace MediaServer;

namespace {

/// The longest delay that a lenient reader finds: any line ending, blanks anywhere, several fields.
unsigned long long LongestDelay(std::string_view datagram) {
    unsigned long long longest = 0;
    while (!datagram.empty()) {
        const std::size_t end = std::min(datagram.find_first_of(std::string_view("\r\n\0", 3)), datagram.size());
        std::string line(datagram.substr(0, end));
        datagram.remove_prefix(end);
        datagram.remove_prefix(datagram.starts_with("\r\n") ? 2 : std::min<std::size_t>(1, datagram.size()));
        if (line.empty()) break;
        std::erase_if(line, [](char c) { return c == ' ' || c == '\t'; });
        if (EqualsIgnoreCase(line.substr(0, 3), "MX:"))
            longest = std::max(longest, std::strtoull(line.c_str() + 3, nullptr, 10));
    }
    return longest;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string sent(AsText(data, size));
    std::string heard = sent;
    const DatagramKind kind = PrepareDatagram(heard);
    Require(heard.size() == sent.size(), "a datagram keeps its size");
    Require(kind != DatagramKind::Search || heard.starts_with("M-SEARCH "), "a search begins as one");
    Require(kind != DatagramKind::Announcement || heard.starts_with("NOTIFY "), "an announcement begins as one");
    if (kind == DatagramKind::Other) return 0;
    for (std::size_t i = 0; i < size; ++i)
        Require(
            heard[i] == sent[i] || (std::isdigit(static_cast<unsigned char>(sent[i])) && kind == DatagramKind::Search),
            "only digits of a search change");
    if (kind != DatagramKind::Search) return 0;
    Require(LongestDelay(heard) <= 5, "no reader finds a long delay");
    std::string again = heard;
    Require(PrepareDatagram(again) == kind && again == heard, "what was prepared stays as it is");
    return 0;
}
