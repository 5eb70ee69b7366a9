"""A control point and a player as a television has them: SSDP, descriptions, SOAP, GENA and HTTP."""
import http.client
import http.server
import queue
import socket
import struct
import threading
import time
import urllib.parse

from lxml import etree

SSDP = ("239.255.255.250", 1900)
DEVICE = "{urn:schemas-upnp-org:device-1-0}"
DIDL = "{urn:schemas-upnp-org:metadata-1-0/DIDL-Lite/}"
DC = "{http://purl.org/dc/elements/1.1/}"
UPNP = "{urn:schemas-upnp-org:metadata-1-0/upnp/}"
DLNA = "{urn:schemas-dlna-org:metadata-1-0/}"
_ENVELOPE = "{http://schemas.xmlsoap.org/soap/envelope/}"
_CONTROL = "{urn:schemas-upnp-org:control-1-0}"

CONTENT_DIRECTORY = "urn:schemas-upnp-org:service:ContentDirectory:1"
CONNECTION_MANAGER = "urn:schemas-upnp-org:service:ConnectionManager:1"
REGISTRAR = "urn:microsoft.com:service:X_MS_MediaReceiverRegistrar:1"


class UpnpError(Exception):
    def __init__(self, code, description):
        super().__init__(f"UPnP error {code}: {description}")
        self.code, self.description = code, description


def _headers(datagram):
    """Start line and lower-cased headers of an SSDP message."""
    lines = datagram.decode("utf-8", "replace").split("\r\n")
    pairs = (line.split(":", 1) for line in lines[1:] if ":" in line)
    return lines[0], {name.strip().lower(): value.strip() for name, value in pairs}


def m_search(address, target, seconds=4):
    """Answers to one search from `address`: their headers, each source once."""
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as probe:
        probe.setsockopt(socket.IPPROTO_IP, socket.IP_MULTICAST_IF, socket.inet_aton(address))
        probe.bind((address, 0))
        probe.sendto(f'M-SEARCH * HTTP/1.1\r\nHOST: 239.255.255.250:1900\r\nMAN: "ssdp:discover"\r\nMX: 1\r\n'
                     f'ST: {target}\r\n\r\n'.encode(), SSDP)
        found, end = {}, time.monotonic() + seconds
        while (left := end - time.monotonic()) > 0:
            probe.settimeout(left)
            try:
                _, headers = _headers(probe.recv(65536))
            except TimeoutError:
                break
            found[headers["usn"]] = headers
        return list(found.values())


class NotifyListener:
    """Collects NOTIFY messages that reach `address`."""

    def __init__(self, address):
        self._socket = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        self._socket.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
        self._socket.bind(("", SSDP[1]))
        self._socket.setsockopt(socket.IPPROTO_IP, socket.IP_ADD_MEMBERSHIP,
                                struct.pack("4s4s", socket.inet_aton(SSDP[0]), socket.inet_aton(address)))

    def wait(self, wanted, seconds):
        """Headers of the first NOTIFY for which `wanted` is true."""
        end = time.monotonic() + seconds
        while (left := end - time.monotonic()) > 0:
            self._socket.settimeout(left)
            try:
                start, headers = _headers(self._socket.recv(65536))
            except TimeoutError:
                break
            if start.startswith("NOTIFY") and wanted(headers):
                return headers
        raise AssertionError(f"no such NOTIFY within {seconds} s")

    def close(self):
        self._socket.close()


def request(url, method="GET", headers=None, body=None, timeout=20, source=None):
    """Status, lower-cased headers and body of one request, exactly as sent: no header is added but Host.

    From the address `source`, if that is given.
    """
    parts = urllib.parse.urlsplit(url)
    connection = http.client.HTTPConnection(parts.hostname, parts.port, timeout=timeout,
                                            source_address=source and (source, 0))
    try:
        connection.putrequest(method, parts.path + ("?" + parts.query if parts.query else ""),
                              skip_host=True, skip_accept_encoding=True)
        wanted = {"Host": parts.netloc, **(headers or {})}
        if body is not None:
            wanted.setdefault("Content-Length", str(len(body)))
        for name, value in wanted.items():
            if value is not None:
                connection.putheader(name, value)
        connection.endheaders(body)
        answer = connection.getresponse()
        return answer.status, {name.lower(): value for name, value in answer.getheaders()}, answer.read()
    finally:
        connection.close()


class Service:
    """One service of a device description."""

    def __init__(self, element, base):
        self.type = element.findtext(DEVICE + "serviceType")
        self.id = element.findtext(DEVICE + "serviceId")
        self.scpd_url, self.control_url, self.event_url = (
            urllib.parse.urljoin(base, element.findtext(DEVICE + name)) for name in ("SCPDURL", "controlURL", "eventSubURL"))

    def call_raw(self, action, body, headers=None):
        headers = {"SOAPACTION": f'"{self.type}#{action}"', "Content-Type": 'text/xml; charset="utf-8"', **(headers or {})}
        return request(self.control_url, "POST", headers, body)

    def call(self, action, headers=None, **arguments):
        """Output arguments in their order; a fault becomes UpnpError."""
        envelope = etree.Element(_ENVELOPE + "Envelope", nsmap={"s": _ENVELOPE[1:-1]})
        call = etree.SubElement(etree.SubElement(envelope, _ENVELOPE + "Body"), f"{{{self.type}}}{action}")
        for name, value in arguments.items():
            etree.SubElement(call, name).text = str(value)
        status, _, answer = self.call_raw(action, etree.tostring(envelope, xml_declaration=True, encoding="utf-8"), headers)
        body = etree.fromstring(answer).find(_ENVELOPE + "Body")
        if status != 200:
            fault = body.find(f".//{_CONTROL}UPnPError")
            raise UpnpError(int(fault.findtext(_CONTROL + "errorCode")), fault.findtext(_CONTROL + "errorDescription") or "")
        return {output.tag: output.text or "" for output in body.find(f"{{{self.type}}}{action}Response")}


class Page:
    """What one Browse gave: the elements, and the numbers that came with them."""

    def __init__(self, outputs):
        self.text = outputs["Result"]
        self.elements = list(etree.fromstring(self.text.encode()))
        self.returned, self.total = int(outputs["NumberReturned"]), int(outputs["TotalMatches"])
        self.update_id = int(outputs["UpdateID"])


class MediaServer:
    """The server's device description, as the client `agent` gets it."""

    def __init__(self, url, agent=None):
        self.agent = {"User-Agent": agent} if agent is not None else {}
        status, self.headers, self.text = request(url, headers=self.agent)
        if status != 200:
            raise AssertionError(f"the description answers {status}")
        self.device = etree.fromstring(self.text).find(DEVICE + "device")
        self.base = url
        services = [Service(element, url) for element in self.device.iter(DEVICE + "service")]
        self.services = {service.type: service for service in services}

    def browse(self, object_id, flag="BrowseDirectChildren", start=0, count=0, filter="*", **others):
        named = "ContainerID" if "Xbox" in str(self.agent) else "ObjectID"
        return Page(self.services[CONTENT_DIRECTORY].call("Browse", headers=self.agent, **{
            named: object_id, "BrowseFlag": flag, "Filter": filter, "StartingIndex": start, "RequestedCount": count,
            "SortCriteria": "", **others}))

    def child(self, object_id, title):
        """Identifier of the child with that title."""
        for element in self.browse(object_id).elements:
            if element.findtext(DC + "title") == title:
                return element.get("id")
        raise AssertionError(f'"{object_id}" has no child "{title}"')

    def items(self, limit=10000):
        """Every item below the root, each under the first identifier that leads to it."""
        waiting, seen = ["0"], 0
        while waiting and seen < limit:
            for element in self.browse(waiting.pop(0)).elements:
                seen += 1
                if element.tag == DIDL + "container":
                    waiting.append(element.get("id"))
                else:
                    yield element


class EventListener:
    """A subscriber on `address`: every NOTIFY of an event as (sid, sequence number, variables in their order)."""

    def __init__(self, address):
        self.events = queue.Queue()
        events = self.events

        class Handler(http.server.BaseHTTPRequestHandler):
            def do_NOTIFY(self):
                size = int(self.headers["Content-Length"])
                body = self.rfile.read(size)
                if len(body) < size:
                    return
                variables = [(child.tag, child.text or "") for entry in etree.fromstring(body) for child in entry]
                events.put((self.headers["SID"], int(self.headers["SEQ"]), variables))
                self.send_response(200)
                self.send_header("Content-Length", "0")
                self.end_headers()

            def log_message(self, *_):
                pass

        self._server = http.server.ThreadingHTTPServer((address, 0), Handler)
        self.url = f"http://{address}:{self._server.server_port}/events"
        threading.Thread(target=self._server.serve_forever, daemon=True).start()

    def subscribe(self, service, source=None, **headers):
        """Status and headers of the answer."""
        status, answer, _ = request(service.event_url, "SUBSCRIBE", {
            "CALLBACK": f"<{self.url}>", "NT": "upnp:event", "TIMEOUT": "Second-300", **headers}, source=source)
        return status, answer

    def close(self):
        self._server.shutdown()
        self._server.server_close()
