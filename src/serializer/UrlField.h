#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <string_view>

namespace MediaServer {

/// A URL in a field of `Size` bytes; what does not fit is cut off. Escaped when it is written, not before, so that the
/// cut never tears an entity; where the format itself holds one, ViewOfWholeEntities drops the torn rest, which would
/// spoil the whole document.
template <std::size_t Size>
class UrlField {
public:
    [[gnu::format(printf, 2, 3)]] void Format(const char* format, ...) {
        va_list arguments;
        va_start(arguments, format);
        std::vsnprintf(text_, Size, format, arguments);
        va_end(arguments);
    }
    /// Nul-terminated.
    std::string_view View() const { return text_; }
    std::string_view ViewOfWholeEntities() const {
        const std::string_view text = text_;
        const std::size_t entity = text.rfind('&');
        const bool torn = entity != text.npos && text.find(';', entity) == text.npos;
        return torn ? text.substr(0, entity) : text;
    }

private:
    char text_[Size] = "";
};

/// URL of a photo or video.
using ItemUrl = UrlField<256>;

}  // namespace MediaServer
