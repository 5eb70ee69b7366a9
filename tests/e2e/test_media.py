"""What the announced URLs answer: types, sizes, bytes and ranges."""
import http.client
import io
import os
import unittest

from harness import library, upnp
from harness.server import MEDIA_PORT
from harness.stage import Stage


def setUpModule():
    global stage, server, items
    stage = Stage()
    stage.server.start()
    server = upnp.MediaServer(stage.description, "television")
    # One way to each song, photo and video.
    items = [item for folder in ("music-all", "photo-all", "video-all") for item in server.browse(folder).elements]


def file_of(item):
    """The file that the song was read from."""
    album = item.findtext(upnp.UPNP + "album")
    directory = f"{library.shared()}/{item.findtext(upnp.UPNP + 'artist').replace('/', '_')}/{album}"
    track = int(item.findtext(upnp.UPNP + "originalTrackNumber"))
    name, = [name for name in os.listdir(directory) if name.startswith(f"{track:02d} ")]
    return f"{directory}/{name}"


def native(item):
    """The first resource of an item: type, size and URL."""
    resource = item.find(upnp.DIDL + "res")
    return resource.get("protocolInfo").split(":")[2], int(resource.get("size")), resource.text


def one_of_each_format():
    chosen = {}
    for item in items:
        if item.findtext(upnp.UPNP + "class") == "object.item.audioItem.musicTrack":
            chosen.setdefault(native(item)[2].rpartition(".")[2], item)
    return chosen


class Resources(unittest.TestCase):
    def test_the_library_is_whole(self):
        # A cover beside songs is no photo of its own.
        self.assertEqual(len(items), library.SONGS + 3 + 1)
        self.assertEqual(set(one_of_each_format()), set(library.FORMATS))

    def test_every_resource_is_as_announced(self):
        for item in items:
            for resource in item.iter(upnp.DIDL + "res"):
                protocol, network, mime, features = resource.get("protocolInfo").split(":")
                with self.subTest(resource.text):
                    self.assertEqual((protocol, network), ("http-get", "*"))
                    self.assertTrue(resource.text.startswith(f"http://{stage.server_host.address}:{MEDIA_PORT}/"))
                    status, headers, body = upnp.request(resource.text, headers={"getcontentFeatures.dlna.org": "1"})
                    self.assertEqual((status, headers["content-type"]), (200, mime))
                    self.assertEqual(len(body), int(resource.get("size", len(body))))
                    self.assertEqual(headers["contentfeatures.dlna.org"], features)
                    self.assertGreater(len(body), 0)

    def test_every_cover_is_a_picture(self):
        covers = {art.text for item in items for art in item.iter(upnp.UPNP + "albumArtURI")}
        for artist in server.browse("music-artist").elements:
            covers |= {art.text for album in server.browse(artist.get("id")).elements
                       for art in album.iter(upnp.UPNP + "albumArtURI")}
        self.assertGreater(len(covers), library.SONGS)
        for url in covers:
            with self.subTest(url):
                status, headers, body = upnp.request(url)
                self.assertEqual((status, headers["content-type"], body[:3]), (200, "image/jpeg", b"\xff\xd8\xff"))

    def test_songs_are_the_files(self):
        for kind, item in one_of_each_format().items():
            with self.subTest(kind), open(file_of(item), "rb") as file:
                self.assertEqual(upnp.request(native(item)[2])[2], file.read())


class Ranges(unittest.TestCase):
    def test_three_ranges_are_the_file(self):
        for kind, item in one_of_each_format().items():
            _, size, url = native(item)
            with self.subTest(kind), open(file_of(item), "rb") as file:
                joined = io.BytesIO()
                for first, last in ((0, size // 3), (size // 3 + 1, 2 * size // 3), (2 * size // 3 + 1, size - 1)):
                    status, headers, body = upnp.request(url, headers={"Range": f"bytes={first}-{last}"})
                    self.assertEqual((status, headers["content-range"]), (206, f"bytes {first}-{last}/{size}"))
                    joined.write(body)
                self.assertEqual(joined.getvalue(), file.read())

    def test_forms_of_a_range(self):
        _, size, url = native(items[0])
        whole = upnp.request(url)[2]
        cases = [  # why, Range, status, body
            ("open end", "bytes=10-", 206, whole[10:]),
            ("the last bytes", "bytes=-5", 206, whole[-5:]),
            ("more than there is", f"bytes=5-{size * 2}", 206, whole[5:]),
            ("one byte", "bytes=0-0", 206, whole[:1]),
            ("begins behind the end", f"bytes={size}-", 416, None),
            ("not a range of bytes", "chapters=1-2", 200, whole),
            ("backwards", "bytes=9-3", 200, whole),
            ("larger than any file", "bytes=99999999999999999999-", 416, None),
        ]
        for why, value, expected, body in cases:
            with self.subTest(why):
                status, headers, found = upnp.request(url, headers={"Range": value})
                self.assertEqual(status, expected)
                if body is not None:
                    self.assertEqual(found, body)
                else:
                    self.assertEqual(headers["content-range"], f"bytes */{size}")

    def test_if_range(self):
        _, size, url = native(items[0])
        modified = upnp.request(url, "HEAD")[1]["last-modified"]
        for value, status in ((modified, 206), ("Thu, 01 Jan 1970 00:00:00 GMT", 200), ('"another"', 200)):
            self.assertEqual(upnp.request(url, headers={"Range": "bytes=0-9", "If-Range": value})[0], status, value)

    def test_head_tells_what_get_would(self):
        for item in one_of_each_format().values():
            mime, size, url = native(item)
            status, headers, body = upnp.request(url, "HEAD")
            self.assertEqual((status, headers["content-type"], int(headers["content-length"]), body), (200, mime, size, b""))
            self.assertEqual(headers["accept-ranges"], "bytes")

    def test_a_connection_is_kept(self):
        connection = http.client.HTTPConnection(stage.server_host.address, MEDIA_PORT, timeout=10)
        self.addCleanup(connection.close)
        sockets = set()
        for item in items[:5]:
            connection.request("GET", native(item)[2].partition(f":{MEDIA_PORT}")[2])
            sockets.add(connection.sock)
            self.assertEqual(len(connection.getresponse().read()), native(item)[1])
        self.assertEqual(len(sockets), 1)

    def test_transfer_mode(self):
        for wanted in ("Streaming", "Background"):
            headers = upnp.request(native(items[0])[2], "HEAD", {"transferMode.dlna.org": wanted})[1]
            self.assertEqual(headers["transfermode.dlna.org"], wanted)

    def test_what_is_not_there(self):
        base = f"http://{stage.server_host.address}:{MEDIA_PORT}"
        for path in ("/m/MP3/999999.mp3", "/m/MP3/x.mp3", "/m/MP3/", "/m/MP3/0%20or%201=1.mp3", "/x/MP3/1.mp3", "/",
                     "/m/MP3/-1.mp3", "/m/MP3/99999999999999999999.mp3", "/m/../../etc/passwd", "/m/%2e%2e/%2e%2e/etc/passwd",
                     "/transcoder/jpegtnscaler.cgi/ebdart/0.jpg", "/transcoder/jpegtnscaler.cgi/../1.jpg", "/v/NDLNA/1.srt/.."):
            with self.subTest(path):
                self.assertIn(upnp.request(base + path)[0], (400, 404))


class Pages(unittest.TestCase):
    """What a browser shows, and what it plays from there."""

    def test_from_the_first_page_to_a_song(self):
        status, headers, page = upnp.request(stage.base + "/cds/")
        self.assertEqual((status, headers["content-type"]), (200, "text/html"))
        self.assertNotIn(b"Parent", page)
        self.assertIn(b'<li class="cds-ct"><a href="/cds/music">Music</li>', page)
        page = upnp.request(stage.base + "/cds/music-all")[2].decode()
        self.assertEqual(page.count('<li class="cds-item">'), library.SONGS)
        self.assertTrue("<b>" not in page, "an artist's name is taken for markup")
        link = page.partition('<li class="cds-item"><a href="')[2].partition('"')[0]
        status, headers, body = upnp.request(stage.base + link)
        item = items[0]
        with open(file_of(item), "rb") as file:
            self.assertEqual((status, headers["content-type"], body), (200, native(item)[0], file.read()))

    def test_the_way_back(self):
        self.assertIn(b'<a href="/cds/music">Parent', upnp.request(stage.base + "/cds/music-folder")[2])

    def test_no_such_page(self):
        self.assertNotIn(b"<li", upnp.request(stage.base + "/cds/nonsense")[2])
