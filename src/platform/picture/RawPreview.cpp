#include "platform/picture/RawPreview.h"

#include <cerrno>
#include <cstring>
#include <exception>
#include <mutex>

#include <exiv2/exiv2.hpp>

#include "platform/media/MediaUrl.h"
#include "platform/picture/PictureScaler.h"
#include "platform/system/Files.h"
#include "platform/text/Text.h"

namespace MediaServer {
namespace {

/// The library keeps a table of names for XMP, which it asks the program to guard.
void LockXmp(void* mutex, bool lock) {
    auto& guard = *static_cast<std::recursive_mutex*>(mutex);
    lock ? guard.lock() : guard.unlock();
}

/// 0 when the fields do not tell.
long OrientationOf(const Exiv2::ExifData& fields) {
    const auto found = Exiv2::orientation(fields);
    return found == fields.end() || found->count() == 0 ? 0 : found->toLong();
}

std::string ContentOf(Exiv2::BasicIo& file) {
    std::string content(file.size(), '\0');
    file.open();
    file.seek(0, Exiv2::BasicIo::beg);
    content.resize(static_cast<std::size_t>(
        file.read(reinterpret_cast<Exiv2::byte*>(content.data()), static_cast<long>(content.size()))));
    file.close();
    return content;
}

/// The pixels lie as the sensor did; the preview does not always tell how that was, and some say what is not so.
RawPreview Upright(const Exiv2::PreviewImage& preview, long orientation) {
    const Exiv2::Image::AutoPtr picture = Exiv2::ImageFactory::open(preview.pData(), static_cast<long>(preview.size()));
    picture->readMetadata();
    if (orientation == 0) orientation = OrientationOf(picture->exifData());
    picture->clearMetadata();
    picture->exifData()["Exif.Image.Orientation"] = static_cast<std::uint16_t>(orientation);
    picture->writeMetadata();
    const bool turned = IsQuarterTurn(orientation);
    const int width = picture->pixelWidth(), height = picture->pixelHeight();
    return {ContentOf(picture->io()), turned ? height : width, turned ? width : height};
}

}  // namespace

void StartExiv2() {
    static std::recursive_mutex mutex;
    static std::once_flag once;
    std::call_once(once, [] {
        // Every flaw of a file would go to standard error; the caller logs one line.
        Exiv2::LogMsg::setLevel(Exiv2::LogMsg::mute);
        Exiv2::XmpParser::initialize(LockXmp, &mutex);
        Exiv2::enableBMFF(true);
    });
}

std::optional<RawPreview> ReadRawPreview(const std::string& path) {
    StartExiv2();
    try {
        const Exiv2::Image::AutoPtr photo = Exiv2::ImageFactory::open(path);
        photo->readMetadata();
        const Exiv2::PreviewManager manager(*photo);
        const Exiv2::PreviewPropertiesList previews = manager.getPreviewProperties();  // the largest last
        for (auto preview = previews.rbegin(); preview != previews.rend(); ++preview) {
            if (preview->mimeType_ != "image/jpeg" || preview->size_ > kMaxPictureBytes) continue;
            return Upright(manager.getPreviewImage(*preview), OrientationOf(photo->exifData()));
        }
    } catch (const std::exception&) {
        // What the library throws at a damaged file says less than that nothing was found.
    }
    return std::nullopt;
}

std::optional<std::string> ReadPhotoPicture(const std::string& path, std::string& flaw) {
    if (BlNIMBIndexIsRawImage(PathExtension(path))) {
        if (std::optional<RawPreview> preview = ReadRawPreview(path)) return std::move(preview->jpeg);
    }
    std::optional<std::string> content = ReadWholeFile(path, kMaxPictureBytes);
    if (!content) flaw = errno == EFBIG ? "the file is too large" : std::strerror(errno);
    return content;
}

}  // namespace MediaServer
