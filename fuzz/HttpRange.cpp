// The headers that choose a part of a file. Lines: the size of the file, then header fields as they are sent.
#include <algorithm>

#include <sys/mman.h>
#include <unistd.h>

#include "Fields.h"
#include "Target.h"
#include "platform/http/HttpFile.h"
#include "platform/system/Files.h"
#include "platform/text/Text.h"

using namespace MediaServer;

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::string_view text = AsText(data, size);
    const auto file_size = static_cast<std::uint64_t>(std::max(ToInt(TakeLine(text)), 0));
    HttpRequest request;
    request.method = "GET";
    request.path = "/m/7.mp3";
    request.headers = FieldsOf(text);

    ByteRange range{};
    const RangeResult result = ParseRange(request.Header("range"), file_size, range);
    if (result == RangeResult::Satisfiable)
        Require(range.first <= range.last && range.last < file_size, "a range lies within the file");

    // The same through the answer for a real file, of zeros that take no memory.
    UniqueFd file(memfd_create("media", MFD_CLOEXEC));
    Require(file && ftruncate(file.get(), static_cast<off_t>(file_size)) == 0, "there is a file to serve");
    const HttpResponse response = ServeDescriptor(request, std::move(file), "audio/mpeg", "DLNA.ORG_PN=MP3");
    constexpr int kStatuses[] = {200, 206, 304, 400, 406, 416};
    Require(std::find(std::begin(kStatuses), std::end(kStatuses), response.status) != std::end(kStatuses),
            "an answer is one of those that a file can have");
    if (response.status == 206) {
        Require(result == RangeResult::Satisfiable, "a part is sent when one was asked for");
        Require(response.file_offset == range.first && response.length == range.last - range.first + 1,
                "the part sent is the part asked for");
    }
    if (response.status == 200) Require(response.length == file_size, "a whole file is sent whole");
    if (response.status == 416) Require(result == RangeResult::Unsatisfiable, "only a range beyond the end is refused");
    return 0;
}
