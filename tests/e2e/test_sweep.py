"""Photos and films of every kind: what is announced of each, to players of several kinds, is what its URLs answer."""
import io
import json
import os
import shutil
import subprocess
import tempfile
import unittest
import wave
from pathlib import Path

from harness import films, library, photos, upnp
from harness.server import wait_until
from harness.stage import Stage

# One device each: the server knows a device again by its address.
PLAYERS = ["television", "PLAYSTATION 3", "SEC_HHP_[TV]", "SHARP"]
TELEVISION, CONSOLE, SAMSUNG, SHARP = PLAYERS
SUBTITLE = "1\n00:00:00,000 --> 00:00:01,000\nHello\n"
# With DMS_SOAK, so many photos and films each.
MANY = 500 if os.environ.get("DMS_SOAK") else 0


def setUpModule():
    global folder, stage, profiles, sizes, items
    folder = tempfile.mkdtemp(prefix="dmsm")
    unittest.addModuleCleanup(shutil.rmtree, folder, ignore_errors=True)
    profiles, sizes = films.make(folder), photos.make(folder)
    Path(f"{folder}/mkv.srt").write_text(SUBTITLE)
    library.ffmpeg("-f", "lavfi", "-i", "sine=sample_rate=48000:duration=3", "-ac", "2", f"{folder}/song.flac")
    multiply()
    stage = Stage(hosts=1 + len(PLAYERS), media=[folder])
    stage.server.start(300)
    with open(stage.server.config("dmsinfo.conf"), "a") as file:
        file.write("flactranscoding_mediaservice=yes\n")
    stage.server.send(1)
    hosts = [stage.client, *stage.others]
    items = {player: look(host, player) for host, player in zip(hosts, PLAYERS)}


def multiply():
    """Copies until there are MANY photos and films."""
    for names in (sorted(sizes), sorted(profiles)):
        for number in range(len(names), MANY):
            source = names[number % len(names)]
            shutil.copy(f"{folder}/{source}", f"{folder}/{number}-{source}")


def look(host, player):
    """Every item by its title, which is the file's name without extension, and its class, as the player sees it."""
    with host.entered():
        server = upnp.MediaServer(stage.description, player)
        found = {}
        for kind in ("video", "photo", "music"):
            for item in server.browse(f"{kind}-all").elements:
                found[kind, item.findtext(upnp.DC + "title")] = item
        return found


def resources(item):
    """MIME type, fourth field and element of each resource."""
    for resource in item.iter(upnp.DIDL + "res"):
        _, _, mime, features = resource.get("protocolInfo").split(":")
        yield mime, features, resource


def probe(body):
    """What ffprobe says of a file: its format, and its streams by their kind."""
    with tempfile.NamedTemporaryFile() as file:
        file.write(body)
        file.flush()
        said = json.loads(subprocess.run(
            ["ffprobe", "-v", "quiet", "-of", "json", "-show_format", "-show_streams", file.name],
            stdout=subprocess.PIPE, check=True).stdout)
    return said["format"], {stream["codec_type"]: stream for stream in said["streams"]}


class Sweep(unittest.TestCase):
    def test_every_resource_of_every_player_answers_as_announced(self):
        answers = {}  # players share most URLs
        for player in PLAYERS:
            for key, item in items[player].items():
                for mime, features, resource in resources(item):
                    with self.subTest(player=player, key=key, url=resource.text):
                        if resource.text not in answers:
                            answers[resource.text] = self.fetch(resource.text)
                        status, headers, length, jpeg = answers[resource.text]
                        self.assertEqual((status, headers["content-type"]), (200, mime))
                        self.assertEqual(headers.get("contentfeatures.dlna.org", "*"), features)
                        if ".m2ts?" not in resource.text:
                            self.assertEqual(length, int(resource.get("size", length)))
                        if jpeg:
                            self.check_jpeg(features, resource, jpeg)
        self.assertGreater(len(answers), 2 * len(profiles) + 2 * len(sizes))

    def fetch(self, url):
        """Status, headers, length, and the size of a picture."""
        status, headers, body = upnp.request(url, headers={"getcontentFeatures.dlna.org": "1"})
        return status, headers, len(body), photos.size_of(body) if body[:3] == b"\xff\xd8\xff" else None

    def check_jpeg(self, features, resource, size):
        announced = resource.get("resolution")
        # Players that take any size of photo are told one that they believe.
        if announced not in (None, "1024x1024"):
            self.assertEqual(announced, "%dx%d" % size)
        profile = dict(part.split("=") for part in features.split(";") if "=" in part).get("DLNA.ORG_PN")
        # A rendition of 640 pixels is called JPEG_SM also when it is upright.
        longest = {"JPEG_TN": 160, "JPEG_SM": 1280 if "/xlp/" in resource.text else 640, "JPEG_MED": 1280}.get(profile)
        if longest:
            self.assertLessEqual(max(size), longest)

    def test_photos_have_their_upright_size(self):
        for name, size in sizes.items():
            with self.subTest(name):
                item = items[TELEVISION]["photo", name.rpartition(".")[0]]
                _, _, main = next(resources(item))
                expected = "%dx%d" % size
                if name.endswith(".nef"):
                    expected = "384x640"  # what is sent is the rendition
                self.assertEqual(main.get("resolution"), expected)

    def test_films_are_announced_with_their_profile_and_facts(self):
        for name, profile in profiles.items():
            with self.subTest(name):
                mime, features, resource = next(resources(items[TELEVISION]["video", name.rpartition(".")[0]]))
                self.assertEqual(features.partition("DLNA.ORG_OP")[0], f"DLNA.ORG_PN={profile};" if profile else "")
                self.assertIn(f"/v/{profile or 'NDLNA'}/", resource.text)
                said, streams = probe(upnp.request(resource.text)[2])
                self.assertEqual(resource.get("resolution"), "{width}x{height}".format(**streams["video"]))
                self.assertEqual(resource.get("nrAudioChannels"), str(streams["audio"]["channels"]))
                self.assertEqual(resource.get("sampleFrequency"), streams["audio"]["sample_rate"])
                hours, minutes, seconds = resource.get("duration").split(":")
                announced = int(hours) * 3600 + int(minutes) * 60 + float(seconds)
                self.assertLess(abs(announced - float(said["duration"])), 1)


class Conversions(unittest.TestCase):
    def test_a_song_as_samples_has_the_announced_length(self):
        transcoded = {".wav?format=WAV" in resource.text: (mime, resource)
                      for mime, _, resource in resources(items[TELEVISION]["music", "song.flac"])}
        mime, resource = transcoded[True]
        body = upnp.request(resource.text)[2]
        with wave.open(io.BytesIO(body)) as song:
            self.assertEqual((song.getnchannels(), song.getframerate(), song.getsampwidth()), (2, 48000, 2))
            # A whole second longer than the song, filled up with silence.
            self.assertEqual(song.getnframes(), 4 * 48000)
            self.assertGreater(max(song.readframes(3 * 48000)), 0)
        mime, resource = transcoded[False]
        self.assertTrue(mime.startswith("audio/L16"))
        self.assertEqual(int(resource.get("size")), 4 * 48000 * 4)
        only, = resources(items[CONSOLE]["music", "song.flac"])
        self.assertTrue(only[0].startswith("audio/L16"))

    def test_a_matroska_film_as_a_transport_stream(self):
        mime, _, resource = next(r for r in resources(items[CONSOLE]["video", "mkv"]) if ".m2ts?" in r[2].text)
        self.assertEqual(mime, "video/mpeg")
        said, streams = probe(upnp.request(resource.text)[2])
        self.assertEqual(said["format_name"], "mpegts")
        self.assertEqual((streams["video"]["codec_name"], streams["audio"]["codec_name"]), ("h264", "ac3"))
        self.assertAlmostEqual(float(said["duration"]), 2, delta=0.3)

    def test_captions_for_those_who_ask(self):
        item = items[SAMSUNG]["video", "mkv"]
        main, subtitle = [resource for _, _, resource in resources(item)][:2]
        self.assertEqual(subtitle.get("protocolInfo"), "http-get:*:text/srt:*")
        address = upnp.request(main.text, "HEAD", {"getCaptionInfo.sec": "1"})[1]["captioninfo.sec"]
        for url in (address, subtitle.text):
            self.assertEqual(upnp.request(url)[2].decode(), SUBTITLE)

    def test_one_width_for_who_wants_it(self):
        _, _, resource = next(resources(items[SHARP]["photo", "camera"]))
        self.assertIn("/xlp/", resource.text)
        self.assertEqual(photos.size_of(upnp.request(resource.text)[2]), (768, 1280))


class Thumbnails(unittest.TestCase):
    def test_they_lie_beside_the_photos(self):
        def missing():
            return [name for name in sizes for size in "SB"
                    if not os.path.exists(f"{folder}/@eaDir/{name}/NIMBPHOTO_THUMB_{size}.jpg")]
        wait_until(lambda: not missing(), 120, "thumbnails")
