#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>

/// A fresh directory for one test, removed with all that is in it at the end.
class TempDir {
public:
    TempDir() {
        std::string pattern = (std::filesystem::temp_directory_path() / "dms-test-XXXXXX").string();
        path_ = mkdtemp(pattern.data());
    }
    ~TempDir() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    const std::string& Path() const { return path_; }
    std::string operator/(std::string_view name) const { return path_ + "/" + std::string{name}; }

    /// Writes a file, making the directories above it. @return its path.
    std::string Write(std::string_view name, std::string_view content) const {
        const std::filesystem::path file = *this / name;
        std::filesystem::create_directories(file.parent_path());
        std::ofstream(file, std::ios::binary) << content;
        return file.string();
    }

private:
    std::string path_;
};

/// A TempDir that stands in front of every path of the system while it lives.
class TempSysroot : public TempDir {
public:
    TempSysroot() { setenv("DMS_SYSROOT", Path().c_str(), 1); }
    ~TempSysroot() { unsetenv("DMS_SYSROOT"); }
};
