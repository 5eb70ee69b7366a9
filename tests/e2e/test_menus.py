"""The menus with fixed ids, playlists, radio and search, each as the kind of client that they are for."""
import contextlib
import glob
import http.server
import json
import os
import re
import shutil
import signal
import tempfile
import threading
import unittest

from harness import library, upnp
from harness.server import wait_until
from harness.stage import Stage

# One device each: the server knows a device again by its address, whatever it calls itself later.
KINDS = ["Xbox/2.0.8955.0", "Windows-Media-Player/12.0", "Roku/DVP-9.10", "Sonos/70", "television", None]
CONSOLE, FLAT, ROKU, HIFI, TELEVISION, NAMELESS = KINDS

PLAIN, FOLDER = "object.container", "object.container.storageFolder"
# Parent, id, title and class of every entry, in the order in which a walk from the root meets them.
FULL = [
    ("0", "1", "Music", PLAIN), ("1", "4", "All Musics", PLAIN), ("1", "5", "Genre", PLAIN), ("1", "6", "Artist", PLAIN),
    ("1", "8", "Artist/Album", PLAIN), ("1", "7", "Album", PLAIN), ("1", "F", "Playlists", PLAIN),
    ("0", "15", "Video", PLAIN), ("15", "100", "Folders", FOLDER), ("15", "101", "All Video", FOLDER),
    ("0", "3", "Pictures", PLAIN), ("3", "16", "Folders", FOLDER),
]
FLAT_LISTS = [("0", "4", "All Musics", PLAIN), ("0", "5", "All Photos", PLAIN), ("0", "6", "All Videos", PLAIN),
              ("0", "13", "Playlists", PLAIN)]
NUMBERED = [("0", "1", "All Musics", PLAIN), ("0", "6", "Playlists", PLAIN)]


def music(parent, radio):
    return [(parent, key, title, code) for key, title, code in [
        ("music-artist", "By Artist", PLAIN), ("music-album", "By Album", PLAIN), ("music-genre", "By Genre", PLAIN),
        ("music-all", "All Music", PLAIN), ("music-folder", "By Folder", FOLDER), ("playlist", "Playlists", PLAIN),
        (radio, "Internet Radio", PLAIN)]]


TEMPLATE = [
    ("0", "music", "Music", PLAIN), *music("music", "21"),
    ("0", "video", "Video", PLAIN), ("video", "video-all", "All Videos", PLAIN), ("video", "video-folder", "By Folder", FOLDER),
    ("video", "video-date", "By Date", PLAIN),
    ("0", "photo", "Photo", PLAIN), ("photo", "photo-all", "All Photos", PLAIN),
    ("photo", "photo-folder", "By Folder", FOLDER), ("photo", "photo-date", "By Date", PLAIN),
    ("photo", "photo-taken", "By Date Taken", PLAIN),
]


class Station(http.server.BaseHTTPRequestHandler):
    """A station of the internet radio."""

    def do_GET(self):
        self.send_response(200)
        self.end_headers()
        with contextlib.suppress(OSError):
            self.wfile.write(self.server.sound)

    def log_message(self, *_):
        pass


def start_station(folder):
    """Its address."""
    library.ffmpeg("-f", "lavfi", "-i", "sine=duration=10", f"{folder}/sound.mp3")
    server = http.server.ThreadingHTTPServer((stage.client.address, 0), Station)
    with open(f"{folder}/sound.mp3", "rb") as file:
        server.sound = file.read()
    threading.Thread(target=server.serve_forever, daemon=True).start()
    unittest.addModuleCleanup(server.server_close)
    unittest.addModuleCleanup(server.shutdown)
    return f"http://{stage.client.address}:{server.server_port}/jazz?quality=high&free=yes"


def setUpModule():
    global stage, lists
    folder = tempfile.TemporaryDirectory(prefix="dmslists")
    unittest.addModuleCleanup(folder.cleanup)
    lists = folder.name
    os.chmod(lists, 0o755)
    songs = sorted(glob.glob(os.path.join(glob.escape(library.shared()), "Ada Ohm", "*", "*.[mf][pl][3a]*")))[:3]
    for share in ("a/Clips", "b/Clips", "c/Third", "Lists"):
        os.makedirs(os.path.join(lists, share))
        if share != "Lists":
            shutil.copy(f"{library.shared()}/Videos/clip.mp4", os.path.join(lists, share, f"{share[0]}.mp4"))
    with open(os.path.join(lists, "Lists", "Mine.m3u8"), "w") as file:
        file.write("#EXTM3U\n" + "\n".join([songs[2], "nowhere.mp3", songs[0], songs[1]]) + "\n")
    shares = [os.path.join(lists, share) for share in ("Lists", "a/Clips", "b/Clips")]
    stage = Stage(hosts=2 + len(KINDS), media=[library.shared(), *shares])
    write_config(stage.server, "smartplaylists/Newest.json",
                 '{"all": [{"is": {"artist": "Ada Ohm"}}], "sort": "title", "order": "desc", "limit": 3}')
    write_config(stage.server, "radio/Jazz.m3u", f"#EXTINF:-1,Blue\n{start_station(lists)}\n")
    write_config(stage.server, "dmsinfo.conf", "suppradio_mediaservice=\"yes\"\n")
    stage.server.start()


def write_config(server, name, text):
    path = server.config(name)
    os.makedirs(os.path.dirname(path), exist_ok=True)
    with open(path, "w") as file:
        file.write(text)
    for folder in (os.path.dirname(path), os.path.dirname(os.path.dirname(path))):
        os.chmod(folder, 0o755)


def title_of(element):
    return element.findtext(upnp.DC + "title")


def browse(server, object_id, flag="BrowseDirectChildren"):
    # Consoles name the object "ContainerID".
    return server.browse(object_id, flag, ContainerID=object_id)


def children(server, object_id):
    return [(element.get("id"), title_of(element)) for element in browse(server, object_id).elements]


def search(server, criteria, container="0", start=0, count=0):
    return upnp.Page(server.services[upnp.CONTENT_DIRECTORY].call("Search", headers=server.agent, **{
        "ContainerID": container, "SearchCriteria": criteria, "Filter": "*", "StartingIndex": start,
        "RequestedCount": count, "SortCriteria": ""}))


class Clients(unittest.TestCase):
    def client(self, agent):
        """A device of that kind; the test goes on from its place in the network."""
        self.enterContext(stage.others[KINDS.index(agent)].entered())
        return upnp.MediaServer(stage.description, agent)


class Walks(Clients):
    """Each menu from its root to the last item."""

    def walk(self, server, object_id="0"):
        """Every object below, in the order of the menu. What a list says of an object, the object says of itself."""
        page = browse(server, object_id)
        self.assertEqual((page.returned, page.total), (len(page.elements),) * 2, object_id)
        for place, element in enumerate(page.elements):
            is_container = element.tag == upnp.DIDL + "container"
            self.assertEqual(element.get("parentID"), object_id)
            if is_container or place in (0, len(page.elements) - 1):
                self.check_metadata(server, element)
            yield element
            if is_container:
                yield from self.walk(server, element.get("id"))

    def check_metadata(self, server, listed):
        alone, = browse(server, listed.get("id"), "BrowseMetadata").elements
        self.assertEqual(alone.get("id"), listed.get("id"))
        self.assertEqual(title_of(alone), title_of(listed).removeprefix("@"), "smart playlists are marked in lists only")
        if not title_of(listed).startswith("= "):  # "all of these" looks like its neighbours, and is a plain container
            self.assertEqual(alone.findtext(upnp.UPNP + "class"), listed.findtext(upnp.UPNP + "class"))
        if listed.get("id").startswith(listed.get("parentID")):
            self.assertEqual(alone.get("parentID"), listed.get("parentID"))

    def check_menu(self, server, rows, roots=("0",)):
        """The entries of the menu are `rows`. @return how many different files the items below name, per kind."""
        objects = [element for root in roots for element in self.walk(server, root)]
        entries = [(element.get("parentID"), element.get("id"), title_of(element), element.findtext(upnp.UPNP + "class"))
                   for element in objects if "$" not in element.get("id")]
        self.assertEqual(entries, [row for row in rows if row[1] not in roots])
        items = [element for element in objects if element.tag == upnp.DIDL + "item"]
        url = items[-1].find(upnp.DIDL + "res").text
        status, _, body = upnp.request(url, headers={"Range": "bytes=0-9", **server.agent})
        self.assertEqual((status, len(body)), (206, 10), url)
        files = {res.text for element in items for res in element.iter(upnp.DIDL + "res")}
        songs = r"m/|transcoder/genericoder.cgi/id=\d"  # consoles get WAV files transcoded
        return [len([url for url in files if re.search(f":50002/({kind})", url)]) for kind in (songs, "p/", "v/")]

    PHOTOS, VIDEOS = 3, 3
    EVERYTHING = [library.SONGS, PHOTOS, VIDEOS]

    def test_console(self):
        self.assertEqual(self.check_menu(self.client(CONSOLE), FULL), self.EVERYTHING)

    def test_flat(self):
        self.assertEqual(self.check_menu(self.client(FLAT), FLAT_LISTS), self.EVERYTHING)

    def test_numbered(self):
        roku = self.client(ROKU)
        self.assertEqual(self.check_menu(roku, NUMBERED, ("1", "6")), [library.SONGS, 0, 0])
        for parent, key, title, code in NUMBERED:
            self.assertEqual([(element.get("parentID"), element.get("id"), title_of(element), element.findtext(upnp.UPNP + "class"))
                              for element in browse(roku, key, "BrowseMetadata").elements], [(parent, key, title, code)])
        # Everything else is the menu of all others.
        self.assertEqual([key for key, _ in children(roku, "0")], ["music", "video", "photo"])
        with self.assertRaises(upnp.UpnpError) as caught:
            children(roku, "7")
        self.assertEqual(caught.exception.code, 701)

    def test_music_only(self):
        self.assertEqual(self.check_menu(self.client(HIFI), music("0", "22")), [library.SONGS, 0, 0])

    def test_template(self):
        self.assertEqual(self.check_menu(self.client(TELEVISION), TEMPLATE), self.EVERYTHING)


class Menus(Clients):
    def test_playlists(self):
        flat = self.client(FLAT)
        playlists = children(flat, "13")
        self.assertEqual([title for _, title in playlists], ["Mine", "@Newest"])
        for playlist, _ in playlists:
            songs = children(flat, playlist)
            self.assertEqual(len(songs), 3, "the entry that is no song is left out")
            for song, title in songs:
                self.assertTrue(song.startswith("4$@"))
                self.assertEqual(title_of(browse(flat, song, "BrowseMetadata").elements[0]), title)
        television = self.client(TELEVISION)
        self.assertEqual([title for _, title in children(television, "playlist")], ["Mine"], "smart ones have a list of their own")

    def test_radio(self):
        television = self.client(TELEVISION)
        station, = television.browse(television.child("21", "Jazz")).elements
        for res, head in zip(station.iter(upnp.DIDL + "res"), (b"RIFF", None), strict=True):
            status, headers, body = upnp.request(res.text, headers={"Range": "bytes=0-200043"})
            self.assertEqual((status, headers["content-range"]), (206, f"bytes 0-200043/{res.get('size')}"))
            self.assertEqual(headers["content-type"], res.get("protocolInfo").split(":")[2])
            self.assertGreater(len(set(body)), 100, "that is no silence")
            self.assertTrue(head is None or body.startswith(head))
        elsewhere = station.find(upnp.DIDL + "res").text.replace("jazz", "other")
        self.assertEqual(upnp.request(elsewhere)[0], 404, "this is no proxy")

    def test_search(self):
        console = self.client(CONSOLE)
        albums = search(console, '(upnp:class = "object.container.album.musicAlbum") and (upnp:artist = "Ada Ohm")', "1")
        self.assertEqual(albums.total, library.ALBUMS_PER_ARTIST)
        flat = self.client(FLAT)
        self.assertEqual(search(flat, 'upnp:class derivedfrom "object.item.imageItem"').total, Walks.PHOTOS)
        roku = self.client(ROKU)
        page = search(roku, 'upnp:class derivedfrom "object.item.audioItem" and upnp:artist contains "100%_real"', count=5)
        self.assertEqual((page.returned, page.total), (5, library.ALBUMS_PER_ARTIST * library.TRACKS_PER_ALBUM))
        for upnp_class, key, count in [("album.musicAlbum", "3", 25), ("person.musicArtist", "2", 5), ("genre.musicGenre", "5", 4)]:
            page = search(roku, f'upnp:class = "object.container.{upnp_class}"')
            self.assertEqual(({element.get("parentID") for element in page.elements}, page.total), ({key}, count))
        for criteria in ('upnp:class = "object.item.audioItem" and upnp:artist = "x\'; DROP TABLE music; --"',
                         '(((upnp:class = "object.item.audioItem" and upnp:artist = "\' or true or \'")'):
            self.assertEqual(search(roku, criteria).total, 0)
        for client, criteria, code in [(roku, 'upnp:class = "object.item.audioItem"; DROP TABLE music', 708),
                                       (self.client(TELEVISION), 'upnp:class = "object.item.audioItem"', 701)]:
            with self.assertRaises(upnp.UpnpError) as caught:
                search(client, criteria)
            self.assertEqual(caught.exception.code, code)

    def test_a_restart_changes_no_menu(self):
        def roots():
            return [(agent, children(self.client(agent), "1" if agent == ROKU else "0")) for agent in KINDS]
        self.client(NAMELESS)
        clients = stage.server.saved_clients()
        # A device that says nothing of itself is what its owner says.
        clients[stage.others[KINDS.index(NAMELESS)].mac]["profileName"] = "Windows"
        with open(stage.server.config("client_list.json"), "w") as file:
            json.dump({"ClientList": clients}, file)
        stage.server.send(signal.SIGUSR2)
        wait_until(lambda: len(children(self.client(NAMELESS), "0")) == len(FLAT_LISTS), 10, "the profile to be read")
        before = roots()
        stage.server.stop()
        stage.server.start()
        self.assertEqual(roots(), before)

    def test_smart_playlists_change_without_a_restart(self):
        roku = self.client(ROKU)
        write_config(stage.server, "smartplaylists/Zoo.json", '{"name": "Last"}')
        try:
            self.assertEqual([title for _, title in children(roku, "6")], ["Mine", "@Newest", "@Last"])
        finally:
            os.remove(stage.server.config("smartplaylists/Zoo.json"))

    def test_folders_change_without_a_restart(self):
        console = self.client(CONSOLE)
        before, videos = children(console, "100"), children(console, "101")
        # They stand in the order of their paths, and where the shared library lies is the machine's affair.
        self.assertCountEqual([title for _, title in before], ["library-1", "Lists", "Clips (a)", "Clips (b)"])
        for share, title in before:
            if title.startswith("Clips"):
                self.assertEqual([name for _, name in children(console, share)], [title[7]], "two shares of one name")
        config = stage.server.config("media_folders.conf")
        with open(config) as file:
            text = file.read()
        try:
            with open(config, "a") as file:
                file.write(f"video = {lists}/c/Third | Third\n")
            stage.server.send(signal.SIGCONT)
            wait_until(lambda: "Third" in dict(children(console, "100")).values(), 10, "the new folder")
            wait_until(lambda: ["c"] == [name for key, title in children(console, "100") if title == "Third"
                                             for _, name in children(console, key)], 30, "the new folder's video")
        finally:
            with open(config, "w") as file:
                file.write(text)
            stage.server.send(signal.SIGCONT)
        wait_until(lambda: children(console, "100") == before, 10, "the folders as they were")
        wait_until(lambda: children(console, "101") == videos, 30, "the videos as they were")


if __name__ == "__main__":
    unittest.main()
