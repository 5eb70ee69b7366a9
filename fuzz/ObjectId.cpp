// Object identifiers: the grammar alone, then the lookup that they drive, for clients of either separator. There is no
// database, so what needs a row is refused; nothing else may go wrong.
#include "tree/ObjectId.h"

#include "ShippedMenu.h"
#include "Target.h"
#include "serializer/CDSSimpleSerializer.h"
#include "tree/ContentDirectoryService.h"

using namespace MediaServer;

namespace {

constexpr std::uint32_t kAllProperties = ~std::uint32_t{0};

/// The text that a parsed field stands for; a row may have come with leading zeros, so it is parsed once more.
void TryField(std::string_view field, std::string_view inner) {
    using Kind = CategoryField::Kind;
    const auto parsed = ParseCategoryField(field, inner);
    if (!parsed) return;
    Require(parsed->row >= 0, "a row is not negative");
    Require((parsed->kind == Kind::Letter) == (parsed->letter != 0), "a letter field has its letter");
    Require((parsed->kind == Kind::Item) == field.starts_with('@'), "an item begins with its mark");
    if (parsed->kind != Kind::Value && parsed->kind != Kind::Item) return;

    ChildId child("21", "$", kMaxObjectId);
    const std::string id(parsed->kind == Kind::Item ? child.Item(parsed->row) : child.Row(parsed->row));
    Require(NamesContainer(id, "$") == (parsed->kind == Kind::Value), "an item is told from a container by its id");
    const auto again = ParseCategoryField(SplitObjectId(id, "$").sub_id, inner);
    // Row 0 as a value is written as the show-all entry; no row has that id.
    Require(again && (parsed->row == 0 || (again->kind == parsed->kind && again->row == parsed->row)),
            "an identifier that was formed means what it was formed of");
}

void TryGrammar(std::string_view id, std::string_view separator, std::string_view inner) {
    const auto [key, rest] = SplitObjectId(id, separator);
    Require(key.find(separator) == std::string_view::npos && id.starts_with(key) && id.ends_with(rest),
            "the key is what stands before the first separator");
    if (const auto target = ParseFolderTarget(rest)) Require(target->row >= 0, "a row is not negative");
    for (std::string_view fields = rest; !fields.empty();) {
        const auto [field, more] = SplitObjectId(fields, separator);
        TryField(field, inner);
        fields = more;
    }
}

void TryLookup(std::string_view id, const char* profile) {
    ClientRequest request;
    request.profile_name = profile;
    for (const BrowseFlag flag : {BrowseFlag::Metadata, BrowseFlag::DirectChildren}) {
        CDSSimpleSerializer out;
        std::int32_t total = 0;
        std::uint32_t update_id = 0;
        const std::int32_t written =
            ShippedMenu().FindObject(request, id, flag, kAllProperties, 0, 0, 0, out, total, update_id);
        Require(written >= 0 || written == kNoSuchObject || written == kActionFailed,
                "errors are those of the standard");
        Require(id.size() <= kMaxObjectId || written == kNoSuchObject, "no identifier of that length exists");
        Require(flag == BrowseFlag::DirectChildren || written <= 1, "an object is one object");
    }
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view id = AsText(data, size);
    TryGrammar(id, "$", "#");
    TryGrammar(id, "/", "$");
    TryLookup(id, "Default Profile");
    TryLookup(id, "Slash");
    return 0;
}
