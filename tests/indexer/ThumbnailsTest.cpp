#include <filesystem>

#include <exiv2/exiv2.hpp>
#include <gtest/gtest.h>

#include "indexer/Indexer.h"
#include "indexer/MediaFiles.h"
#include "indexer/Thumbnails.h"
#include "platform/database/TestDatabase.h"
#include "platform/media/MediaUrl.h"
#include "platform/system/Files.h"
#include "platform/system/Log.h"

namespace MediaServer {
namespace {

namespace fs = std::filesystem;

class ThumbnailsTest : public DatabaseTest {
protected:
    /// Scans, then makes what is missing. @return photos that got thumbnails.
    std::size_t Run() {
        Indexer(set, progress, stop, {}, &pass).ScanAll();
        std::size_t made = 0;
        LibraryTables tables(ThreadDBConnection());
        while (!pass.IsDone()) made += pass.MakeSome(tables);
        return made;
    }
    void MakePhoto(const std::string& name, const std::string& size = "1003x667", int orientation = 0) const {
        fs::create_directories(fs::path(files.Path(name)).parent_path());
        files.Make({"-f", "lavfi", "-i", "testsrc=s=" + size, "-frames:v", "1", "@/" + name});
        if (orientation == 0) return;
        const auto photo = Exiv2::ImageFactory::open(files.Path(name));
        photo->exifData()["Exif.Image.Orientation"] = static_cast<std::uint16_t>(orientation);
        photo->writeMetadata();
    }
    bool HasThumbnails(const std::string& name) const {
        const std::string photo = files.Path(name);
        return NLIBCFileExist(PhotoThumbnailPath(photo, false).c_str()) &&
               NLIBCFileExist(PhotoThumbnailPath(photo, true).c_str());
    }
    /// "WIDTHxHEIGHT" of a picture.
    static std::string SizeOf(const std::string& path) {
        const auto picture = Exiv2::ImageFactory::open(path);
        picture->readMetadata();
        return std::to_string(picture->pixelWidth()) + "x" + std::to_string(picture->pixelHeight());
    }
    /// What is logged while the test runs.
    std::string Log() const { return ReadWholeFile(log.Path("log"), 1 << 20).value_or(""); }

    ThumbnailsTest() { DMSLOGInit(log.Path("log").c_str()); }
    ~ThumbnailsTest() override { DMSLogClose(); }

    MediaFiles files, log;
    const FolderSet set{{{files.Root(), "Shared", true, true, true}}};
    Progress progress{true};
    std::atomic<bool> stop = false;
    ThumbnailPass pass{set, stop};
};

TEST_F(ThumbnailsTest, LieBesideThePhotoInTheAnnouncedSize) {
    for (const char* name : {"a.jpg", "b/with [brackets], 100% and ü.png", "c.bmp", "d.tif", "e.webp", "f.gif"}) {
        MakePhoto(name);
    }
    MakePhoto("turned.jpg", "1003x667", 6);
    MakePhoto("small.png", "90x60");
    EXPECT_EQ(Run(), 8U);
    EXPECT_EQ(Log(), "");
    EXPECT_EQ(SizeOf(PhotoThumbnailPath(files.Path("c.bmp"), true)), "640x426");
    EXPECT_EQ(SizeOf(PhotoThumbnailPath(files.Path("turned.jpg"), false)), "80x120");
    EXPECT_EQ(SizeOf(PhotoThumbnailPath(files.Path("small.png"), false)), "90x60");
    pass.AddAll();
    EXPECT_EQ(Run(), 0U) << "a second run changes nothing";
}

TEST_F(ThumbnailsTest, FollowThePhoto) {
    MakePhoto("a.jpg", "200x100");
    MakePhoto("b/b.jpg", "200x100");
    EXPECT_EQ(Run(), 2U);
    EXPECT_EQ(Run(), 0U);

    MakePhoto("a.jpg", "100x200");
    fs::last_write_time(files.Path("a.jpg"), fs::last_write_time(files.Path("b/b.jpg")) - std::chrono::hours(1));
    EXPECT_EQ(Run(), 1U) << "replaced by an older one";
    EXPECT_EQ(SizeOf(PhotoThumbnailPath(files.Path("a.jpg"), false)), "60x120");

    fs::rename(files.Path("a.jpg"), files.Path("c.jpg"));
    fs::remove(files.Path("b/b.jpg"));
    files.Write("@eaDir/a.jpg/of another program", "stays");
    EXPECT_EQ(Run(), 1U);
    EXPECT_TRUE(HasThumbnails("c.jpg"));
    EXPECT_FALSE(HasThumbnails("a.jpg"));
    EXPECT_TRUE(fs::exists(files.Path("@eaDir/a.jpg/of another program")));
    EXPECT_FALSE(fs::exists(files.Path("b/@eaDir"))) << "nothing is left of the last photo";
}

TEST_F(ThumbnailsTest, ABrokenPhotoCostsALineAndAnUnwritableFolderOne) {
    MakePhoto("a.jpg");
    const std::string jpeg = ReadWholeFile(files.Path("a.jpg"), 1 << 20).value();
    files.Write("cut.jpg", jpeg.substr(0, jpeg.size() / 2));
    // A TIFF that tells its size and has no pixels.
    files.Write("head.tif", std::string("II*\0\x8\0\0\0\2\0"
                                        "\0\1\4\0\1\0\0\0\x40\0\0\0\1\1\4\0\1\0\0\0\x40\0\0\0\0\0\0\0",
                                        38));
    for (int i = 0; i < 3; ++i) {
        const std::string folder = "full" + std::to_string(i);
        MakePhoto(folder + "/b.jpg");
        files.Write(folder + "/@eaDir", "no directory can be made here, whoever asks");
    }
    EXPECT_EQ(Run(), 2U);
    EXPECT_TRUE(HasThumbnails("a.jpg"));
    EXPECT_TRUE(HasThumbnails("cut.jpg")) << "what is there is shown";
    EXPECT_FALSE(fs::exists(files.Path("@eaDir/head.tif")));
    const std::string text = Log();
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 3) << text;
    for (const std::string& line : {"photo \"" + files.Path("cut.jpg") + "\" is damaged: it was cut short",
                                    "could not make thumbnails of \"" + files.Path("head.tif") + "\": ",
                                    "could not write thumbnails into shared folder \"" + files.Root() +
                                        "\": Not a directory; they are made when they are asked for"}) {
        EXPECT_NE(text.find(line), std::string::npos) << line << "\n" << text;
    }
}

// More photos than a portion, and a change while they are made.
TEST_F(ThumbnailsTest, APortionAtATime) {
    MakePhoto("first/0.jpg", "32x16");
    for (int i = 1; i < 100; ++i) {
        fs::create_directories(files.Path(std::to_string(i % 3)));
        fs::copy_file(files.Path("first/0.jpg"), files.Path(std::to_string(i % 3) + "/" + std::to_string(i) + ".jpg"));
    }
    Indexer(set, progress, stop, {}, &pass).ScanAll();
    pass.AddAll();
    LibraryTables tables(ThreadDBConnection());
    const std::size_t portion = pass.MakeSome(tables);
    EXPECT_GT(portion, 0U);
    EXPECT_LT(portion, 100U);
    const std::string first =
        database.Value("SELECT path FROM photo ORDER BY id LIMIT 1").substr(files.Root().size() + 1);
    MakePhoto(first, "16x32");
    EXPECT_EQ(Run(), 100U - portion + 1);
    EXPECT_EQ(SizeOf(PhotoThumbnailPath(files.Path(first), true)), "16x32");
}

}  // namespace
}  // namespace MediaServer
