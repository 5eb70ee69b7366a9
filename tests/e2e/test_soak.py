"""A full house: eight clients browse, four play, subscribers come and go, and every signal arrives five times a second while
the options are rewritten. Nobody gets a wrong answer, and the server does not grow. Meant for the builds with sanitizers.

DMS_SOAK=1 in the environment asks for ten minutes instead of a few seconds.
"""
import contextlib
import http.client
import itertools
import os
import queue
import random
import signal
import threading
import time
import unittest
import urllib.parse

from harness import process, upnp
from harness.server import wait_until
from harness.stage import Stage

SECONDS = 600 if os.environ.get("DMS_SOAK") else 12
SIGNALS = [signal.SIGHUP, signal.SIGUSR1, signal.SIGUSR2, signal.SIGCONT]
BROWSERS, PLAYERS, SUBSCRIBERS = 8, 4, 2
MIB = 1 << 20
MOST_GROWTH = 24 * MIB
# Two programs on each machine, so that the server keeps learning anew who it is.
AGENTS = ["television", "set-top box"]


def setUpModule():
    global stage
    stage = Stage(hosts=4)
    stage.server.start()


class Guest(threading.Thread):
    """Takes turns on one of the hosts until told to stop; whatever a turn raises is remembered."""

    def __init__(self, number):
        super().__init__()
        self.random = random.Random(number)
        self.host = ([stage.client] + stage.others)[number % 3]
        self.agent = AGENTS[number // 3 % len(AGENTS)]
        self.stop = threading.Event()
        self.turns, self.wrong = 0, []

    def run(self):
        with self.host.entered():
            try:
                self.server = upnp.MediaServer(stage.description, self.agent)
                while not self.stop.is_set():
                    self.turn()
                    self.turns += 1
            except Exception as error:
                self.wrong.append(f"{type(self).__name__} {self.agent}, turn {self.turns}: {error!r}")

    def expect(self, found, expected):
        if found != expected:
            raise AssertionError(f"{found!r} instead of {expected!r}")


class Browser(Guest):
    """What stands in a television's lists is what stood there at the start."""

    def run(self):
        self.known = {}
        super().run()

    def turn(self):
        waiting = ["0"]
        for _ in range(6):
            object_id = waiting.pop(self.random.randrange(len(waiting))) if waiting else "0"
            page = self.server.browse(object_id, start=self.random.randrange(4), count=self.random.choice([3, 40]))
            waiting += [element.get("id") for element in page.elements if element.tag == upnp.DIDL + "container"]
            if page.returned:  # past the end of a list its total is not told
                self.expect((object_id, page.total), (object_id, self.known.setdefault(object_id, page.total)))
            self.expect(self.server.browse(object_id, "BrowseMetadata").returned, 1)
        headers = {"User-Agent": "Mozilla/5.0"}
        if (status := upnp.request(f"{stage.base}/cds/", headers=headers)[0]) != 503:  # a few pages are made at a time
            self.expect(status, 200)
        self.expect(upnp.request(stage.description, headers=headers)[0], 200)


class Player(Guest):
    """Plays a part of something, and hangs up in the middle of something else."""

    def run(self):
        self.places = []
        super().run()

    def turn(self):
        if not self.places:
            self.places = [res.text for item in itertools.islice(self.server.items(), 16) for res in item.iterfind(upnp.DIDL + "res")]
        place = urllib.parse.urlsplit(self.random.choice(self.places))
        connection = http.client.HTTPConnection(place.hostname, place.port, timeout=30)
        try:
            first = self.random.randrange(100)
            connection.request("GET", place.path, headers={"Range": f"bytes={first}-"} if first else {})
            answer = connection.getresponse()
            if answer.status not in (200, 206):
                raise AssertionError(f"{place.path}: status {answer.status}")
            answer.read(self.random.choice([1, 20000, 10 * MIB]))
        finally:
            connection.close()


class Subscriber(Guest):
    """Hears of the library, then says good-bye, or is just gone."""

    def turn(self):
        listener = upnp.EventListener(self.host.address)
        try:
            directory = self.server.services[upnp.CONTENT_DIRECTORY]
            status, headers = listener.subscribe(directory)
            if status == 503:  # those who are just gone hold their places for a while
                self.stop.wait(0.5)
                return
            self.expect(status, 200)
            for number in range(self.random.randrange(1, 6)):
                sid, sequence, variables = self.event(listener)
                self.expect((sid, sequence), (headers["sid"], number))
                self.expect([name for name, _ in variables], ["SearchCapabilities", "SortCapabilities", "SystemUpdateID"])
            if self.random.random() < 0.7:
                self.expect(upnp.request(directory.event_url, "UNSUBSCRIBE", {"SID": headers["sid"]})[0], 200)
        except TimeoutError:
            if not self.stop.is_set():
                raise
        finally:
            listener.close()

    def event(self, listener):
        for _ in range(200):
            with contextlib.suppress(queue.Empty):
                return listener.events.get(timeout=0.1)
            if self.stop.is_set():
                break
        raise TimeoutError("no event")


class Soak(unittest.TestCase):
    def rewrite_options(self, number):
        name = stage.server.config("dmsinfo.conf")
        with open(name) as file:
            lines = [line for line in file if not line.startswith("musicinfo_mediaservice")]
        with open(name + ".new", "w") as file:
            file.writelines([*lines, f'musicinfo_mediaservice="{("tracktitle", "title")[number % 2]}"\n'])
        os.rename(name + ".new", name)

    def test_all(self):
        pid = stage.server.pid()
        kinds = [Browser] * BROWSERS + [Player] * PLAYERS + [Subscriber] * SUBSCRIBERS
        guests = [kind(number) for number, kind in enumerate(kinds)]
        for guest in guests:
            guest.start()
        begin, warm = time.monotonic(), 0
        try:
            for number in range(SECONDS * 5):
                self.rewrite_options(number)
                for each in SIGNALS:
                    stage.server.send(each)
                time.sleep(max(0, begin + number / 5 - time.monotonic()))
                if number == SECONDS * 2:
                    warm = process.resident_memory(pid)
                if any(guest.wrong for guest in guests):
                    break
        finally:
            for guest in guests:
                guest.stop.set()
            for guest in guests:
                guest.join()
        turns = {kind.__name__: sum(guest.turns for guest in guests if type(guest) is kind) for kind in (Browser, Player, Subscriber)}
        grown = process.resident_memory(pid) - warm
        print(f"  {SECONDS} s: turns {turns}, memory grew by {grown / MIB:.1f} MiB", flush=True)
        self.assertEqual([wrong for guest in guests for wrong in guest.wrong], [])
        self.assertEqual(stage.server.pid(), pid)
        self.assertTrue(all(turns.values()))
        if not process.is_sanitized(pid):
            self.assertLess(grown, MOST_GROWTH)
        # All that was on its way ends, and who comes now is served.
        wait_until(lambda: upnp.MediaServer(stage.description, "television").browse("0").returned == 3, 10, "a quiet server")


