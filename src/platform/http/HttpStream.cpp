#include "platform/http/HttpStream.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace MediaServer {

namespace {
constexpr std::size_t kChunkBytes = 128 * 1024;  // read at a time; one turn of a worker
constexpr std::size_t kSendBytes = 32 * 1024;    // handed to the socket at a time
}  // namespace

MHD_Response* HttpStream::Attach(BodyReader reader, std::uint64_t length, const std::string& client,
                                 MHD_Connection* connection, WorkerPool& pool) {
    auto* stream = new HttpStream(std::move(reader), length, client, connection, pool);
    const std::uint64_t size = length == HttpResponse::kUnknownLength ? MHD_SIZE_UNKNOWN : length;
    MHD_Response* response = MHD_create_response_from_callback(size, kSendBytes, &Read, stream, &Free);
    if (!response) delete stream;
    return response;
}

HttpStream::HttpStream(BodyReader reader, std::uint64_t length, const std::string& client, MHD_Connection* connection,
                       WorkerPool& pool)
    : reader_(std::move(reader)), length_(length), client_(client), connection_(connection), pool_(pool) {}

void HttpStream::Free(void* self) noexcept {
    delete static_cast<HttpStream*>(self);
}

ssize_t HttpStream::Read(void* self, std::uint64_t, char* buffer, std::size_t size) noexcept {
    auto& stream = *static_cast<HttpStream*>(self);
    if (stream.used_ < stream.filled_) {
        const std::size_t count = std::min(size, stream.filled_ - stream.used_);
        std::memcpy(buffer, stream.chunk_.data() + stream.used_, count);
        stream.used_ += count;
        return static_cast<ssize_t>(count);
    }
    if (stream.state_ == State::Ended) return MHD_CONTENT_READER_END_OF_STREAM;
    if (stream.state_ == State::Failed) return MHD_CONTENT_READER_END_WITH_ERROR;
    MHD_suspend_connection(stream.connection_);
    if (!stream.pool_.Submit(stream.client_, [&stream](bool abandoned) { stream.Fill(abandoned); })) stream.Fill(true);
    return 0;
}

void HttpStream::Fill(bool abandoned) {
    std::ptrdiff_t count = -1;
    if (!abandoned) {
        try {
            if (chunk_.empty()) chunk_.resize(kChunkBytes);
            const std::size_t wanted = std::min<std::uint64_t>(chunk_.size(), length_ - offset_);
            count = reader_(offset_, chunk_.data(), wanted);
        } catch (...) {
            count = -1;
        }
    }
    used_ = 0;
    filled_ = count > 0 ? static_cast<std::size_t>(count) : 0;
    offset_ += filled_;
    const bool complete = length_ == HttpResponse::kUnknownLength || offset_ == length_;
    if (count < 0 || (count == 0 && !complete)) state_ = State::Failed;
    if (count == 0 && complete) state_ = State::Ended;
    // From here on the event loop may free this object.
    MHD_resume_connection(connection_);
}

}  // namespace MediaServer
