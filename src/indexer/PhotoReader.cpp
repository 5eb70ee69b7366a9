#include <algorithm>
#include <charconv>
#include <chrono>
#include <exception>
#include <iterator>
#include <optional>
#include <string_view>
#include <utility>

#include <exiv2/exiv2.hpp>

#include "indexer/MediaReader.h"
#include "platform/media/MediaUrl.h"
#include "platform/picture/RawPreview.h"
#include "platform/text/Text.h"

namespace MediaServer {
namespace {

/// No camera takes more; a few hundred bytes can claim to.
constexpr std::int64_t kMostPixels = 500'000'000;

/// Value of the first of the EXIF fields that is there.
std::string Field(const Exiv2::ExifData& fields, std::initializer_list<const char*> names) {
    for (const char* name : names) {
        if (const auto found = fields.findKey(Exiv2::ExifKey(name)); found != fields.end()) return found->toString();
    }
    return {};
}

/// Digits at a place of a text; -1 when something else stands there.
int NumberAt(std::string_view text, std::size_t at, std::size_t digits) {
    int value = -1;
    const char* const end = text.data() + at + digits;
    const auto [stop, error] = std::from_chars(text.data() + at, end, value);
    return error == std::errc() && stop == end ? value : -1;
}

/// "2024:05:06 07:08:09" in the form of the database; nothing for what is no such time, as cameras without a clock
/// write it.
std::optional<std::string> TimeOf(std::string_view exif) {
    constexpr std::string_view kForm = "YYYY:MM:DD hh:mm:ss";
    if (exif.size() < kForm.size()) return std::nullopt;
    const std::chrono::year_month_day day(std::chrono::year(NumberAt(exif, 0, 4)),
                                          std::chrono::month(static_cast<unsigned>(NumberAt(exif, 5, 2))),
                                          std::chrono::day(static_cast<unsigned>(NumberAt(exif, 8, 2))));
    const int hour = NumberAt(exif, 11, 2), minute = NumberAt(exif, 14, 2), second = NumberAt(exif, 17, 2);
    const bool is_time = hour >= 0 && hour < 24 && minute >= 0 && minute < 60 && second >= 0 && second < 60;
    if (!day.ok() || day.year() < std::chrono::year(1) || !is_time) return std::nullopt;
    std::string text(exif.substr(0, kForm.size()));
    text[4] = text[7] = '-';
    text[10] = ' ';
    text[13] = text[16] = ':';
    return text;
}

std::string TitleOf(const Exiv2::XmpData& fields) {
    const auto found = fields.findKey(Exiv2::XmpKey("Xmp.dc.title"));
    const auto* titles = found == fields.end() ? nullptr : dynamic_cast<const Exiv2::LangAltValue*>(&found->value());
    return titles ? titles->toString(std::string("x-default")) : std::string();
}

bool ReadPicture(Exiv2::Image& picture, NIMB_MEDIA_INFO& record, std::string& reason) {
    picture.readMetadata();
    const Exiv2::ExifData& fields = picture.exifData();
    const std::int64_t width = picture.pixelWidth(), height = picture.pixelHeight();
    if (width <= 0 || height <= 0) {
        reason = "no picture in it";
    } else if (width > kMostPixels / height) {
        reason = "the picture is too large";
    }
    if (!reason.empty()) return false;
    record.resolutionx = static_cast<std::int32_t>(width);
    record.resolutiony = static_cast<std::int32_t>(height);
    const auto orientation = Exiv2::orientation(fields);
    const long turn = orientation == fields.end() || orientation->count() == 0 ? 0 : orientation->toLong();
    if (IsQuarterTurn(turn)) std::swap(record.resolutionx, record.resolutiony);
    const std::string taken = Field(fields, {"Exif.Photo.DateTimeOriginal", "Exif.Image.DateTimeOriginal",
                                             "Exif.Photo.DateTimeDigitized", "Exif.Image.DateTime"});
    if (std::optional<std::string> time = TimeOf(taken)) record.timetaken = *std::move(time);
    if (std::string title = TitleOf(picture.xmpData()); !title.empty()) record.title = std::move(title);
    return true;
}

/// Of a camera's raw photo only the preview is ever sent.
void TakePreviewSize(NIMB_MEDIA_INFO& record) {
    if (!BlNIMBIndexIsRawImage(PathExtension(record.path))) return;
    if (const std::optional<RawPreview> preview = ReadRawPreview(record.path)) {
        record.resolutionx = preview->width;
        record.resolutiony = preview->height;
    }
}

}  // namespace

bool ReadPhoto(NIMB_MEDIA_INFO& record, std::string& reason) {
    StartExiv2();
    try {
        const Exiv2::Image::AutoPtr picture = Exiv2::ImageFactory::open(record.path);
        if (!ReadPicture(*picture, record, reason)) return false;
        TakePreviewSize(record);
        return true;
    } catch (const Exiv2::AnyError& error) {
        // Its texts name the file once more.
        reason = error.code() == Exiv2::kerFileContainsUnknownImageType ? "unknown picture format" : "damaged picture";
    } catch (const std::exception& error) {
        reason = error.what();
    }
    return false;
}

}  // namespace MediaServer
