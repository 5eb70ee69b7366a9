#include "serializer/CDSDIDLSerializer.h"

#include <cstdio>
#include <utility>

#include "model/PropertyFilter.h"
#include "model/ServiceOptions.h"
#include "model/TranscodedAudio.h"
#include "platform/text/Text.h"

namespace MediaServer {

const std::string_view kDIDLOpen =
    "<DIDL-Lite xmlns=\"urn:schemas-upnp-org:metadata-1-0/DIDL-Lite/\" "
    "xmlns:dc=\"http://purl.org/dc/elements/1.1/\" "
    "xmlns:upnp=\"urn:schemas-upnp-org:metadata-1-0/upnp/\" "
    "xmlns:sec=\"http://www.sec.co.kr/\" "
    "xmlns:dlna=\"urn:schemas-dlna-org:metadata-1-0/\">";
const std::string_view kDIDLClose = "</DIDL-Lite>";

namespace {

/// The properties that only a res element carries. The resolution is not one of them: asked for alone, it does not
/// bring a resource into music items.
constexpr std::uint32_t kAnyRes = Property::kRes | Property::kResProtocolInfo | Property::kResSize |
                                  Property::kResDuration | Property::kResBitrate | Property::kResSampleFrequency |
                                  Property::kResBitsPerSample | Property::kResNrAudioChannels;

std::uint32_t FilterFor(const DMSClientChecker& client, std::uint32_t filter_mask) {
    return client.full_menu || client.full_metadata ? Property::kAll : filter_mask;
}

}  // namespace

CDSDIDLSerializer::CDSDIDLSerializer(const DMSClientChecker& client, const MimeTable& mime, std::string host,
                                     std::uint16_t /*port*/, std::uint32_t options, std::uint32_t filter_mask,
                                     std::string_view title_format)
    : client_(client),
      mime_(mime),
      host_(std::move(host)),
      options_(options),
      filter_(FilterFor(client, filter_mask)),
      title_format_(TitleFormatOf(title_format, options)) {
    buffer_.Append(kDIDLOpen);
}

void CDSDIDLSerializer::SerializeObject(const CDSObject& object) {
    SerializeContainerObject(object);
}

void CDSDIDLSerializer::SerializeContainer(std::string_view id, std::string_view parent_id, std::string_view title,
                                           ObjectTypeCode code) {
    SerializeContainerWithCount(id, parent_id, title, -1, code);
}

void CDSDIDLSerializer::SerializeContainerWithCount(std::string_view id, std::string_view parent_id,
                                                    std::string_view title, std::int32_t child_count,
                                                    ObjectTypeCode code) {
    char count[32] = "";
    if (child_count >= 0 && Wants(Property::kChildCount)) {
        std::snprintf(count, sizeof count, "childCount=\"%d\"", child_count);
    }
    const bool storage = code == ObjectType::kStorageFolder && Wants(Property::kStorageUsed);
    WriteContainer(id, parent_id, count, title, UpnpClassOf(code),
                   storage ? "<upnp:storageUsed>-1</upnp:storageUsed>\n" : "");
}

bool CDSDIDLSerializer::WantsRes() const {
    return Wants(kAnyRes);
}

void CDSDIDLSerializer::AppendEscaped(TextBuffer& out, std::string_view text) const {
    AppendXMLEscaped(out, text, client_.GetOffendChar());
}

void CDSDIDLSerializer::AppendElement(std::uint32_t property, std::string_view tag, std::string_view value) {
    if (value.empty() || !Wants(property)) return;
    body_.Append("<", tag, ">");
    AppendEscaped(body_, value);
    body_.Append("</", tag.substr(0, tag.find(' ')), ">");
}

void CDSDIDLSerializer::OpenRes(std::string_view kind, std::string_view mime, const NIMB_MEDIA_INFO* record) {
    profile_.clear();
    body_.Append("<res  protocolInfo=\"http-get:*:");
    AppendXMLEscaped(body_, mime);
    body_.Append(":");
    AppendXMLEscaped(body_, MakeDlnaParams(kind, mime, record, profile_));
    body_.Append("\"");
}

void CDSDIDLSerializer::AppendResNumber(std::uint32_t property, const char* name, std::int64_t value) {
    if (value > 0 && Wants(property)) body_.Append(" ", name, "=\"", value, "\"");
}

void CDSDIDLSerializer::AppendResDuration(float seconds) {
    if (!(seconds > 0) || !Wants(Property::kResDuration)) return;
    body_.Append(" duration=\"", DMSFormatUPNPDuration(WholeSeconds(seconds)), "\"");
}

// Identifiers are escaped without the client's offending characters: a changed identifier would name nothing.
void CDSDIDLSerializer::WriteContainer(std::string_view id, std::string_view parent_id, std::string_view child_count,
                                       std::string_view title, std::string_view upnp_class, std::string_view extra) {
    buffer_.Append("<container id=\"");
    AppendXMLEscaped(buffer_, id);
    buffer_.Append("\"  parentID=\"");
    AppendXMLEscaped(buffer_, parent_id);
    buffer_.Append("\" ");
    buffer_.Append(child_count);
    buffer_.Append(" restricted=\"1\">\n<dc:title>");
    AppendEscaped(buffer_, title);
    buffer_.Append("</dc:title>\n<upnp:class>");
    buffer_.Append(upnp_class);
    buffer_.Append("</upnp:class>\n");
    buffer_.Append(extra);
    buffer_.Append("</container>\n");
}

void CDSDIDLSerializer::WriteItem(std::string_view id, std::string_view parent_id, std::string_view title,
                                  std::string_view upnp_class, std::string_view end) {
    buffer_.Append("<item id=\"");
    AppendXMLEscaped(buffer_, id);
    buffer_.Append("\" parentID=\"");
    AppendXMLEscaped(buffer_, parent_id);
    buffer_.Append("\" restricted=\"1\">\n<dc:title>");
    AppendEscaped(buffer_, title);
    buffer_.Append("</dc:title>\n<upnp:class>");
    buffer_.Append(upnp_class);
    buffer_.Append("</upnp:class>\n");
    buffer_.Append(body_.View());
    buffer_.Append("</item>");
    buffer_.Append(end);
    body_.Clear();
}

}  // namespace MediaServer
