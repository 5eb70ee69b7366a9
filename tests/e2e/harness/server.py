"""The product, started as a user starts it."""
import json
import os
import shutil
import signal
import subprocess
import tempfile
import time
from pathlib import Path

PROJECT = os.path.abspath(os.path.join(os.path.dirname(__file__), "..", "..", ".."))
UPNP_PORT, MEDIA_PORT = 50001, 50002
_PACKAGE = "root/var/packages/MediaServer"


def wait_until(condition, seconds, what, pause=0.1):
    """The first true answer of `condition`; fails after `seconds`."""
    end = time.monotonic() + seconds
    while True:
        answer = condition()
        if answer:
            return answer
        if time.monotonic() > end:
            raise AssertionError(f"waited {seconds} s in vain for {what}")
        time.sleep(pause)


class Server:
    """`./run` on a host. `start` returns when it has greeted its user."""

    def __init__(self, host, *media, home=None, options=()):
        self.host = host
        # Short, because a home holds the path of a Unix socket.
        self.home = home or tempfile.mkdtemp(prefix="dms")
        self._own_home = home is None
        self._command = host.command(os.path.join(PROJECT, "run"), "--home", self.home, "--no-build", *options, *media)
        self._process = None

    def start(self, seconds=90):
        with open(os.path.join(self.home, "run.out"), "ab") as output:
            before = len(self.output())
            self._process = subprocess.Popen(self._command, stdin=subprocess.DEVNULL, stdout=output,
                                             stderr=subprocess.STDOUT, start_new_session=True)

        def greeted():
            if self._process.poll() is not None:
                raise AssertionError(f"./run ended with status {self._process.returncode}:\n{self.output()}")
            return "Ctrl-C stops everything" in self.output()[before:]
        wait_until(greeted, seconds, "the server to come on line")
        return self

    def output(self):
        return Path(os.path.join(self.home, "run.out")).read_text(errors="replace")

    def log(self):
        return Path(self.path("root/var/log/dms.log")).read_text(errors="replace")

    def path(self, name):
        return os.path.join(self.home, name)

    def config(self, name):
        return self.path(f"{_PACKAGE}/etc/{name}")

    def pid(self):
        return int(Path(self.path("root/var/run/dms.pid")).read_text())

    def send(self, number):
        """Sends a signal to the daemon."""
        os.kill(self.pid(), number)

    def saved_clients(self):
        """The client list, written by the daemon just now: hardware address to entry."""
        name = self.config("client_list.json")

        def identity():
            return os.stat(name).st_ino if os.path.exists(name) else 0
        before = identity()
        self.send(signal.SIGCONT)
        wait_until(lambda: identity() not in (0, before), 10, "the client list to be written")
        with open(name) as file:
            return json.load(file)["ClientList"] or {}

    def database_pid(self):
        with open(self.path("pg/postmaster.pid")) as file:
            return int(file.readline())

    def children(self):
        """Process ids of everything that runs with this home as its root or its cluster."""
        found = []
        for pid in filter(str.isdigit, os.listdir("/proc")):
            try:
                with open(f"/proc/{pid}/environ", "rb") as environ, open(f"/proc/{pid}/cmdline", "rb") as command:
                    if f"DMS_SYSROOT={self.home}/root".encode() in environ.read() or f"{self.home}/".encode() in command.read():
                        found.append(int(pid))
            except OSError:
                continue
        return found

    def stop(self, number=signal.SIGTERM):
        """Ends ./run; its exit status. A report of a sanitizer, also of leaks at the end, is a failure."""
        if self._process.poll() is None:
            self._process.send_signal(number)
        status = self._process.wait(timeout=60)
        said = self.output()
        if "Sanitizer:" in said or "runtime error:" in said:
            raise AssertionError(said[-8000:])
        return status

    def close(self):
        """Stops the server and removes a home of its own."""
        try:
            if self._process is not None and self._process.poll() is None:
                self.stop()
        finally:
            if self._own_home:
                shutil.rmtree(self.home, ignore_errors=True)


def run_to_end(host, *arguments, seconds=60):
    """`./run ARGUMENTS` that is expected to end by itself: exit status and everything that it said."""
    done = subprocess.run(host.command(os.path.join(PROJECT, "run"), *arguments), stdin=subprocess.DEVNULL, text=True,
                          stdout=subprocess.PIPE, stderr=subprocess.STDOUT, timeout=seconds)
    return done.returncode, done.stdout
