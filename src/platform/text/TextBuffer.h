#pragma once

#include <cstddef>
#include <string_view>

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

    [[gnu::format(printf, 2, 3)]] void Appendf(const char* format, ...);
    void Append(std::string_view text) { appendBinaryPQExpBuffer(&buffer_, text.data(), text.size()); }
    void Clear() { resetPQExpBuffer(&buffer_); }
    std::string_view View() const { return {buffer_.data, buffer_.len}; }
    bool IsBroken() const { return PQExpBufferDataBroken(buffer_); }

private:
    PQExpBufferData buffer_;
};

}  // namespace MediaServer
