"""What strangers send, and what goes wrong around the server: a clear answer, and nothing is lost."""
import glob
import os
import shutil
import subprocess
import tempfile
import unittest

from harness import library, upnp
from harness.server import wait_until
from harness.stage import Stage


def setUpModule():
    global stage, server, media
    folder = tempfile.TemporaryDirectory(prefix="dmsmedia")
    unittest.addModuleCleanup(folder.cleanup)
    media = folder.name
    # A library of its own, because files vanish here.
    for album in ("Album 00", "Album 01"):
        shutil.copytree(f"{library.shared()}/{library.ARTISTS[0]}/{album}", f"{media}/{album}")
    stage = Stage(media=[media])
    stage.server.start()
    server = upnp.MediaServer(stage.description, "television")


def songs():
    return server.browse("music-all").elements


class Failures(unittest.TestCase):
    def test_a_vanished_file(self):
        """Between the listing and the request the file goes: 404, and the next listing is without it."""
        song = songs()[-1]
        before = len(songs())
        url = song.findtext(upnp.DIDL + "res")
        victim = sorted(glob.glob(f"{media}/Album 01/*Song*"))[-1]
        os.rename(victim, victim + ".gone")
        self.assertEqual(upnp.request(url)[0], 404)
        self.assertEqual(upnp.request(songs()[0].findtext(upnp.DIDL + "res"))[0], 200)
        wait_until(lambda: len(songs()) == before - 1, 20, "the library to forget the file")
        os.rename(victim + ".gone", victim)
        wait_until(lambda: len(songs()) == before, 20, "the library to find the file again")


class Bounds(unittest.TestCase):
    def test_a_body_has_as_many_bytes_as_a_television_needs(self):
        directory = server.services[upnp.CONTENT_DIRECTORY]
        for size, status in ((20480, 400), (20481, 413)):
            self.assertEqual(directory.call_raw("Browse", b" " * size)[0], status)

    def test_the_database_is_for_its_owner(self):
        socket_folder = os.stat(stage.server.path("socket"))
        self.assertEqual(socket_folder.st_mode & 0o077, 0)
        self.assertNotIn("postgres", subprocess.run(stage.server_host.command("ss", "-Hltnp"), capture_output=True,
                                                    text=True, check=True).stdout)
