"""The menus with fixed ids, playlists, radio and search, each as the kind of client that they are for."""
import glob
import os
import tempfile
import unittest

from harness import library, upnp
from harness.stage import Stage

# One device each: the server knows a device again by its address, whatever it calls itself later.
KINDS = ["Xbox/2.0.8955.0", "Windows-Media-Player/12.0", "Roku/DVP-9.10", "Sonos/70", "television"]
CONSOLE, FLAT, ROKU, HIFI, TELEVISION = KINDS
STATION = "http://192.0.2.1:8000/stream.mp3"  # answers nobody


def setUpModule():
    global stage
    lists = tempfile.TemporaryDirectory(prefix="dmslists")
    unittest.addModuleCleanup(lists.cleanup)
    os.chmod(lists.name, 0o755)
    songs = sorted(glob.glob(os.path.join(glob.escape(library.shared()), "Ada Ohm", "*", "*.[mf][pl][3a]*")))[:3]
    with open(os.path.join(lists.name, "Mine.m3u8"), "w") as file:
        file.write("#EXTM3U\n" + "\n".join([songs[2], "nowhere.mp3", songs[0], songs[1]]) + "\n")
    stage = Stage(hosts=2 + len(KINDS), media=[library.shared(), lists.name])
    write_config(stage.server, "smartplaylists/Newest.json",
                 '{"all": [{"is": {"artist": "Ada Ohm"}}], "sort": "title", "order": "desc", "limit": 3}')
    write_config(stage.server, "radio/Jazz.m3u", f"#EXTINF:-1,Nobody\n{STATION}\n")
    write_config(stage.server, "dmsinfo.conf", "suppradio_mediaservice=\"yes\"\n")
    stage.server.start()


def write_config(server, name, text):
    path = server.config(name)
    os.makedirs(os.path.dirname(path), exist_ok=True)
    with open(path, "w") as file:
        file.write(text)
    for folder in (os.path.dirname(path), os.path.dirname(os.path.dirname(path))):
        os.chmod(folder, 0o755)


def children(server, object_id, **arguments):
    # Consoles name the object "ContainerID".
    return [(element.get("id"), element.findtext(upnp.DC + "title")) for element in
            server.browse(object_id, ContainerID=object_id, **arguments).elements]


def search(server, criteria, container="0", start=0, count=0):
    return upnp.Page(server.services[upnp.CONTENT_DIRECTORY].call("Search", headers=server.agent, **{
        "ContainerID": container, "SearchCriteria": criteria, "Filter": "*", "StartingIndex": start,
        "RequestedCount": count, "SortCriteria": ""}))


class Menus(unittest.TestCase):
    def client(self, agent):
        """A device of that kind; the test goes on from its place in the network."""
        self.enterContext(stage.others[KINDS.index(agent)].entered())
        return upnp.MediaServer(stage.description, agent)

    def test_console(self):
        console = self.client(CONSOLE)
        self.assertEqual(children(console, "0"), [("1", "Music"), ("15", "Video"), ("3", "Pictures")])
        self.assertEqual(children(console, "1"), [("4", "All Musics"), ("5", "Genre"), ("6", "Artist"),
                                                  ("8", "Artist/Album"), ("7", "Album"), ("F", "Playlists")])
        self.assertEqual([key for key, _ in children(console, "15")], ["100", "101"])
        self.assertEqual(children(console, "3"), [("16", "Folders")])
        self.assertEqual(len(children(console, "4")), library.SONGS)
        self.assertEqual(len(children(console, "101")), 1)
        albums = search(console, '(upnp:class = "object.container.album.musicAlbum") and (upnp:artist = "Ada Ohm")', "1")
        self.assertEqual(albums.total, library.ALBUMS_PER_ARTIST)

    def test_flat(self):
        flat = self.client(FLAT)
        self.assertEqual(children(flat, "0"), [("4", "All Musics"), ("5", "All Photos"), ("6", "All Videos"),
                                               ("13", "Playlists")])
        self.assertEqual(len(children(flat, "5")), search(flat, 'upnp:class derivedfrom "object.item.imageItem"').total)
        playlists = children(flat, "13")
        self.assertEqual([title for _, title in playlists], ["Mine", "@Newest"])
        for playlist, _ in playlists:
            songs = children(flat, playlist)
            self.assertEqual(len(songs), 3, "the entry that is no song is left out")
            for song, title in songs:
                self.assertTrue(song.startswith("4$@"))
                self.assertEqual(flat.browse(song, "BrowseMetadata").elements[0].findtext(upnp.DC + "title"), title)

    def test_numbered(self):
        roku = self.client(ROKU)
        self.assertEqual(len(children(roku, "1")), library.SONGS)
        self.assertEqual([title for _, title in children(roku, "6")], ["Mine", "@Newest"])
        page = search(roku, 'upnp:class derivedfrom "object.item.audioItem" and upnp:artist contains "100%_real"', count=5)
        self.assertEqual((page.returned, page.total), (5, library.ALBUMS_PER_ARTIST * library.TRACKS_PER_ALBUM))
        for criteria in ('upnp:class = "object.item.audioItem" and upnp:artist = "x\'; DROP TABLE music; --"',
                         '(((upnp:class = "object.item.audioItem" and upnp:artist = "\' or true or \'")'):
            self.assertEqual(search(roku, criteria).total, 0)
        with self.assertRaises(upnp.UpnpError) as caught:
            search(roku, 'upnp:class = "object.item.audioItem"; DROP TABLE music')
        self.assertEqual(caught.exception.code, 708)

    def test_templates(self):
        television = self.client(TELEVISION)
        music = television.child("0", "Music")
        self.assertEqual([title for _, title in children(television, television.child(music, "Playlists"))], ["Mine"])
        radio = television.child(music, "Internet Radio")
        station = television.browse(television.child(radio, "Jazz")).elements[0]
        self.assertIn("/transcoder/", station.find(upnp.DIDL + "res").text)
        hifi = self.client(HIFI)
        self.assertIn(("playlist", "Playlists"), children(hifi, "0"))
        with self.assertRaises(upnp.UpnpError) as caught:
            search(television, 'upnp:class = "object.item.audioItem"')
        self.assertEqual(caught.exception.code, 701)

    def test_a_restart_changes_no_menu(self):
        before = children(self.client(FLAT), "0")
        stage.server.stop()
        stage.server.start()
        self.assertEqual(children(upnp.MediaServer(stage.description, FLAT), "0"), before)

    def test_changes_are_seen_without_a_restart(self):
        roku = self.client(ROKU)
        write_config(stage.server, "smartplaylists/Zoo.json", '{"name": "Last"}')
        try:
            self.assertEqual([title for _, title in children(roku, "6")], ["Mine", "@Newest", "@Last"])
        finally:
            os.remove(stage.server.config("smartplaylists/Zoo.json"))


if __name__ == "__main__":
    unittest.main()
