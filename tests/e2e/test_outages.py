"""The database goes away in every way that it can, while players browse and play: errors meanwhile, service right after.

DMS_SOAK=1 in the environment asks for fifty rounds instead of a few.
"""
import contextlib
import os
import signal
import subprocess
import threading
import time
import unittest

from harness import upnp
from harness.server import wait_until
from harness.stage import Stage

ROUNDS = int(os.environ.get("DMS_SOAK", "0")) and 50 or 6
PLAYERS = 8
# The statement timeout and its margin, and what it takes to find that no new connection comes about.
LONGEST_REQUEST = 25
BACK_WITHIN = 2


def setUpModule():
    global stage
    stage = Stage()
    stage.server.start()


def server_processes():
    """The database's own process and those that serve its connections."""
    main = stage.server.database_pid()
    children = subprocess.run(["ps", "-o", "pid=,args=", "--ppid", str(main)], capture_output=True, text=True, check=True)
    rows = (line.split(None, 1) for line in children.stdout.splitlines())
    return main, [int(pid) for pid, command in rows if "mediaserver" in command]


class Player(threading.Thread):
    """Browses and plays until told to stop. Remembers what took too long and what came wrong."""

    def __init__(self, song):
        super().__init__()
        self._server = upnp.MediaServer(stage.description, "television")
        self._song = song
        self.stop = threading.Event()
        self.good = self.refused = 0
        self.longest = 0.0
        self.wrong = []

    def run(self):
        while not self.stop.wait(0.05):
            start = time.monotonic()
            try:
                page = self._server.browse("music-all", count=10)
                if (page.returned, page.total) != (10, ALL):
                    self.wrong.append(f"{page.returned} of {page.total}")
                status, _, _ = upnp.request(self._song, timeout=LONGEST_REQUEST + 5)
                if status not in (200, 500, 503):
                    self.wrong.append(f"status {status} for a song")
                self.good += 1
            except upnp.UpnpError:
                self.refused += 1
            except OSError as error:
                self.wrong.append(repr(error))
            self.longest = max(self.longest, time.monotonic() - start)


class Outages(unittest.TestCase):
    def killed(self):
        os.kill(stage.server.database_pid(), signal.SIGQUIT)
        return self.until_it_is_back

    def stopped_in_order(self):
        os.kill(stage.server.database_pid(), signal.SIGINT)
        return self.until_it_is_back

    def without_its_connections(self):
        for _ in range(10):
            for pid in server_processes()[1]:
                with contextlib.suppress(ProcessLookupError):
                    os.kill(pid, signal.SIGTERM)
            time.sleep(0.1)

    def refusing(self):
        """Connections that exist end, and no new one comes about."""
        folder = stage.server.path("socket")
        os.rename(folder, folder + ".away")
        self.without_its_connections()
        time.sleep(1)
        os.rename(folder + ".away", folder)

    def standing_still(self, seconds=16):
        """For longer than anybody waits, if nothing else is said."""
        main, backends = server_processes()
        for number, pause in ((signal.SIGSTOP, seconds), (signal.SIGCONT, 0)):
            for pid in (main, *backends):
                os.kill(pid, number)
            time.sleep(pause)

    def slow(self):
        """Stands still now and again."""
        for _ in range(8):
            self.standing_still(0.4)
            time.sleep(0.1)

    def until_it_is_back(self):
        def accepts():
            return subprocess.run(["/usr/lib/postgresql/15/bin/pg_isready", "-q", "-h", stage.server.path("socket"), "-U", "dba",
                                   "-d", "postgres"]).returncode == 0
        wait_until(lambda: not accepts(), 10, "the database to end")
        wait_until(accepts, 60, "the database to come back")

    def first_good_browse(self, server):
        start = time.monotonic()

        def good():
            with contextlib.suppress(upnp.UpnpError):
                return server.browse("music-all", count=10).returned == 10
        wait_until(good, LONGEST_REQUEST, "the first good Browse")
        return time.monotonic() - start

    def test_all(self):
        global ALL
        server = upnp.MediaServer(stage.description, "television")
        song = server.browse("music-all", count=1)
        ALL, pid = song.total, stage.server.pid()
        players = [Player(song.elements[0].findtext(upnp.DIDL + "res")) for _ in range(PLAYERS)]
        for player in players:
            player.start()
        kinds = [self.killed, self.without_its_connections, self.refusing, self.slow, self.stopped_in_order, self.standing_still]
        back = []
        try:
            for number in range(ROUNDS):
                kind = kinds[number % len(kinds)]
                time.sleep(0.5)
                wait = kind()
                self.assertEqual(server.browse("0").returned, 3, "which needs no database")
                if wait:
                    wait()
                back.append(self.first_good_browse(server))
                print(f"  {kind.__name__}: first good Browse after {back[-1] * 1000:.0f} ms", flush=True)
        finally:
            for player in players:
                player.stop.set()
            for player in players:
                player.join()
        good, refused = sum(player.good for player in players), sum(player.refused for player in players)
        longest = max(player.longest for player in players)
        print(f"  {ROUNDS} outages, {good} good turns, {refused} refused; longest turn {longest:.1f} s, longest way back "
              f"{max(back):.2f} s", flush=True)
        self.assertEqual([wrong for player in players for wrong in player.wrong], [])
        self.assertEqual(stage.server.pid(), pid)
        self.assertGreater(refused, 0)
        self.assertLess(longest, LONGEST_REQUEST)
        self.assertLess(max(back), BACK_WITHIN)
