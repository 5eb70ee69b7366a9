"""The menus with fixed ids, playlists, radio and search, each as the kind of client that they are for."""
import concurrent.futures
import glob
import json
import os
import re
import shutil
import signal
import tempfile
import unittest
from pathlib import Path

from harness import library, upnp
from harness.server import wait_until
from harness.stage import Stage
from harness.walk import check_walk

# One device each: the server knows a device again by its address, whatever it calls itself later.
KINDS = ["Xbox/2.0.8955.0", "Windows-Media-Player/12.0", "Roku/DVP-9.10", "Sonos/70", "television", None]
CONSOLE, FLAT, ROKU, HIFI, TELEVISION, NAMELESS = KINDS
# One whose identifiers have "/" where others have "$".
SLASHES = "Syabas/01-17-110308"

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
    Path(os.path.join(lists, "Lists", "Mine.m3u8")).write_text("#EXTM3U\n" + "\n".join([songs[2], "nowhere.mp3", songs[0], songs[1]]) + "\n")
    shares = [os.path.join(lists, share) for share in ("Lists", "a/Clips", "b/Clips")]
    stage = Stage(hosts=2 + len(KINDS), media=[library.shared(), *shares])
    write_config(stage.server, "smartplaylists/Newest.json",
                 '{"all": [{"is": {"artist": "Ada Ohm"}}], "sort": "title", "order": "desc", "limit": 3}')
    write_config(stage.server, "radio/Jazz.m3u", "#EXTINF:-1,Blue\nhttp://192.0.2.1/blue\n")
    write_config(stage.server, "dmsinfo.conf", "suppradio_mediaservice=\"yes\"\n")
    stage.server.start()


def write_config(server, name, text):
    path = server.config(name)
    os.makedirs(os.path.dirname(path), exist_ok=True)
    Path(path).write_text(text)
    for folder in (os.path.dirname(path), os.path.dirname(os.path.dirname(path))):
        os.chmod(folder, 0o755)


def title_of(element):
    return element.findtext(upnp.DC + "title")


def children(server, object_id):
    return [(element.get("id"), title_of(element)) for element in server.browse(object_id).elements]


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

    def check_menu(self, server, rows, roots=("0",), with_counts=False):
        """The entries of the menu are `rows`. @return how many different files the items below name, per kind."""
        walks = [check_walk(self, server, root, with_counts, every_item=with_counts) for root in roots]
        entries = [(element.get("parentID"), element.get("id"), title_of(element), element.findtext(upnp.UPNP + "class"))
                   for containers, _ in walks for element in containers if "$" not in element.get("id")]
        items = [item for _, items in walks for item in items]

        def by_parent(row):
            return row[0]
        self.assertEqual(sorted(entries, key=by_parent), sorted((row for row in rows if row[1] not in roots), key=by_parent))
        url = items[0].find(upnp.DIDL + "res").text
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
                              for element in roku.browse(key, "BrowseMetadata").elements], [(parent, key, title, code)])
        # Everything else is the menu of all others.
        self.assertEqual([key for key, _ in children(roku, "0")], ["music", "video", "photo"])
        with self.assertRaises(upnp.UpnpError) as caught:
            children(roku, "7")
        self.assertEqual(caught.exception.code, 701)

    def test_music_only(self):
        self.assertEqual(self.check_menu(self.client(HIFI), music("0", "22")), [library.SONGS, 0, 0])

    def test_template(self):
        self.assertEqual(self.check_menu(self.client(TELEVISION), TEMPLATE, with_counts=True), self.EVERYTHING)


class Menus(Clients):
    def test_the_road_to_a_track(self):
        """Artist, album, track: what the first evening with the server looks like."""
        server = self.client(TELEVISION)
        artists = server.child(server.child("0", "Music"), "By Artist")
        titles = [title_of(element) for element in server.browse(artists).elements]
        self.assertCountEqual(titles, library.ARTISTS)
        for number, artist in enumerate(library.ARTISTS):
            albums = server.child(artists, artist)
            first = number * library.ALBUMS_PER_ARTIST
            wanted = [f"Album {album:02d}" for album in range(first, first + library.ALBUMS_PER_ARTIST)]
            found = [title_of(element) for element in server.browse(albums).elements]
            self.assertEqual(found[1:], wanted)
            tracks = server.browse(server.child(albums, wanted[0])).elements
            self.assertEqual([title_of(track) for track in tracks],
                             [f"Song {first:02d}-{track}" for track in range(1, library.TRACKS_PER_ALBUM + 1)])
            self.assertEqual([track.findtext(upnp.UPNP + "artist") for track in tracks],
                             [artist] * library.TRACKS_PER_ALBUM)

    def test_two_kinds_of_client_at_once(self):
        """Each sees identifiers with its own separator only, and the same library, whatever the other does meanwhile."""
        def titles_below(host, agent, rounds):
            with host.entered():
                client = upnp.MediaServer(stage.description, agent)
                results = []
                for _ in range(rounds):
                    found = []
                    for artist in client.browse("music-artist").elements:
                        for album in client.browse(artist.get("id")).elements:
                            songs = client.browse(album.get("id")).elements
                            found += [(song.get("id"), title_of(song)) for song in songs]
                    results.append(found)
                return results
        with concurrent.futures.ThreadPoolExecutor(2) as pool:
            dollars = pool.submit(titles_below, stage.others[KINDS.index(TELEVISION)], TELEVISION, 4)
            slashes = pool.submit(titles_below, stage.client, SLASHES, 4)
            dollars, slashes = dollars.result(), slashes.result()
        for results, mine, theirs in ((dollars, "$", "/"), (slashes, "/", "$")):
            self.assertEqual(results, [results[0]] * len(results))
            self.assertTrue(all(mine in identifier and theirs not in identifier for identifier, _ in results[0]))
        self.assertEqual([title for _, title in dollars[0]], [title for _, title in slashes[0]])
        self.assertGreaterEqual(len(dollars[0]), library.SONGS)

    def test_playlists(self):
        flat = self.client(FLAT)
        playlists = children(flat, "13")
        self.assertEqual([title for _, title in playlists], ["Mine", "@Newest"])
        for playlist, _ in playlists:
            self.assertEqual([song[:3] for song, _ in children(flat, playlist)], ["4$@"] * 3, "what is no song is left out")
        self.assertEqual([title for _, title in children(self.client(TELEVISION), "playlist")], ["Mine"])

    def test_search(self):
        console = self.client(CONSOLE)
        albums = search(console, '(upnp:class = "object.container.album.musicAlbum") and (upnp:artist = "Ada Ohm")', "1")
        self.assertEqual(albums.total, library.ALBUMS_PER_ARTIST)
        flat = self.client(FLAT)
        self.assertEqual(search(flat, 'upnp:class derivedfrom "object.item.imageItem"').total, Walks.PHOTOS)
        roku = self.client(ROKU)
        page = search(roku, 'upnp:class derivedfrom "object.item.audioItem" and upnp:artist contains "100%_real"', count=5)
        self.assertEqual((page.returned, page.total), (5, library.ALBUMS_PER_ARTIST * library.TRACKS_PER_ALBUM))
        self.assertEqual(search(roku, 'upnp:class = "object.container.genre.musicGenre"').total, len(library.GENRES))
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

    def test_folders_change_without_a_restart(self):
        console = self.client(CONSOLE)
        before, videos = children(console, "100"), children(console, "101")
        # They stand in the order of their paths, and where the shared library lies is the machine's affair.
        self.assertCountEqual([title for _, title in before], ["library-1", "Lists", "Clips (a)", "Clips (b)"])
        for share, title in before:
            if title.startswith("Clips"):
                self.assertEqual([name for _, name in children(console, share)], [title[7]], "two shares of one name")
        config = stage.server.config("media_folders.conf")
        text = Path(config).read_text()
        try:
            with open(config, "a") as file:
                file.write(f"video = {lists}/c/Third | Third\n")
            stage.server.send(signal.SIGCONT)
            wait_until(lambda: "Third" in dict(children(console, "100")).values(), 10, "the new folder")
            wait_until(lambda: ["c"] == [name for key, title in children(console, "100") if title == "Third"
                                             for _, name in children(console, key)], 30, "the new folder's video")
        finally:
            Path(config).write_text(text)
            stage.server.send(signal.SIGCONT)
        wait_until(lambda: children(console, "100") == before, 10, "the folders as they were")
        wait_until(lambda: children(console, "101") == videos, 30, "the videos as they were")


if __name__ == "__main__":
    unittest.main()
