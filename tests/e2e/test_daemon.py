"""The daemon by itself, without database and gateway: how it starts, what its signals ask for, how it ends.

DMS_SOAK=1 in the environment has it killed 1,000 times.
"""
import contextlib
import fcntl
import http.client
import json
import os
import random
import shutil
import signal
import socket
import subprocess
import tempfile
import threading
import time
import unittest
from pathlib import Path

from lxml import etree

from harness import upnp
from harness.daemon import BUILD_DIR
from harness.disk import SmallDisk
from harness.network import Host, Network
from harness.server import PROJECT, wait_until

PACKAGE = "var/packages/MediaServer"
CLIENT_LIST = f"{PACKAGE}/etc/client_list.json"
REFUSED = '{"ClientList": {"00:00:00:00:00:01": {"isAccess": "false"}}}'
KILLS = 1000 if os.environ.get("DMS_SOAK") else 15


def setUpModule():
    global lonely, host
    network = Network(1)
    unittest.addModuleCleanup(network.close)
    host, = network.hosts
    lonely = Host()
    unittest.addModuleCleanup(lonely.close)


class Case(unittest.TestCase):
    """A fresh installation. The daemon's files are named as below its root."""
    base = "http://127.0.0.1:50003"

    def setUp(self):
        self.enterContext(self.place().entered())
        folder = tempfile.TemporaryDirectory(prefix="dms", ignore_cleanup_errors=True)
        self.addCleanup(folder.cleanup)
        self.root = folder.name
        for name in ("var/run", "var/log", f"{PACKAGE}/etc", "usr/nimb/etc.defaults"):
            os.makedirs(f"{self.root}/{name}")
        shutil.copytree(f"{PROJECT}/share", f"{self.root}/{PACKAGE}/target/etc")
        shutil.copy(f"{PROJECT}/share/mimetypes.txt", f"{self.root}/usr/nimb/etc.defaults")
        self.addCleanup(self.kill_what_is_left)
        self.started = []

    def place(self):
        return lonely

    def kill_what_is_left(self):
        for process in self.started:
            process.kill()
            process.wait()
        if self.pid() > 1:  # a detached one
            with contextlib.suppress(ProcessLookupError):
                os.kill(self.pid(), signal.SIGKILL)

    def start(self, *arguments, output="output"):
        with open(f"{self.root}/{output}", "wb") as file:
            self.started.append(subprocess.Popen(
                [f"{BUILD_DIR}/src/daemon/dms", *arguments], env={**os.environ, "DMS_SYSROOT": self.root},
                stdin=subprocess.DEVNULL, stdout=file, stderr=file))
        return self.started[-1]

    def serve(self, *arguments):
        """Started in the foreground and serving; the description can be read a moment before actions are answered."""
        process = self.start("--foreground", *arguments)

        def serves():
            self.assertIsNone(process.poll(), self.text("output"))
            return self.update_id()
        wait_until(serves, 15, "the daemon to serve")
        return process

    def status(self, *arguments, output="output"):
        return self.start(*arguments, output=output).wait(timeout=15)

    def stop(self, process, number=signal.SIGTERM):
        process.send_signal(number)
        self.assertEqual(process.wait(timeout=15), 0, self.text("output"))
        self.assertEqual(self.pid(), 0)

    def text(self, name):
        try:
            return Path(f"{self.root}/{name}").read_text(errors="replace")
        except FileNotFoundError:
            return ""

    def write(self, name, text):
        Path(f"{self.root}/{name}").write_text(text)

    def options(self, text):
        self.write(f"{PACKAGE}/etc/dmsinfo.conf", text)

    def pid(self):
        return int(self.text("var/run/dms.pid") or 0)

    def server(self, agent="test/1.0"):
        return upnp.MediaServer(f"{self.base}/desc/device.xml", agent)

    def update_id(self, agent="test/1.0"):
        """None when it is refused, or nobody answers."""
        try:
            return self.server(agent).services[upnp.CONTENT_DIRECTORY].call("GetSystemUpdateID")["Id"]
        except (OSError, http.client.HTTPException, AssertionError, upnp.UpnpError, etree.XMLSyntaxError):
            return None


class LocalServer(Case):
    def test_detaches_obeys_signals_and_leaves_nothing_behind(self):
        self.assertEqual(self.status("-localserver"), 0, self.text("output"))
        wait_until(self.update_id, 15, "the daemon to serve")
        pid = self.pid()
        self.assertEqual(os.getsid(pid), pid)
        self.assertEqual(self.text("var/run/dms.pid"), str(pid), "no newline")
        self.assertEqual(self.text(CLIENT_LIST), '{\n\t"ClientList" : 0\n}\n')

        self.assertEqual(self.update_id(), "1")
        os.kill(pid, signal.SIGUSR1)
        wait_until(lambda: self.update_id() == "2", 15, "the library to have changed")
        self.options('loglevel_mediaservice="3"\n')
        os.kill(pid, signal.SIGHUP)
        wait_until(lambda: self.update_id() and "CDS_GetSystemUpdateID" in self.text("var/log/dms.log"), 15, "the log level")
        os.kill(pid, signal.SIGCONT)
        wait_until(lambda: "browse_user-agent" in self.text(CLIENT_LIST), 15, "the client list to be written")
        self.write(CLIENT_LIST, REFUSED)
        os.kill(pid, signal.SIGUSR2)
        wait_until(lambda: self.update_id() is None, 15, "the edited list to be read")

        asked = time.monotonic()
        os.kill(pid, signal.SIGTERM)
        wait_until(lambda: not self.runs(pid), 10, "the daemon to end")
        self.assertLess(time.monotonic() - asked, 8)
        self.assertFalse(os.path.exists(f"{self.root}/var/run/dms.pid"))
        self.assertIn("isAccess", self.text(CLIENT_LIST))

    def test_a_second_start_is_refused_and_harms_nothing(self):
        first = self.serve("-localserver")
        for mode in ("--foreground", "-localserver"):
            self.assertEqual(self.status(mode, output="second"), 1)
            self.assertIn(f"already running as process {first.pid}", self.text("second"))
        self.assertEqual((self.pid(), self.update_id()), (first.pid, "1"))
        self.stop(first, signal.SIGINT)

    def test_a_server_that_does_not_tell_its_number_is_named_without_one(self):
        with open(f"{self.root}/var/run/dms.pid", "w") as other:
            fcntl.flock(other, fcntl.LOCK_EX)
            self.assertEqual(self.status("--foreground", "-localserver"), 1)
        self.assertIn('the server is already running ("', self.text("output"))

    def test_stops_in_order_while_it_starts(self):
        for delay in (0, 0.02, 0.1):
            process = self.start("--foreground", "-localserver")
            while self.pid() != process.pid and process.poll() is None:
                pass
            time.sleep(delay)
            self.stop(process)

    def test_a_port_in_use_is_said_at_a_terminal_and_waited_out_detached(self):
        with socket.create_server(("", 50003)):
            self.assertEqual(self.status("--foreground", "-localserver"), 1)
            for said in ("port 50003 on 127.0.0.1 is in use", "Failed to init UPNP, err=-203"):
                self.assertIn(said, self.text("output"))
            self.assertEqual(self.pid(), 0)
            self.assertEqual(self.status("-localserver"), 0)
            pid = wait_until(self.pid, 15, "the pid file")
            time.sleep(0.5)
            self.assertTrue(self.runs(pid), "a failed start waits for SIGTERM")
            os.kill(pid, signal.SIGTERM)
            wait_until(lambda: not self.runs(pid), 15, "the daemon to end")
            self.assertEqual(self.pid(), 0)

    def test_what_an_earlier_start_did_not_finish(self):
        """Killed after the first of its files, or the temporary directory was emptied since."""
        self.stop(self.serve("-localserver"))
        shutil.rmtree(f"{self.root}/tmp/dms")
        self.stop(self.serve("-localserver"))

    def test_a_torn_list_and_missing_files_do_not_stop_it(self):
        torn = '{"ClientList": {"00:00'
        self.write(CLIENT_LIST, torn)
        for name in ("agent.conf", "dmsicon48.jpg"):
            os.unlink(f"{self.root}/{PACKAGE}/target/etc/{name}")
        process = self.serve("-localserver")
        self.assertEqual((self.update_id(), self.text(CLIENT_LIST + ".broken")), ("1", torn))
        self.stop(process)
        self.assertIn("client_list.json.broken", self.text("output"))

    def test_what_it_cannot_do_without(self):
        self.assertEqual(self.status("--foreground"), 1)
        self.assertIn("no network interface", self.text("output"))
        self.assertTrue(os.path.exists(f"{self.root}/var/run/dms.ip"))
        self.assertEqual(self.text("var/run/dms.ip"), "")
        shutil.rmtree(f"{self.root}/{PACKAGE}/target/etc/strings")
        self.assertEqual(self.status("--foreground", "-localserver"), 1)
        self.assertIn("Failed to import strings", self.text("output"))

    @staticmethod
    def runs(pid):
        """False for a process that ended but was not collected either, as where the first process of a container does not."""
        try:
            return "State:\tZ" not in Path(f"/proc/{pid}/status").read_text()
        except OSError:
            return False


class ListThatStays(Case):
    """What the owner set for the clients outlives whatever happens to the server."""
    OWN = {f"aa:bb:cc:dd:ee:{number:02x}": {"friendlyName": "n" * 300, "isAccess": ("true", "false")[number % 2]}
           for number in range(100)}

    def setUp(self):
        super().setUp()
        self.write(CLIENT_LIST, json.dumps({"ClientList": self.OWN}))

    def saved(self):
        """All clients of the file, which is whole and has the owner's settings."""
        clients = json.loads(self.text(CLIENT_LIST))["ClientList"]
        self.assertEqual({mac: clients.get(mac) for mac in self.OWN}, self.OWN)
        return clients

    def save(self, process, agent):
        """Told to save, the server writes down who asked it."""
        self.assertEqual(self.update_id(agent), "1")
        process.send_signal(signal.SIGCONT)
        wait_until(lambda: agent in str(self.saved()), 15, "the client list to be written")

    def test_kills_at_random_moments(self):
        chance = random.Random(7)
        for number in range(KILLS):
            # Every other one while it starts.
            process = self.serve("-localserver") if number % 2 else self.start("--foreground", "-localserver")
            killer = threading.Timer(chance.uniform(0, 0.5), process.kill)
            killer.start()
            while process.poll() is None:
                self.write(f"{PACKAGE}/etc/new", f'loglevel_mediaservice="{number % 4}"\n' * 100)
                os.rename(f"{self.root}/{PACKAGE}/etc/new", f"{self.root}/{PACKAGE}/etc/dmsinfo.conf")
                if self.pid() == process.pid:
                    process.send_signal(signal.SIGHUP)
                    process.send_signal(signal.SIGCONT)
                    self.update_id(f"player {number}")
            killer.join()
            self.assertEqual(process.returncode, -signal.SIGKILL, self.text("output"))
            self.saved()
        process = self.serve("-localserver")
        self.save(process, "the last player")
        self.stop(process)
        self.assertNotIn("broken", str(os.listdir(f"{self.root}/{PACKAGE}/etc")))

    def test_a_full_disk(self):
        """It fills before the start, or while the server runs; with room again everything is saved again."""
        os.mkdir(f"{self.root}/disk")
        disk = SmallDisk(f"{self.root}/disk")
        self.addCleanup(disk.close)
        for name in ("var", "tmp"):
            os.makedirs(f"{self.root}/{name}", exist_ok=True)
            shutil.move(f"{self.root}/{name}", f"{disk.path}/{name}")
            os.symlink(f"{disk.path}/{name}", f"{self.root}/{name}")
        before = self.text(CLIENT_LIST)

        disk.fill()
        self.assertEqual(self.status("--foreground", "-localserver"), 1)
        self.assertIn("No space left on device", self.text("output"))
        self.assertEqual(self.text(CLIENT_LIST), before)
        disk.free()
        process = self.serve("-localserver")
        self.save(process, "player 1")
        self.stop(process)

        # What the first start made is there for those that find no room.
        before = self.text(CLIENT_LIST)
        disk.fill()
        process = self.serve("-localserver")
        self.assertEqual(self.update_id("player 2"), "1")
        process.send_signal(signal.SIGCONT)
        wait_until(lambda: "could not write client list" in self.text("output"), 15, "the server to say so")
        self.assertEqual(self.text(CLIENT_LIST), before)
        disk.free()
        self.save(process, "player 3")
        self.stop(process)


class OnTheNetwork(Case):
    def place(self):
        return host

    def test_the_first_interface_when_the_named_one_is_missing(self):
        self.base = f"http://{host.address}:50001"
        self.options('network_mediaservice="nosuch0"\nloglevel_mediaservice="2"\n')
        # A user may have switched this off; the UPnP library still asks for it.
        Path("/proc/sys/net/ipv6/conf/all/disable_ipv6").write_text("1")
        process = self.serve()
        self.assertEqual(self.text("var/run/dms.ip"), host.address)
        for said in (f"MediaServer bind to {host.address}:50001", f"MediaServer device desc:{self.base}/desc/device.xml"):
            self.assertIn(said, self.text("var/log/dms.log"))
        self.assertEqual([answer["location"] for answer in upnp.m_search(host.address, "upnp:rootdevice")],
                         [f"{self.base}/desc/device.xml"])
        self.stop(process)

    def test_options_of_the_network_and_the_menu(self):
        # Two entries of the interface table have the name; the later one counts.
        host.run("ip", "address", "add", "10.78.0.1/24", "dev", "lan")
        self.addCleanup(host.run, "ip", "address", "delete", "10.78.0.1/24", "dev", "lan")
        self.base = "http://10.78.0.1:50001"
        self.write(f"{PACKAGE}/etc/menu_custom.xml",
                   '<menu><entrylist><entry id="own"><title>My own menu</title><entrylist>'
                   '<entry id="all" type="index_storagefolder" media="music"><title>All</title></entry>'
                   '</entrylist></entry></entrylist></menu>')
        for too_short in ("30", "abc"):
            self.options(f"network_mediaservice=lan\nmenustyle_mediaservice=custom\nadvrexpire_mediaservice={too_short}\n")
            process = self.serve()
            self.assertEqual(self.text("var/run/dms.ip"), "10.78.0.1")
            answers = wait_until(lambda: upnp.m_search("10.78.0.1", "upnp:rootdevice"), 15, "an answer to a search")
            self.assertEqual(answers[0]["cache-control"], "max-age=70")
            self.assertEqual(self.server().child("0", "My own menu"), "own")
            self.stop(process)
