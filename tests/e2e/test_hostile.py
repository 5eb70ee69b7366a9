"""What strangers send, and what goes wrong around the server: a clear answer, and nothing is lost."""
import concurrent.futures
import glob
import os
import shutil
import signal
import socket
import subprocess
import tempfile
import time
import unittest

from harness import library, upnp
from harness.server import UPNP_PORT, wait_until
from harness.stage import Stage

ENVELOPE = ('<?xml version="1.0"?><s:Envelope xmlns:s="http://schemas.xmlsoap.org/soap/envelope/"><s:Body>{}</s:Body>'
            '</s:Envelope>')


def setUpModule():
    global stage, server, media
    folder = tempfile.TemporaryDirectory(prefix="dmsmedia")
    unittest.addModuleCleanup(folder.cleanup)
    media = folder.name
    # A library of its own, because files vanish here.
    for album in ("Album 00", "Album 01"):
        shutil.copytree(f"{library.shared()}/{library.ARTISTS[0]}/{album}", f"{media}/{album}")
    stage = Stage(media=[media])
    stage.server.start()
    server = upnp.MediaServer(stage.description, "television")


def songs():
    return server.browse("music-all").elements


class Arguments(unittest.TestCase):
    IDENTIFIERS = [
        "music-artist$1 or 1=1", "music-artist$1;drop table music", "music-artist$'", "music-artist$-1",
        "music-artist$99999999999", "music-artist$#'", "music-artist$0x10", "music-artist$1$@1 or 1=1", "music-all$@'",
        "music-artist$" + "9" * 3000, "music-folder$../../etc", "music-folder$c1;select 1", "music-folder$@1'--",
        "music-artist" + "$1" * 400, "music-artist$%s%n", "$", "$$$$", "music-all$@", "music-folder$@",
        "\u202e\U0001f4a3", "music-artist$+1", "music-artist$ 1",
    ]

    def test_identifiers_that_name_nothing(self):
        before = len(songs())
        for object_id in self.IDENTIFIERS:
            for flag in ("BrowseMetadata", "BrowseDirectChildren"):
                with self.subTest(object_id[:60], flag=flag):
                    with self.assertRaises(upnp.UpnpError) as caught:
                        server.browse(object_id, flag)
                    self.assertEqual(caught.exception.code, 701)
        self.assertEqual(len(songs()), before)

    def test_sql_in_the_other_arguments(self):
        for change in ({"filter": "'; drop table music; --"}, {"flag": "'; drop table music; --"},
                       {"SortCriteria": "+dc:title; drop table music"}):
            self.assertEqual(server.browse("music-all", **change).total, len(songs()))

    def test_a_hostile_user_agent(self):
        for agent in ("'; drop table music; --", "%s%s%s%n", "\"}],\"ClientList\":0", "x" * 1000, "\u00e4".encode().decode("latin-1")):
            self.assertEqual(upnp.MediaServer(stage.description, agent).browse("0").returned, 3)


class Soap(unittest.TestCase):
    BROWSE = ('<u:Browse xmlns:u="urn:schemas-upnp-org:service:ContentDirectory:1"><ObjectID>0</ObjectID><BrowseFlag>'
              'BrowseMetadata</BrowseFlag><Filter>*</Filter><StartingIndex>0</StartingIndex><RequestedCount>0'
              '</RequestedCount><SortCriteria/></u:Browse>')

    def post(self, body, **headers):
        return upnp.request(server.services[upnp.CONTENT_DIRECTORY].control_url, "POST", {
            "SOAPACTION": f'"{upnp.CONTENT_DIRECTORY}#Browse"', "Content-Type": "text/xml", **headers}, body)

    def test_documents_that_are_none(self):
        good = ENVELOPE.format(self.BROWSE)
        self.assertEqual(self.post(good.encode())[0], 200)
        cases = [
            ("nothing", ""), ("not XML", "Browse!"), ("cut short", good[:-40]), ("wrong nesting", good.replace("</u:Browse>", "")),
            ("no body", ENVELOPE.format("")), ("two roots", good + good[21:]),
            ("an external entity", good.replace("<s:Env", '<!DOCTYPE x [<!ENTITY e SYSTEM "file:///etc/passwd">]><s:Env', 1)
             .replace("<ObjectID>0", "<ObjectID>&e;")),
            ("entities that explode", good.replace("<s:Env", '<!DOCTYPE x [<!ENTITY a "aaaaaaaaaa"><!ENTITY b "&a;&a;&a;&a;">]><s:Env', 1)
             .replace("<ObjectID>0", "<ObjectID>&b;")),
            ("nested without end", ENVELOPE.format("<a>" * 2000 + "</a>" * 2000)),
            ("a thousand arguments", good.replace("<SortCriteria/>", "<X/>" * 3000)),
        ]
        for why, body in cases:
            with self.subTest(why):
                start = time.monotonic()
                status, _, answer = self.post(body.encode())
                self.assertGreaterEqual(status, 400)
                self.assertNotIn(b"root:", answer)
                self.assertLess(time.monotonic() - start, 3)

    def test_the_body_has_a_limit(self):
        padded = ENVELOPE.format(self.BROWSE + " " * 20480).encode()
        self.assertEqual(self.post(padded)[0], 413)
        # Chunked, the size is not known before.
        with socket.create_connection((stage.server_host.address, UPNP_PORT), timeout=10) as connection:
            connection.sendall((f"POST /upnp/control/ContentDirectory1 HTTP/1.1\r\nHost: {stage.server_host.address}:{UPNP_PORT}\r\n"
                                f'SOAPACTION: "{upnp.CONTENT_DIRECTORY}#Browse"\r\nTransfer-Encoding: chunked\r\n\r\n').encode())
            try:
                for _ in range(200):
                    connection.sendall(b"1000\r\n" + b" " * 0x1000 + b"\r\n")
            except OSError:
                pass  # it need not listen to all of it
            connection.settimeout(5)
            try:
                answer = connection.recv(200)
            except ConnectionResetError:
                answer = b""
            self.assertTrue(answer == b"" or b" 413 " in answer, answer)

    def test_a_foreign_host_name_is_refused(self):
        """A web page whose name was pointed at the server must not get at it."""
        for host in ("evil.example:50001", "evil.example", ""):
            self.assertGreaterEqual(upnp.request(stage.description, headers={"Host": host})[0], 400)
        self.assertEqual(upnp.request(stage.description)[0], 200)

    def test_half_requests_hold_nobody_up(self):
        connections = []
        try:
            for _ in range(40):
                connections.append(socket.create_connection((stage.server_host.address, UPNP_PORT), timeout=5))
                connections[-1].sendall(b"POST /upnp/control/ContentDirectory1 HTTP/1.1\r\nContent-Le")
            start = time.monotonic()
            self.assertEqual(server.browse("0").returned, 3)
            self.assertLess(time.monotonic() - start, 2)
        finally:
            for connection in connections:
                connection.close()

    def test_a_subscription_without_a_path(self):
        """All else about it is right, so that the missing path is what is met."""
        place = f"{stage.server_host.address}:{UPNP_PORT}"
        before = stage.server.pid()
        for target in (f"http://{place}", f"http://{place}?", "*"):
            with self.subTest(target), socket.create_connection((stage.server_host.address, UPNP_PORT), timeout=5) as connection:
                connection.sendall((f"SUBSCRIBE {target} HTTP/1.1\r\nHost: {place}\r\nNT: upnp:event\r\n"
                                    f"CALLBACK: <http://{stage.client.address}:5999/>\r\nTIMEOUT: Second-1800\r\n\r\n").encode())
                self.assertRegex(connection.recv(200), rb"^HTTP/1\.1 4\d\d ")
        self.assertEqual((stage.server.pid(), server.browse("0").returned), (before, 3))


class Failures(unittest.TestCase):
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

    def test_a_database_that_restarts(self):
        before = len(songs())
        os.kill(stage.server.database_pid(), signal.SIGQUIT)

        def fails():
            try:
                return server.browse("music-all").returned == 0
            except upnp.UpnpError:
                return True
        wait_until(fails, 10, "the database to be away")
        # The daemon answers what needs no database, and does not hang on what does.
        self.assertEqual(server.browse("0").returned, 3)

        def works():
            try:
                return server.browse("music-all").returned == before
            except upnp.UpnpError:
                return False
        wait_until(works, 30, "the database to be back")
        for _ in range(20):
            self.assertEqual(len(songs()), before)
        self.assertEqual(upnp.request(songs()[0].findtext(upnp.DIDL + "res"))[0], 200)

    def test_a_torn_client_list(self):
        """A broken file is kept aside, and what the server knows is not lost."""
        name = stage.server.config("client_list.json")
        upnp.MediaServer(stage.description, "television").browse("0")
        torn = '{"ClientList": {"aa:bb:cc'
        with open(name, "w") as file:
            file.write(torn)
        stage.server.send(signal.SIGUSR2)

        def kept():
            for aside in glob.glob(name + ".broken*"):
                with open(aside) as file:
                    if file.read() == torn:
                        return True
            return False
        wait_until(kept, 10, "the broken file to be kept")
        self.assertEqual(upnp.MediaServer(stage.description, "television").browse("0").returned, 3)

        self.assertIn(stage.client.mac, stage.server.saved_clients())
        self.assertIn("could not read client list", stage.server.log())

    def test_many_clients_at_once(self):
        with concurrent.futures.ThreadPoolExecutor(8) as pool:
            results = list(pool.map(lambda _: server.browse("music-all", count=5).total, range(200)))
        self.assertEqual(set(results), {len(songs())})

    def test_options_are_read_again(self):
        """SIGHUP, while the server serves: the title of a song gets its track number."""
        with open(stage.server.config("dmsinfo.conf"), "a") as file:
            file.write('musicinfo_mediaservice="tracktitle"\n')
        stage.server.send(signal.SIGHUP)
        wait_until(lambda: songs()[0].findtext(upnp.DC + "title").startswith("01 - "), 10, "the new title")


class Private(unittest.TestCase):
    def test_nothing_but_the_two_ports_listens(self):
        """The UPnP library's own listener stays on the loopback interface, the database on its socket."""
        listening = stage.server_host.run("ss", "-Hltnp").splitlines()
        public = [line.split()[3] for line in listening if not line.split()[3].startswith(("127.", "[::1]", "[::ffff:127."))]
        address = stage.server_host.address
        self.assertLessEqual({entry.rpartition(":")[2] for entry in public}, {"50001", "50002"}, listening)
        self.assertIn(f"{address}:50001", public)

    def test_the_database_is_for_its_owner(self):
        socket_folder = os.stat(stage.server.path("socket"))
        self.assertEqual(socket_folder.st_mode & 0o077, 0)
        self.assertNotIn("postgres", subprocess.run(stage.server_host.command("ss", "-Hltnp"), capture_output=True,
                                                    text=True, check=True).stdout)
