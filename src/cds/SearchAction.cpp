#include "cds/CDSActions.h"
#include "platform/system/Log.h"

namespace MediaServer {

int SearchAction(ClientRequest&, DMSService&, IXML_Document* arguments, IXML_Document**, std::string&) {
    const auto argument = [&](const char* name) { return XMLGetFirstDocumentItem(arguments, name); };
    const std::string criteria = argument("SearchCriteria");
    DMSPrintf(4, "\n====================== %s(%s)======================\n", "CDS_Search", criteria.c_str());
    DMSPrintf(3, "ContainerID=%s, query=%s, filter=%s, start=%s, limit=%s\n", argument("ContainerID").c_str(),
              criteria.c_str(), argument("Filter").c_str(), argument("StartingIndex").c_str(),
              argument("RequestedCount").c_str());
    if (DMSLOGGetLevel() >= 4) DMSPrintf(4, "\n%s\n", PrintDocument(arguments).c_str());
    return -kNoSuchObject;
}

}  // namespace MediaServer
