#pragma once

#include <charconv>
#include <concepts>
#include <cstddef>
#include <iterator>
#include <string_view>
#include <utility>

// libpq's header expects this macro from the server's c.h, which would bring a hundred others along.
#ifndef pg_attribute_printf
#define pg_attribute_printf(text, first) __attribute__((format(printf, text, first)))
#endif
extern "C" {  // which the header leaves to its reader
#include <postgresql/internal/pqexpbuffer.h>
}

namespace MediaServer {

/// A growable text buffer: the PQExpBuffer of libpq with its lifetime tied to a scope. Out of memory shows as
/// IsBroken(), never as an exception or a torn text.
/// Threads: one at a time.
class TextBuffer {
public:
    TextBuffer() { initPQExpBuffer(&buffer_); }
    ~TextBuffer() { termPQExpBuffer(&buffer_); }
    TextBuffer(const TextBuffer&) = delete;
    TextBuffer& operator=(const TextBuffer&) = delete;
    TextBuffer(TextBuffer&& other) noexcept : TextBuffer() { std::swap(buffer_, other.buffer_); }
    TextBuffer& operator=(TextBuffer&& other) noexcept {
        std::swap(buffer_, other.buffer_);
        return *this;
    }

    [[gnu::format(printf, 2, 3)]] void Appendf(const char* format, ...);
    /// Texts and whole numbers, one after another.
    template <typename... Parts>
    void Append(const Parts&... parts) {
        (AppendPart(parts), ...);
    }
    void Clear() { resetPQExpBuffer(&buffer_); }
    std::string_view View() const { return {buffer_.data, buffer_.len}; }
    bool IsBroken() const { return PQExpBufferDataBroken(buffer_); }

private:
    void AppendPart(std::string_view text) {
        // A page is tens of thousands of small pieces, nearly all of which fit.
        if (text.size() >= buffer_.maxlen - buffer_.len) {
            appendBinaryPQExpBuffer(&buffer_, text.data(), text.size());
            return;
        }
        buffer_.len += text.copy(buffer_.data + buffer_.len, text.size());
        buffer_.data[buffer_.len] = '\0';
    }
    template <std::integral Number>
    void AppendPart(Number number) {
        char digits[24];
        AppendPart({digits, static_cast<std::size_t>(std::to_chars(digits, std::end(digits), number).ptr - digits)});
    }

    PQExpBufferData buffer_;
};

}  // namespace MediaServer
