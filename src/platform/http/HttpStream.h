#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <microhttpd.h>

#include "platform/http/HttpServer.h"
#include "platform/http/WorkerPool.h"

namespace MediaServer {

/// The body of a streamed answer. The reader may block, so it runs on a worker while the connection is suspended; the
/// event loop only copies what has been read.
///
/// Ownership: by the MHD response that Attach makes. The connection cannot end while it is suspended, so the worker's
/// reference stays good. Threads: event loop and worker take turns, separated by suspend and resume.
class HttpStream {
public:
    /// @param client  address of who gets it: the owner of the work.
    /// @return the response, or null when out of memory.
    static MHD_Response* Attach(BodyReader reader, std::uint64_t length, const std::string& client,
                                MHD_Connection* connection, WorkerPool& pool);

private:
    HttpStream(BodyReader reader, std::uint64_t length, const std::string& client, MHD_Connection* connection,
               WorkerPool& pool);
    static ssize_t Read(void* self, std::uint64_t position, char* buffer, std::size_t size) noexcept;
    static void Free(void* self) noexcept;
    void Fill(bool abandoned);

    enum class State { Open, Ended, Failed };

    const BodyReader reader_;
    const std::uint64_t length_;
    const std::string client_;
    MHD_Connection* const connection_;
    WorkerPool& pool_;
    std::vector<char> chunk_;
    std::size_t used_ = 0;  // bytes of chunk_ that have been sent
    std::size_t filled_ = 0;
    std::uint64_t offset_ = 0;  // of the next byte to read
    State state_ = State::Open;
};

}  // namespace MediaServer
