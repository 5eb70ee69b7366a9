// Search criteria, which control points compose: what is understood becomes one SQL expression.
#include "cds/Criteria.h"

#include "Sql.h"
#include "platform/text/Text.h"

using namespace MediaServer;

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text = AsText(data, size);
    if (const auto criteria = ParseCriteria(text)) {
        RequireOneExpression(criteria->condition);
        Require(criteria->menu_key.empty() ||
                    (criteria->menu_key.size() == 1 && criteria->menu_key[0] >= '1' && criteria->menu_key[0] <= '6'),
                "the key is one of the numbered menu");
    }
    RequireOneExpression("artist = '" + SQLEscapeString(XBoxIsArtistAlbumsQuery("1", text)) + "'");
    return 0;
}
