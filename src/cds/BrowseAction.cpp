#include <upnp.h>

#include "cds/AnswerText.h"
#include "cds/CDSActions.h"
#include "model/PropertyFilter.h"
#include "platform/clients/DMSClientChecker.h"
#include "platform/system/Log.h"
#include "platform/text/Text.h"
#include "serializer/CDSDIDLSerializer.h"

namespace MediaServer {

namespace {

struct BrowseArguments {
    std::string object_id, flag, filter, start, count;
};

BrowseArguments ReadArguments(IXML_Document* arguments, const DMSClientChecker& client) {
    BrowseArguments read;
    // Consoles of the full menu call the browsed object as a search does.
    read.object_id = XMLGetFirstDocumentItem(arguments, client.full_menu ? "ContainerID" : "ObjectID");
    read.flag = XMLGetFirstDocumentItem(arguments, "BrowseFlag");
    read.filter = XMLGetFirstDocumentItem(arguments, "Filter");
    read.start = XMLGetFirstDocumentItem(arguments, "StartingIndex");
    read.count = XMLGetFirstDocumentItem(arguments, "RequestedCount");
    return read;
}

void LogRequest(const ClientRequest& request, const BrowseArguments& read, IXML_Document* arguments) {
    DMSPrintf(4, "\n====================== %s(%s)======================\n", "CDS_Browse", read.flag.c_str());
    DMSPrintf(3, "ClientInfo: UserAgent:%s, LoadProfile = %s, From:%s\n", request.Header("user-agent").c_str(),
              request.profile_name.c_str(), request.client_address.c_str());
    DMSPrintf(3, "ObjectID=%s, flag=%s, filter=%s, start=%s, limit=%s\n", read.object_id.c_str(), read.flag.c_str(),
              read.filter.c_str(), read.start.c_str(), read.count.c_str());
    if (DMSLOGGetLevel() >= 4) DMSPrintf(4, "\n%s\n", PrintDocument(arguments).c_str());
}

}  // namespace

int BrowseAction(const CDSContext& context, ClientRequest& request, DMSService& service, IXML_Document* arguments,
                 IXML_Document** response, std::string& error) {
    const ServiceOptions& options = context.options;
    const DMSClientChecker client(request.Header("user-agent"), request.profile_name,
                                  options.Get(Option::kNoAgentDlna) != "no");
    const BrowseArguments read = ReadArguments(arguments, client);
    if (!StringIsNumeric(read.start, false) || !StringIsNumeric(read.count, false)) return UPNP_E_INVALID_PARAM;

    const std::uint32_t filter_mask = FilterMask(read.filter.empty() ? "*" : read.filter);
    CDSDIDLSerializer serializer(client, context.directory.Mime(), context.server_address, context.server_port,
                                 options.OptionFlags(), filter_mask, options.Get(Option::kMusicInfo));
    LogRequest(request, read, arguments);

    const BrowseFlag flag = read.flag == "BrowseMetadata" ? BrowseFlag::Metadata : BrowseFlag::DirectChildren;
    const std::uint32_t browse_options =
        options.Get(Option::kFakeChildCount) == "yes" ? BrowseOption::kFakeChildCount : 0;
    std::int32_t total = 0;
    std::uint32_t update_id = 0;
    const auto browse = [&](std::int32_t start, std::int32_t count, std::int32_t& all) {
        return context.directory.FindObject(request, read.object_id, flag, filter_mask, browse_options, start, count,
                                            serializer, all, update_id);
    };
    const std::int32_t written = WriteAnswer(ToInt(read.start), ToInt(read.count), serializer, browse, total);
    if (written < 0) {
        if (written == kNoSuchObject) error = "No such object";
        return -written;
    }

    if (serializer.IsBroken()) return -kActionFailed;

    // The root changes with every change of the library, the other containers with their number of children.
    const std::string version = read.object_id == "0" ? service.Variable("SystemUpdateID") : std::to_string(update_id);
    AddListOutputs("Browse", service, written, total, version, serializer, request, response);
    DMSPrintf(3, "ObjectID=%s, flag=%s, result=%d, total=%d\n", read.object_id.c_str(), read.flag.c_str(), written,
              total);
    return 0;
}

}  // namespace MediaServer
