#include "cds/AnswerText.h"
#include "cds/CDSActions.h"
#include "model/PropertyFilter.h"
#include "platform/clients/DMSClientChecker.h"
#include "platform/system/Log.h"
#include "platform/text/Text.h"
#include "serializer/CDSDIDLSerializer.h"

namespace MediaServer {

int SearchAction(const CDSContext& context, ClientRequest& request, DMSService& service, IXML_Document* arguments,
                 IXML_Document** response, std::string& error) {
    const auto argument = [&](const char* name) { return XMLGetFirstDocumentItem(arguments, name); };
    const std::string container_id = argument("ContainerID"), criteria = argument("SearchCriteria");
    const std::string filter = argument("Filter"), start = argument("StartingIndex"),
                      count = argument("RequestedCount");
    const std::uint32_t filter_mask = FilterMask(filter);
    const ServiceOptions& options = context.options;
    const DMSClientChecker client(request.Header("user-agent"), request.profile_name,
                                  options.Get(Option::kNoAgentDlna) != "no");
    CDSDIDLSerializer serializer(client, context.directory.Mime(), context.server_address, context.server_port,
                                 options.OptionFlags(), filter_mask, options.Get(Option::kMusicInfo));
    DMSPrintf(4, "\n====================== %s(%s)======================\n", "CDS_Search", criteria.c_str());
    DMSPrintf(3, "ContainerID=%s, query=%s, filter=%s, start=%s, limit=%s\n", container_id.c_str(), criteria.c_str(),
              filter.c_str(), start.c_str(), count.c_str());
    if (DMSLOGGetLevel() >= 4) DMSPrintf(4, "\n%s\n", PrintDocument(arguments).c_str());

    std::int32_t total = 0;
    const auto search = [&](std::int32_t from, std::int32_t most, std::int32_t& all) {
        return SearchObjects(context.directory, request, container_id, criteria, filter_mask, 0, from, most, serializer,
                             all);
    };
    const std::int32_t written = WriteAnswer(ToInt(start), ToInt(count), serializer, search, total);
    if (written < 0) {
        if (written == kBadCriteria) error = "Unsupported or invalid search criteria";
        return -written;
    }
    if (serializer.IsBroken()) return -kActionFailed;

    AddListOutputs("Search", service, written, total, "0", serializer, request, response);
    DMSPrintf(3, "ContainerID=%s, result=%d, total=%d\n", container_id.c_str(), written, total);
    return 0;
}

}  // namespace MediaServer
