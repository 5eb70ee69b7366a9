"""Text of a client never becomes a statement or a path: everything that carries one is tried with a corpus of SQL and
of paths, while the database writes down each statement that it gets."""
import contextlib
import http.client
import re
import subprocess
import unittest
import urllib.parse
from pathlib import Path

from lxml import etree

from harness import upnp
from harness.server import MEDIA_PORT, UPNP_PORT
from harness.stage import Stage

# In every statement that a client got through; nothing else would have a reason to say it.
MARK = "zq7"
SQL = [
    f"'; drop table {MARK}; --", f"' or '{MARK}'='{MARK}", f"1; select pg_sleep(9), '{MARK}'", f"1 or {MARK}", f"1) or ({MARK}",
    f"1 union select {MARK} from pg_shadow", f"\\'; drop table {MARK}; --", f"\\\\'; drop table {MARK}; --", f"$${MARK}$$",
    f"$1{MARK}", f"/*{MARK}*/ 1", f"1--{MARK}", f"\u02bc or {MARK}", f"\uff07; {MARK}", f"e'\\x27{MARK}", f"%{MARK}%", f"_{MARK}\\",
    f"{MARK}'" * 200, f"copy {MARK} to program 'touch {MARK}'", f"1;{MARK}", f"'{MARK}\n;--", f"\"{MARK}\"", f"{MARK}\x7f'",
]
PATHS = [
    "../../../../etc/passwd", "..%2f..%2f..%2fetc%2fpasswd", "%2e%2e/%2e%2e/etc/passwd", "....//....//etc/passwd", "/etc/passwd",
    "//etc/passwd", "..\\..\\etc\\passwd", "..%5c..%5cetc%5cpasswd", "%252e%252e%252fetc%252fpasswd", "..%c0%afetc%c0%afpasswd",
    "file:///etc/passwd", ".%00./etc/passwd", "passwd%00.jpg", "./././../etc/passwd", "/proc/self/environ", "1/../../etc/passwd",
]
SECRET = re.compile(rb"root:[^:]*:0:|DMS_SYSROOT=|\[profile ")


def setUpModule():
    global stage, server
    stage = Stage()
    stage.server.start()
    superuser("alter system set log_statement = 'all'")
    superuser("alter system set log_line_prefix = '@%a|%d|%p|'")
    superuser("select pg_reload_conf()")
    server = upnp.MediaServer(stage.description, "television")


def superuser(statement):
    return subprocess.run(["/usr/lib/postgresql/15/bin/psql", "-XqAt", "-h", stage.server.path("socket"), "-U", "dba", "-d",
                           "mediaserver", "-c", statement], check=True, capture_output=True, text=True).stdout


def statements():
    """Every record of the database's log."""
    return re.split(r"\n(?=@[^|\n]*\|[^|\n]*\|\d+\|)", Path(stage.server.path("root/var/log/postgresql.log")).read_text(errors="replace"))


def outside_literals(statement):
    """The statement without its string constants, as the database's own rules have them."""
    return re.sub(r"'(?:[^']|'')*'", "''", statement)


class Corpus(unittest.TestCase):
    def setUp(self):
        self.before = len(statements())
        self.tables = superuser("select string_agg(relname, ',' order by relname) from pg_class where relnamespace = 'public'::regnamespace")

    def tearDown(self):
        """What the database was told meanwhile."""
        self.assertEqual(server.browse("music-all", count=1).returned, 1)
        told = statements()[self.before:]
        print(f"  {len(told)} statements, {sum(MARK in record for record in told)} with a text of the corpus", flush=True)
        self.assertTrue(any("music" in record for record in told), "the log shows nothing at all")
        for record in told:
            self.assertNotRegex(record, r"\|(ERROR|FATAL|PANIC):")
            if "statement: " in record or "execute " in record:
                self.assertNotIn(MARK, outside_literals(record))
                self.assertNotRegex(outside_literals(record).lower(), r"pg_shadow|pg_sleep|drop |program")
        self.assertEqual(superuser("select string_agg(relname, ',' order by relname) from pg_class where relnamespace = "
                                   "'public'::regnamespace"), self.tables)
        self.assertEqual(server.browse("0").returned, 3)

    def clean(self, answer):
        self.assertIsNone(SECRET.search(answer if isinstance(answer, bytes) else answer.encode()))

    def browse(self, agent=None, **arguments):
        client = agent or server
        with contextlib.suppress(upnp.UpnpError, etree.XMLSyntaxError):
            self.clean(client.browse(**arguments).text)

    def get(self, port, path, **headers):
        """Sent as it stands, which no library of a client would do."""
        with contextlib.suppress(http.client.HTTPException, ConnectionError):
            connection = http.client.HTTPConnection(stage.server_host.address, port, timeout=20)
            with contextlib.closing(connection):
                connection._validate_path = connection._encode_request = lambda text: text.encode()
                connection.putrequest("GET", path)
                for name, value in headers.items():
                    connection.putheader(name.replace("_", "-"), value)
                connection.endheaders()
                self.clean(connection.getresponse().read())

    def test_object_identifiers(self):
        known = [parent + "$" for parent in ("music-all", "music-artist", "music-folder", "photo-folder", "video-folder")]
        for parent in ("0", "music", "music-artist", "music-album", "music-genre", "music-folder", "photo-folder"):
            with contextlib.suppress(upnp.UpnpError):
                for child in server.browse(parent, count=3).elements[-1:]:
                    known += [child.get("id"), child.get("id") + "$", child.get("id") + "$@", child.get("id").rpartition("$")[0] + "$c"]
        self.assertGreater(len(known), 20)
        for text in SQL + PATHS:
            text = text.replace("\x7f", "")
            for before in ("", *known):
                self.browse(object_id=before + text, count=5)
                self.browse(object_id=before + text, flag="BrowseMetadata")

    def test_names_of_the_library(self):
        """Its artists and albums have quotes, percent signs and backslashes, and each name becomes a condition."""
        self.assertGreater(sum(1 for _ in server.items()), 200)

    def test_other_arguments(self):
        for text in SQL + PATHS:
            text = text.replace("\x7f", "")
            for change in ({"filter": text}, {"flag": text}, {"SortCriteria": text}, {"SortCriteria": "+dc:title," + text},
                           {"start": text}, {"count": text}, {"SearchCriteria": text}, {"ContainerID": text}):
                self.browse(**{"object_id": "music-artist", "count": 5, **change})

    def test_urls(self):
        for text in SQL + PATHS:
            for form in {text.replace(" ", "%20").replace("\n", "%0a").replace("\x7f", "%7f"), urllib.parse.quote(text, safe="")}:
                form = form.encode().decode("latin-1")
                for port, before in ((UPNP_PORT, "/"), (UPNP_PORT, "/cds/"), (UPNP_PORT, "/desc/"), (UPNP_PORT, "/tmp_icon/"),
                                     (UPNP_PORT, "/music/"), (UPNP_PORT, "/thumb/"), (MEDIA_PORT, "/"), (MEDIA_PORT, "/m/"),
                                     (MEDIA_PORT, "/music/"), (MEDIA_PORT, "/photo/"), (MEDIA_PORT, "/video/1")):
                    self.get(port, before + form)
                self.get(UPNP_PORT, "/desc/device.xml?" + form)
        server.browse("music-all", count=1)

    def test_the_urls_that_are_given_out(self):
        """Each place of a URL in turn."""
        items = [next(iter(server.browse(name, count=1).elements)) for name in ("music-all", "photo-all", "video-all")]
        for url in {resource.text for item in items for resource in item.iter(upnp.DIDL + "res", upnp.UPNP + "albumArtURI")}:
            parts = urllib.parse.urlsplit(url)
            pieces = parts.path.split("/")
            for at in range(1, len(pieces)):
                for text in SQL + PATHS:
                    form = urllib.parse.quote(text, safe="%")
                    self.get(parts.port, "/".join([*pieces[:at], form, *pieces[at + 1:]]))
                    self.get(parts.port, "/".join([*pieces[:at], form + pieces[at], *pieces[at + 1:]]))

    def test_header_fields(self):
        song = server.browse("music-all", count=1).elements[0].findtext(upnp.DIDL + "res")
        parts = urllib.parse.urlsplit(song)
        for text in SQL + PATHS:
            text = text.encode().decode("latin-1").replace("\n", " ")
            for name in ("User-Agent", "X-AV-Client-Info", "Range", "If-Range", "getcontentFeatures.dlna.org", "Accept-Language",
                         "transferMode.dlna.org", "Referer", "Cookie", "Friendlyname.dlna.org"):
                self.get(parts.port, parts.path, **{name: text})
                self.get(UPNP_PORT, "/desc/device.xml", **{name: text})
                client = upnp.MediaServer(stage.description, "television")
                client.agent = {name: text}
                self.browse(agent=client, object_id="music-artist", count=2)
