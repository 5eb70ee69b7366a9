// The Filter argument of Browse: a comma-separated list of property names.
#include "Target.h"
#include "model/PropertyFilter.h"
#include "platform/text/Text.h"

using namespace MediaServer;

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string filter(AsText(data, size));
    const std::uint32_t mask = FilterMask(filter);
    Require(FilterMask(filter + "," + filter) == mask, "naming a property twice changes nothing");
    Require(FilterMask(filter + ",*") == Property::kAll, "a star adds all");

    std::uint32_t sum = 0;
    bool has_star = false;
    for (const std::string& name : Split(filter, ',')) {
        sum |= FilterMask(name);
        has_star = has_star || name == "*";
    }
    Require(sum == mask, "a list is the sum of its names");
    Require(has_star == (mask == Property::kAll), "only a star gives all");
    return 0;
}
