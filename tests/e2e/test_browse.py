"""The content tree, as clients walk it."""
import concurrent.futures
import unittest

from harness import library, upnp
from harness.stage import Stage
from harness.walk import check_walk

# A client that gets every property that it asks for and no other.
TELEVISION = "television"
# One whose identifiers have "/" where others have "$".
SLASHES = "Syabas/01-17-110308"


def setUpModule():
    global stage, server
    stage = Stage(hosts=3)
    stage.server.start()
    server = upnp.MediaServer(stage.description, TELEVISION)


class Tree(unittest.TestCase):
    def test_every_answer_fits_the_others(self):
        containers, items = check_walk(self, server, with_counts=True)
        self.assertGreater(len(containers), 80)
        self.assertGreater(len(items), 5 * library.SONGS)

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
