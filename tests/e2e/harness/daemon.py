"""A daemon of its own beside the server of ./run, on another host and over the same database: it may be killed and hurt."""
import http.client
import os
import shutil
import signal
import subprocess
import tempfile
import urllib.request
from pathlib import Path

from harness.server import MEDIA_PORT, PROJECT, UPNP_PORT, wait_until

BUILD_DIR = os.environ.get("DMS_BUILD_DIR", os.path.join(PROJECT, "build", "release"))


class Daemon:
    PROGRAM, LOG = "daemon/dms", "dms.log"

    def __init__(self, host, server):
        self.host = host
        self.root = tempfile.mkdtemp(prefix="dms")
        shutil.copytree(server.path("root"), self.root, dirs_exist_ok=True)
        for name in ("run/dms.pid", "run/dms.ip", "log/dms.log"):
            path = f"{self.root}/var/{name}"
            if os.path.exists(path):
                os.unlink(path)
        self.environment = {**os.environ, "DMS_SYSROOT": self.root, "PGHOST": server.path("socket"), "PGPORT": "5432"}
        self.process = None

    @property
    def base(self):
        return f"http://{self.host.address}:{UPNP_PORT}"

    @property
    def description(self):
        return self.base + "/desc/device.xml"

    def arguments(self):
        return ["--foreground"]

    def answers(self):
        return urllib.request.urlopen(self.description, timeout=5).status == 200

    def config(self, name):
        return f"{self.root}/var/packages/MediaServer/etc/{name}"

    def log(self):
        return Path(f"{self.root}/var/log/{self.LOG}").read_text(errors="replace")

    def output(self):
        return Path(f"{self.root}/out").read_text(errors="replace")

    def start(self, **environment):
        """Returns when the daemon serves; fails when it ends before."""
        self._output = open(f"{self.root}/out", "ab")
        settings = [f"{name}={value}" for name, value in environment.items()]
        self.process = subprocess.Popen(
            self.host.command("setpriv", "--pdeathsig", "KILL", "env", *settings,
                              f"{BUILD_DIR}/src/{self.PROGRAM}", *self.arguments()),
            env=self.environment, stdin=subprocess.DEVNULL, stdout=self._output, stderr=subprocess.STDOUT)

        def serves():
            if self.process.poll() is not None:
                raise AssertionError(f"the daemon ended with status {self.process.returncode}:\n{self.log()[-2000:]}")
            try:
                return self.answers()
            except OSError:
                return False
        wait_until(serves, 30, "the daemon to serve")
        return self

    @property
    def pid(self):
        return self.process.pid

    def stop(self, number=signal.SIGTERM):
        """Exit status."""
        if self.process.poll() is None:
            self.process.send_signal(number)
        status = self.process.wait(timeout=30)
        self._output.close()
        return status

    def close(self):
        try:
            if self.process is not None and self.process.poll() is None:
                self.stop(signal.SIGKILL)
        finally:
            shutil.rmtree(self.root, ignore_errors=True)


class Gateway(Daemon):
    """The gateway in the daemon's place."""
    PROGRAM, LOG = "gateway/dms-gateway", "dms-gateway.log"

    def arguments(self):
        return ["--address", self.host.address, "--stderr"]

    def answers(self):
        connection = http.client.HTTPConnection(self.host.address, MEDIA_PORT, timeout=5)
        try:
            connection.request("GET", "/")
            return connection.getresponse().status == 404
        finally:
            connection.close()
