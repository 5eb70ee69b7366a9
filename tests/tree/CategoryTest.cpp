#include "model/ServiceOptions.h"
#include "tree/CDSCategoryEntry.h"
#include "tree/CDSCategoryFolder.h"
#include "tree/TreeTest.h"

namespace MediaServer {
namespace {

class CategoryTest : public TreeTest {
protected:
    std::int32_t AddSong(const std::string& artist, const std::string& album, const std::string& genre,
                         const std::string& title, int track = 0, int year = 0) {
        return AddRow("music", "/m/" + std::to_string(++files_) + ".mp3", title, "artist, album, genre, track, year",
                      "'" + SQLEscapeString(artist) + "', '" + SQLEscapeString(album) + "', '" +
                          SQLEscapeString(genre) + "', " + std::to_string(track) + ", " + std::to_string(year));
    }
    /// @param levels  category names and indexes.
    CDSCategoryFolder& Folder(const std::vector<std::pair<std::string, int>>& levels,
                              const std::string& directory = ":@AllIndexFiles@", MediaKind kind = MediaKind::Music) {
        folder_ =
            std::make_unique<CDSCategoryFolder>(kind, directory, "0", "F", "Folder", ObjectType::kContainer, strings);
        for (const auto& [name, index] : levels) folder_->AddCategory(name, index);
        return *folder_;
    }

private:
    int files_ = 0;
    std::unique_ptr<CDSCategoryFolder> folder_;
};

TEST_F(CategoryTest, ValuesThenAlbumsThenSongs) {
    AddSong("a", "Two", "Rock", "late", 2);   // 1
    AddSong("a", "Two", "Rock", "early", 1);  // 2
    AddSong("a", "One", "Rock", "only");      // 3
    AddSong("b", "", "Jazz", "blue");         // 4
    CDSCategoryFolder& node = Folder({{"genre", 0}, {"album", 0}});

    const Answer genres = Children(node, "F");
    EXPECT_EQ(genres.total, 2) << "the first level has no show-all entry";
    EXPECT_THAT(genres.objects, ElementsAre(Written{"F$4", "F", "Jazz", ObjectType::kMusicGenre, -1},
                                            Written{"F$1", "F", "Rock", ObjectType::kMusicGenre, -1}));
    const Answer albums = Children(node, "F$1");
    EXPECT_EQ(albums.total, 3);
    EXPECT_THAT(albums.objects, ElementsAre(Written{"F$1$0", "F$1", "= showall_music_items =", ObjectType::kMusicAlbum},
                                            Written{"F$1$3", "F$1", "One", ObjectType::kMusicAlbum, -1, 3},
                                            Written{"F$1$1", "F$1", "Two", ObjectType::kMusicAlbum, -1, 1}));
    EXPECT_THAT(Children(node, "F$4").Titles(), ElementsAre("unknown_music_album")) << "one album: no show-all entry";
    EXPECT_THAT(Children(node, "F$1$0").Titles(), ElementsAre("only", "early", "late"));
    EXPECT_THAT(Children(node, "F$1$1").objects, ElementsAre(Written{"F$1$1$@2", "F$1$1", "early", -1, -2, 2},
                                                             Written{"F$1$1$@1", "F$1$1", "late", -1, -2, 1}));
    EXPECT_THAT(Children(node, "F$1", {.options = BrowseOption::kNoShowAll}).Titles(), ElementsAre("One", "Two"));
}

TEST_F(CategoryTest, LettersWithTheOthersLast) {
    for (const char* artist : {"beta", "Beat", "Alpha", "7up", "Édith", "", "_x"}) AddSong(artist, "x", "g", artist);
    CDSCategoryFolder& node = Folder({{"artist", 1}, {"artist", 0}});
    const Answer letters = Children(node, "F");
    EXPECT_THAT(letters.objects,
                ElementsAre(Written{"F$#7", "F", "7", 1, -1}, Written{"F$#A", "F", "A", 1, -1},
                            Written{"F$#B", "F", "B", 1, -1}, Written{"F$##", "F", "class_letter_others", 1, -1}));
    EXPECT_EQ(letters.total, 4);
    EXPECT_THAT(Children(node, "F", {.start = 2, .count = 2}).Ids(), ElementsAre("F$#B", "F$##"));
    EXPECT_THAT(Children(node, "F", {.start = 3, .count = 1}).Ids(), ElementsAre("F$##"));
    EXPECT_EQ(Children(node, "F", {.start = 4, .count = 1}).result, 0);
    EXPECT_THAT(Children(node, "F$#B").Titles(), ElementsAre("= showall_music_items =", "Beat", "beta"));
    EXPECT_THAT(Children(node, "F$##").Titles(),
                ElementsAre("= showall_music_items =", "unknown_music_artist", "_x", "Édith"));
    EXPECT_THAT(Children(node, "F$#Z").Ids(), ElementsAre());

    DMSClientChecker slash("", "", true);
    slash.flags = ClientFlag::kSlashSeparator;
    EXPECT_THAT(Children(node, "F", {.client = &slash}).Ids(), ElementsAre("F/$7", "F/$A", "F/$B", "F/$$"));
    EXPECT_THAT(Children(node, "F/$A", {.client = &slash}).Ids(), ElementsAre("F/$A/3"));
    EXPECT_EQ(Metadata(node, "F/$A/3", {.client = &slash}).objects.at(0).parent, "F/$A");
    EXPECT_EQ(Children(node, "F/#A", {.client = &slash}).result, kNoSuchObject);
    node.SetSeparator("/");
    EXPECT_THAT(BrowseNode(node, "F", BrowseFlag::DirectChildren).Ids().front(), "F/$7") << "a query without one";
}

TEST_F(CategoryTest, UnknownValuesHaveALabel) {
    AddSong("", "", "g", "x", 0, 0);
    AddSong("a", "b", "g", "y", 0, 1999);
    EXPECT_THAT(Children(Folder({{"year", 0}}), "F").Titles(), ElementsAre("unknown_music_year", "1999"));
    EXPECT_THAT(Children(Folder({{"yearmon", 0}}), "F").Titles(), ElementsAre("")) << "a category without a label";
    AddRow("photo", "/p/1.jpg", "p", "timetaken, date", "'2020-03-04', '2021-05-06'");
    AddRow("photo", "/p/2.jpg", "q");
    EXPECT_THAT(Children(Folder({{"timetaken", 0}}, ":@AllIndexFiles@", MediaKind::Photo), "F").Titles(),
                ElementsAre("unknown_takendate", "2020/03/04"));
    CDSCategoryFolder& months = Folder({{"year", 0}, {"month", 0}}, ":@AllIndexFiles@", MediaKind::Photo);
    EXPECT_THAT(Children(months, "F").Titles(), ElementsAre("1970", "2021"));
    EXPECT_THAT(Children(months, "F$1").Titles(), ElementsAre("5"));
    EXPECT_THAT(Children(months, "F$1$1").Titles(), ElementsAre("p"));
    EXPECT_EQ(Metadata(Folder({{"year", 0}}), "F$1").objects.at(0).title, "unknown_music_year");
}

TEST_F(CategoryTest, OnlyFilesBelowTheDirectory) {
    AddRow("music", "/m/a/1.mp3", "in", "genre", "'g'");
    AddRow("music", "/m/a/b/2.mp3", "deep", "genre", "'h'");
    AddRow("music", "/m/ab/3.mp3", "beside", "genre", "'i'");
    AddRow("music", "/m/axb/4.mp3", "pattern", "genre", "'j'");
    CDSCategoryFolder& node = Folder({{"genre", 0}}, "/m/a");
    EXPECT_THAT(Children(node, "F").Titles(), ElementsAre("g", "h"));
    EXPECT_EQ(Metadata(node, "F").objects.at(0).count, 2);
    EXPECT_EQ(Metadata(Folder({}, "/m/a"), "F").objects.at(0).count, 2) << "without categories the files are counted";
    EXPECT_THAT(Children(Folder({}, "/m/a"), "F").Ids(), ElementsAre("F$@1", "F$@2"));
}

TEST_F(CategoryTest, VideosByFileNameOrByTitle) {
    AddRow("video", "/v/z/a.mkv", "Z");
    AddRow("video", "/v/a/B.mkv", "a");
    AddRow("video", "/v/a/c.srt", "b", "video_codec", "'text'");
    CDSCategoryFolder& node = Folder({}, ":@AllIndexFiles@", MediaKind::Video);
    DMSClientChecker subtitles("", "", true);
    subtitles.flags = ClientFlag::kTextItems;
    EXPECT_THAT(Children(node, "F").Titles(), ElementsAre("Z", "a"));
    EXPECT_THAT(Children(node, "F", {.flags = OptionFlag::kEmbeddedVideoInfo}).Titles(), ElementsAre("a", "Z"));
    EXPECT_EQ(Children(node, "F", {.client = &subtitles}).total, 3);
    EXPECT_EQ(Metadata(node, "F").objects.at(0).count, 2);
}

TEST_F(CategoryTest, AnEntryBeginsWithItsFirstCategory) {
    AddSong("b", "x", "g", "1");
    AddSong("A", "y", "g", "2");
    AddSong("A", "z", "g", "3");
    CDSCategoryEntry entry(MediaKind::Music, "artist", "1", "8", "Artist/Album", ObjectType::kContainer, 0, strings);
    entry.AddCategory("album", 0);
    entry.AddCategory("no such category", 0);
    EXPECT_THAT(Children(entry, "8").Titles(), ElementsAre("A", "b")) << "without regard to case";
    EXPECT_THAT(Children(entry, "8$2").Titles(), ElementsAre("= showall_music_items =", "y", "z"));
    EXPECT_EQ(Metadata(entry, "8$2$0", {.filter = Property::kChildCount}).objects.at(0),
              (Written{"8$2$0", "8$2", "= showall_music_items =", 1, 2}));
    EXPECT_EQ(Metadata(entry, "8$2", {.filter = Property::kChildCount}).objects.at(0).count, 3)
        << "with the show-all entry";
}

TEST_F(CategoryTest, RefusesWhatItHasNotWritten) {
    AddSong("O'Neil \\%_", "x", "g", "1");
    CDSCategoryFolder& node = Folder({{"artist", 0}, {"album", 0}});
    EXPECT_THAT(Children(node, "F$1").Titles(), ElementsAre("x")) << "the value comes back as it is stored";
    for (const char* id : {"F$x", "F$-1", "F$4294967296", "F$1 OR 1=1", "F$1$'", "F$#'", "F$#b", "F$$1", "F$1$", "F$@1",
                           "F$1$@1", "F$@x$1", "F$../1", "F$#", "F$#BC", "F$###", "F$#é", "F$B"}) {
        const Answer children = Children(node, id);
        EXPECT_EQ(children.result, kNoSuchObject) << id;
        EXPECT_EQ(Metadata(node, id).result, kNoSuchObject) << id;
    }
    for (const char* id : {"F$9", "F$9$1", "F$1$9"}) {
        EXPECT_EQ(Children(node, id).result, 0) << id << " is gone";
    }
    EXPECT_EQ(Metadata(node, "F$9").result, 0);
    EXPECT_EQ(Metadata(node, "F$1$1$@9").result, 0);
    const Answer too_long = Children(node, "F$1$1$9");
    EXPECT_EQ(too_long.result, 0);
    EXPECT_EQ(too_long.total, 0);
    EXPECT_EQ(Metadata(node, "F$1$1$9").result, 0);
    EXPECT_EQ(Metadata(node, "F$1$1$1$1").result, 0);
    EXPECT_EQ(Metadata(node, "F$1$0", {.options = BrowseOption::kNoShowAll}).result, 0);

    EXPECT_EQ(Children(node, "F$1$1", {.start = 1}).total, kUntouched) << "no row, no total";
    EXPECT_EQ(Children(node, "F$1$1").total, 1);
}

}  // namespace
}  // namespace MediaServer
