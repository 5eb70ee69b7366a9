#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <dirent.h>

namespace MediaServer {

struct DirectoryCloser {
    void operator()(DIR* directory) const noexcept { closedir(directory); }
};
/// Owns what opendir() opened.
using UniqueDirectory = std::unique_ptr<DIR, DirectoryCloser>;

// The iterators of std::filesystem have no place in a server: a step that finds no memory ends the process, since it is
// noexcept within, and nobody can catch it.

/// Names of what is in a directory, in order, without "." and "..". Nothing, with errno set, when it cannot be read to
/// its end: what a list cut short lacks would pass for deleted.
std::optional<std::vector<std::string>> NamesIn(DIR* directory);
std::optional<std::vector<std::string>> NamesIn(const std::string& path);

}  // namespace MediaServer
