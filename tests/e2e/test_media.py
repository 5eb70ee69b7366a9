"""What the announced URLs answer: types, sizes, bytes and ranges."""
import os
import unittest
from pathlib import Path

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

    def test_three_ranges_are_the_file(self):
        item = items[0]
        _, size, url = native(item)
        joined = b""
        for first, last in ((0, size // 3), (size // 3 + 1, 2 * size // 3), (2 * size // 3 + 1, size - 1)):
            status, headers, body = upnp.request(url, headers={"Range": f"bytes={first}-{last}"})
            self.assertEqual((status, headers["content-range"]), (206, f"bytes {first}-{last}/{size}"))
            joined += body
        self.assertEqual(joined, Path(file_of(item)).read_bytes())

    def test_songs_are_the_files(self):
        for kind, item in one_of_each_format().items():
            self.assertEqual(upnp.request(native(item)[2])[2], Path(file_of(item)).read_bytes(), kind)

    def test_head_tells_what_get_would(self):
        for item in one_of_each_format().values():
            mime, size, url = native(item)
            status, headers, body = upnp.request(url, "HEAD")
            self.assertEqual((status, headers["content-type"], int(headers["content-length"]), body), (200, mime, size, b""))
            self.assertEqual(headers["accept-ranges"], "bytes")


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
        self.assertEqual((status, headers["content-type"], body), (200, native(item)[0], Path(file_of(item)).read_bytes()))
