// Menu templates, of which a user may write one: the entries become nodes that clients find by their ids.
#include "InputFile.h"
#include "Target.h"
#include "platform/text/DMSStringBundle.h"
#include "serializer/CDSSimpleSerializer.h"
#include "support/TempDir.h"
#include "tree/ContentDirectoryService.h"
#include "tree/ObjectId.h"

using namespace MediaServer;

namespace {

constexpr std::uint32_t kAllProperties = ~std::uint32_t{0};

struct Answer {
    std::int32_t written = 0;
    std::int32_t total = -1;
    CDSSimpleSerializer out;
};

void Ask(ContentDirectoryService& directory, std::string_view id, BrowseFlag flag, Answer& answer) {
    std::uint32_t update_id = 0;
    answer.written = directory.FindObject({}, id, flag, kAllProperties, 0, 0, 0, answer.out, answer.total, update_id);
}

}  // namespace

/// The DOM library loses a text node of a document that it refuses: once a start, and only for a file of the owner's.
extern "C" const char* __lsan_default_suppressions() {
    return "leak:libixml";
}

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const TempSysroot root;
    [[maybe_unused]] static const bool no_database = setenv("PGHOST", root.Path().c_str(), 1) == 0;
    const DMSStringBundle strings("enu");
    const InputFile file(AsText(data, size));
    ContentDirectoryService directory(strings);
    directory.LoadMenu(file.Path(), {}, true);

    Answer children;
    Ask(directory, "0", BrowseFlag::DirectChildren, children);
    Require(children.written >= 0 && children.written == children.total,
            "the root lists its entries whatever they are");
    for (const CDSObject& child : children.out.Objects()) {
        if (child.id.find('$') != std::string::npos || child.id.size() > kMaxObjectId) continue;
        Answer self;
        Ask(directory, child.id, BrowseFlag::Metadata, self);
        Require(self.written == 1 || self.written == kActionFailed, "an entry that is listed can be found");
    }
    return 0;
}
