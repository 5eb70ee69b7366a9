#pragma once

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "model/PropertyFilter.h"
#include "platform/clients/DMSClientChecker.h"
#include "platform/database/TestDatabase.h"
#include "platform/text/Text.h"
#include "serializer/ForwardingSerializer.h"
#include "support/TempDir.h"
#include "tree/ContentDirectoryService.h"
#include "tree/ObjectId.h"

namespace MediaServer {

using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::HasSubstr;
using testing::IsEmpty;

/// One object as a serializer got it.
struct Written {
    std::string id, parent, title;
    ObjectTypeCode code = -1;  // items: -1
    std::int32_t count = -2;   // -2: given without a count
    std::int32_t row = 0;      // items and albums

    bool operator==(const Written&) const = default;
    friend void PrintTo(const Written& object, std::ostream* out) {
        *out << "{" << object.id << " in " << object.parent << ", \"" << object.title << "\", " << object.code << ", "
             << object.count << ", " << object.row << "}";
    }
};

/// Keeps what it is given.
class Recorder : public ForwardingSerializer {
public:
    explicit Recorder(const DMSClientChecker* client = nullptr, std::uint32_t options = 0)
        : client_(client), options_(options) {}

    std::vector<Written> objects;
    std::vector<NIMB_MEDIA_INFO> records;  // of the items

    void SerializeObject(const CDSObject& o) override { SerializeContainerObject(o); }
    void SerializeContainer(std::string_view id, std::string_view parent, std::string_view title,
                            ObjectTypeCode code) override {
        SerializeContainerWithCount(id, parent, title, -2, code);
    }
    void SerializeContainerWithCount(std::string_view id, std::string_view parent, std::string_view title,
                                     std::int32_t count, ObjectTypeCode code) override {
        objects.push_back({std::string(id), std::string(parent), std::string(title), code, count, 0});
    }
    void SerializeMediaItem(MediaKind, std::string_view id, std::string_view parent,
                            const NIMB_MEDIA_INFO& record) override {
        objects.push_back({std::string(id), std::string(parent), record.title, -1, -2, record.id});
        records.push_back(record);
    }
    void SerializePhotoItem(std::string_view, std::string_view, const NIMB_MEDIA_INFO&) override {}
    void SerializeVideoItem(std::string_view, std::string_view, const NIMB_MEDIA_INFO&) override {}
    void SerializeMusicItem(std::string_view id, std::string_view parent, const NIMB_MEDIA_INFO& record) override {
        SerializeMediaItem(MediaKind::Music, id, parent, record);
    }
    void SerializeRadioItem(std::string_view id, std::string_view parent, const RadioStation& station) override {
        objects.push_back({std::string(id), std::string(parent), station.title, -1, -2, 0});
    }
    const DMSClientChecker* GetClientChecker() const override { return client_; }
    void SerializeMusicAlbum(std::string_view id, std::string_view parent, std::string_view title,
                             std::string_view art_key, std::string_view, std::string_view) override {
        SerializeContainerWithCount(id, parent, title, -1, ObjectType::kMusicAlbum);
        objects.back().row = ToInt(art_key);
    }
    std::uint32_t GetOptions() const override { return options_; }

private:
    const DMSClientChecker* client_;
    std::uint32_t options_;
};

inline constexpr std::int32_t kUntouched = -99;

/// What a Browse gave.
struct Answer {
    std::int32_t result = 0, total = kUntouched;
    std::vector<Written> objects;
    std::vector<NIMB_MEDIA_INFO> records;

    std::vector<std::string> Ids() const {
        std::vector<std::string> ids;
        for (const Written& object : objects) ids.push_back(object.id);
        return ids;
    }
    std::vector<std::string> Titles() const {
        std::vector<std::string> titles;
        for (const Written& object : objects) titles.push_back(object.title);
        return titles;
    }
};

/// What a test asks besides the identifier.
struct Ask {
    std::int32_t start = 0, count = 0;
    std::uint32_t options = 0;  // BrowseOption
    std::uint32_t filter = 0;
    const DMSClientChecker* client = nullptr;
    std::uint32_t flags = 0;  // OptionFlag
};

inline Answer BrowseNode(CDSContainer& node, std::string_view id, BrowseFlag flag, const Ask& ask = {}) {
    Answer answer;
    Recorder recorder(ask.client, ask.flags);
    const std::string_view separator = ask.client != nullptr ? ask.client->Separator() : "$";
    const BrowseQuery query{id,        SplitObjectId(id, separator).sub_id,    flag, ask.filter, ask.options, ask.start,
                            ask.count, ask.client != nullptr ? separator : "", ""};
    answer.result = node.Browse(query, recorder, answer.total);
    // Nodes of lists that may change at any time report one object for the metadata of one that is gone.
    EXPECT_TRUE(std::max(answer.result, 0) == static_cast<std::int32_t>(recorder.objects.size()) ||
                (flag == BrowseFlag::Metadata && answer.result == 1))
        << id;
    answer.objects = std::move(recorder.objects);
    answer.records = std::move(recorder.records);
    return answer;
}
inline Answer Children(CDSContainer& node, std::string_view id, const Ask& ask = {}) {
    return BrowseNode(node, id, BrowseFlag::DirectChildren, ask);
}
inline Answer Metadata(CDSContainer& node, std::string_view id, const Ask& ask = {}) {
    return BrowseNode(node, id, BrowseFlag::Metadata, ask);
}

/// A test with a library of its own and string keys as titles.
class TreeTest : public DatabaseTest {
protected:
    std::int32_t AddRow(const std::string& table, const std::string& path, const std::string& title,
                        const std::string& columns = "", const std::string& values = "") {
        return database.Insert(table, "path, title, parent_id" + (columns.empty() ? "" : ", " + columns),
                               "'" + SQLEscapeString(path) + "', '" + SQLEscapeString(title) +
                                   "', (SELECT id FROM directory WHERE path = '" + SQLEscapeString(DirName(path)) +
                                   "')" + (values.empty() ? "" : ", " + values));
    }
    std::int32_t AddFolder(const std::string& path) { return AddRow("directory", path, std::string(BaseName(path))); }

    TempSysroot sysroot;
    DMSStringBundle strings{"enu"};  // not imported: every key is its own text
};

/// A test with clients that differ in what they see, each named by its user agent.
class ClientsTest : public TreeTest {
protected:
    ClientsTest() {
        constexpr std::pair<const char*, const char*> kKinds[] = {
            {"SlashRoku", "slash-separator = yes\nnumbered-containers"},
            {"Roku", "numbered-containers"},
            {"Slash", "slash-separator"},
            {"Audio", "audio-only"},
            {"Console", "full-menu"},
            {"Flat", "flat-menu"}};
        std::string text;
        for (const auto& [name, setting] : kKinds) {
            text.append("[profile ").append(name).append("]\nuser-agent = ").append(name).append("\n");
            text.append(setting).append(" = yes\n");
        }
        DMSClientChecker::InitProfileList(sysroot.Write("agent.conf", text));
    }
    ~ClientsTest() override { DMSClientChecker::ReleaseClientList(); }
};

}  // namespace MediaServer
