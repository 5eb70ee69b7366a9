#include "cds/AnswerText.h"

#include <algorithm>

#include "platform/system/Log.h"

namespace MediaServer {

namespace {

/// Objects written before the text is looked at again: the largest page that control points ask for as a rule.
constexpr std::int64_t kPortion = 1000;

}  // namespace

std::int32_t WriteAnswer(std::int32_t start, std::int32_t count, const CDSDIDLSerializer& answer,
                         const ListWriter& list, std::int32_t& total) {
    const std::int64_t wanted = count == 0 ? INT32_MAX : count;
    std::int32_t written = list(start, static_cast<std::int32_t>(std::min(wanted, kPortion)), total);
    const std::int64_t size = std::min<std::int64_t>(wanted, total - std::max(start, 0));
    for (std::int64_t done = kPortion; written > 0 && done < size && !answer.IsBroken(); done += kPortion) {
        const std::int64_t portion = std::min(size - done, kPortion);
        const auto bytes = static_cast<std::int64_t>(answer.Text().size());
        if (bytes + bytes / written * portion > kMostAnswerBytes) break;
        std::int32_t total_now = 0;
        const auto from = static_cast<std::int32_t>(std::max(start, 0) + done);
        const std::int32_t more = list(from, static_cast<std::int32_t>(portion), total_now);
        if (more < 0) return more;
        if (more == 0) break;  // the list has become shorter meanwhile
        written += more;
    }
    return written;
}

void AddListOutputs(const char* action, const DMSService& service, std::int32_t written, std::int32_t total,
                    const std::string& update_id, CDSDIDLSerializer& answer, ClientRequest& request,
                    IXML_Document** response) {
    const std::string_view text = answer.Text();
    DMSPrintf(4, "\n%.*s\n", static_cast<int>(text.size()), text.data());
    request.result = answer.TakeDocument();
    AddOutput(response, action, service, "Result", "");
    AddOutput(response, action, service, "NumberReturned", std::to_string(written));
    AddOutput(response, action, service, "TotalMatches", std::to_string(total));
    AddOutput(response, action, service, "UpdateID", update_id);
}

}  // namespace MediaServer
