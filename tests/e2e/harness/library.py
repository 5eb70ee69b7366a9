"""The music of the tests: 200 tagged songs in six formats, a few photos and videos. Made once and kept."""
import fcntl
import os
import shutil
import subprocess
import tempfile

ARTISTS = ["Ada Ohm", "O'Brien & Sons", "Ångström", 'The "Quoted"', "<b>100%_Real\\Slash"]
GENRES = ["Rock", "Jazz", "R&B", "Classical"]
FORMATS = ["mp3", "flac", "m4a", "ogg", "opus", "wav", "mp3", "flac"]
ALBUMS_PER_ARTIST = 5
TRACKS_PER_ALBUM = 8
SONGS = len(ARTISTS) * ALBUMS_PER_ARTIST * TRACKS_PER_ALBUM

_CACHE = os.environ.get("DMS_E2E_CACHE", os.path.join(tempfile.gettempdir(), f"dms-e2e-{os.geteuid()}"))


def ffmpeg(*arguments):
    subprocess.run(["ffmpeg", "-nostdin", "-v", "error", "-y", *arguments], check=True)


def shared():
    """The folder of the whole library; nobody changes it."""
    os.makedirs(_CACHE, exist_ok=True)
    folder = os.path.join(_CACHE, "library-1")
    with open(os.path.join(_CACHE, "lock"), "w") as lock:
        fcntl.flock(lock, fcntl.LOCK_EX)
        if not os.path.isdir(folder):
            shutil.rmtree(folder + ".new", ignore_errors=True)
            make(folder + ".new")
            os.rename(folder + ".new", folder)
    return folder


def make(folder):
    os.makedirs(folder)
    for number, artist in enumerate(ARTISTS):
        for album in range(ALBUMS_PER_ARTIST):
            _make_album(folder, artist, number * ALBUMS_PER_ARTIST + album)
    os.makedirs(f"{folder}/Photos")
    for name, size in [("small", "150x100"), ("screen", "1280x960"), ("wide", "2000x1200")]:
        ffmpeg("-f", "lavfi", "-i", f"testsrc2=size={size}", "-frames:v", "1", f"{folder}/Photos/{name}.jpg")
    os.makedirs(f"{folder}/Videos")
    ffmpeg("-f", "lavfi", "-i", "testsrc2=size=320x240:rate=25", "-f", "lavfi", "-i", "sine", "-t", "3", "-c:v", "libx264",
           "-preset", "ultrafast", "-pix_fmt", "yuv420p", "-c:a", "aac", f"{folder}/Videos/clip.mp4")


def _make_album(folder, artist, number):
    """One encode per album; its tracks are copies with tags of their own."""
    directory = f"{folder}/{artist.replace('/', '_')}/Album {number:02d}"
    os.makedirs(directory)
    kind = FORMATS[number % len(FORMATS)]
    cover, source = f"{directory}/cover.jpg", f"{folder}/source.{kind}"
    ffmpeg("-f", "lavfi", "-i", f"testsrc2=size=300x300:rate=1", "-ss", str(number), "-frames:v", "1", cover)
    ffmpeg("-f", "lavfi", "-i", f"sine=frequency={200 + 20 * number}:sample_rate=48000:duration=2", "-ac", "2", source)
    for track in range(1, TRACKS_PER_ALBUM + 1):
        picture = ["-i", cover, "-map", "0", "-map", "1", "-disposition:v", "attached_pic"] if kind in ("mp3", "flac") else []
        tags = {"title": f"Song {number:02d}-{track}", "artist": artist, "album_artist": artist, "album": f"Album {number:02d}",
                "genre": GENRES[number % len(GENRES)], "date": str(1990 + number), "track": str(track)}
        ffmpeg("-i", source, *picture, "-c", "copy", *[part for key, value in tags.items()
               for part in ("-metadata", f"{key}={value}")], f"{directory}/{track:02d} Song.{kind}")
    os.remove(source)
