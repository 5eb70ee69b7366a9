"""Every call that the system may refuse is refused once, over one conversation with the daemon: whatever it was, the
daemon says so or answers all the same, keeps what it had, and serves the next conversation as if nothing had been.

DMS_SOAK=1 in the environment has every single call fail instead of a selection.
"""
import itertools
import os
import queue
import signal
import unittest

from harness import faults, process, upnp
from harness.daemon import Daemon
from harness.server import wait_until
from harness.stage import Stage

# A subscription keeps its place for a while after its end, and an address has few.
SUBSCRIBERS = [f"10.73.0.{number}" for number in range(100, 180)]


def setUpModule():
    global stage
    faults.need_library()
    stage = Stage(hosts=3)
    for address in SUBSCRIBERS:
        stage.client.run("ip", "address", "add", f"{address}/24", "dev", "lan")
    stage.server.start()


class Faults(faults.Walk, unittest.TestCase):
    def program(self):
        self.listener = upnp.EventListener(stage.client.address)
        self.addCleanup(self.listener.close)
        self.subscribers = itertools.cycle(SUBSCRIBERS)
        return Daemon(stage.others[0], stage.server)

    def start(self):
        self.launch()
        self.server = upnp.MediaServer(self.daemon.description, "television")
        self.settle()

    def get(self, path):
        status, _, body = upnp.request(self.daemon.base + path, headers={"User-Agent": "television"})
        return (status, len(body)) if status < 400 else None

    def titles(self, *arguments, **others):
        return [element.findtext(upnp.DC + "title") for element in self.server.browse(*arguments, **others).elements]

    def subscribe(self):
        """The names of the variables that the first event brings."""
        directory, source = self.server.services[upnp.CONTENT_DIRECTORY], next(self.subscribers)
        status, headers = self.listener.subscribe(directory, source=source)
        if status != 200:
            return None
        try:
            while (event := self.listener.events.get(timeout=2))[0] != headers["sid"]:
                pass
        except queue.Empty:
            return None
        finally:
            upnp.request(directory.event_url, "UNSUBSCRIBE", {"SID": headers["sid"]}, source=source)
        return [name for name, _ in event[2]]

    def signal(self, number):
        """Whether the client list is a new file once the daemon has done what the signal asks for."""
        before = os.stat(self.daemon.config("client_list.json")).st_ino
        self.daemon.process.send_signal(number)
        wait_until(lambda: self.daemon.process.poll() is not None or process.awaits_signals(self.daemon.pid), 20,
                   "the signal to be served", 0.002)
        return os.stat(self.daemon.config("client_list.json")).st_ino != before

    def test_signals(self):
        """The selection leaves gaps that what a signal asks for fits into: alone, each of its calls fails."""
        self.steps, self.CHOSEN = self.signals, 1000
        self.settle()
        self.walk("allocation")

    def signals(self):
        yield lambda: self.get("/desc/device.xml")
        yield lambda: self.signal(signal.SIGHUP)
        yield lambda: self.signal(signal.SIGCONT) or None

    def steps(self):
        yield lambda: self.get("/desc/device.xml")
        yield lambda: self.titles("0")
        yield lambda: self.titles("music-all", count=2)
        yield lambda: self.server.browse("music-artist", count=3).text
        yield lambda: self.server.browse("music-all", "BrowseMetadata").total
        yield lambda: self.get("/cds/music-all") and True  # without the database it is an empty page
        yield lambda: self.get("/tmp_icon/dmsicon48.png")
        yield lambda: self.server.services[upnp.CONTENT_DIRECTORY].call("GetSystemUpdateID")
        yield lambda: self.server.services[upnp.CONNECTION_MANAGER].call("GetProtocolInfo")
        yield self.subscribe
        yield from self.signals()
