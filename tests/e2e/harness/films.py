"""Films of as many DLNA profiles as FFmpeg can make, and of kinds that have none."""
from harness import library

# Debian's FFmpeg does not encode HE-AAC, BSAC, AMR, ATRAC3, WMV9 and WMA Pro, nor H.263 into MP4: their profiles are made of records alone, in
# tests/dlna.
_X264 = "-c:v libx264 -preset ultrafast -pix_fmt yuv420p"
_AAC, _AAC6, _MP3 = "-c:a aac -b:a 64k -ac 2", "-c:a aac -b:a 320k -ac 6", "-c:a libmp3lame -b:a 128k -ac 2"
_AC3, _AC3_640, _MP2 = "-c:a ac3 -b:a 192k -ac 2", "-c:a ac3 -b:a 640k -ac 2", "-c:a mp2 -b:a 192k -ac 2"
_NTSC, _FILM = "30000/1001", "24000/1001"


# Blurred, so that little is enough; what is then too little is filled up.
def _h264(rate):
    return f"{_X264} -vf boxblur=10 -b:v {rate} -minrate {rate} -maxrate {rate} -bufsize {rate} -x264-params nal-hrd=cbr:force-cfr=1"


def _mpeg4(rate):
    return f"-c:v mpeg4 -vf boxblur=10 -b:v {rate} -minrate {rate} -maxrate {rate} -bufsize {rate}"


_MPEG2 = "-c:v mpeg2video -b:v 2M"
_FREE, _MEDIUM = f"{_X264} -b:v 4500k -maxrate 4500k -bufsize 1M", _h264("1500k")

# Profile, extension, picture size, frame rate, video, audio.
ONE_FORM = [
    ("AVC_MP4_MP_SD_AAC_MULT5", "mp4", "704x576", "25", _FREE, _AAC6),
    ("AVC_MP4_MP_SD_MPEG1_L3", "mp4", "704x576", "25", _FREE, _MP3),
    ("AVC_MP4_MP_SD_AC3", "mp4", "704x576", "25", _FREE, _AC3),
    ("AVC_MP4_BL_L3_SD_AAC", "mp4", "640x480", "30", _MEDIUM, _AAC),
    ("AVC_MP4_BL_CIF30_AAC_MULT5", "mp4", "352x288", "30", _MEDIUM, _AAC6),
    ("AVC_MP4_BL_CIF30_MPEG1_L3", "mp4", "352x288", "30", _MEDIUM, _MP3),
    ("AVC_MP4_BL_CIF30_AC3", "mp4", "352x288", "30", _MEDIUM, _AC3),
    ("AVC_MP4_BL_L2_CIF30_AAC", "mp4", "352x288", "30", _h264("1000k"), _AAC),
    ("AVC_MP4_BL_CIF15_AAC", "mp4", "320x180", "15", _h264("340k"), "-c:a aac -b:a 210k -ac 2"),
    ("AVC_MP4_BL_CIF15_AAC_520", "mp4", "352x288", "15", _h264("350k"), _AAC),
    ("MPEG4_P2_MP4_SP_AAC", "mp4", "176x144", "30", _mpeg4("300k"), _AAC),
    ("MPEG4_P2_MP4_SP_L2_AAC", "mp4", "128x96", "30", _mpeg4("110k"), _AAC),
    ("MPEG4_P2_MP4_SP_VGA_AAC", "mp4", "640x480", "30", _mpeg4("2500k"), _AAC),
    ("MPEG4_P2_MP4_ASP_AAC", "mp4", "720x576", "25", _mpeg4("4M"), _AAC),
    ("MPEG4_P2_MP4_ASP_L4_SO_AAC", "mp4", "352x576", "25", _mpeg4("1M"), _AAC),
    ("MPEG4_P2_3GPP_SP_L0B_AAC", "3gp", "176x144", "15", _mpeg4("100k"), _AAC),
    ("MPEG4_P2_ASF_SP_G726", "asf", "176x144", "30", _mpeg4("300k"), "-c:a g726 -b:a 32k -ar 8000 -ac 1"),
    ("MPEG_PS_PAL", "mpg", "720x576", "25", _MPEG2, _MP2 + " -f vob"),
    ("MPEG_PS_PAL_XAC3", "mpg", "720x576", "25", _MPEG2, _AC3_640 + " -v fatal -f vob"),
    ("MPEG_PS_NTSC", "mpg", "720x480", _NTSC, _MPEG2, _AC3 + " -f vob"),
    ("MPEG_PS_NTSC_XAC3", "mpg", "720x480", _NTSC, _MPEG2, _AC3_640 + " -v fatal -f vob"),
    ("MPEG1", "avi", "352x288", "25", "-c:v mpeg1video -b:v 1150k -minrate 1150k -maxrate 1150k -bufsize 327680",
     "-c:a mp2 -b:a 224k -ac 2 -ar 44100"),
]
# Transport streams: the name for packets with empty time stamps; with stamps it ends in _T, without any in _ISO.
TRANSPORT = [
    ("AVC_TS_MP_SD_AAC_MULT5", "704x576", "25", _FREE, _AAC6),
    ("AVC_TS_MP_SD_MPEG1_L3", "704x576", "25", _FREE, _MP3),
    ("AVC_TS_MP_SD_AC3", "704x576", "25", _FREE, _AC3),
    ("AVC_TS_BL_CIF30_AAC_MULT5", "352x288", "30", _MEDIUM, _AAC6),
    ("AVC_TS_BL_CIF30_MPEG1_L3", "352x288", "30", _MEDIUM, _MP3),
    ("AVC_TS_BL_CIF30_AC3", "352x288", "30", _MEDIUM, _AC3),
    ("AVC_TS_BL_CIF30_AAC_940", "352x288", "30", _h264("600k"), _AAC),
    ("AVC_TS_MP_HD_AAC_MULT5", "1280x720", "50", _FREE, _AAC6),
    ("AVC_TS_MP_HD_MPEG1_L3", "1280x720", "50", _FREE, _MP3),
    ("AVC_TS_MP_HD_AC3", "1920x1080", _FILM, _FREE, _AC3),
    ("AVC_TS_MP_HD_AAC", "1280x720", "50", _FREE, _AAC),
    ("MPEG4_P2_TS_SP_AAC", "176x144", "30", _mpeg4("300k"), _AAC),
    ("MPEG4_P2_TS_SP_MPEG1_L3", "176x144", "30", _mpeg4("300k"), _MP3),
    ("MPEG4_P2_TS_SP_MPEG2_L2", "176x144", "30", _mpeg4("300k"), _MP2),
    ("MPEG4_P2_TS_ASP_AAC", "720x576", "25", _mpeg4("4M"), _AAC),
    ("MPEG4_P2_TS_ASP_MPEG1_L3", "720x576", "25", _mpeg4("4M"), _MP3),
    ("MPEG4_P2_TS_CO_AC3", "352x288", "30", _mpeg4("1M"), _AC3),
    ("MPEG4_P2_TS_CO_MPEG2_L2", "352x288", "30", _mpeg4("1M"), _MP2),
    ("MPEG_TS_SD_EU", "720x576", "25", _MPEG2, _MP2),
    ("MPEG_TS_SD_NA", "720x480", _NTSC, _MPEG2, _AC3),
    ("MPEG_TS_SD_NA_XAC3", "640x480", "24", _MPEG2, _AC3_640),
    ("MPEG_TS_HD_NA", "1920x1080", _NTSC, "-c:v mpeg2video -b:v 8M", _AC3),
    ("MPEG_TS_HD_NA_XAC3", "1280x720", "60000/1001", "-c:v mpeg2video -b:v 8M", _AC3_640),
    ("MPEG_TS_MP_LL_AAC", "352x288", "30", _MPEG2, _AAC),
]
# The names of these are not made of the plain one: what it is in the three forms.
ODD_TRANSPORT = [
    (("MPEG4_P2_TS_SP_AC3_L3", "MPEG4_P2_TS_SP_AC3_T", "MPEG4_P2_TS_SP_AC3_ISO"), "176x144", "30", _mpeg4("300k"), _AC3),
    (("MPEG4_P2_TS_ASP_AC3_L3", "MPEG4_P2_TS_ASP_AC3_T", "MPEG4_P2_TS_ASP_AC3_ISO"), "720x576", "25", _mpeg4("4M"), _AC3),
]
# Extension, video and audio of what has no profile.
WITHOUT = [
    ("mkv", _X264, _AC3), ("avi", "-c:v msmpeg4", _MP3), ("wmv", "-c:v wmv2", "-c:a wmav2 -b:a 128k -ac 2"),
    ("mov", _X264, "-c:a pcm_s16le -ac 2"), ("flv", "-c:v flv", "-c:a libmp3lame -ar 44100 -ac 2"),
    ("webm", "-c:v libvpx -b:v 100k -deadline realtime", "-c:a libvorbis -ac 2"),
]


def make(folder, seconds=2):
    """Makes all of them. Returns the profile of each by its file's name, None for none."""
    made = {}

    def film(name, profile, size, rate, *arguments):
        made[name] = profile
        library.ffmpeg("-f", "lavfi", "-i", f"testsrc2=s={size}:r={rate}", "-f", "lavfi", "-i", "sine=r=48000", "-t", str(seconds),
               *" ".join(arguments).split(), f"{folder}/{name}")

    for profile, extension, *rest in ONE_FORM:
        film(f"{profile}.{extension}", profile, *rest)
    forms = [((name, name + "_T", name + "_ISO"), *rest) for name, *rest in TRANSPORT] + ODD_TRANSPORT
    for (plain, stamped, iso), *rest in forms:
        film(f"{iso}.ts", iso, *rest)
        with open(f"{folder}/{iso}.ts", "rb") as file:
            packets = list(iter(lambda: file.read(188), b""))
        for name, stamp in ((f"{stamped}.m2ts", lambda n: (n + 1) * 4000), (f"{plain}.m2t", lambda n: 0)):
            with open(f"{folder}/{name}", "wb") as file:
                for number, packet in enumerate(packets):
                    file.write(stamp(number).to_bytes(4, "big") + packet)
        made.update({f"{stamped}.m2ts": stamped, f"{plain}.m2t": plain})
    for extension, *rest in WITHOUT:
        film(f"{extension}.{extension}", None, "320x240", "30", *rest)
    return made
