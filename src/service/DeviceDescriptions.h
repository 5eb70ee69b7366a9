#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "model/ServiceOptions.h"

namespace MediaServer {

/// The device descriptions: filled from templates at start-up, and the choice among them for each client.
/// Standard: UPnP Device Architecture 1.0, 2.1 (device description).
/// Threads: WriteAll from one thread before clients are served; SelectDescription from any number at once afterwards.
class DeviceDescriptions {
public:
    /// @param options  outlives this.
    explicit DeviceDescriptions(const ServiceOptions& options) : options_(options) {}

    /// Fills every template of the table, in its order. One that cannot be used leaves the file of an earlier run.
    /// @param address,port  where the UPnP library serves.
    /// @param only_missing  leaves those that exist.
    void WriteAll(const std::string& address, std::uint16_t port, bool only_missing = false);

    /// Fills the five "%s" of a template with host name, `model_name`, serial number, UDN and presentation URL, each
    /// escaped for XML; "%%" stands for a per cent sign. Paths as they are, no prefix is added.
    /// @return true when the output was written; false leaves an older one as it was.
    bool WriteDescription(const std::string& model_name, const std::string& template_path,
                          const std::string& output_path);

    /// Path of the description for a client; `user_agent` may be empty.
    std::string SelectDescription(std::string_view user_agent) const;

private:
    bool IsConformanceTest() const;
    std::string PresentationUrl(std::string_view template_path) const;

    const ServiceOptions& options_;
    std::string address_;
    std::uint16_t port_ = 0;
};

/// Fills `text` as WriteDescription does. @return false when it does not have exactly the conversions that `values`
/// fill.
bool FillTemplate(std::string_view text, const std::string* values, std::size_t count, std::string& filled);

}  // namespace MediaServer
