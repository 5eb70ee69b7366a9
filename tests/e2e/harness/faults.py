"""Every call that the system may refuse is refused once, over one conversation with a program: see tests/faults."""
import http.client
import mmap
import os
import signal
import struct
import time
import unittest

from lxml import etree

from harness import process, upnp
from harness.daemon import BUILD_DIR
from harness.server import wait_until

KINDS = ["allocation", "read", "write", "open", "thread", "query", "receive", "send", "socket"]
LIBRARY = f"{BUILD_DIR}/tests/faults/libdms_faults.so"
SOAK = bool(os.environ.get("DMS_SOAK"))
REFUSED = (upnp.UpnpError, etree.XMLSyntaxError, OSError, http.client.HTTPException)  # a plain refusal is no XML


def need_library():
    if not os.path.exists(LIBRARY):
        raise unittest.SkipTest("this build has an allocator of its own")


class Control:
    """What is to fail, shared with the program: kind, number of the call, calls so far, failures so far."""

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


class Walk:
    """The walk over all calls of a kind; who tests says which program and what is said to it.

    A selection of the calls fails in turn, those at the start of the conversation densely; with DMS_SOAK=1 in the
    environment every one.
    """
    CHOSEN = 100
    longest = 0, 0  # seconds and number of a step

    def program(self):
        """A harness.daemon.Daemon that has not started."""
        raise NotImplementedError

    def steps(self):
        """The conversation: functions that give a result, None when they were refused."""
        raise NotImplementedError

    def setUp(self):
        self.daemon = self.program()
        self.addCleanup(self.daemon.close)
        self.control = Control(f"{self.daemon.root}/faults")
        self.start()

    def launch(self):
        self.daemon.start(LD_PRELOAD=LIBRARY, DMS_FAULTS=f"{self.daemon.root}/faults")

    def start(self):
        self.launch()
        self.settle()

    def settle(self):
        # Actions are answered a moment after the description is.
        self.expected = wait_until(lambda: self.whole(self.conversation()), 20, "a conversation without an error")

    def whole(self, results):
        return None if None in results else results

    def conversation(self):
        results = []
        for number, step in enumerate(self.steps()):
            begin = time.monotonic()
            try:
                results.append(step())
            except REFUSED:
                results.append(None)
            self.longest = max(self.longest, (time.monotonic() - begin, number))
        return results

    def chosen(self, calls):
        if SOAK or calls <= self.CHOSEN:
            return range(1, calls + 1)
        dense = self.CHOSEN // 2
        step = max(1, (calls - dense) // dense)
        return [*range(1, dense + 1), *range(dense + step, calls + 1, step)]

    def walk(self, kind):
        """Fails each call of the kind in turn; what went wrong, by number."""
        self.control.arm(kind, 0)
        self.conversation()
        time.sleep(0.2)
        calls, _ = self.control.disarm()
        wrong, failed, refused, self.longest = [], 0, 0, (0, 0)
        threads, descriptors = process.threads(self.daemon.pid), process.descriptors(self.daemon.pid)
        for number in self.chosen(calls):
            self.control.arm(kind, number)
            results = self.conversation()
            _, hit = self.control.disarm()
            failed += hit
            refused += None in results
            if self.daemon.process.poll() is not None:
                wrong.append(f"call {number}: the program ended with status {self.daemon.stop()}")
                print(wrong[-1], self.daemon.output()[-4000:], flush=True)
                self.start()
                continue
            for step, (result, expected) in enumerate(zip(results, self.expected)):
                if result is not None and result != expected:
                    wrong.append(f"call {number}: step {step} gave {str(result)[:200]} instead of {str(expected)[:200]}")
            if (after := self.conversation()) != self.expected:
                wrong.append(f"call {number}: afterwards {str(after)[:300]}")
        print(f"  {kind}: {calls} calls, {failed} failed in turn, {refused} conversations with an error, longest step "
              f"{self.longest[1]}: {self.longest[0]:.1f} s", flush=True)
        time.sleep(1)
        # Threads and database connections come as they are needed and stay; a leak would be one for each failure.
        self.assertLess(process.threads(self.daemon.pid) - threads, 30)
        self.assertLess(len(process.descriptors(self.daemon.pid)) - len(descriptors), 40)
        self.assertEqual(wrong, [])

    def test_thread(self):
        """Threads are made at the start and by the first requests: each of them fails in a program of its own."""
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
    if not hasattr(Walk, f"test_{kind}"):
        setattr(Walk, f"test_{kind}", lambda self, kind=kind: self.walk(kind))
