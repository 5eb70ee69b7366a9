#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "cds/DMSService.h"
#include "serializer/CDSDIDLSerializer.h"

namespace MediaServer {

/// Most bytes of an answer's DIDL-Lite, so that a small request cannot have a whole library written into memory. Many
/// control points read answers with libxml2, which takes no text beyond 10,000,000 bytes.
inline constexpr std::int64_t kMostAnswerBytes = 9'500'000;

/// Writes `count` objects from `start`, at least one, to the answer. @return as CDSContainer::Browse.
using ListWriter = std::function<std::int32_t(std::int32_t start, std::int32_t count, std::int32_t& total)>;

/// Writes a list in portions until all that was asked for is written, or another portion would make the text too long;
/// the control point then goes on from there, as it does with every answer that has fewer objects than it asked for
/// (UPnP ContentDirectory:1, 2.7.4.2).
/// @param count  most objects; 0 means all, a negative one is passed on.
/// @param[out] total  of the whole list, as `list` tells it at first.
/// @return objects written, or what went wrong as `list` tells it; the answer is then not whole.
std::int32_t WriteAnswer(std::int32_t start, std::int32_t count, const CDSDIDLSerializer& answer,
                         const ListWriter& list, std::int32_t& total);

/// Hands the DIDL-Lite over to the request, which writes it as "Result", and adds the output arguments that Browse and
/// Search have in common. @param update_id  text of "UpdateID".
void AddListOutputs(const char* action, const DMSService& service, std::int32_t written, std::int32_t total,
                    const std::string& update_id, CDSDIDLSerializer& answer, ClientRequest& request,
                    IXML_Document** response);

}  // namespace MediaServer
