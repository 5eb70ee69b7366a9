// What the media endpoint is asked for: path, query and header fields, one a line. There is no database, so no file may
// ever be found; nothing else may go wrong.

#include "Fields.h"
#include "Target.h"
#include "gateway/Gateway.h"
#include "platform/http/RequestRules.h"
#include "support/TempDir.h"

using namespace MediaServer;

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const TempSysroot root;
    [[maybe_unused]] static const bool no_database = setenv("PGHOST", root.Path().c_str(), 1) == 0;
    static const MimeTable mime;
    static const ServiceOptions options("");
    static Gateway gateway(mime, 50002, 1, options);

    std::string_view text = AsText(data, size);
    RequestTarget target;
    // The server refuses the rest before any handler sees it.
    if (!ParseTarget(TakeLine(text), target)) return 0;
    HttpRequest request;
    request.method = "GET";
    request.path = target.path;
    request.query = target.query;
    request.client_address = request.local_address = "127.0.0.1";
    request.headers = FieldsOf(text);
    const HttpResponse response = gateway.Handle(request);
    Require(response.status >= 400 && !response.file && !response.stream,
            "nothing is served that the index does not name");
    return 0;
}
