#include <gtest/gtest.h>

#include "dlna/DLNA_Audio.h"
#include "dlna/DlnaProfiles.h"
#include "support/Records.h"

namespace MediaServer {
namespace {

struct AudioCase {
    const char* why;
    SoundFacts sound;
    int audio_class;
};

constexpr AudioCase kCases[] = {
    {"stereo AAC at the lower bound of its rate", "aac", 320000, 48000, 2, 2},
    {"one bit above the 320k class", "aac", 320001, 48000, 2, 1},
    {"576k is still stereo AAC", "aac", 576000, 8000, 1, 1},
    {"stereo above 576k is not taken for multichannel", "aac", 576001, 48000, 2, 0},
    {"three channels start the multichannel class", "aac", 320000, 48000, 3, 3},
    {"six channels at the highest rate", "aac", 1440000, 48000, 6, 3},
    {"multichannel above 1440k", "aac", 1440001, 48000, 6, 0},
    {"seven channels fit nothing", "aac", 320000, 48000, 7, 0},
    {"AAC below 8 kHz", "aac", 64000, 7999, 2, 0},
    {"AAC above 48 kHz", "aac", 64000, 48001, 2, 0},
    {"HE-AAC at half rate", "aac_he", 320000, 24000, 2, 7},
    {"HE-AAC at half rate, faster", "aac_he", 320001, 24000, 2, 6},
    {"HE-AAC at half rate, fastest", "aac_he", 576000, 24000, 2, 6},
    {"half-rate HE-AAC too fast", "aac_he", 576001, 24000, 2, 0},
    {"half-rate HE-AAC has no multichannel form", "aac_he", 64000, 24000, 3, 0},
    {"HE-AAC just above half rate", "aac_he", 64000, 24001, 2, 8},
    {"stereo HE-AAC beyond 576k falls to the wide class", "aac_he", 576001, 48000, 2, 9},
    {"HE-AAC with six channels", "aac_he", 1440000, 48000, 6, 9},
    {"HE-AAC beyond 1440k", "aac_he", 1440001, 48000, 6, 0},
    {"HE-AAC with seven channels", "aac_he", 64000, 48000, 7, 0},
    {"error-resilient LC is LC", "aac_er_lc", 320000, 48000, 2, 2},
    {"the escape type is taken as HE-AAC", "aac_escape", 320000, 24000, 2, 7},
    {"stereo BSAC", "aac_bsac", 128000, 16000, 2, 4},
    {"BSAC with six channels", "aac_bsac", 128000, 48000, 6, 5},
    {"BSAC too fast", "aac_bsac", 128001, 48000, 2, 0},
    {"BSAC below 16 kHz", "aac_bsac", 64000, 15999, 2, 0},
    {"type 27 at half rate", "aac_er_parametric", 320000, 24000, 2, 11},
    {"type 27 at half rate, faster", "aac_er_parametric", 320001, 24000, 2, 10},
    {"type 27 above half rate", "aac_er_parametric", 576000, 24001, 2, 12},
    {"type 27 has twice the room", "aac_er_parametric", 2880000, 48000, 6, 13},
    {"type 27 beyond that room", "aac_er_parametric", 2880001, 48000, 6, 0},
    {"long-term prediction has no profile", "aac_ltp", 128000, 44100, 2, 0},

    {"slowest AC-3", "ac3", 32000, 32000, 6, 17},
    {"too slow for AC-3", "ac3", 31999, 48000, 2, 0},
    {"last plain AC-3 rate", "ac3", 448000, 44100, 2, 17},
    {"first extended AC-3 rate", "ac3", 448001, 48000, 2, 18},
    {"last extended AC-3 rate", "ac3", 640000, 48000, 2, 18},
    {"one bit beyond AC-3", "ac3", 640001, 48000, 2, 0},
    {"AC-3 with seven channels", "ac3", 448000, 48000, 7, 0},
    {"AC-3 at a rate that it lacks", "ac3", 448000, 22050, 2, 0},
    {"E-AC-3 is not AC-3", "eac3", 448000, 48000, 2, 0},

    {"narrow-band AMR", "amr_nb", 12200, 8000, 1, 19},
    {"narrow-band AMR between its modes", "amr_nb", 12000, 8000, 1, 0},
    {"narrow-band AMR is mono", "amr_nb", 12200, 8000, 2, 0},
    {"slowest wide-band AMR", "amr_wb", 5200, 16000, 2, 20},
    {"wide-band AMR too slow", "amr_wb", 5199, 16000, 1, 0},
    {"wide-band AMR too fast", "amr_wb", 48001, 16000, 1, 0},
    {"wide-band AMR at an odd rate", "amr_wb", 24000, 44100, 1, 0},
    {"ATRAC3 needs no bounds", "amr_atrac3", 0, 0, 0, 21},
    {"G.726 has one operating point", "adpcm_g726", 32000, 8000, 1, 22},
    {"G.726 at another rate", "adpcm_g726", 24000, 8000, 1, 0},

    {"PCM of a video disc", "pcm_s16be", 1536000, 48000, 2, 23},
    {"PCM just above 48 kHz", "pcm_s16le", 3072000, 48001, 2, 0},
    {"PCM with three channels", "pcm_s16le", 1, 48000, 3, 0},
    {"24-bit PCM", "pcm_s24le", 1, 48000, 2, 0},

    {"layer 2 with its most channels", "mp2", 448000, 48000, 5, 25},
    {"layer 2 with six channels", "mp2", 384000, 48000, 6, 0},
    {"layer 2 too fast", "mp2", 448001, 48000, 2, 0},
    {"layer 2 at a half rate", "mp2", 64000, 24000, 2, 0},
    {"layer 1 is asked for by the MPEG-2 guesser only", "mp1", 384000, 48000, 2, 0},

    {"common layer 3", "mp3", 128000, 44100, 2, 26},
    {"layer 3 with a variable rate's average", "mp3", 130000, 44100, 2, 0},
    {"192k exists at full rates", "mp3", 192000, 48000, 2, 26},
    {"low-rate layer 3", "mp3", 64000, 22050, 2, 27},
    {"192k does not exist at half rates", "mp3", 192000, 22050, 2, 0},
    {"8k exists at half rates", "mp3", 8000, 16000, 1, 27},
    {"8k does not exist at full rates", "mp3", 8000, 44100, 1, 0},
    {"a quarter rate", "mp3", 64000, 11025, 1, 0},

    {"fastest base WMA", "wmav1", 193000, 48000, 2, 28},
    {"slowest full WMA", "wmav2", 193001, 48000, 2, 29},
    {"fastest full WMA", "wmav2", 385000, 44100, 1, 29},
    {"WMA beyond full", "wmav2", 385001, 48000, 2, 0},
    {"WMA above 48 kHz", "wmav2", 128000, 48001, 2, 0},
    {"WMA with three channels", "wmav2", 128000, 48000, 3, 0},
    {"largest WMA Pro", "wmapro", 1500000, 96000, 8, 30},
    {"WMA Pro with nine channels", "wmapro", 1500000, 96000, 9, 0},
    {"WMA Pro too fast", "wmapro", 1500001, 96000, 8, 0},
    {"no audio at all", "", 0, 0, 0, 0},
};

TEST(ClassifyAudio, ByCodecAndOperatingPoint) {
    for (const AudioCase& c : kCases) EXPECT_EQ(ClassifyAudio(RecordOf(c.sound)), c.audio_class) << c.why;
}

/// The formats that know fixed bit rates only, by the number of those and their sum.
TEST(ClassifyAudio, FixedBitrates) {
    struct {
        AudioCase file;
        int count;
        std::uint64_t sum;
    } const kFixed[] = {{{"layer 3", "mp3", 0, 44100, 2, 26}, 14, 1808000},
                        {{"low-rate layer 3", "mp3", 0, 24000, 2, 27}, 15, 1440000},
                        {{"AMR", "amr_nb", 0, 8000, 1, 19}, 8, 60250}};
    for (const auto& c : kFixed) {
        SCOPED_TRACE(c.file.why);
        NIMB_MEDIA_INFO record = RecordOf(c.file.sound);
        int count = 0;
        std::uint64_t sum = 0;
        for (record.audio_bitrate = 0; record.audio_bitrate <= 400000; ++record.audio_bitrate) {
            if (ClassifyAudio(record) != c.file.audio_class) continue;
            ++count;
            sum += record.audio_bitrate;
        }
        EXPECT_EQ(count, c.count);
        EXPECT_EQ(sum, c.sum);
    }
}

TEST(DLNA_AudioGetMP1Profile, SharesTheLimitsOfLayer2) {
    const DLNA_AudioGetMP1Profile mp1;
    EXPECT_EQ(mp1.Classify(RecordOf(SoundFacts{"mp1", 32000, 32000, 5})), 24);
    EXPECT_EQ(mp1.Classify(RecordOf(SoundFacts{"mp1", 31999, 32000, 5})), 0);
    EXPECT_EQ(mp1.Classify(RecordOf(SoundFacts{"mp2", 64000, 32000, 2})), 0);
}

}  // namespace
}  // namespace MediaServer
