#include "platform/text/TextBuffer.h"

#include <cstdarg>
#include <cstdio>

namespace MediaServer {

// appendPQExpBuffer() takes no va_list, so its two steps (format into the space left, else grow and format again)
// stand here.
void TextBuffer::Appendf(const char* format, ...) {
    if (IsBroken()) return;
    va_list arguments, again;
    va_start(arguments, format);
    va_copy(again, arguments);
    const std::size_t space = buffer_.maxlen - buffer_.len;
    const int needed = vsnprintf(buffer_.data + buffer_.len, space, format, arguments);
    if (needed < 0) {
        termPQExpBuffer(&buffer_);  // leaves the buffer broken, as a failed allocation would
    } else if (static_cast<std::size_t>(needed) < space) {
        buffer_.len += static_cast<std::size_t>(needed);
    } else if (enlargePQExpBuffer(&buffer_, static_cast<std::size_t>(needed) + 1) != 0) {
        (void)vsnprintf(buffer_.data + buffer_.len, buffer_.maxlen - buffer_.len, format, again);
        buffer_.len += static_cast<std::size_t>(needed);
    }
    va_end(again);
    va_end(arguments);
}

}  // namespace MediaServer
