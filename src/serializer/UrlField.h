#pragma once

#include <algorithm>
#include <charconv>
#include <concepts>
#include <cstddef>
#include <iterator>
#include <string_view>

namespace MediaServer {

/// A URL in a field of `Size` bytes; what does not fit is cut off. Escaped when it is written, not before: a cut that
/// tore an entity would spoil the whole document.
template <std::size_t Size>
class UrlField {
public:
    /// Texts and whole numbers, one after another.
    template <typename... Parts>
    void Compose(const Parts&... parts) {
        size_ = 0;
        (Add(parts), ...);
    }
    std::string_view View() const { return {text_, size_}; }

private:
    void Add(std::string_view part) {
        const std::size_t fits = std::min(part.size(), Size - 1 - size_);  // the field ends with a NUL
        size_ += part.copy(text_ + size_, fits);
    }
    template <std::integral Number>
    void Add(Number number) {
        char digits[24];
        Add({digits, static_cast<std::size_t>(std::to_chars(digits, std::end(digits), number).ptr - digits)});
    }

    char text_[Size];
    std::size_t size_ = 0;
};

/// URL of a photo.
using ItemUrl = UrlField<256>;

}  // namespace MediaServer
