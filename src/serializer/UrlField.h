#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <string_view>

namespace MediaServer {

/// A URL in a field of `Size` bytes; what does not fit is cut off. Escaped when it is written, not before: a cut that
/// tore an entity would spoil the whole document.
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

private:
    char text_[Size] = "";
};

/// URL of a photo.
using ItemUrl = UrlField<256>;

}  // namespace MediaServer
