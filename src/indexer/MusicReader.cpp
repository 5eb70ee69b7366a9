#include <algorithm>
#include <cstdlib>
#include <initializer_list>

#include <taglib/aifffile.h>
#include <taglib/apefile.h>
#include <taglib/apeproperties.h>
#include <taglib/apetag.h>
#include <taglib/asffile.h>
#include <taglib/asfproperties.h>
#include <taglib/asftag.h>
#include <taglib/attachedpictureframe.h>
#include <taglib/fileref.h>
#include <taglib/flacfile.h>
#include <taglib/id3v2tag.h>
#include <taglib/mp4file.h>
#include <taglib/mp4properties.h>
#include <taglib/mp4tag.h>
#include <taglib/mpcfile.h>
#include <taglib/mpegfile.h>
#include <taglib/mpegheader.h>
#include <taglib/mpegproperties.h>
#include <taglib/opusfile.h>
#include <taglib/speexfile.h>
#include <taglib/tfilestream.h>
#include <taglib/tpropertymap.h>
#include <taglib/trueaudiofile.h>
#include <taglib/vorbisfile.h>
#include <taglib/wavfile.h>
#include <taglib/wavpackfile.h>
#include <taglib/wavproperties.h>
#include <taglib/xiphcomment.h>

#include "indexer/MediaReader.h"

namespace MediaServer {
namespace {

/// What a file's class tells that its tag and properties do not. Names of codecs are those of FFmpeg's decoders.
struct FormatFacts {
    const char* container = "";
    const char* codec = "";
    bool has_art = false;
    int bitrate = 0;  ///< kilobits per second, when better known than as an average
};

bool HasId3Art(const TagLib::ID3v2::Tag* tag) {
    return tag && !tag->frameListMap()["APIC"].isEmpty();
}
bool HasApeArt(const TagLib::APE::Tag* tag) {
    return tag && tag->itemListMap().contains("COVER ART (FRONT)");
}

/// Bit rate of a file whose frames all have the same, 0 of another. The average over a file with one is a little more,
/// for what is not audio; clients know the exact rates only.
int ConstantBitrate(TagLib::MPEG::File& file) {
    constexpr int kToleranceOfAverage = 20;  // a twentieth
    const int rate = TagLib::MPEG::Header(&file, file.firstFrameOffset(), false).bitrate();
    const int average = file.audioProperties()->bitrate();
    return std::abs(average - rate) * kToleranceOfAverage <= rate ? rate : 0;
}

FormatFacts FactsOf(TagLib::MPEG::File& file) {
    constexpr const char* kLayers[] = {"", "mp1", "mp2", "mp3"};
    const int layer = file.audioProperties()->layer();
    return {"mp3", kLayers[layer >= 1 && layer <= 3 ? layer : 0], HasId3Art(file.ID3v2Tag()), ConstantBitrate(file)};
}
FormatFacts FactsOf(TagLib::FLAC::File& file) {
    return {"flac", "flac", !file.pictureList().isEmpty() || HasId3Art(file.ID3v2Tag())};
}
FormatFacts FactsOf(const TagLib::MP4::File& file) {
    const bool lossless = file.audioProperties()->codec() == TagLib::MP4::Properties::ALAC;
    return {"mp4", lossless ? "alac" : "aac", file.tag()->contains("covr")};
}
FormatFacts FactsOf(const TagLib::Ogg::Vorbis::File& file) {
    return {"ogg", "vorbis", !file.tag()->pictureList().isEmpty()};
}
FormatFacts FactsOf(const TagLib::Ogg::Opus::File& file) {
    return {"ogg", "opus", !file.tag()->pictureList().isEmpty()};
}
FormatFacts FactsOf(const TagLib::Ogg::Speex::File& file) {
    return {"ogg", "speex", !file.tag()->pictureList().isEmpty()};
}
FormatFacts FactsOf(const TagLib::RIFF::WAV::File& file) {
    const auto* properties = file.audioProperties();
    const bool is_pcm = properties->format() == 1 || properties->format() == 0xFFFE;
    const int bits = properties->bitsPerSample();
    const char* codec = !is_pcm      ? ""
                        : bits == 8  ? "pcm_u8"
                        : bits == 24 ? "pcm_s24le"
                        : bits == 32 ? "pcm_s32le"
                                     : "pcm_s16le";
    return {"wav", codec, HasId3Art(file.ID3v2Tag())};
}
FormatFacts FactsOf(const TagLib::RIFF::AIFF::File& file) {
    return {"aiff", "pcm_s16be", HasId3Art(file.tag())};
}
FormatFacts FactsOf(const TagLib::ASF::File& file) {
    switch (file.audioProperties()->codec()) {
        case TagLib::ASF::Properties::WMA1:
            return {"asf", "wmav1", file.tag()->contains("WM/Picture")};
        case TagLib::ASF::Properties::WMA9Pro:
            return {"asf", "wmapro", file.tag()->contains("WM/Picture")};
        case TagLib::ASF::Properties::WMA9Lossless:
            return {"asf", "wmalossless", file.tag()->contains("WM/Picture")};
        default:
            return {"asf", "wmav2", file.tag()->contains("WM/Picture")};
    }
}
FormatFacts FactsOf(TagLib::APE::File& file) {
    return {"ape", "ape", HasApeArt(file.APETag())};
}
FormatFacts FactsOf(TagLib::MPC::File& file) {
    return {"mpc", "musepack", HasApeArt(file.APETag())};
}
FormatFacts FactsOf(TagLib::WavPack::File& file) {
    return {"wv", "wavpack", HasApeArt(file.APETag())};
}
FormatFacts FactsOf(TagLib::TrueAudio::File& file) {
    return {"tta", "tta", HasId3Art(file.ID3v2Tag())};
}

template <typename... Files>
FormatFacts FindFacts(TagLib::File* file) {
    FormatFacts facts;
    const auto try_one = [&]<typename File>(File* typed) {
        if (typed) facts = FactsOf(*typed);
        return typed != nullptr;
    };
    (try_one(dynamic_cast<Files*>(file)) || ...);
    return facts;
}

/// The names that taggers give to a property, the standard one first.
struct TagText {
    std::initializer_list<const char*> names;
    std::string NIMB_MEDIA_INFO::*member;
};
const TagText kTagTexts[] = {
    {{"TITLE"}, &NIMB_MEDIA_INFO::title},
    {{"ALBUM"}, &NIMB_MEDIA_INFO::album},
    {{"ARTIST"}, &NIMB_MEDIA_INFO::artist},
    {{"ALBUMARTIST", "ALBUM ARTIST", "ALBUM_ARTIST"}, &NIMB_MEDIA_INFO::album_artist},
    {{"GENRE"}, &NIMB_MEDIA_INFO::genre},
    {{"COMPOSER"}, &NIMB_MEDIA_INFO::composer},
};
struct TagNumber {
    std::initializer_list<const char*> names;
    std::int32_t NIMB_MEDIA_INFO::*member;
    std::size_t digits;
};
const TagNumber kTagNumbers[] = {
    {{"TRACKNUMBER", "TRACK"}, &NIMB_MEDIA_INFO::track, 5},
    {{"DISCNUMBER", "DISC"}, &NIMB_MEDIA_INFO::disc, 4},
    {{"DATE", "YEAR"}, &NIMB_MEDIA_INFO::year, 4},
};

void TakeTags(const TagLib::PropertyMap& tags, NIMB_MEDIA_INFO& record) {
    const auto text = [&](std::initializer_list<const char*> names) {
        for (const char* name : names) {
            if (const auto found = tags.find(name); found != tags.end())
                return found->second.toString("; ").to8Bit(true);
        }
        return std::string();
    };
    for (const TagText& tag : kTagTexts) {
        if (std::string value = text(tag.names); !value.empty()) record.*tag.member = std::move(value);
    }
    for (const TagNumber& tag : kTagNumbers) record.*tag.member = LeadingNumber(text(tag.names), tag.digits);
}

void TakeProperties(const TagLib::AudioProperties& properties, NIMB_MEDIA_INFO& record) {
    record.duration = static_cast<float>(properties.lengthInMilliseconds()) / 1000;
    record.audio_bitrate = static_cast<std::uint32_t>(std::max(properties.bitrate(), 0)) * 1000;
    record.frequency = properties.sampleRate();
    record.channel = properties.channels();
    if (record.duration > 0) {
        record.frame_bitrate = static_cast<std::uint32_t>(static_cast<double>(record.filesize) * 8 / record.duration);
    }
}

bool ReadTags(NIMB_MEDIA_INFO& record) {
    // Opened for writing, as it would be by name, each look at a file would count as a change to those who watch.
    TagLib::FileStream stream(record.path.c_str(), true);
    const TagLib::FileRef file(&stream, true, TagLib::AudioProperties::Average);
    const TagLib::AudioProperties* properties = file.isNull() ? nullptr : file.audioProperties();
    // Garbage with a known extension opens, but has nothing to play.
    if (!properties || properties->sampleRate() <= 0 || properties->lengthInMilliseconds() <= 0) return false;
    const FormatFacts facts =
        FindFacts<TagLib::MPEG::File, TagLib::FLAC::File, TagLib::MP4::File, TagLib::Ogg::Vorbis::File,
                  TagLib::Ogg::Opus::File, TagLib::RIFF::WAV::File, TagLib::RIFF::AIFF::File, TagLib::ASF::File,
                  TagLib::APE::File, TagLib::MPC::File, TagLib::WavPack::File, TagLib::TrueAudio::File,
                  TagLib::Ogg::Speex::File>(file.file());
    TakeTags(file.file()->properties(), record);
    TakeProperties(*properties, record);
    record.container_type = facts.container;
    record.audio_codec = facts.codec;
    record.embedded_art = facts.has_art;
    if (facts.bitrate > 0) record.audio_bitrate = static_cast<std::uint32_t>(facts.bitrate) * 1000;
    return true;
}

}  // namespace

bool ReadMusic(NIMB_MEDIA_INFO& record, std::string& reason) {
    return ReadTags(record) || ReadStreams(record, MediaKind::Music, reason);
}

}  // namespace MediaServer
