"""./run as its user meets it."""
import os
import signal
import socket
import subprocess
import tempfile
import time
import unittest
from pathlib import Path

from harness import upnp
from harness.network import Host, Network
from harness.server import Server, UPNP_PORT, run_to_end, wait_until


def setUpModule():
    global network, host, client
    network = Network(2)
    unittest.addModuleCleanup(network.close)
    host, client = network.hosts
    unittest.enterModuleContext(client.entered())


class Case(unittest.TestCase):
    def folder(self):
        folder = tempfile.TemporaryDirectory(prefix="dms", ignore_cleanup_errors=True)
        self.addCleanup(folder.cleanup)
        return folder.name

    def refused(self, *arguments, on=None):
        """What ./run says when it refuses to start; it leaves nothing behind."""
        status, said = run_to_end(on or host, *arguments)
        self.assertNotEqual(status, 0)
        return said.strip().splitlines()[-1]


class Refusals(Case):
    def test_arguments(self):
        file = os.path.join(self.folder(), "file")
        with open(file, "w"):
            pass
        cases = [
            (["/nowhere/music"], 'run: media directory "/nowhere/music" does not exist'),
            ([file], f'run: "{file}" is not a directory'),
            (["--frobnicate"], 'run: unrecognized option "--frobnicate" (see ./run --help)'),
            (["--home"], 'run: option "--home" needs a value'),
            (["--interface", "eth7", "--no-build"], 'run: network interface "eth7" does not exist'),
            (["--name", "x" * 64], "run: the friendly name is longer than 63 characters"),
            (["--home", file, "--no-build"], f'run: could not create home directory "{file}"'),
        ]
        for arguments, said in cases:
            with self.subTest(arguments):
                home = [] if "--home" in arguments else ["--home", self.folder()]
                self.assertEqual(self.refused(*home, *arguments), said)

    def test_no_network(self):
        lonely = Host()
        self.addCleanup(lonely.close)
        self.assertIn("no network interface is up", self.refused("--home", self.folder(), "--no-build", on=lonely))

    def test_a_port_in_use(self):
        with host.entered(), socket.create_server((host.address, UPNP_PORT)):
            said = self.refused("--home", self.folder(), "--no-build", self.folder())
        self.assertIn(f"port {UPNP_PORT} is already in use: by process {os.getpid()}", said)


class Life(Case):
    def test_demo_second_start_and_stop(self):
        """The whole life of a home, by the commands of its README."""
        home = self.folder()
        server = Server(host, home=home)
        self.addCleanup(server.close)
        notify = upnp.NotifyListener(client.address)
        self.addCleanup(notify.close)
        server.start(seconds=200)
        base = f"http://{host.address}:{UPNP_PORT}"
        for line in (f"Description     {base}/desc/device.xml", f"Browse page     {base}/cds/"):
            self.assertIn(line, server.output())
        first = upnp.MediaServer(f"{base}/desc/device.xml", "television")
        songs = {song.get("id"): song.findtext(upnp.DC + "title") for song in first.browse("music-all").elements}
        self.assertEqual(len(songs), 24)
        self.assertEqual(len(first.browse("photo-all").elements), 4)  # without the covers
        self.assertEqual(len(first.browse("video-all").elements), 2)

        said = self.refused("--home", home, "--no-build")
        self.assertIn(f'the media server already runs from home "{home}"', said)
        self.assertIn("port 50001 is already in use", self.refused("--home", self.folder(), "--no-build"))
        self.assertEqual(first.browse("0").returned, 3)

        processes = server.children()
        self.assertGreaterEqual(len(processes), 4)
        self.assertEqual(server.stop(signal.SIGINT), 0)
        self.assert_nothing_left(server, processes)
        notify.wait(lambda headers: headers["nts"] == "ssdp:byebye", 5)

        # What the user edits stays; the second start is quick, and clients find what they remember.
        with open(server.config("dmsinfo.conf"), "a") as file:
            file.write('language_mediaservice="ger"\n')
        began = time.monotonic()
        server.start()
        self.assertLess(time.monotonic() - began, 20)
        second = upnp.MediaServer(f"{base}/desc/device.xml", "television")
        self.assertEqual(second.device.findtext(upnp.DEVICE + "UDN"), first.device.findtext(upnp.DEVICE + "UDN"))
        self.assertEqual({song.get("id"): song.findtext(upnp.DC + "title") for song in second.browse("music-all").elements},
                         songs)
        self.assertIn("Musik", [element.findtext(upnp.DC + "title") for element in second.browse("0").elements])
        processes = server.children()
        self.assertEqual(server.stop(signal.SIGTERM), 0)
        self.assert_nothing_left(server, processes)

    def test_killed_without_a_word(self):
        """Not even then does a process stay, and the next start works; also in a home whose path PostgreSQL would take
        for a list of two."""
        media, home = self.folder(), os.path.join(self.folder(), "Kim's, second")
        os.mkdir(home)
        server = Server(host, media, home=home, options=["--interface", "lan", "--name", "Attic"])
        self.addCleanup(server.close)
        server.start()
        processes = server.children()
        os.kill(int(Path(server.path("run.lock")).read_text()), signal.SIGKILL)
        wait_until(lambda: not server.children(), 15, "the processes to end")
        self.assertGreaterEqual(len(processes), 4)
        server._process.wait(timeout=5)
        server.start()
        device = upnp.MediaServer(f"http://{host.address}:{UPNP_PORT}/desc/device.xml", "television").device
        self.assertEqual(device.findtext(upnp.DEVICE + "friendlyName"), "Attic")

    def assert_nothing_left(self, server, processes):
        self.assertEqual(server.children(), [])
        for pid in processes:
            self.assertFalse(os.path.exists(f"/proc/{pid}"), f"process {pid} is still there")
        listening = subprocess.run(host.command("ss", "-Hltn"), capture_output=True, text=True, check=True).stdout
        self.assertEqual(listening, "")
