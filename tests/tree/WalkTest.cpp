#include <random>
#include <set>

#include "tree/CDSCategoryFolder.h"
#include "tree/CDSStorageFolder.h"
#include "tree/TreeTest.h"

namespace MediaServer {
namespace {

constexpr std::string_view kTags[] = {"", "abba", "ABBA", "Édith", "O'Neil", "50%", "_", "7", "Zoo", "zoo", "a\\b"};

/// Walks whole trees and holds every answer against the others and against the library.
class WalkTest : public TreeTest {
protected:
    WalkTest() : random_(seed_) {
        AddFolder("/m");
        std::vector<std::string> folders{"/m"};
        for (int i = 0; i < 12; ++i) {
            folders.push_back(folders[Pick(folders.size())] + "/d" + std::to_string(i));
            AddFolder(folders.back());
        }
        for (int i = 0; i < 150; ++i) {
            AddRow("music", folders[Pick(folders.size())] + "/" + std::to_string(i) + ".mp3", "t" + std::to_string(i),
                   "artist, album, genre, track", Tag() + ", " + Tag() + ", " + Tag() + ", " + std::to_string(Pick(4)));
        }
    }
    std::size_t Pick(std::size_t bound) { return std::uniform_int_distribution<std::size_t>(0, bound - 1)(random_); }
    std::string Tag() { return "'" + SQLEscapeString(kTags[Pick(std::size(kTags))]) + "'"; }

    /// @param path  titles of the containers on the way. Adds the rows of all items to `rows`.
    void Walk(CDSContainer& node, const std::string& id, std::vector<std::string> path,
              std::multiset<std::int32_t>& rows) {
        const Answer whole = Children(node, id);
        const auto size = static_cast<std::int32_t>(whole.objects.size());
        if (size > 0) {
            EXPECT_EQ(whole.total, size) << id;
        }
        ExpectPagesJoin(node, id, whole);
        for (const NIMB_MEDIA_INFO& record : whole.records) {
            rows.insert(record.id);
            if (check_item) check_item(path, record);
        }
        for (const Written& object : whole.objects) {
            EXPECT_EQ(object.parent, id);
            ExpectMetadataAgrees(node, object);
            if (object.code == -1) continue;
            path.push_back(object.title);
            Walk(node, object.id, path, rows);
            path.pop_back();
        }
    }

    void ExpectPagesJoin(CDSContainer& node, const std::string& id, const Answer& whole) {
        std::vector<Written> joined;
        while (joined.size() < whole.objects.size()) {
            const Ask page{.start = static_cast<std::int32_t>(joined.size()),
                           .count = static_cast<std::int32_t>(1 + Pick(7))};
            const Answer answer = Children(node, id, page);
            ASSERT_GT(answer.result, 0) << id << " from " << page.start << ", seed " << seed_;
            ASSERT_LE(answer.result, page.count);
            EXPECT_EQ(answer.total, whole.total) << id;
            joined.insert(joined.end(), answer.objects.begin(), answer.objects.end());
        }
        EXPECT_EQ(joined, whole.objects) << id << ", seed " << seed_;
    }

    void ExpectMetadataAgrees(CDSContainer& node, const Written& listed) {
        const Answer plain = Metadata(node, listed.id);
        ASSERT_EQ(plain.result, 1) << listed.id << ", seed " << seed_;
        EXPECT_EQ(plain.objects[0].id, listed.id);
        EXPECT_EQ(plain.objects[0].parent, listed.parent) << listed.id;
        EXPECT_EQ(plain.objects[0].title, listed.title) << listed.id;
        if (listed.code == -1) {
            EXPECT_EQ(plain.objects[0], listed);
            return;
        }
        const bool show_all = listed.id.ends_with("$0");
        EXPECT_EQ(plain.objects[0].code, show_all ? ObjectType::kContainer : listed.code) << listed.id;
        const Answer counted = Metadata(node, listed.id, {.filter = Property::kChildCount});
        EXPECT_EQ(counted.objects.at(0).count, Children(node, listed.id).result) << listed.id;
    }

    const unsigned seed_ = std::random_device{}();
    std::mt19937 random_;
    std::function<void(const std::vector<std::string>&, const NIMB_MEDIA_INFO&)> check_item;
};

TEST_F(WalkTest, FoldersShowEveryFileOnce) {
    CDSStorageFolder node(MediaKind::Music, "/m", "0", "22", "Music", ObjectType::kStorageFolder);
    check_item = [](const std::vector<std::string>& path, const NIMB_MEDIA_INFO& record) {
        std::string directory = "/m";
        for (const std::string& name : path) directory += "/" + name;
        EXPECT_EQ(DirName(record.path), directory);
    };
    std::multiset<std::int32_t> rows;
    Walk(node, "22", {}, rows);
    EXPECT_EQ(rows.size(), 150U);
    EXPECT_EQ(std::set<std::int32_t>(rows.begin(), rows.end()).size(), 150U);
}

TEST_F(WalkTest, CategoriesHoldWhatTheirTitlesSay) {
    CDSCategoryFolder node(MediaKind::Music, ":@AllIndexFiles@", "0", "F", "Music", ObjectType::kContainer, strings);
    node.AddCategory("artist", 1);
    node.AddCategory("artist", 0);
    node.AddCategory("album", 0);
    int shown_by_all = 0;
    check_item = [&](const std::vector<std::string>& path, const NIMB_MEDIA_INFO& record) {
        ASSERT_EQ(path.size(), 3U);
        const auto expect = [&](const std::string& title, const std::string& value, const std::string& unknown) {
            if (title.starts_with("= ")) {
                ++shown_by_all;
            } else {
                EXPECT_EQ(title, value.empty() ? unknown : value) << record.id << ", seed " << seed_;
            }
        };
        const bool others = record.artist.empty() || std::string_view("É_").find(record.artist[0]) != std::string::npos;
        EXPECT_EQ(path[0],
                  others ? "class_letter_others" : std::string(1, static_cast<char>(std::toupper(record.artist[0]))));
        expect(path[1], record.artist, "unknown_music_artist");
        expect(path[2], record.album, "unknown_music_album");
    };
    std::multiset<std::int32_t> rows;
    Walk(node, "F", {}, rows);
    EXPECT_GT(shown_by_all, 0);
    EXPECT_EQ(std::set<std::int32_t>(rows.begin(), rows.end()).size(), 150U);
}

TEST_F(WalkTest, ADatabaseThatStoppedIsAnErrorUntilItIsBack) {
    CDSStorageFolder folders(MediaKind::Music, "/m", "0", "22", "Music", ObjectType::kStorageFolder);
    CDSCategoryFolder genres(MediaKind::Music, "/m", "0", "23", "Genres", ObjectType::kContainer, strings);
    genres.AddCategory("genre", 0);
    const std::pair<CDSContainer*, const char*> kAsked[] = {{&folders, "22"}, {&folders, "22$1"}, {&folders, "22$@1"},
                                                            {&genres, "23"},  {&genres, "23$1"},  {&genres, "23$1$@1"}};
    database.Stop();
    for (const auto& [node, id] : kAsked) {
        if (std::string_view(id).ends_with("$@1")) {
            EXPECT_EQ(Metadata(*node, id).result, kActionFailed) << id;
        } else {
            EXPECT_EQ(Children(*node, id).result, kActionFailed) << id;
        }
        EXPECT_EQ(Metadata(*node, id, {.filter = Property::kChildCount}).result, kActionFailed) << id;
    }
    EXPECT_EQ(Children(genres, "23").total, -1);
    EXPECT_EQ(Children(genres, "23$1").total, kUntouched);
    database.Start();
    for (const auto& [node, id] : kAsked) EXPECT_EQ(Metadata(*node, id).result, 1) << id;
}

}  // namespace
}  // namespace MediaServer
