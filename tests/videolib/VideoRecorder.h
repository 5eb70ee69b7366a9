#pragma once

#include <string>
#include <string_view>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "model/VideoRecord.h"
#include "platform/clients/DMSClientChecker.h"
#include "platform/text/Text.h"
#include "serializer/ForwardingSerializer.h"
#include "support/LogCapture.h"
#include "tree/CDSContainer.h"
#include "tree/ObjectId.h"

namespace MediaServer {

using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::HasSubstr;
using testing::IsEmpty;

/// Keeps what it is given, a line for each object:
///   "id in parent: Title [15] 3"            a container with its type code and, unless it is -1, its child count
///   "id in parent: movie path"              an item of kind 1, the only file of its video
///   "id in parent: text s_3 path, by name"  a file item, shown by its name
class VideoRecorder : public ForwardingSerializer {
public:
    explicit VideoRecorder(const DMSClientChecker* client) : client_(client) {}

    std::vector<std::string> lines, ids;
    std::vector<Json::Value> records;  // of items and files

    void SerializeContainerWithCount(std::string_view id, std::string_view parent, std::string_view title,
                                     std::int32_t count, ObjectTypeCode code) override {
        std::string text = std::string(title) + " [" + std::to_string(code) + "]";
        if (count >= 0) text += " " + std::to_string(count);
        Note(id, parent, text);
    }
    void SerializeReelhouseItem(std::string_view id, std::string_view parent, std::int32_t kind, std::int32_t index,
                                bool several, const Json::Value& record) override {
        static constexpr const char* kKinds[] = {"", "movie", "show", "episode", "home", "recording"};
        NoteFile(kKinds[kind], id, parent, index, several, record);
    }
    void SerializeReelhouseFile(std::string_view id, std::string_view parent, std::int32_t, std::int32_t index,
                                bool several, const Json::Value& record) override {
        const Json::Value& file = FileOf(record, static_cast<Json::ArrayIndex>(index));
        NoteFile("text " + MemberText(file, "id"), id, parent, index, several, record);
    }
    const DMSClientChecker* GetClientChecker() const override { return client_; }
    void SerializeObject(const CDSObject&) override {}
    void SerializeContainer(std::string_view, std::string_view, std::string_view, ObjectTypeCode) override {}
    void SerializePhotoItem(std::string_view, std::string_view, const NIMB_MEDIA_INFO&) override {}
    void SerializeVideoItem(std::string_view, std::string_view, const NIMB_MEDIA_INFO&) override {}
    void SerializeMusicItem(std::string_view, std::string_view, const NIMB_MEDIA_INFO&) override {}

private:
    void Note(std::string_view id, std::string_view parent, const std::string& text) {
        ids.emplace_back(id);
        lines.push_back(std::string(id) + " in " + std::string(parent) + ": " + text);
    }
    void NoteFile(const std::string& what, std::string_view id, std::string_view parent, std::int32_t index,
                  bool several, const Json::Value& record) {
        const Json::Value& file = FileOf(record, static_cast<Json::ArrayIndex>(index));
        Note(id, parent, what + " " + MemberText(file, "path") + (several ? ", by name" : ""));
        records.push_back(record);
    }

    const DMSClientChecker* client_;
};

inline std::string Joined(const std::vector<std::string>& lines) {
    std::string text;
    for (const std::string& line : lines) text.append(text.empty() ? "" : " | ").append(line);
    return text;
}

/// What a Browse gave.
struct VideoAnswer {
    std::int32_t result = 0, total = -99;
    std::vector<std::string> lines, ids;
    std::vector<Json::Value> records;
};

/// What a test asks besides the identifier.
struct VideoAsk {
    BrowseFlag flag = BrowseFlag::DirectChildren;
    std::int32_t start = 0, count = 0;
    std::uint32_t filter = 0, options = 0;
    const DMSClientChecker* client = nullptr;
};

inline VideoAnswer AskVideos(CDSContainer& node, std::string_view id, const VideoAsk& ask = {}) {
    const std::string_view separator = ask.client != nullptr ? ask.client->Separator() : "$";
    VideoRecorder recorder(ask.client);
    VideoAnswer answer;
    answer.result = node.Browse({id, SplitObjectId(id, separator).sub_id, ask.flag, ask.filter, ask.options, ask.start,
                                 ask.count, separator, ""},
                                recorder, answer.total);
    const auto written = static_cast<std::int32_t>(recorder.lines.size());
    EXPECT_TRUE(answer.result == written || answer.result == kActionFailed || (answer.result < 0 && written == 0))
        << id;
    answer.lines = std::move(recorder.lines);
    answer.ids = std::move(recorder.ids);
    answer.records = std::move(recorder.records);
    return answer;
}

inline VideoAnswer MetadataOf(CDSContainer& node, std::string_view id, VideoAsk ask = {}) {
    ask.flag = BrowseFlag::Metadata;
    return AskVideos(node, id, ask);
}

/// A client that is shown subtitles.
inline DMSClientChecker SubtitleClient() {
    DMSClientChecker client("", "", true);
    client.flags = ClientFlag::kTextItems;
    return client;
}

}  // namespace MediaServer
