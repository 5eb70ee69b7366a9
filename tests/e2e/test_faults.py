"""Every call that the system may refuse is refused once, over one conversation with the daemon: whatever it was, the
daemon says so or answers all the same, keeps what it had, and serves the next conversation as if nothing had been.

DMS_SOAK=1 in the environment has every single allocation fail instead of a selection.
"""
import http.client
import mmap
import os
import signal
import struct
import time
import unittest

from lxml import etree

from harness import process, upnp
from harness.daemon import BUILD_DIR, Daemon
from harness.server import wait_until
from harness.stage import Stage

SOAK = bool(os.environ.get("DMS_SOAK"))
KINDS = ["allocation", "read", "write", "open", "thread", "query", "receive", "send", "socket"]
LIBRARY = f"{BUILD_DIR}/tests/faults/libdms_faults.so"
# Of a kind with very many calls so many are chosen, those at the start of the conversation densely.
CHOSEN = 100
# Steps of the conversation that have no result.
SIGNALS = 2


def setUpModule():
    global stage
    if not os.path.exists(LIBRARY):
        raise unittest.SkipTest("this build has an allocator of its own")
    stage = Stage(hosts=3)
    stage.server.start()


class Control:
    """What is to fail, shared with the daemon: kind, number of the call, calls so far, failures so far."""

    def __init__(self, path):
        with open(path, "wb+") as file:
            file.write(bytes(32))
            file.flush()
            self._memory = mmap.mmap(file.fileno(), 32)

    def arm(self, kind, number):
        self._memory[:] = struct.pack("4q", KINDS.index(kind) + 1, number, 0, 0)

    def disarm(self):
        """How many calls there were, and whether one failed."""
        self._memory[:8] = bytes(8)
        _, _, calls, failed = struct.unpack("4q", self._memory[:])
        return calls, failed > 0


def chosen(calls):
    if SOAK or calls <= CHOSEN:
        return range(1, calls + 1)
    dense = CHOSEN // 2
    step = max(1, (calls - dense) // dense)
    return [*range(1, dense + 1), *range(dense + step, calls + 1, step)]


class Faults(unittest.TestCase):
    def setUp(self):
        self.daemon = Daemon(stage.others[0], stage.server)
        self.addCleanup(self.daemon.close)
        self.control = Control(f"{self.daemon.root}/faults")
        self.listener = upnp.EventListener(stage.client.address)
        self.addCleanup(self.listener.close)
        self.start()

    def launch(self):
        self.daemon.start(LD_PRELOAD=LIBRARY, DMS_FAULTS=f"{self.daemon.root}/faults")

    def start(self):
        self.launch()
        self.server = upnp.MediaServer(self.daemon.description, "television")
        self.settle()

    def settle(self):
        # Actions are answered a moment after the description is.
        self.expected = wait_until(lambda: self.whole(self.conversation()), 10, "a conversation without an error")

    def whole(self, results):
        return results if results.count(None) == SIGNALS else None

    def steps(self):
        """The conversation: one result for each step, None for one that was refused."""
        base = self.daemon.description.rpartition("/desc")[0]
        directory = self.server.services[upnp.CONTENT_DIRECTORY]

        def get(path, **headers):
            status, _, body = upnp.request(base + path, headers={"User-Agent": "television", **headers}, timeout=20)
            return (status, len(body)) if status < 400 else None

        def subscribe():
            status, headers = self.listener.subscribe(directory)
            if status != 200:
                return None
            upnp.request(directory.event_url, "UNSUBSCRIBE", {"SID": headers["sid"]})
            return status
        yield lambda: get("/desc/device.xml")
        yield lambda: [element.get("id") for element in self.server.browse("0").elements]
        yield lambda: [element.findtext(upnp.DC + "title") for element in self.server.browse("music-all", count=2).elements]
        yield lambda: self.server.browse("music-artist", count=3).text
        yield lambda: self.server.browse("music-all", "BrowseMetadata").total
        yield lambda: get("/cds/music-all") and True
        yield lambda: get("/tmp_icon/dmsicon48.png")
        yield lambda: directory.call("GetSystemUpdateID")
        yield lambda: self.server.services[upnp.CONNECTION_MANAGER].call("GetProtocolInfo")
        if self.with_subscription:
            yield subscribe
        yield lambda: self.daemon.process.send_signal(signal.SIGHUP)
        yield lambda: self.daemon.process.send_signal(signal.SIGCONT)

    # Each subscription takes a place for a while.
    with_subscription = False

    def conversation(self):
        results = []
        for step in self.steps():
            try:
                results.append(step())
            except (upnp.UpnpError, etree.XMLSyntaxError, OSError, http.client.HTTPException):  # a plain refusal is no XML
                results.append(None)
        return results

    def walk(self, kind):
        """Fails each call of the kind in turn; what went wrong, by number."""
        self.control.arm(kind, 0)
        self.conversation()
        time.sleep(0.2)
        calls, _ = self.control.disarm()
        wrong, failed, refused = [], 0, 0
        threads, descriptors = process.threads(self.daemon.pid), process.descriptors(self.daemon.pid)
        for number in chosen(calls):
            self.control.arm(kind, number)
            results = self.conversation()
            _, hit = self.control.disarm()
            failed += hit
            refused += results.count(None) > self.expected.count(None)
            if self.daemon.process.poll() is not None:
                wrong.append(f"call {number}: the daemon ended with status {self.daemon.stop()}")
                print(wrong[-1], self.daemon.output()[-4000:], flush=True)
                self.start()
                continue
            for step, (result, expected) in enumerate(zip(results, self.expected)):
                if result is not None and result != expected:
                    wrong.append(f"call {number}: step {step} gave {str(result)[:200]} instead of {str(expected)[:200]}")
            if (after := self.conversation()) != self.expected:
                wrong.append(f"call {number}: afterwards {str(after)[:300]}")
        print(f"  {kind}: {calls} calls, {failed} failed in turn, {refused} conversations with an error", flush=True)
        time.sleep(1)
        # Threads and database connections come as they are needed and stay; a leak would be one for each failure.
        self.assertLess(process.threads(self.daemon.pid) - threads, 30)
        self.assertLess(len(process.descriptors(self.daemon.pid)) - len(descriptors), 40)
        self.assertEqual(wrong, [])

    def test_thread(self):
        """Threads are made at the start and by the first requests: each of them fails in a daemon of its own."""
        wrong, failed, ended = [], 0, 0
        for number in range(1, 200):
            self.daemon.stop(signal.SIGKILL)
            self.control.arm("thread", number)
            try:
                self.launch()
            except AssertionError as error:
                # It may give up, but in order.
                ended += 1
                if self.daemon.process.poll() != 1:
                    wrong.append(f"thread {number}: status {self.daemon.process.poll()}: {str(error)[-300:]}")
                if not self.control.disarm()[1]:
                    break
                continue
            self.conversation()
            calls, hit = self.control.disarm()
            failed += hit
            if not hit:
                break
            if self.daemon.process.poll() is not None:
                wrong.append(f"thread {number}: ended later with status {self.daemon.process.returncode}")
            else:
                try:
                    self.settle()
                except AssertionError as error:
                    wrong.append(f"thread {number}: {error}")
        print(f"  thread: {number - 1} failed in turn, {ended} ended the start", flush=True)
        self.assertEqual(wrong, [])


for kind in KINDS:
    if not hasattr(Faults, f"test_{kind}"):
        setattr(Faults, f"test_{kind}", lambda self, kind=kind: self.walk(kind))
