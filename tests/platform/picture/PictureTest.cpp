#include <exiv2/exiv2.hpp>
#include <gtest/gtest.h>
#include <vips/vips8>

#include "platform/media/MediaUrl.h"
#include "platform/picture/PictureScaler.h"
#include "platform/picture/RawPreview.h"
#include "platform/system/Files.h"
#include "support/TempDir.h"

namespace MediaServer {
namespace {

using vips::VImage;

/// Red above, blue below.
VImage TwoColours(int width, int height) {
    const auto part = [&](int rows, double red, double blue) {
        return VImage::black(width, rows, VImage::option()->set("bands", 3)) + std::vector{red, 0.0, blue};
    };
    return part(height - height / 2, 255, 0)
        .join(part(height / 2, 0, 255), VIPS_DIRECTION_VERTICAL)
        .cast(VIPS_FORMAT_UCHAR)
        .copy(VImage::option()->set("interpretation", VIPS_INTERPRETATION_sRGB));
}

std::string Encoded(const VImage& image, const char* suffix) {
    void* data = nullptr;
    std::size_t size = 0;
    image.write_to_buffer(suffix, &data, &size);
    std::string bytes(static_cast<const char*>(data), size);
    g_free(data);
    return bytes;
}

/// The picture that comes of `bytes`, and the half of it that is red: 't'op, 'b'ottom, 'l'eft or 'r'ight.
struct Facts {
    int width = 0, height = 0;
    char red = ' ';
    bool operator==(const Facts&) const = default;
};
void PrintTo(const Facts& facts, std::ostream* out) {
    *out << facts.width << "x" << facts.height << " " << facts.red;
}

Facts FactsOf(const std::string& bytes) {
    const VImage image = VImage::new_from_buffer(bytes.data(), bytes.size(), "");
    const int width = image.width(), height = image.height();
    const auto is_red = [&](int x, int y) { return image.getpoint(x, y)[0] > 128; };
    const bool top = is_red(width / 2, height / 8), left = is_red(width / 8, height / 2);
    const bool bottom = is_red(width / 2, height - 1 - height / 8);
    return {width, height, top != bottom ? (top ? 't' : 'b') : (left ? 'l' : 'r')};
}

std::string Rendered(const std::string& picture, int side, std::string& flaw) {
    return RenderPicture(picture, PictureFormat::Jpeg, side, flaw).value_or("");
}

class PictureTest : public testing::Test {
protected:
    // The library starts with the first picture; these write some before.
    static void SetUpTestSuite() {
        std::string flaw;
        Rendered("GIF8", 1, flaw);
    }
};

// The indexer's tests have the others.
TEST_F(PictureTest, FormatsOfScannersAndPhones) {
    for (const char* suffix : {".jpg", ".tif[compression=lzw]", ".heic", ".avif"}) {
        SCOPED_TRACE(suffix);
        std::string flaw;
        const std::string bytes = Encoded(TwoColours(300, 200), suffix);
        EXPECT_EQ(FactsOf(Rendered(bytes, kSmallThumbnailSide, flaw)), (Facts{120, 80, 't'})) << flaw;
        EXPECT_EQ(flaw, "");
    }
}

// What is announced is computed from the size alone, before the picture is made; the scaler must not round its own way.
TEST_F(PictureTest, SizesAreAsAnnouncedHoweverTheCameraWasHeld) {
    constexpr std::pair<int, int> kSizes[] = {{2000, 1500}, {1003, 667}, {333, 1999}, {1999, 7}, {641, 480}, {90, 60}};
    constexpr char kRed[] = " ttbblrrl";  // by orientation
    for (const auto& [width, height] : kSizes) {
        for (const int orientation : {1, 3, 5, 6, 8}) {
            if (width != 90 && orientation % 5 != 1) continue;  // upright and turned right, but all of the smallest
            SCOPED_TRACE(std::to_string(width) + "x" + std::to_string(height) + " " + std::to_string(orientation));
            VImage image = TwoColours(width, height);
            image.set("orientation", orientation);
            const std::string bytes = Encoded(image, ".jpg");
            const bool turned = orientation >= 5;
            std::string flaw;
            const std::optional<Thumbnails> both = RenderThumbnails(bytes, flaw);
            ASSERT_TRUE(both) << flaw;
            for (const auto& [side, picture] : {std::pair{kSmallThumbnailSide, both->small},
                                                {kBigThumbnailSide, both->big},
                                                {kExtraBigSide, Rendered(bytes, kExtraBigSide, flaw)}}) {
                Facts expected{0, 0, kRed[orientation]};
                DMSGetThumbnailRes(turned ? height : width, turned ? width : height, &expected.width, &expected.height,
                                   side);
                if (std::min(expected.width, expected.height) < 8) expected.red = FactsOf(picture).red;
                EXPECT_EQ(FactsOf(picture), expected) << side;
            }
        }
    }
}

// Some kilobytes that would be decoded to seventy million pixels and more.
TEST_F(PictureTest, BombsAreRefusedByTheirHeader) {
    const std::string bomb = Encoded(VImage::black(8400, 8400), ".png");
    for (const int side : {0, 160}) {
        std::string flaw;
        EXPECT_EQ(Rendered(bomb, side, flaw), "");
        EXPECT_NE(flaw.find("the picture is too large"), std::string::npos) << flaw;
    }
}

TEST_F(PictureTest, WhatIsDamagedOrNotWhatItSaysIsToldOf) {
    const std::string jpeg = Encoded(TwoColours(800, 600), ".jpg"), png = Encoded(TwoColours(800, 600), ".png");
    struct {
        const char* why;
        std::string bytes;
        bool readable;
    } const kCases[] = {
        {"cut short: what is there is shown", jpeg.substr(0, jpeg.size() * 2 / 3), true},
        {"a header alone", jpeg.substr(0, 100), false},
        {"cut short before the first row", png.substr(0, 40), false},
        {"a format that only ImageMagick knows, behind a name that it does not look at",
         std::string("RIFF\x10\0\0\0WEBP", 12) + std::string(100, ' '), false},
        {"a film",
         std::string("\0\0\0\x18"
                     "ftypisom\0\0\2\0isommp42",
                     24),
         false},
        {"a vector drawing, which can name other files", "<svg xmlns='http://www.w3.org/2000/svg'/>", false},
        {"a bitmap without pixels", "BM", false},
        {"nothing", "", false},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.why);
        std::string flaw;
        EXPECT_EQ(Rendered(c.bytes, 120, flaw) != "", c.readable);
        EXPECT_NE(flaw, "");
        EXPECT_EQ(flaw.find('\n'), std::string::npos);
    }
}

/// A TIFF with a JPEG in it, which is what camera raw files are.
std::string MakeRaw(const TempDir& folder, const std::string& preview, int orientation) {
    const std::string path = folder.Write("a.nef", Encoded(VImage::black(64, 48), ".tif"));
    StartExiv2();
    const auto photo = Exiv2::ImageFactory::open(path);
    photo->readMetadata();
    photo->exifData()["Exif.Image.Orientation"] = static_cast<std::uint16_t>(orientation);
    Exiv2::ExifThumb(photo->exifData())
        .setJpegThumbnail(reinterpret_cast<const Exiv2::byte*>(preview.data()), static_cast<long>(preview.size()));
    photo->writeMetadata();
    return path;
}

TEST_F(PictureTest, OfARawPhotoThePreviewIsTurnedAsTheCameraWasHeld) {
    const TempDir folder;
    VImage turned = TwoColours(800, 600);
    turned.set("orientation", 8);
    struct {
        const char* why;
        std::string preview;
        int orientation;
        Facts expected;
    } const kCases[] = {
        {"only the photo tells", Encoded(TwoColours(800, 600), ".jpg[strip]"), 6, {480, 640, 'r'}},
        {"nobody tells", Encoded(TwoColours(800, 600), ".jpg[strip]"), 0, {640, 480, 't'}},
        {"only the preview tells", Encoded(turned, ".jpg"), 0, {480, 640, 'l'}},
        {"they do not agree", Encoded(turned, ".jpg"), 1, {640, 480, 't'}},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.why);
        const std::string path = MakeRaw(folder, c.preview, c.orientation);
        const std::optional<RawPreview> preview = ReadRawPreview(path);
        ASSERT_TRUE(preview);
        std::string flaw;
        EXPECT_EQ(FactsOf(Rendered(preview->jpeg, kBigThumbnailSide, flaw)), c.expected) << flaw;
        Facts announced{0, 0, c.expected.red};
        DMSGetThumbnailRes(preview->width, preview->height, &announced.width, &announced.height, kBigThumbnailSide);
        EXPECT_EQ(announced, c.expected);
    }
    std::string flaw;
    const std::string plain = folder.Write("plain.dng", Encoded(VImage::black(64, 48), ".tif"));
    EXPECT_FALSE(ReadRawPreview(plain));
    EXPECT_EQ(Rendered(ReadPhotoPicture(plain, flaw).value_or(""), 0, flaw).substr(0, 3), "\xFF\xD8\xFF") << flaw;
    EXPECT_FALSE(ReadPhotoPicture(folder / "gone.jpg", flaw));
    EXPECT_NE(flaw, "");
}

}  // namespace
}  // namespace MediaServer
