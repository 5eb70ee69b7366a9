// Hands every file of a corpus to the fuzz target that this is linked with, each whole and cut short at many places:
// what a stranger sends may end anywhere. Needs no fuzzing engine.
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string>

#include "Target.h"

namespace {

constexpr std::size_t kCuts = 16;

/// From the heap and without a spare byte, so that a sanitizer sees the first one read beyond the end.
void Try(const std::string& input) {
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(input.data());
    const std::vector<std::uint8_t> copy(bytes, bytes + input.size());
    LLVMFuzzerTestOneInput(copy.data(), copy.size());
}

}  // namespace

int main(int argc, char** argv) {
    std::set<std::filesystem::path> files;
    for (int i = 1; i < argc; ++i)
        for (const auto& entry : std::filesystem::recursive_directory_iterator(argv[i]))
            if (entry.is_regular_file()) files.insert(entry.path());
    Try({});
    for (const auto& path : files) {
        std::printf("%s\n", path.c_str());
        std::fflush(stdout);  // a target that fails ends the process; the last line then tells which input it was
        std::ifstream file(path, std::ios::binary);
        const std::string input{std::istreambuf_iterator<char>(file), {}};
        Try(input);
        const std::size_t step = std::max<std::size_t>(input.size() / kCuts, 1);
        for (std::size_t cut = step; cut < input.size(); cut += step) Try(input.substr(0, cut));
    }
    std::printf("%zu inputs\n", files.size());
    return files.empty() ? 1 : 0;
}
