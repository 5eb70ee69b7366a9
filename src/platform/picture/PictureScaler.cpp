#include "platform/picture/PictureScaler.h"

#include <algorithm>
#include <iterator>
#include <memory>

#include <vips/vips8>

#include "platform/media/MediaUrl.h"

namespace MediaServer {
namespace {

constexpr int kJpegQuality = 85;
constexpr int kLongestSide = 16384;

/// How each format that is taken begins, and the one loader that may read it. Some have their length or nothing before
/// their name.
struct Signature {
    std::size_t offset;
    std::string_view bytes;
    std::string_view loader;
    std::optional<PictureFormat> format;
};
const Signature kSignatures[] = {
    {0, "\xFF\xD8\xFF", "VipsForeignLoadJpeg", PictureFormat::Jpeg},
    {0, "\x89PNG\r\n\x1A\n", "VipsForeignLoadPng", PictureFormat::Png},
    {8, "WEBP", "VipsForeignLoadWebp", std::nullopt},
    {0, "GIF8", "VipsForeignLoadNsgif", std::nullopt},
    {0, {"II*\0", 4}, "VipsForeignLoadTiff", std::nullopt},
    {0, {"MM\0*", 4}, "VipsForeignLoadTiff", std::nullopt},
    {4, "ftyp", "VipsForeignLoadHeif", std::nullopt},
    {0, "BM", "VipsForeignLoadMagick", std::nullopt},
};

const Signature* SignatureOf(std::string_view bytes) {
    const auto* found = std::find_if(std::begin(kSignatures), std::end(kSignatures), [&](const Signature& signature) {
        return bytes.size() > signature.offset && bytes.substr(signature.offset).starts_with(signature.bytes);
    });
    return found == std::end(kSignatures) ? nullptr : found;
}

/// The library keeps results and threads of its own unless told otherwise: the callers are the threads here, and what
/// is worth keeping they keep.
bool StartLibrary() {
    if (VIPS_INIT("dms") != 0) return false;
    vips_concurrency_set(1);
    vips_cache_set_max(0);
    vips_block_untrusted_set(TRUE);
    // Reads BMP, and a hundred formats more that no file gets to: CheckLoader holds each to its own.
    vips_operation_block_set("VipsForeignLoadMagick", FALSE);
    // Every flaw of a user's pictures would go to standard error; what matters comes back as an error.
    g_log_set_handler(
        "VIPS", G_LOG_LEVEL_WARNING, [](const char*, GLogLevelFlags, const char*, void*) {}, nullptr);
    return true;
}

using vips::VImage;

void CheckLoader(std::string_view picture) {
    static const bool ready = StartLibrary();
    if (!ready) throw vips::VError("the image library does not start");
    const Signature* signature = SignatureOf(picture);
    const char* loader = signature ? vips_foreign_find_load_buffer(picture.data(), picture.size()) : nullptr;
    if (!loader || !std::string_view(loader).starts_with(signature->loader)) {
        throw vips::VError("unknown picture format");
    }
}

struct Size {
    int width, height;
};

/// Reads the header alone. @return the size of the upright picture.
Size UprightSize(std::string_view picture) {
    const VImage header = VImage::new_from_buffer(picture.data(), picture.size(), "");
    const std::int64_t pixels = std::int64_t{header.width()} * header.height();
    if (header.width() > kLongestSide || header.height() > kLongestSide || pixels > kMaxPicturePixels) {
        throw vips::VError("the picture is too large");
    }
    if (vips_image_get_orientation_swap(header.get_image())) return {header.height(), header.width()};
    return {header.width(), header.height()};
}

/// The library scales as well, but rounds in ways of its own; a size is announced before the picture is made.
vips::VOption* ScaledTo(Size size, int max_side, int& width) {
    int height = 0;
    DMSGetThumbnailRes(size.width, size.height, &width, &height, max_side);
    return VImage::option()->set("height", height)->set("size", VIPS_SIZE_FORCE)->set("export_profile", "srgb");
}

VImage Decode(std::string_view picture, int max_side) {
    const Size size = UprightSize(picture);
    if (max_side == 0) {
        return VImage::new_from_buffer(picture.data(), picture.size(), "",
                                       VImage::option()->set("access", VIPS_ACCESS_SEQUENTIAL));
    }
    VipsBlob* blob = vips_blob_new(nullptr, picture.data(), picture.size());
    const auto free_blob = [](VipsBlob* area) { vips_area_unref(VIPS_AREA(area)); };
    const std::unique_ptr<VipsBlob, decltype(free_blob)> owner(blob, free_blob);
    int width = 0;
    vips::VOption* options = ScaledTo(size, max_side, width);
    return VImage::thumbnail_buffer(blob, width, options);
}

std::string Encode(VImage image, PictureFormat format) {
    if (image.interpretation() != VIPS_INTERPRETATION_sRGB) image = image.colourspace(VIPS_INTERPRETATION_sRGB);
    if (format == PictureFormat::Jpeg && image.has_alpha()) {
        image = image.flatten(VImage::option()->set("background", 255.0));
    }
    vips::VOption* options = VImage::option()->set("strip", true);
    if (format == PictureFormat::Jpeg) options->set("Q", kJpegQuality);
    void* data = nullptr;
    std::size_t size = 0;
    image.write_to_buffer(format == PictureFormat::Jpeg ? ".jpg" : ".png", &data, &size, options);
    const std::unique_ptr<void, decltype(&g_free)> owner(data, &g_free);
    return {static_cast<const char*>(data), size};
}

/// The library gathers its messages until they are cleared, also those of pictures that it could read.
std::string ReasonOf(const vips::VError& failure) {
    std::string reason = failure.what();
    vips_error_clear();
    reason.resize(std::min(reason.size(), reason.find('\n')));
    return reason.empty() ? "damaged picture" : reason;
}

/// Of a picture that was cut short the library decodes what is there without a word. Programs add things behind the
/// end, and a thumbnail before the picture has an end of its own.
bool IsCutShort(std::string_view picture) {
    const std::optional<PictureFormat> format = PictureFormatOf(picture);
    if (format == PictureFormat::Png) return picture.find("IEND") == std::string_view::npos;
    if (format != PictureFormat::Jpeg) return false;
    const auto byte = [&](std::size_t at) {
        return at < picture.size() ? static_cast<unsigned char>(picture[at]) : 0U;
    };
    constexpr unsigned char kStartOfScan = 0xDA;
    std::size_t segment = 2;  // ITU-T T.81, B.1.1
    while (byte(segment) == 0xFF && byte(segment + 1) != kStartOfScan) {
        segment += 2 + byte(segment + 2) * 256 + byte(segment + 3);
    }
    return picture.find("\xFF\xD9", std::min(segment, picture.size())) == std::string_view::npos;
}

template <typename Make>
auto MakeOf(std::string_view picture, std::string& flaw, Make make) -> std::optional<decltype(make())> {
    try {
        CheckLoader(picture);
        auto made = make();
        vips_error_clear();
        if (IsCutShort(picture)) flaw = "it was cut short";
        return made;
    } catch (const vips::VError& failure) {
        flaw = ReasonOf(failure);
    }
    return std::nullopt;
}

}  // namespace

std::optional<PictureFormat> PictureFormatOf(std::string_view bytes) {
    const Signature* signature = SignatureOf(bytes);
    return signature == nullptr ? std::nullopt : signature->format;
}

std::optional<std::string> RenderPicture(std::string_view picture, PictureFormat format, int max_side,
                                         std::string& flaw) {
    return MakeOf(picture, flaw, [&] { return Encode(Decode(picture, max_side), format); });
}

std::optional<Thumbnails> RenderThumbnails(std::string_view picture, std::string& flaw) {
    return MakeOf(picture, flaw, [&] {
        // Used twice, decoded once.
        const VImage big = Decode(picture, kBigThumbnailSide).copy_memory();
        int width = 0;
        vips::VOption* options = ScaledTo(UprightSize(picture), kSmallThumbnailSide, width);
        const VImage small = big.thumbnail_image(width, options);
        return Thumbnails{Encode(small, PictureFormat::Jpeg), Encode(big, PictureFormat::Jpeg)};
    });
}

}  // namespace MediaServer
