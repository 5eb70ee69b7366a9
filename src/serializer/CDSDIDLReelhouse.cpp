#include <algorithm>
#include <charconv>
#include <cstdio>
#include <ctime>

#include <sys/stat.h>

#include "model/PropertyFilter.h"
#include "model/VideoRecord.h"
#include "platform/media/MediaUrl.h"
#include "platform/system/Log.h"
#include "platform/text/Text.h"
#include "serializer/CDSDIDLSerializer.h"
#include "serializer/VideoOrigin.h"

namespace MediaServer {
namespace {

// The video library's type codes that matter here.
constexpr std::int32_t kMovie = 1, kShow = 2, kLastReleased = 3, kRecording = 5;
constexpr const char* kLogName = "serializer.cpp";
constexpr std::size_t kLongestName = 255;
constexpr std::size_t kLongestPath = 4096;
constexpr std::size_t kTitleField = 512;

/// Seconds of "hours:minutes:seconds".
float Duration(const std::string& text) {
    int hours = 0, minutes = 0, seconds = 0;
    if (std::sscanf(text.c_str(), "%4d:%2d:%2d", &hours, &minutes, &seconds) != 3) return 0;
    return static_cast<float>(hours * 3600 + minutes * 60 + seconds);
}

NIMB_MEDIA_INFO MediaRecordOf(const Json::Value& file) {
    const auto number = [&](const char* key) { return ToInt(MemberText(file, key)); };
    const auto rate = [&](const char* key) { return static_cast<std::uint32_t>(std::max(number(key), 0)); };
    const auto name = [&](const char* key) { return MemberText(file, key).substr(0, kLongestName); };
    NIMB_MEDIA_INFO record;
    record.id = number("id");
    record.path = MemberText(file, "path").substr(0, kLongestPath);
    record.container_type = name("container_type");
    record.video_codec = name("video_codec");
    record.audio_codec = name("audio_codec");
    record.video_bitrate = rate("video_bitrate");
    record.frame_bitrate = rate("frame_bitrate");
    record.audio_bitrate = rate("audio_bitrate");
    record.frame_rate_num = number("frame_rate_num");
    record.frame_rate_den = number("frame_rate_den");
    record.frequency = number("frequency");
    record.channel = number("channel");
    record.resolutionx = number("resolutionx");
    record.resolutiony = number("resolutiony");
    const std::string size = MemberText(file, "filesize");
    std::from_chars(size.data(), size.data() + size.size(), record.filesize);
    record.duration = Duration(MemberText(file, "duration"));
    return record;
}

/// "YYYY-MM-DDTHH:MM:SS" in UTC of a file's last change; empty when the file is gone.
std::string FileDate(const std::string& path) {
    struct stat facts {};
    struct tm time {};
    if (::stat(path.c_str(), &facts) != 0 || ::gmtime_r(&facts.st_mtime, &time) == nullptr) return {};
    char text[32];
    return {text, std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", &time)};
}

std::string WithDash(const std::string& text) {
    return text.empty() ? text : "-" + text;
}

bool AreGoodIds(std::string_view id, std::string_view parent_id, int line) {
    if (!id.empty() && !parent_id.empty()) return true;
    SysLogError("%s:%d Bad parameter", kLogName, line);
    return false;
}

}  // namespace

bool CDSDIDLSerializer::ComposeLibraryTitle(std::int32_t video_type, const std::string& path, bool use_file_name,
                                            const Json::Value& record, std::string& title) const {
    if (path.empty() || record.empty()) return false;
    const bool with_extension = client_.Has(ClientFlag::kTextItems | ClientFlag::kVideoFileNames);
    if (use_file_name) {
        title = with_extension ? BaseName(path) : BaseNameWithoutExtension(path);
        return true;
    }
    const std::string extension = with_extension ? "." + std::string(PathExtension(path)) : std::string();
    const std::string name = MemberText(record, "title");
    char text[kTitleField];
    if (video_type == kShow) {
        std::snprintf(text, sizeof text, "%s-S%02dE%02d%s%s", name.c_str(), ToInt(MemberText(record, "season")),
                      ToInt(MemberText(record, "episode")), WithDash(MemberText(record, "tagline")).c_str(),
                      extension.c_str());
    } else {
        std::string addition;
        if (video_type >= kMovie && video_type <= kLastReleased) addition = WithDash(MemberText(record, "tagline"));
        if (video_type == kRecording) addition = WithDash(MemberText(record, "record_date"));
        std::snprintf(text, sizeof text, "%s%s%s", name.c_str(), addition.c_str(), extension.c_str());
    }
    title = text;
    return true;
}

void CDSDIDLSerializer::AppendLibraryMetadata(std::int32_t video_type, const Json::Value& record) {
    struct NameList {
        const char* key;
        std::uint32_t property;
        const char* element;
    };
    static constexpr NameList kNameLists[] = {
        {"actor", Property::kActor, "upnp:actor"},
        {"director", Property::kDirector, "upnp:director"},
        {"writer", Property::kAuthor, "upnp:author"},
        {"genre", Property::kGenre, "upnp:genre"},
    };
    const char* date = video_type >= kMovie && video_type <= kLastReleased ? "original_available" : "record_date";
    AppendElement(Property::kDate, "dc:date", DMSFormatUPNPDate(MemberText(record, date)));
    const Json::Value& additional = Member(record, "additional");
    for (const NameList& list : kNameLists) {
        const Json::Value& entries = Member(additional, list.key);
        if (!entries.isArray()) continue;
        for (const Json::Value& entry : entries) AppendElement(list.property, list.element, MemberText(entry, "name"));
    }
    AppendElement(Property::kLongDescription, "upnp:longDescription", MemberText(additional, "summary"));
}

void CDSDIDLSerializer::SerializeReelhouseItem(std::string_view id, std::string_view parent_id, std::int32_t video_type,
                                               std::int32_t file_index, bool use_file_name, const Json::Value& record) {
    if (!AreGoodIds(id, parent_id, __LINE__)) return;
    const NIMB_MEDIA_INFO media = MediaRecordOf(FileOf(record, static_cast<Json::ArrayIndex>(file_index)));
    const VideoCover cover{kVideoLibrary, false};
    AppendLibraryMetadata(video_type, record);
    AppendVideoArt(media, cover);
    if (Wants(kAnyVideoRes)) AppendVideoResources(media, false, cover);
    if (!ComposeLibraryTitle(video_type, media.path, use_file_name, record, title_)) {
        title_ = BaseNameWithoutExtension(media.path);
    }
    WriteItem(id, parent_id, title_, "object.item.videoItem");
}

void CDSDIDLSerializer::SerializeReelhouseFile(std::string_view id, std::string_view parent_id, std::int32_t video_type,
                                               std::int32_t file_index, bool use_file_name, const Json::Value& record) {
    if (!AreGoodIds(id, parent_id, __LINE__)) return;
    const Json::Value& file = FileOf(record, static_cast<Json::ArrayIndex>(file_index));
    const std::string path = MemberText(file, "path");
    const std::string file_id = MemberText(file, "id");
    if (path.empty() || file_id.empty()) return;
    AppendElement(Property::kDate, "dc:date", FileDate(path));
    if (Wants(kAnyVideoRes)) {
        body_.Append("<res  protocolInfo=\"http-get:*:");
        AppendXMLEscaped(body_, mime_.GetMimeType(path));
        body_.Appendf(":*\">http://%s:%d/%s/%s/", host_.c_str(), kMediaPort, kVideoLibrary.path_word,
                      kNoProfile.data());
        AppendXMLEscaped(body_, file_id);
        body_.Append(".");
        AppendXMLEscaped(body_, PathExtension(path));
        body_.Append("</res>");
    }
    if (!ComposeLibraryTitle(video_type, path, use_file_name, record, title_)) title_ = BaseNameWithoutExtension(path);
    WriteItem(id, parent_id, title_, "object.item.textItem");
}

}  // namespace MediaServer
