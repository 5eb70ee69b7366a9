#include <filesystem>
#include <optional>
#include <thread>
#include <vector>

#include <exiv2/exiv2.hpp>
#include <gtest/gtest.h>

#include "indexer/FolderWalker.h"
#include "indexer/MediaFiles.h"
#include "indexer/MediaReader.h"

namespace MediaServer {
namespace {

class PhotoReader : public ReaderTest {};

constexpr char kUnknown[] = "1970-01-01 00:00:00";

struct FieldCase {
    const char* why;
    const char *key, *value, *taken;
    std::int32_t width;
};
const FieldCase kFields[] = {
    {"taken", "Exif.Photo.DateTimeOriginal", "2024:02:29 23:59:58", "2024-02-29 23:59:58", 300},
    {"digitized", "Exif.Photo.DateTimeDigitized", "1999:12:31 00:00:00", "1999-12-31 00:00:00", 300},
    {"a day that is none", "Exif.Photo.DateTimeOriginal", "2023:02:29 10:00:00", kUnknown, 300},
    {"a camera without a clock", "Exif.Photo.DateTimeOriginal", "0000:00:00 00:00:00", kUnknown, 300},
    {"blanks", "Exif.Photo.DateTimeOriginal", "    :  :     :  :  ", kUnknown, 300},
    {"the hour 24", "Exif.Photo.DateTimeOriginal", "2023:01:01 24:00:00", kUnknown, 300},
    {"cut short", "Exif.Photo.DateTimeOriginal", "2023:01:01", kUnknown, 300},
    {"a text that is SQL", "Exif.Photo.DateTimeOriginal", "'; DROP TABLE photo;--", kUnknown, 300},
    {"upside down", "Exif.Image.Orientation", "3", kUnknown, 300},
    {"turned to the right", "Exif.Image.Orientation", "6", kUnknown, 200},
    {"mirrored and turned", "Exif.Image.Orientation", "5", kUnknown, 200},
    {"no such orientation", "Exif.Image.Orientation", "9", kUnknown, 300},
};

TEST_F(PhotoReader, DateTakenAndOrientation) {
    files.Make({"-f", "lavfi", "-i", "testsrc=s=300x200", "-frames:v", "1", "@/plain.jpg"});
    for (const FieldCase& c : kFields) {
        SCOPED_TRACE(c.why);
        const std::string path = files.Path("a.jpg");
        std::filesystem::copy(files.Path("plain.jpg"), path, std::filesystem::copy_options::overwrite_existing);
        const auto picture = Exiv2::ImageFactory::open(path);
        Exiv2::ExifData fields;
        fields[c.key] = std::string(c.value);
        picture->setExifData(fields);
        picture->writeMetadata();
        const NIMB_MEDIA_INFO record = Read("a.jpg");
        EXPECT_EQ(record.timetaken, c.taken);
        EXPECT_EQ(record.resolutionx, c.width);
        EXPECT_EQ(record.resolutiony, 500 - c.width);
    }
}

TEST_F(PhotoReader, TitleAndManyThreads) {
    files.Make({"-f", "lavfi", "-i", "testsrc=s=32x16", "-frames:v", "1", "@/a.jpg"});
    {
        const auto picture = Exiv2::ImageFactory::open(files.Path("a.jpg"));
        picture->exifData()["Exif.Image.ImageDescription"] = std::string("DIGITAL CAMERA");
        picture->xmpData()["Xmp.dc.title"] = std::string("lang=\"x-default\" Ünder <the> sea");
        picture->writeMetadata();
    }
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&] {
            for (int round = 0; round < 50; ++round) {
                const NIMB_MEDIA_INFO record = Read("a.jpg");
                EXPECT_EQ(record.title, "Ünder <the> sea");
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
}

TEST_F(PhotoReader, DamagedAndHostileFilesGiveAReason) {
    const std::string side("\0\1\0\0", 4);  // 65536
    const std::string bomb = std::string("\x89PNG\r\n\x1A\n\0\0\0\rIHDR", 16) + side + side +
                             std::string("\x8\x2\0\0\0\0\0\0\0\0\0\0\0IEND\xAE\x42\x60\x82", 21);
    ExpectUnreadable({
        {"truncated.jpg", std::string("\xFF\xD8\xFF\xE0\0\x10JFIF\0\1\1", 13)},
        {"bomb.png", bomb},
        {"text.jpg", "this is no picture\n"},
        {"zeros.tif", std::string(5000, '\0')},
        {"loop.tif", std::string("II*\0\x8\0\0\0\0\0\x8\0\0\0", 14)},
        {"cut.webp", "RIFF\xff\xff\xff\xffWEBPVP8 "},
        {"cut.cr2", std::string("II*\0\x10\0\0\0CR\2\0\xff\xff\xff\xff", 16)},
    });
}

TEST(FolderWalker, CoversBesideMusicAreNoPhotos) {
    const MediaFiles files;
    for (const char* name :
         {"album/song.mp3", "album/cover.jpg", "album/Folder.png", "album/band.jpg", "trip/cover.jpg"})
        files.Write(name, "x");
    const FolderSet folders({{.path = files.Root(), .name = "all", .music = true, .video = true, .photo = true}});
    const std::atomic<bool> stop = false;
    std::vector<std::string> found;
    FolderWalker(folders, stop).Walk(files.Root(), 0, [&](const Listing& listing) {
        for (const FoundFile& file : listing.files) found.push_back(file.name);
    });
    EXPECT_EQ(found, (std::vector<std::string>{"band.jpg", "song.mp3", "cover.jpg"}));
}

}  // namespace
}  // namespace MediaServer
