#include "platform/system/Product.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <mutex>
#include <random>
#include <string_view>

#include <sys/random.h>
#include <sys/utsname.h>

#include "platform/system/Files.h"
#include "platform/system/Log.h"
#include "platform/system/Paths.h"

namespace MediaServer {

namespace {

constexpr std::string_view kUuidShape = "uuid:xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx";

bool IsUdn(std::string_view text) {
    return text.size() == kUuidShape.size() &&
           std::equal(text.begin(), text.end(), kUuidShape.begin(), [](char c, char shape) {
               // The 'x' stand for hexadecimal digits; everything else, the prefix too, for itself.
               return shape == 'x' ? std::isxdigit(static_cast<unsigned char>(c)) != 0 : c == shape;
           });
}

/// A random UUID (RFC 4122, version 4).
std::string MakeUdn() {
    std::array<std::uint8_t, 16> bytes{};
    if (getrandom(bytes.data(), bytes.size(), 0) != static_cast<ssize_t>(bytes.size())) {
        std::random_device device;
        for (std::uint8_t& byte : bytes) byte = static_cast<std::uint8_t>(device());
    }
    bytes[6] = static_cast<std::uint8_t>((bytes[6] & 0x0F) | 0x40);
    bytes[8] = static_cast<std::uint8_t>((bytes[8] & 0x3F) | 0x80);
    std::string udn{kUuidShape};
    std::size_t digit = 0;
    for (std::size_t i = std::string_view("uuid:").size(); i < udn.size(); ++i) {
        if (udn[i] != 'x') continue;
        const std::uint8_t byte = bytes[digit / 2];
        udn[i] = "0123456789abcdef"[digit % 2 == 0 ? byte >> 4 : byte & 0xF];
        ++digit;
    }
    return udn;
}

/// Runs before the log is open, so what goes wrong is told to the system log.
std::string LoadOrMakeUdn(const std::string& path) {
    if (const auto stored = ReadWholeFile(path, 256)) {
        std::string_view text = *stored;
        while (text.ends_with('\n')) text.remove_suffix(1);
        if (IsUdn(TrimBlanks(text))) return std::string{TrimBlanks(text)};
        SysLogError("identity file \"%s\" holds no UUID: making a new identity", path.c_str());
    }
    std::string udn = MakeUdn();
    std::error_code ignored;
    std::filesystem::create_directories(std::filesystem::path(path).parent_path(), ignored);
    if (!WriteFileAtomically(path, udn + "\n"))
        SysLogError("could not write identity file \"%s\": %s", path.c_str(), std::strerror(errno));
    return udn;
}

}  // namespace

std::string DMSGetProductModel() {
    utsname name{};
    if (uname(&name) != 0) return "Linux";
    return std::string{name.sysname} + " " + name.machine;
}

std::string DMSGetProductUDN() {
    // Kept in memory too: where the file cannot be written, the identity must at least last as long as the process.
    static std::mutex mutex;
    static std::string known_path, known_udn;
    const std::string path = SystemPath(std::string{kPackageConfigDir} + "/udn");
    const std::scoped_lock lock(mutex);
    if (known_path != path) {
        known_udn = LoadOrMakeUdn(path);
        known_path = path;
    }
    return known_udn;
}

std::string DMSGetProductSerial() {
    constexpr std::size_t kDigits = 12;
    const std::string udn = DMSGetProductUDN();
    std::string serial = udn.substr(udn.size() - kDigits);
    for (char& c : serial) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return serial;
}

}  // namespace MediaServer
