"""A network full of strangers: what they send costs the server little, and a television beside them notices nothing."""
import concurrent.futures
import contextlib
import resource
import socket
import statistics
import threading
import time
import unittest

from harness import process, upnp
from harness.server import MEDIA_PORT, UPNP_PORT
from harness.stage import Stage

MIB = 1 << 20
# What a television would still take for an answer, and what it is to have as a rule, in milliseconds.
PATIENCE = 5
USUAL = 100
# 250 connections from one machine would meet the bound for one address before they meet anything else.
ADDRESSES = [f"10.73.0.{number}" for number in range(100, 105)]
SEARCH = b"M-SEARCH * HTTP/1.1\r\nHOST: 239.255.255.250:1900\r\nMAN: \"ssdp:discover\"\r\nMX: 1\r\nST: ssdp:all\r\n\r\n"


def setUpModule():
    global stage, server, stranger
    resource.setrlimit(resource.RLIMIT_NOFILE, (resource.getrlimit(resource.RLIMIT_NOFILE)[1],) * 2)
    stage = Stage(hosts=3)
    stranger = stage.others[0]
    for address in ADDRESSES:
        stranger.run("ip", "address", "add", f"{address}/24", "dev", "lan")
    stage.server.start()
    server = upnp.MediaServer(stage.description, "television")


def connect(port=UPNP_PORT, source=None):
    """A connection of the stranger."""
    with stranger.entered():
        return socket.create_connection((stage.server_host.address, port), timeout=PATIENCE,
                                        source_address=(source, 0) if source else None)


def head(method, path, *fields, host=None):
    lines = [f"{method} {path} HTTP/1.1", f"Host: {host or stage.server_host.address}", *fields]
    return "\r\n".join(lines).encode() + b"\r\n\r\n"


def status(connection):
    """Status of the answer; 0 when the connection ends without one."""
    try:
        start = connection.recv(64)
    except ConnectionResetError:
        return 0
    return int(start.split()[1]) if start else 0


def control_path():
    return server.services[upnp.CONTENT_DIRECTORY].control_url.split(str(UPNP_PORT), 1)[1]


def timed_browses(count):
    """Times of a television's requests, in milliseconds: the median and the longest."""
    times = []
    for _ in range(count):
        start = time.monotonic()
        page = server.browse("music-all", count=20)
        times.append((time.monotonic() - start) * 1000)
        if page.returned != 20:
            raise AssertionError("the page is not whole")
    print(f"  {count} times Browse: median {statistics.median(times):.0f} ms, longest {max(times):.0f} ms", flush=True)
    if max(times) > PATIENCE * 1000:
        raise AssertionError(f"a Browse took {max(times):.0f} ms")
    if statistics.median(times) > USUAL and not process.is_sanitized(stage.server.pid()):
        raise AssertionError(f"most Browses took more than {USUAL} ms")


class Memory:
    """The most memory that the server needed while the block ran, bounded."""

    def __init__(self, most):
        self._most = most

    def __enter__(self):
        self._pid = stage.server.pid()
        process.forget_peak(self._pid)
        self._before = process.peak_memory(self._pid)

    def __exit__(self, kind, *_):
        grown = process.peak_memory(self._pid) - self._before
        print(f"  memory grew by {grown / MIB:.1f} MiB", flush=True)
        if kind is None and grown > self._most and not process.is_sanitized(self._pid):
            raise AssertionError(f"memory grew by {grown} bytes")


class Case(unittest.TestCase):
    def setUp(self):
        self.pid = stage.server.pid()

    def tearDown(self):
        """Whatever came, the same process serves."""
        self.assertEqual(server.browse("0").returned, 3)
        self.assertEqual(stage.server.pid(), self.pid)


class SlowConnections(Case):
    REQUEST = b"\r\n".join([b"POST /upnp/control/ContentDirectory1 HTTP/1.1", b"Host: 10.73.0.1", b"Content-Length: 5000"])

    def hold(self, starts):
        """One connection for each start, spread over the stranger's addresses."""
        connections = []
        for number, start in enumerate(starts):
            connection = connect(source=ADDRESSES[number % len(ADDRESSES)])
            self.addCleanup(connection.close)
            connection.sendall(start)
            connections.append(connection)
        return connections

    def test_requests_that_never_come_whole(self):
        with Memory(32 * MIB):
            silent = self.hold([self.REQUEST] * 70 + [self.REQUEST + b"\r\n\r\nhalf"] * 70)
            dripping = self.hold([b"P"] * 60)
            stop = threading.Event()

            def drip():
                for at in range(1, 3600):
                    if stop.wait(1):
                        return
                    for connection in dripping:
                        with contextlib.suppress(OSError):
                            connection.send(self.REQUEST[at % len(self.REQUEST):][:1])
            thread = threading.Thread(target=drip)
            thread.start()
            try:
                timed_browses(40)
                # Neither silence nor a byte a second keeps a place.
                for connection in silent[:3] + silent[-3:] + dripping[:3]:
                    connection.settimeout(20)
                    self.assertEqual(status(connection), 0)
            finally:
                stop.set()
                thread.join()

    def test_answers_that_nobody_reads(self):
        body = SOAP.format("").encode()
        ask = head("POST", control_path(), f'SOAPACTION: "{upnp.CONTENT_DIRECTORY}#Browse"', f"Content-Length: {len(body)}") + body
        song = next(server.items()).findtext(upnp.DIDL + "res")
        with Memory(64 * MIB):
            self.hold([ask * 8] * 50)
            with contextlib.ExitStack() as stack:
                for number in range(50):
                    connection = stack.enter_context(connect(MEDIA_PORT, ADDRESSES[number % len(ADDRESSES)]))
                    connection.sendall(head("GET", song.split(str(MEDIA_PORT), 1)[1]) * 8)
                timed_browses(40)
                self.assertEqual(upnp.request(song)[0], 200)

    def test_one_address_does_not_take_all_places(self):
        with contextlib.ExitStack() as stack:
            taken = [stack.enter_context(connect()) for _ in range(200)]
            timed_browses(10)
            # Those beyond the bound were ended at once.
            ended = 0
            for connection in taken:
                connection.setblocking(False)
                with contextlib.suppress(BlockingIOError):
                    ended += connection.recv(1) == b""
            self.assertGreater(ended, 100)


SOAP = ('<?xml version="1.0"?>{}<s:Envelope xmlns:s="http://schemas.xmlsoap.org/soap/envelope/"><s:Body><u:Browse xmlns:u="'
        + upnp.CONTENT_DIRECTORY + '"><ObjectID>music-all</ObjectID><BrowseFlag>BrowseDirectChildren</BrowseFlag><Filter>*'
        '</Filter><StartingIndex>0</StartingIndex><RequestedCount>0</RequestedCount><SortCriteria/></u:Browse></s:Body>'
        '</s:Envelope>')


class LargeRequests(Case):
    def refused(self, port, start, more=(), allowed=(400, 404, 405, 413, 431, 500, 501)):
        """Sends until the server has enough; it says no, or ends the connection, and soon."""
        begin = time.monotonic()
        with Memory(8 * MIB), connect(port) as connection, contextlib.suppress(ConnectionResetError, BrokenPipeError):
            connection.sendall(start)
            for piece in more:
                connection.sendall(piece)
            self.assertIn(status(connection), (0, *allowed))
        self.assertLess(time.monotonic() - begin, PATIENCE)

    def test_bodies_and_headers(self):
        megabyte = b"x" * MIB
        for port, method, path in ((UPNP_PORT, "POST", control_path()), (UPNP_PORT, "POST", "/"),
                                   (UPNP_PORT, "GET", "/desc/device.xml"), (MEDIA_PORT, "GET", "/music/1.mp3")):
            def request(*fields):
                return head(method, path, *fields)
            cases = [
                ("64 MiB, announced", request(f"Content-Length: {64 * MIB}"), [megabyte] * 64),
                ("64 MiB in chunks", request("Transfer-Encoding: chunked"), [b"100000\r\n" + megabyte + b"\r\n"] * 64),
                ("a chunk as large as can be", request("Transfer-Encoding: chunked"), [b"ffffffffffffffff\r\n", megabyte]),
                ("a header of 2 MiB", request()[:-2] + b"X: ", [megabyte] * 2),
                ("200,000 header fields", request()[:-2], [b"X: y\r\n" * 1000] * 200),
                ("a target of 2 MiB", method.encode() + b" /", [megabyte] * 2),
                ("two lengths", request("Content-Length: 5", "Content-Length: 50000000"), [megabyte]),
            ]
            for why, start, more in cases:
                with self.subTest(why, port=port, path=path):
                    self.refused(port, start, more)

    def test_documents(self):
        action = f'SOAPACTION: "{upnp.CONTENT_DIRECTORY}#Browse"'
        entities = "".join(f'<!ENTITY {chr(98 + i)} "{f"&{chr(97 + i)};" * 10}">' for i in range(10))
        cases = [
            ("100,000 nested tags", "<a>" * 100000),
            ("nested tags that fit the body", "<a>" * 6000),
            ("a name of 20,000 bytes", "<" + "a" * 20000 + "/>"),
            ("entities that multiply", SOAP.format(f'<!DOCTYPE x [<!ENTITY a "ha">{entities}]>').replace("music-all", "&k;")),
            ("an external entity", SOAP.format('<!DOCTYPE x [<!ENTITY e SYSTEM "file:///etc/passwd">]>').replace("music-all", "&e;")),
        ]
        for why, body in cases:
            with self.subTest(why):
                self.refused(UPNP_PORT, head("POST", control_path(), action, f"Content-Length: {len(body)}"), [body.encode()])


class Subscribers(Case):
    PATH = "/upnp/event/ContentDirectory1"

    def subscribe(self, source, *fields, target=None, host=None):
        path = server.services[upnp.CONTENT_DIRECTORY].event_url.split(str(UPNP_PORT), 1)[1] if target is None else target
        with connect(source=source) as connection:
            connection.sendall(head("SUBSCRIBE", path, "Connection: close", *fields, host=host))
            return status(connection)

    def test_what_is_refused(self):
        base = f"http://{stage.server_host.address}:{UPNP_PORT}"
        good = ("NT: upnp:event", f"CALLBACK: <http://{ADDRESSES[0]}:9/>")
        cases = [
            ("no path", base, good, None), ("only a path that is nobody's", "/nobody", good, None),
            ("another subnet", None, (good[0], "CALLBACK: <http://203.0.113.9/>"), None),
            ("one good, one of another subnet", None, (good[0], good[1] + "<http://203.0.113.9/>"), None),
            ("this server itself by name", None, (good[0], "CALLBACK: <http://localhost:50001/>"), None),
            ("the whole network", None, (good[0], "CALLBACK: <http://10.73.0.255/>"), None),
            ("a foreign host", None, good, "evil.example"),
            ("no callback", None, good[:1], None), ("a SID as well", None, (*good, "SID: uuid:1"), None),
            ("a SID of 10,000 bytes", None, ("SID: uuid:" + "1" * 10000,), None),
        ]
        for why, target, fields, host in cases:
            with self.subTest(why):
                self.assertGreaterEqual(self.subscribe(ADDRESSES[0], *fields, target=target, host=host), 400)

    def test_a_thousand_subscriptions(self):
        """Each address gets its share, the rest an error; those who called do not answer events."""
        with Memory(32 * MIB), concurrent.futures.ThreadPoolExecutor(8) as pool:
            def one(number):
                source = ADDRESSES[number % len(ADDRESSES)]
                return self.subscribe(source, "NT: upnp:event", f"CALLBACK: <http://{source}:9/{number}>", "TIMEOUT: Second-60")
            answers = list(pool.map(one, range(1000)))
            timed_browses(10)
        print(f"  1000 subscriptions: {answers.count(200)} accepted", flush=True)
        self.assertLessEqual(set(answers), {200, 503})
        self.assertTrue(0 < answers.count(200) <= 8 * len(ADDRESSES))


class ForeignHosts(Case):
    def test_on_both_ports(self):
        for port in (UPNP_PORT, MEDIA_PORT):
            for host in ("evil.example", f"evil.example:{port}", "10.73.0.1.evil.example", "localhost.evil", "0x0a490001",
                         "[::1", "10.73.0.1@evil.example", "10.73.0.1:80:80"):
                with self.subTest(host, port=port), connect(port) as connection:
                    connection.sendall(head("GET", "/desc/device.xml", host=host))
                    self.assertEqual(status(connection), 400)


class Doors(Case):
    def test_what_is_open(self):
        def is_open(port):
            with socket.socket() as probe:
                probe.settimeout(PATIENCE)
                return probe.connect_ex((stage.server_host.address, port)) == 0
        with stranger.entered():
            self.assertEqual([port for port in range(1, 65536) if is_open(port)], [UPNP_PORT, MEDIA_PORT])

        def sockets(kind):
            names = [line.split()[3] for line in stage.server_host.run("ss", "-Hln" + kind).splitlines()]
            return {name.rpartition(":")[2] for name in names if not name.startswith(("127.", "[::1]", "[::ffff:127."))}
        self.assertEqual(sockets("t"), {str(UPNP_PORT), str(MEDIA_PORT)})
        # Besides SSDP's own port one that its answers to the server's searches come to.
        self.assertIn("1900", sockets("u"))
        self.assertLessEqual(len(sockets("u")), 2)


class Searches(Case):
    BURST = 1000
    # Those that are heard at once and in the seconds that sending takes, with six answers each.
    MOST_ANSWERS = 60 * 6

    def burst(self, source, to, seconds=6):
        """Answers to a burst of searches, while a television browses."""
        with stranger.entered():
            probe = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        with probe:
            probe.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 8 * MIB)
            probe.setsockopt(socket.IPPROTO_IP, socket.IP_MULTICAST_IF, socket.inet_aton(source))
            probe.bind((source, 0))
            for _ in range(self.BURST):
                probe.sendto(SEARCH, to)
            timed_browses(20)
            answers, size, end = 0, 0, time.monotonic() + seconds
            while (left := end - time.monotonic()) > 0:
                probe.settimeout(left)
                with contextlib.suppress(TimeoutError):
                    size += len(probe.recv(65536))
                    answers += 1
        print(f"  {self.BURST} searches from {source}: {answers} answers, {size} bytes", flush=True)
        return answers

    def test_a_burst(self):
        for to in (upnp.SSDP, (stage.server_host.address, upnp.SSDP[1])):
            with self.subTest(to), Memory(16 * MIB):
                self.assertLessEqual(self.burst(ADDRESSES[0], to), self.MOST_ANSWERS)
        # The other machines of the network still find the server.
        self.assertTrue(upnp.m_search(stage.client.address, "upnp:rootdevice"))

    def test_another_network(self):
        stranger.run("ip", "address", "add", "192.0.2.7/24", "dev", "lan")
        stage.server_host.run("ip", "route", "add", "192.0.2.0/24", "dev", "lan")
        self.assertEqual(self.burst("192.0.2.7", (stage.server_host.address, upnp.SSDP[1]), seconds=3), 0)
        self.assertEqual(self.burst("192.0.2.7", upnp.SSDP, seconds=3), 0)
