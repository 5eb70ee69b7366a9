#include "gateway/PictureScaler.h"

#include <algorithm>
#include <array>
#include <iterator>

#include <vips/vips8>

namespace MediaServer {
namespace {

constexpr int kJpegQuality = 85;
constexpr int kLongestSide = 16384;

/// How each format that is taken begins; a WebP's size stands before its name.
struct Signature {
    std::size_t offset;
    std::string_view bytes;
    std::optional<PictureFormat> format;
};
const Signature kSignatures[] = {
    {0, "\xFF\xD8\xFF", PictureFormat::Jpeg},
    {0, "\x89PNG\r\n\x1A\n", PictureFormat::Png},
    {8, "WEBP", std::nullopt},
    {0, "GIF8", std::nullopt},
};

const Signature* SignatureOf(std::string_view bytes) {
    const auto* found = std::find_if(std::begin(kSignatures), std::end(kSignatures), [&](const Signature& signature) {
        return bytes.size() > signature.offset && bytes.substr(signature.offset).starts_with(signature.bytes);
    });
    return found == std::end(kSignatures) ? nullptr : found;
}

/// The library keeps results and threads of its own unless told otherwise: the workers are the threads here, and what
/// is worth keeping is kept as a file.
bool StartLibrary() {
    if (VIPS_INIT("dms-gateway") != 0) return false;
    vips_concurrency_set(1);
    vips_cache_set_max(0);
    vips_block_untrusted_set(TRUE);
    // Every flaw of a user's pictures would go to standard error; what matters comes back as an error.
    g_log_set_handler(
        "VIPS", G_LOG_LEVEL_WARNING, [](const char*, GLogLevelFlags, const char*, void*) {}, nullptr);
    return true;
}

using vips::VImage;

VImage Decode(std::string_view picture, int max_side) {
    // The header alone is read here.
    const VImage header = VImage::new_from_buffer(picture.data(), picture.size(), "");
    const std::int64_t pixels = std::int64_t{header.width()} * header.height();
    if (header.width() > kLongestSide || header.height() > kLongestSide || pixels > kMaxPicturePixels) {
        throw vips::VError("the picture is too large");
    }
    if (max_side == 0) {
        return VImage::new_from_buffer(picture.data(), picture.size(), "",
                                       VImage::option()->set("access", VIPS_ACCESS_SEQUENTIAL));
    }
    VipsBlob* blob = vips_blob_new(nullptr, picture.data(), picture.size());
    const auto free_blob = [](VipsBlob* area) { vips_area_unref(VIPS_AREA(area)); };
    const std::unique_ptr<VipsBlob, decltype(free_blob)> owner(blob, free_blob);
    return VImage::thumbnail_buffer(
        blob, max_side,
        VImage::option()->set("height", max_side)->set("size", VIPS_SIZE_DOWN)->set("export_profile", "srgb"));
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

}  // namespace

std::optional<PictureFormat> PictureFormatOf(std::string_view bytes) {
    const Signature* signature = SignatureOf(bytes);
    return signature == nullptr ? std::nullopt : signature->format;
}

std::optional<std::string> RenderPicture(std::string_view picture, PictureFormat format, int max_side,
                                         std::string& error) {
    static const bool ready = StartLibrary();
    if (!ready || SignatureOf(picture) == nullptr) {
        error = ready ? "unknown picture format" : "the image library does not start";
        return std::nullopt;
    }
    try {
        return Encode(Decode(picture, max_side), format);
    } catch (const vips::VError& failure) {
        error = failure.what();
        vips_error_clear();
        return std::nullopt;
    }
}

}  // namespace MediaServer
