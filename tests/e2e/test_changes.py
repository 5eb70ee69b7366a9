"""What changes around the server while it runs: files, folders and settings are followed, and nothing is lost."""
import glob
import json
import os
import shutil
import signal
import socket
import subprocess
import tempfile
import unittest
from pathlib import Path

from harness import library, upnp
from harness.daemon import BUILD_DIR, Daemon
from harness.server import wait_until
from harness.stage import Stage

GATEWAY_PORT = 50012


def setUpModule():
    global stage, server, media, others
    # Libraries of their own, because files come and go here.
    media, others = (tempfile.TemporaryDirectory(prefix="dmsmedia") for _ in range(2))
    for folder in (media, others):
        os.chmod(folder.name, 0o755)
        unittest.addModuleCleanup(folder.cleanup)
    media, others = media.name, others.name
    for album in ("Album 00", "Album 01"):
        shutil.copytree(f"{library.shared()}/{library.ARTISTS[0]}/{album}", f"{media}/{album}")
    stage = Stage(media=[media])
    stage.server.start()
    server = upnp.MediaServer(stage.description, "television")


def songs():
    try:
        return server.browse("music-all").elements
    except upnp.UpnpError:
        return []


def identifiers():
    return {song.findtext(upnp.DC + "title"): song.get("id") for song in songs()}


class Library(unittest.TestCase):
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

    def test_folders_settings_and_the_database(self):
        one, two, three, four, five = sorted(glob.glob(f"{library.shared()}/{library.ARTISTS[1]}/Album 05/*Song*"))[:5]
        before = len(songs())

        def expect(more):
            wait_until(lambda: len(songs()) == before + more, 30, f"{more} more songs")
        os.mkdir(f"{media}/new")
        shutil.copy(one, f"{media}/new")
        expect(1)
        shutil.copy(two, f"{media}/new")  # a directory that came later is watched, too
        expect(2)
        known = identifiers()
        os.rename(f"{media}/new", f"{media}/old")
        shutil.copy(three, f"{media}/old")
        expect(3)
        self.assertEqual({**identifiers(), **known}, identifiers(), "what moves keeps its identifier")

        shutil.copy(four, others)
        with open(stage.server.config("media_folders.conf"), "a") as file:
            file.write(f"\nmusic = {others}\n")
        expect(4)
        os.kill(stage.server.database_pid(), signal.SIGQUIT)
        shutil.copy(five, others)
        expect(5)

    def test_one_scan_tells_by_its_status(self):
        installation = Daemon(stage.client, stage.server)
        self.addCleanup(installation.close)
        for option, home, status in (("--once", None, 0), ("--once", "/nowhere", 1), ("--no-such-option", None, 2)):
            environment = {**installation.environment, **({"PGHOST": home} if home else {})}
            done = subprocess.run([f"{BUILD_DIR}/src/indexer/dms-indexer", option, "--quiet"], env=environment,
                                  capture_output=True, timeout=60)
            self.assertEqual((done.returncode, bool(done.stderr)), (status, status != 0), done.stderr)


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


class Gateway(unittest.TestCase):
    """A gateway of its own on the client's host, where the test stands."""

    def setUp(self):
        self.installation = Daemon(stage.client, stage.server)
        self.addCleanup(self.installation.close)
        self.song = songs()[0].findtext(upnp.DIDL + "res").replace(
            f"{stage.server_host.address}:50002", f"{stage.client.address}:{GATEWAY_PORT}")

    def start(self, *arguments, port=GATEWAY_PORT):
        process = subprocess.Popen([f"{BUILD_DIR}/src/gateway/dms-gateway", "--port", str(port), *arguments],
                                   env=self.installation.environment, stderr=subprocess.DEVNULL)
        self.addCleanup(process.wait)
        self.addCleanup(process.kill)
        return process

    def status(self):
        """Of the song, as soon as the gateway listens."""
        def asked():
            try:
                return upnp.request(self.song)
            except ConnectionRefusedError:
                return None
        status, headers, _ = wait_until(asked, 10, "the gateway to listen")
        return status, headers.get("content-type")

    def set(self, name, text, mode="w"):
        with open(self.installation.config(name), mode) as file:
            file.write(text)

    def test_listens_where_the_daemon_does_and_stops_at_once(self):
        Path(f"{self.installation.root}/var/run/dms.ip").write_text(stage.client.address + "\n")
        extension = self.song.rpartition(".")[2]
        self.set("dmsinfo.conf", f"\ncmzmimetype_mediaservice=yes\nmimetype_mediaservice={extension}=audio/x-own\n", "a")
        gateway = self.start()
        self.assertEqual(self.status(), (200, "audio/x-own"), "the administrator's own list counts")
        with socket.create_connection((stage.client.address, GATEWAY_PORT)):
            gateway.terminate()
            self.assertEqual(gateway.wait(timeout=5), 0, "though a connection is open")

    def test_an_option_switches_access_rights_off(self):
        self.set("dmsinfo.conf", "\ndisable_access_right_mediaservice=yes\n", "a")
        self.set("client_list.json", json.dumps({"ClientList": {stage.client.mac: {"isAccess": "false"}}}))
        self.start("--address", stage.client.address)
        self.assertEqual(self.status()[0], 200)

    def test_says_why_it_cannot_start(self):
        with socket.create_server((stage.client.address, GATEWAY_PORT)):
            for arguments, status, said in ((["--address", stage.client.address], 1, "Address already in use"),
                                            ([], 1, "could not read the media server's address"),
                                            (["--port", "70000"], 2, ""), (["--no-such-option"], 2, "")):
                self.assertEqual(self.start(*arguments).wait(timeout=10), status, arguments)
                self.assertIn(said, Path(f"{self.installation.root}/var/log/dms-gateway.log").read_text())
