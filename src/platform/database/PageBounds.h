#pragma once

#include <algorithm>
#include <cstdint>

namespace MediaServer {

/// Where a page of a list begins, and the position behind its last entry; both lie within the list.
struct PageBounds {
    std::int32_t first, end;
    std::int32_t Size() const { return end - first; }
};

/// @param start,count  the page as it was asked for; a count of 0 or less means all the rest.
/// @param size         entries of the whole list.
inline PageBounds BoundsOfPage(std::int32_t start, std::int32_t count, std::int32_t size) {
    const std::int32_t first = std::clamp(start, 0, size);
    return {first, count > 0 ? first + std::min(count, size - first) : size};
}

}  // namespace MediaServer
