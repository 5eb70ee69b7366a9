#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

/// What the fuzzing engine (or tests/fuzz/Replay.cpp) calls with each input. @return 0.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace MediaServer {

/// Ends the process, which the engine takes for a finding, unless what must hold does hold.
inline void Require(bool holds, const char* what) {
    if (holds) return;
    std::fprintf(stderr, "property violated: %s\n", what);
    std::abort();
}

inline std::string_view AsText(const std::uint8_t* data, std::size_t size) {
    return {reinterpret_cast<const char*>(data), size};
}

/// Takes the first line off an input of several fields, without its line feed; the rest when there is none.
inline std::string_view TakeLine(std::string_view& rest) {
    const std::size_t end = rest.find('\n');
    const std::string_view line = rest.substr(0, end);
    rest = end == std::string_view::npos ? std::string_view{} : rest.substr(end + 1);
    return line;
}
/// Takes what stands before a line "--" off an input of two parts; all when there is none.
inline std::string_view TakePart(std::string_view& rest) {
    constexpr std::string_view kDivider = "\n--\n";
    const std::size_t end = rest.find(kDivider);
    const std::string_view part = rest.substr(0, end);
    rest = end == std::string_view::npos ? std::string_view{} : rest.substr(end + kDivider.size());
    return part;
}

}  // namespace MediaServer
