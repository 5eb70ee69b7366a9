#pragma once

#include <map>
#include <string>
#include <string_view>

namespace MediaServer {

/// The translated texts of one language, from "<strings dir>/<language>.txt" (key=value lines, UTF-8). English ("enu")
/// is read first, so a key that a language lacks falls back to it.
/// Threads: ImportStrings once before sharing; Translate from any number at once afterwards.
class DMSStringBundle {
public:
    explicit DMSStringBundle(std::string language);

    /// Reads the files. @return false when not even the English file can be read. An unknown language falls back to
    /// English.
    bool ImportStrings();

    /// The text of `key`; a key that no file has is returned as it stands (a template may hold plain titles). The
    /// empty key gives the empty text.
    std::string Translate(std::string_view key) const;

private:
    std::string language_;
    std::map<std::string, std::string, std::less<>> strings_;
};

}  // namespace MediaServer
