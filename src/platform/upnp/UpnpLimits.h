#pragma once

#include <chrono>
#include <cstddef>

namespace MediaServer {

/// Bounds of what control points, subscribers and renderers can make the UPnP layer do. Those of HTTP itself (header,
/// body, connections, time) are in HttpLimits.
namespace UpnpLimits {

// Documents from the network.
inline constexpr int kSoapElements = 256;
inline constexpr std::size_t kSoapArguments = 64;
inline constexpr std::size_t kSoapNameBytes = 128;  ///< of an action, an argument or a variable
inline constexpr int kDescriptionElements = 4096;
inline constexpr std::size_t kDescriptionBytes = 256 * 1024;
inline constexpr std::chrono::seconds kDownloadTime{5};

// Subscriptions (UPnP Device Architecture 1.0, 4.1). Those that asked for ever get the longest.
inline constexpr std::size_t kSubscriptions = 256;
inline constexpr std::size_t kSubscriptionsPerAddress = 8;  ///< three services, and a restart without UNSUBSCRIBE
/// How long one place of an address is its subscription's at least, or after UNSUBSCRIBE nobody's: the library loses
/// some memory with each subscription that it ends, so nobody may have that done as fast as the network goes.
inline constexpr std::chrono::seconds kSubscriptionRest{30};
inline constexpr int kShortestSubscriptionSeconds = 60;
inline constexpr int kLongestSubscriptionSeconds = 1800;
inline constexpr std::size_t kCallbackBytes = 1024;
inline constexpr std::size_t kCallbackUrls = 2;  ///< the library tries one after the other, and queues few events

// The relay to the private listener on loopback.
inline constexpr std::chrono::seconds kRelayTime{5};
inline constexpr std::size_t kRelayAnswerBytes = 8 * 1024;
/// The first event leaves this long after the library's answer, which the front still has to pass on: some subscribers
/// drop an event of a subscription that they do not know yet.
inline constexpr std::chrono::milliseconds kFirstEventDelay{100};

/// How many datagrams of a kind are heard: some at once and then some a second.
struct DatagramRates {
    double at_once, per_second;          ///< of one source
    double all_at_once, all_per_second;  ///< of all together
};
// Searches by SSDP that are answered. A control point sends a handful when it starts.
inline constexpr DatagramRates kSearches{20, 4, 100, 40};
// Announcements of others. A device with many services sends each of its dozens two or three times in a row.
inline constexpr DatagramRates kAnnouncements{120, 10, 400, 60};
// Answers to our searches for renderers, which a device may repeat.
inline constexpr DatagramRates kAnswers{10, 2, 100, 20};
/// Longest MX (seconds to spread the answers over) of a search; UPnP Device Architecture 1.1 has it treat all beyond
/// 5 so. The library keeps a record of the search for as long as MX says, be it years.
inline constexpr char kLongestSearchDelay = '5';

}  // namespace UpnpLimits
}  // namespace MediaServer
