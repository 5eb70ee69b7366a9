#include "platform/http/MhdResponse.h"

#include <utility>

#include "platform/http/HttpStream.h"

namespace MediaServer {

namespace {

MHD_Response* TextResponse(std::string body) {
    auto* text = new std::string(std::move(body));
    const auto release = [](void* cls) { delete static_cast<std::string*>(cls); };
    MHD_Response* response =
        MHD_create_response_from_buffer_with_free_callback_cls(text->size(), text->data(), release, text);
    if (!response) delete text;
    return response;
}

MHD_Response* FileResponse(HttpResponse& answer) {
    const int fd = answer.file.release();
    MHD_Response* response = MHD_create_response_from_fd_at_offset64(answer.length, fd, answer.file_offset);
    if (!response) answer.file.reset(fd);
    return response;
}

}  // namespace

MhdResponse MakeResponse(HttpResponse& answer, const std::string& client, MHD_Connection* connection,
                         WorkerPool& streams) {
    if (answer.stream)
        return MhdResponse(HttpStream::Attach(std::move(answer.stream), answer.length, client, connection, streams));
    if (answer.file) return MhdResponse(FileResponse(answer));
    return MhdResponse(TextResponse(std::move(answer.body)));
}

}  // namespace MediaServer
