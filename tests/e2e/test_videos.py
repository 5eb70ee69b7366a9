"""The video library, walked by category and by folder, as clients that take more or less of it."""
import os
import tempfile
import unittest
from pathlib import Path

from harness import upnp
from harness.server import wait_until
from harness.stage import Stage
from harness.video_library import (EPISODES, HOME_VIDEOS, IN_PARTS, MOVIES, RECORDINGS, SHOWS, SUBTITLE, SUBTITLED, Library)
from harness.walk import check_walk, is_container

OPTION = 'integrateReelhouse_mediaservice="yes"\n'
# One device each: plain, shown subtitle files, told of people and stories, and the one with the menu of fixed ids.
PLAIN, WITH_SUBTITLES, WITH_DETAILS, CONSOLE = AGENTS = ["television", "Philips", "Kodi/20", "Xbox/2.0"]
MOVIE_FILES = MOVIES + len(IN_PARTS)
MOVIES_TOLD = 18  # have a description
TITLE = upnp.DC + "title"


def setUpModule():
    global stage, videos
    folder = tempfile.TemporaryDirectory(prefix="dmsvideos")
    unittest.addModuleCleanup(folder.cleanup)
    os.chmod(folder.name, 0o755)
    videos = Library(folder.name)
    stage = Stage(hosts=2 + len(AGENTS), media=videos.roots)
    os.makedirs(os.path.dirname(stage.server.config("dmsinfo.conf")))
    Path(stage.server.config("dmsinfo.conf")).write_text(OPTION)
    stage.server.start()


def titles(page):
    return [element.findtext(TITLE) for element in page.elements]


def ids(page):
    return [element.get("id") for element in page.elements]


class Videos(unittest.TestCase):
    def client(self, agent=PLAIN):
        self.enterContext(stage.others[AGENTS.index(agent)].entered())
        return upnp.MediaServer(stage.description, agent)

    def test_every_id_leads_back(self):
        files = {"rh-movie-all": MOVIE_FILES, "rh-movie-folder": MOVIE_FILES, "rh-movie-year": MOVIE_FILES,
                 "rh-movie-genre": MOVIE_FILES, "rh-movie-director": MOVIE_FILES, "rh-movie-writer": MOVIE_FILES,
                 "rh-movie-cast": MOVIE_FILES + MOVIES_TOLD, "rh-tvshow-all": EPISODES, "rh-tvshow-folder": EPISODES,
                 "rh-tvshow-genre": EPISODES, "rh-tvshow-recent": EPISODES,
                 "rh-home-all": HOME_VIDEOS, "rh-home-date": HOME_VIDEOS, "rh-home-folder": HOME_VIDEOS,
                 "rh-record-all": len(RECORDINGS), "rh-record-date": len(RECORDINGS),
                 "rh-record-channel": len(RECORDINGS), "rh-record-program": len(RECORDINGS)}
        others = ["rh-movie-all", "rh-movie-folder", "rh-movie-genre", "rh-tvshow-folder", "rh-record-program"]
        for agent, nodes in ((PLAIN, files), (WITH_SUBTITLES, others), (WITH_DETAILS, others)):
            server = self.client(agent)
            for node in nodes:
                with self.subTest(node=node, agent=agent):
                    _, items = check_walk(self, server, node)
                    # Beside the movies of one file, and beside one part of a movie in two.
                    more = len(SUBTITLED) + 1 if agent == WITH_SUBTITLES and "movie" in node else 0
                    self.assertEqual(len(items), files[node] + more)

    def test_categories(self):
        server = self.client()
        movie, show, home, record = (server.browse(f"rh-{kind}").elements for kind in ("movie", "tvshow", "home", "record"))
        self.assertEqual((len(movie), len(show), len(home), len(record)), (8, 8, 5, 5))
        page = server.browse("rh-movie-all")
        self.assertEqual(len(page.elements), MOVIES)
        self.assertEqual({element.findtext(TITLE) for element in page.elements if is_container(element)}, IN_PARTS)
        self.assertEqual(titles(page), sorted(titles(page)))
        self.assertEqual(len(server.browse("rh-movie-recent").elements), 24)
        cast = server.browse("rh-movie-cast")
        self.assertEqual(titles(cast), ["Unknown", *(f"Actor {number}" for number in range(5)), "Zoë O'Hara"])
        self.assertEqual([server.browse(value).total for value in ids(cast)],
                         [MOVIES - MOVIES_TOLD, 4, 4, 3, 3, 4, MOVIES_TOLD])
        shows = server.browse("rh-tvshow-all")
        self.assertEqual(titles(shows), list(SHOWS))
        self.assertEqual(titles(server.browse(ids(shows)[1])),
                         ["Bread & Butter-S00E01-Making of", "Bread & Butter-S01E01-Part 1", "Bread & Butter-S01E02-Part 2"])
        programs = server.browse("rh-record-program")
        self.assertEqual([(title, server.browse(value).total) for title, value in zip(titles(programs), ids(programs))],
                         [("Film", 1), ("News", 3), ("O'Neill's", 1), ("Weather", 1)])
        self.assertEqual(server.browse("rh-record-date$2026-01-02").total, 3)

    def test_folders(self):
        server = self.client()
        roots = server.browse("rh-movie-folder")
        # The indexer keeps folders of one name apart before they could be numbered.
        first, second = ids(roots)
        self.assertEqual(titles(server.browse("rh-home-folder")), titles(roots)[1:])
        self.assertEqual(titles(server.browse("rh-tvshow-folder")), titles(roots)[:1])
        self.assertEqual(titles(server.browse(ids(server.browse("rh-tvshow-folder"))[0])), list(SHOWS))
        self.assertFalse({"nothing here", *SHOWS} & set(titles(server.browse(first))), "no movies there")
        self.assertEqual(titles(server.browse(second)), ["Movie 29 (1991)"])
        old = server.child(first, "old")
        self.assertEqual(titles(server.browse(old)), [f"Movie {n:02d} ({1990 + n % 7})" for n in (5, 15, 25)])

    def test_subtitles_and_bytes(self):
        server = self.client(WITH_SUBTITLES)
        page = server.browse("rh-movie-all")
        self.assertEqual((page.total, page.returned), (MOVIES + len(SUBTITLED),) * 2)
        texts = page.elements[MOVIES:]
        self.assertEqual({element.findtext(upnp.UPNP + "class") for element in texts}, {"object.item.textItem"})
        for element in texts:
            alone, = server.browse(element.get("id"), "BrowseMetadata").elements
            status, _, body = upnp.request(alone.findtext(upnp.DIDL + "res"), headers=server.agent)
            self.assertEqual((status, body.decode()), (200, SUBTITLE))
        movie = next(element for element in page.elements if not is_container(element))
        status, _, body = upnp.request(movie.findtext(upnp.DIDL + "res"), headers=server.agent)
        self.assertEqual((status, body), (200, Path(videos.folder + "/seed.mkv").read_bytes()))

    def test_people_and_stories(self):
        for agent, people, stories in ((WITH_DETAILS, ["Actor 1", "Zoë O'Hara"], ["Story <1> & more"]), (PLAIN, [], [])):
            movie, = (element for element in self.client(agent).browse("rh-movie-all").elements
                      if element.findtext(TITLE).startswith("Movie 01"))
            self.assertEqual([element.text for element in movie.findall(upnp.UPNP + "actor")], people)
            self.assertEqual([element.text for element in movie.findall(upnp.UPNP + "longDescription")], stories)

    def test_the_menu_of_fixed_ids(self):
        console = self.client(CONSOLE)

        self.assertEqual(ids(console.browse("15")), ["100", "101", "120"])
        self.assertEqual(ids(console.browse("120")), ["130", "140", "150", "160"])
        for group, last in (("13", 8), ("14", 8), ("15", 8), ("16", 4)):
            self.assertEqual(ids(console.browse(group + "0")), [f"{group}{number}" for number in range(1, last + 1)])
        self.assertEqual(console.browse("131").total, MOVIES)
        self.assertEqual(console.browse("164").total, 4)
        self.assertEqual({element.findtext(upnp.UPNP + "class") for element in console.browse("141").elements},
                         {"object.container.storageFolder"})

    def test_what_comes_and_goes(self):
        server = self.client()
        root = ids(server.browse("rh-movie-folder"))[1]
        self.assertEqual(server.browse(root).total, 1)
        kept = ids(server.browse(root))[0]
        path = videos.add("More/Films/Zulu (2020).mkv")
        wait_until(lambda: server.browse("rh-movie-all").total == MOVIES + 1, 30, "the new movie")
        self.assertEqual(server.browse(root).total, 2, "the folder is found by the same key")
        new = next(element for element in server.browse(root).elements if element.findtext(TITLE).startswith("Zulu"))
        os.unlink(path)
        wait_until(lambda: server.browse("rh-movie-all").total == MOVIES, 30, "the movie to go")
        for object_id in (new.get("id"), "rh-movie-all$" + new.get("id").rsplit("$", 1)[1]):
            self.assertEqual(server.browse(object_id, "BrowseMetadata").returned, 0)
        self.assertEqual(ids(server.browse(root)), [kept])

if __name__ == "__main__":
    unittest.main()
