"""The content tree, as clients walk it."""
import concurrent.futures
import unittest

from lxml import etree

from harness import library, upnp
from harness.stage import Stage

# A client that gets every property that it asks for and no other.
TELEVISION = "television"
# One whose identifiers have "/" where others have "$".
SLASHES = "Syabas/01-17-110308"


def setUpModule():
    global stage, server
    stage = Stage(hosts=3)
    stage.server.start()
    server = upnp.MediaServer(stage.description, TELEVISION)


def text(element):
    return etree.tostring(element, with_tail=False)


def identity(element):
    """What a listing and the metadata of a container both say."""
    return (element.tag, element.get("id"), element.get("parentID"), element.findtext(upnp.DC + "title"),
            element.findtext(upnp.UPNP + "class"))


def expected_metadata(listed):
    """The metadata that goes with an entry of a listing: the same, but for the one that gathers a whole level. That has
    the class of the level in the listing, and is a plain container by itself."""
    gathers_a_level = listed.get("id").endswith("$0")
    *others, object_class = identity(listed)
    return (*others, "object.container" if gathers_a_level else object_class)


def walk(server):
    """Every container below the root with its whole listing: (identifier, page)."""
    waiting, seen = ["0"], set()
    while waiting:
        object_id = waiting.pop(0)
        if object_id in seen:
            raise AssertionError(f'the identifier "{object_id}" names two containers')
        seen.add(object_id)
        page = server.browse(object_id)
        waiting += [element.get("id") for element in page.elements if element.tag == upnp.DIDL + "container"]
        yield object_id, page


class Tree(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.listings = list(walk(server))

    def test_the_road_to_a_track(self):
        """Artist, album, track: what the first evening with the server looks like."""
        artists = server.child(server.child("0", "Music"), "By Artist")
        titles = [element.findtext(upnp.DC + "title") for element in server.browse(artists).elements]
        self.assertCountEqual(titles, library.ARTISTS)
        for number, artist in enumerate(library.ARTISTS):
            albums = server.child(artists, artist)
            first = number * library.ALBUMS_PER_ARTIST
            wanted = [f"Album {album:02d}" for album in range(first, first + library.ALBUMS_PER_ARTIST)]
            found = [element.findtext(upnp.DC + "title") for element in server.browse(albums).elements]
            self.assertEqual(found[1:], wanted)
            tracks = server.browse(server.child(albums, wanted[0])).elements
            self.assertEqual([track.findtext(upnp.DC + "title") for track in tracks],
                             [f"Song {first:02d}-{track}" for track in range(1, library.TRACKS_PER_ALBUM + 1)])
            self.assertEqual([track.findtext(upnp.UPNP + "artist") for track in tracks],
                             [artist] * library.TRACKS_PER_ALBUM)

    def test_all_songs_are_there_once(self):
        songs = server.browse(server.child(server.child("0", "Music"), "All Music"))
        self.assertEqual((songs.total, songs.returned), (library.SONGS, library.SONGS))
        self.assertEqual(len({song.findtext(upnp.DC + "title") for song in songs.elements}), library.SONGS)

    def test_folders_show_the_disk(self):
        folder = server.child(server.child("0", "Music"), "By Folder")
        songs, waiting = 0, [folder]
        while waiting:
            for element in server.browse(waiting.pop()).elements:
                if element.tag == upnp.DIDL + "container":
                    waiting.append(element.get("id"))
                else:
                    songs += 1
        self.assertEqual(songs, library.SONGS)

    def test_numbers_of_every_listing(self):
        self.assertGreater(len(self.listings), 80)
        for object_id, page in self.listings:
            with self.subTest(object_id):
                self.assertEqual((page.returned, page.total), (len(page.elements), len(page.elements)))
                self.assertEqual({element.get("parentID") for element in page.elements} - {object_id}, set())
                identifiers = [element.get("id") for element in page.elements]
                self.assertEqual(len(set(identifiers)), len(identifiers))

    def test_metadata_agrees_with_every_listing(self):
        for object_id, page in self.listings:
            for element in page.elements:
                with self.subTest(element.get("id")):
                    alone = server.browse(element.get("id"), "BrowseMetadata")
                    self.assertEqual((alone.returned, alone.total), (1, 1))
                    if element.tag == upnp.DIDL + "item":
                        self.assertEqual(text(alone.elements[0]), text(element))
                    else:
                        self.assertEqual(identity(alone.elements[0]), expected_metadata(element))

    def test_child_counts_are_true(self):
        totals = {object_id: page.total for object_id, page in self.listings}
        counted = 0
        for object_id, total in totals.items():
            element, = server.browse(object_id, "BrowseMetadata").elements
            if element.get("childCount") is not None:
                counted += 1
                self.assertEqual((object_id, int(element.get("childCount"))), (object_id, total))
        self.assertEqual(counted, len(totals))

    def test_pages_joined_are_the_whole(self):
        for object_id, whole in self.listings:
            size = 3 if whole.total < 30 else 37
            pages = [server.browse(object_id, start=start, count=size) for start in range(0, whole.total, size)]
            with self.subTest(object_id):
                self.assertEqual([text(element) for page in pages for element in page.elements],
                                 [text(element) for element in whole.elements])
                self.assertEqual({page.total for page in pages} - {whole.total}, set())


class Separators(unittest.TestCase):
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
                            found += [(song.get("id"), song.findtext(upnp.DC + "title")) for song in songs]
                    results.append(found)
                return results
        other, = stage.others
        with concurrent.futures.ThreadPoolExecutor(2) as pool:
            dollars = pool.submit(titles_below, stage.client, TELEVISION, 4)
            slashes = pool.submit(titles_below, other, SLASHES, 4)
            dollars, slashes = dollars.result(), slashes.result()
        for results, mine, theirs in ((dollars, "$", "/"), (slashes, "/", "$")):
            self.assertEqual(results, [results[0]] * len(results))
            self.assertTrue(all(mine in identifier and theirs not in identifier for identifier, _ in results[0]))
        self.assertEqual([title for _, title in dollars[0]], [title for _, title in slashes[0]])
        self.assertGreaterEqual(len(dollars[0]), library.SONGS)
