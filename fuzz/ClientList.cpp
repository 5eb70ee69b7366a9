// client_list.json, which its owner may edit and a crash may tear, and what clients say of themselves. The text up to a
// line "--" is the file; the lines after it are "name: value" fields of one client.

#include "Fields.h"
#include "Target.h"
#include "platform/clients/DMSClientList.h"
#include "platform/system/Files.h"
#include "platform/text/Text.h"
#include "support/TempDir.h"

using namespace MediaServer;

namespace {

constexpr const char* kMac = "00:11:22:33:44:55";
constexpr const char* kAddress = "192.168.1.7";

/// The list as it is in the file after it was written.
std::string Written(DMSClientList& list, const std::string& file) {
    Require(list.WriteToFile(), "a list that was read can be written");
    return ReadWholeFile(file, ~std::size_t{0}).value_or("");
}

void TryRoundTrip(DMSClientList& list, const std::string& file, const std::string& profiles) {
    const std::string once = Written(list, file);
    // Not the file itself: the first list would take it for changed by its owner and leave it alone from then on.
    const std::string copy = file + ".copy";
    Require(FileCopy(file, copy), "the written list can be copied");
    DMSClientList second;
    Require(second.Load(copy, profiles), "a list that was written can be read");
    Require(Written(second, copy) == once, "a list that was read back is the same");
}

void TryClient(DMSClientList& list, const HeaderMap& fields) {
    const std::string access = list.FindKey(kMac, "isAccess");
    for (const char* caller : {"HandleActionRequest", "WebSerOpen", "HandleDiscovery"})
        list.UpdateKeys(caller, kMac, kAddress, fields);
    Require(list.FindMacByIP(kAddress) == kMac, "an address belongs to the client that has it now");
    Require(list.FindKey(kMac, "isAccess") == access, "no client changes its own access right");
    constexpr std::size_t kMostBytes = 1024;
    for (const auto& [name, value] : fields)
        Require(list.FindKey(kMac, "browse_" + name).size() <= kMostBytes || value.empty(), "values are bounded");
    list.EraseObject(kMac);
    Require(list.FindKey(kMac, "isAccess") == access, "a refused client stays refused");
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const TempDir directory;
    static const std::string profiles =
        directory.Write("agent.conf", "[profile Television]\nuser-agent = TV*Set\nmodel-name = TV\n");
    std::string_view text = AsText(data, size);
    const std::string document(TakePart(text));
    const HeaderMap fields = FieldsOf(text);

    const std::string file = directory.Write("client_list.json", document);
    DMSClientList list;
    if (!list.Load(file, profiles)) {
        const std::string aside = file + ".broken";
        Require(!NLIBCFileExist(file.c_str()) && ReadWholeFile(aside, ~std::size_t{0}) == document,
                "what cannot be read is kept aside as it was");
        std::filesystem::remove(aside);
    }
    // What an editor wrote in another encoding is written back as UTF-8, which is not the same.
    const bool is_kept = IsUtf8(document);
    if (is_kept) TryRoundTrip(list, file, profiles);
    TryClient(list, fields);
    list.UpdateKeys("HandleActionRequest", kMac, kAddress, fields);
    if (is_kept) TryRoundTrip(list, file, profiles);
    return 0;
}
