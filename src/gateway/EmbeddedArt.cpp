#include "gateway/EmbeddedArt.h"

#include <chrono>
#include <optional>
#include <vector>

#include <aifffile.h>
#include <apefile.h>
#include <apetag.h>
#include <asffile.h>
#include <attachedpictureframe.h>
#include <fileref.h>
#include <flacfile.h>
#include <id3v2tag.h>
#include <mp4file.h>
#include <mpcfile.h>
#include <mpegfile.h>
#include <oggfile.h>
#include <trueaudiofile.h>
#include <wavfile.h>
#include <wavpackfile.h>
#include <xiphcomment.h>

extern "C" {
#include <libavformat/avformat.h>
}

#include "platform/demux/MediaFormat.h"
#include "platform/picture/PictureScaler.h"

namespace MediaServer {
namespace {

using TagLib::ByteVector;

/// FLAC, Xiph comments and ASF number the kinds of pictures as ID3v2 does (ID3v2.4.0 native frames, 4.14).
constexpr int kFrontCover = 3;

template <typename Pictures, typename KindOf, typename DataOf>
ByteVector PreferFrontCover(const Pictures& pictures, KindOf kind_of, DataOf data_of) {
    ByteVector first;
    for (const auto& picture : pictures) {
        if (kind_of(picture) == kFrontCover) return data_of(picture);
        if (first.isEmpty()) first = data_of(picture);
    }
    return first;
}

ByteVector FromId3(const TagLib::ID3v2::Tag* tag) {
    if (tag == nullptr) return {};
    using Picture = TagLib::ID3v2::AttachedPictureFrame;
    std::vector<const Picture*> pictures;
    for (const TagLib::ID3v2::Frame* frame : tag->frameList("APIC")) {
        if (const auto* picture = dynamic_cast<const Picture*>(frame)) pictures.push_back(picture);
    }
    return PreferFrontCover(
        pictures, [](const Picture* picture) { return static_cast<int>(picture->type()); },
        [](const Picture* picture) { return picture->picture(); });
}

ByteVector FromFlacPictures(const TagLib::List<TagLib::FLAC::Picture*>& pictures) {
    return PreferFrontCover(
        pictures, [](const TagLib::FLAC::Picture* picture) { return static_cast<int>(picture->type()); },
        [](const TagLib::FLAC::Picture* picture) { return picture->data(); });
}

ByteVector FromApe(TagLib::APE::Tag* tag) {
    if (tag == nullptr) return {};
    // The picture follows the name of its file and a NUL byte.
    const ByteVector value = tag->itemListMap()["COVER ART (FRONT)"].binaryData();
    const int name_end = value.find('\0');
    return name_end < 0 ? ByteVector() : value.mid(static_cast<unsigned>(name_end) + 1);
}

ByteVector FromMp4(const TagLib::MP4::Tag* tag) {
    if (tag == nullptr || !tag->contains("covr")) return {};
    const TagLib::MP4::CoverArtList covers = tag->item("covr").toCoverArtList();
    return covers.isEmpty() ? ByteVector() : covers.front().data();
}

ByteVector FromAsf(const TagLib::ASF::Tag* tag) {
    if (tag == nullptr) return {};
    return PreferFrontCover(
        tag->attribute("WM/Picture"),
        [](const TagLib::ASF::Attribute& attribute) { return static_cast<int>(attribute.toPicture().type()); },
        [](const TagLib::ASF::Attribute& attribute) { return attribute.toPicture().picture(); });
}

template <typename File, typename Read>
bool ReadAs(TagLib::File* file, ByteVector& art, Read read) {
    auto* known = dynamic_cast<File*>(file);
    if (known != nullptr) art = read(*known);
    return known != nullptr;
}

/// @return nothing for a kind of file that TagLib does not read, else its picture, perhaps empty.
std::optional<ByteVector> FromTagLib(const std::string& path) {
    const TagLib::FileRef reference(path.c_str(), false);
    TagLib::File* const file = reference.file();
    if (file == nullptr || !file->isValid()) return std::nullopt;
    ByteVector art;
    const bool known = ReadAs<TagLib::MPEG::File>(file, art,
                                                  [](auto& f) {
                                                      const ByteVector picture = FromId3(f.ID3v2Tag());
                                                      return picture.isEmpty() ? FromApe(f.APETag()) : picture;
                                                  }) ||
                       ReadAs<TagLib::FLAC::File>(file, art,
                                                  [](auto& f) {
                                                      const ByteVector picture = FromFlacPictures(f.pictureList());
                                                      return picture.isEmpty() ? FromId3(f.ID3v2Tag()) : picture;
                                                  }) ||
                       ReadAs<TagLib::MP4::File>(file, art, [](auto& f) { return FromMp4(f.tag()); }) ||
                       ReadAs<TagLib::ASF::File>(file, art, [](auto& f) { return FromAsf(f.tag()); }) ||
                       ReadAs<TagLib::RIFF::WAV::File>(file, art, [](auto& f) { return FromId3(f.ID3v2Tag()); }) ||
                       ReadAs<TagLib::RIFF::AIFF::File>(file, art, [](auto& f) { return FromId3(f.tag()); }) ||
                       ReadAs<TagLib::TrueAudio::File>(file, art, [](auto& f) { return FromId3(f.ID3v2Tag()); }) ||
                       ReadAs<TagLib::APE::File>(file, art, [](auto& f) { return FromApe(f.APETag()); }) ||
                       ReadAs<TagLib::WavPack::File>(file, art, [](auto& f) { return FromApe(f.APETag()); }) ||
                       ReadAs<TagLib::MPC::File>(file, art, [](auto& f) { return FromApe(f.APETag()); }) ||
                       ReadAs<TagLib::Ogg::File>(file, art, [](auto& f) {
                           auto* comment = dynamic_cast<TagLib::Ogg::XiphComment*>(f.tag());
                           return comment == nullptr ? ByteVector() : FromFlacPictures(comment->pictureList());
                       });
    if (!known) return std::nullopt;
    return art;
}

/// Far more than reading a head takes; whoever makes a picture holds one of few places.
constexpr std::chrono::seconds kPatience{10};

std::string FromFfmpeg(const std::string& path) {
    auto deadline = std::chrono::steady_clock::now() + kPatience;
    std::string reason;
    const MediaFormat format = OpenMedia(path, deadline, reason);
    if (!format) return {};
    for (unsigned i = 0; i < format->nb_streams; ++i) {
        const AVStream& stream = *format->streams[i];
        if ((stream.disposition & AV_DISPOSITION_ATTACHED_PIC) == 0 || stream.attached_pic.size <= 0) continue;
        return {reinterpret_cast<const char*>(stream.attached_pic.data),
                static_cast<std::size_t>(stream.attached_pic.size)};
    }
    return {};
}

}  // namespace

std::string EmbeddedArt(const std::string& path) {
    const std::optional<ByteVector> tagged = FromTagLib(path);
    std::string art = tagged ? std::string(tagged->data(), tagged->size()) : FromFfmpeg(path);
    if (art.size() > kMaxPictureBytes) art.clear();
    return art;
}

}  // namespace MediaServer
