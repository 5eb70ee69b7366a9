"""A client finds the server, reads who it is, is told when the library changes, and asks the two smaller services; one that
its owner refuses gets nothing."""
import json
import signal
import unittest
from pathlib import Path

from lxml import etree

from harness import photos, upnp
from harness.server import wait_until
from harness.stage import Stage

ROOT_DEVICE = "upnp:rootdevice"
MEDIA_SERVER = "urn:schemas-upnp-org:device:MediaServer:1"
SCPD = "{urn:schemas-upnp-org:service-1-0}"


def setUpModule():
    global stage, server, first_notify
    stage = Stage(hosts=3, options=["--name", "Den & Attic"])
    listener = upnp.NotifyListener(stage.client.address)
    stage.server.start()
    first_notify = listener.wait(lambda headers: headers.get("nt") == ROOT_DEVICE and headers["nts"] == "ssdp:alive", 15)
    listener.close()
    server = upnp.MediaServer(stage.description, "television")


class Announcement(unittest.TestCase):
    def test_notify_names_the_description(self):
        self.assertEqual(first_notify["location"], stage.description)
        self.assertIn("max-age=1900", first_notify["cache-control"].replace(" ", ""))

    def test_every_search_target_is_answered_with_the_description(self):
        udn = upnp.MediaServer(stage.description).device.findtext(upnp.DEVICE + "UDN")
        for target in (ROOT_DEVICE, MEDIA_SERVER, udn, upnp.CONTENT_DIRECTORY, upnp.CONNECTION_MANAGER, upnp.REGISTRAR):
            with self.subTest(target=target):
                answers = upnp.m_search(stage.client.address, target, seconds=3)
                self.assertEqual([answer["location"] for answer in answers], [stage.description])
                self.assertTrue(answers[0]["usn"].startswith(udn))

    def test_a_search_for_something_else_is_not_answered(self):
        self.assertEqual(upnp.m_search(stage.client.address, "urn:schemas-upnp-org:device:Printer:1", seconds=2), [])


class Description(unittest.TestCase):
    def test_each_kind_of_client_gets_its_variant(self):
        for agent, name in ((None, "allservices"), ("DLNADOC/1.50 SEC_HHP_[TV]UE40D7000/1.0", "device"),
                            ("Xbox/2.0.8955.0 UPnP/1.0", "device_xbox"), ("Windows-Media-Player/12.0", "device_win")):
            document = Path(stage.server.path(f"root/tmp/dms/s_{name}.xml")).read_bytes()
            self.assertEqual(upnp.MediaServer(stage.description, agent).text, document, agent)

    def test_names(self):
        device = upnp.MediaServer(stage.description, "television").device
        self.assertEqual(device.findtext(upnp.DEVICE + "deviceType"), MEDIA_SERVER)
        self.assertEqual(device.findtext(upnp.DEVICE + "friendlyName"), "Den & Attic")
        self.assertEqual(device.findtext(upnp.DEVICE + "presentationURL"), f"http://{stage.server_host.address}:5000/")
        console = upnp.MediaServer(stage.description, "Xbox").device
        self.assertEqual(console.findtext(upnp.DEVICE + "modelName"), "Windows Media Player Sharing")

    def test_services_describe_the_actions_that_they_offer(self):
        server = upnp.MediaServer(stage.description)
        actions = {
            upnp.CONTENT_DIRECTORY: {"GetSearchCapabilities", "GetSortCapabilities", "GetSystemUpdateID", "Browse",
                                     "Search"},
            upnp.CONNECTION_MANAGER: {"GetProtocolInfo", "GetCurrentConnectionIDs", "GetCurrentConnectionInfo"},
            upnp.REGISTRAR: {"IsAuthorized"},
        }
        self.assertEqual(set(server.services), set(actions))
        for service in server.services.values():
            with self.subTest(service.type):
                status, headers, text = upnp.request(service.scpd_url)
                self.assertEqual((status, headers["content-type"].split(";")[0]), (200, "text/xml"))
                scpd = etree.fromstring(text)
                self.assertEqual({name.text for name in scpd.iterfind(f".//{SCPD}action/{SCPD}name")}, actions[service.type])
                variables = {name.text for name in scpd.iterfind(f".//{SCPD}stateVariable/{SCPD}name")}
                for related in scpd.iter(SCPD + "relatedStateVariable"):
                    self.assertIn(related.text, variables)

    def test_icons_are_what_the_description_says(self):
        device = upnp.MediaServer(stage.description).device
        icons = list(device.iter(upnp.DEVICE + "icon"))
        self.assertEqual(len(icons), 4)
        for icon in icons:
            url = stage.base + icon.findtext(upnp.DEVICE + "url")
            with self.subTest(url):
                status, headers, picture = upnp.request(url)
                self.assertEqual((status, headers["content-type"]), (200, icon.findtext(upnp.DEVICE + "mimetype")))
                size = tuple(int(icon.findtext(upnp.DEVICE + side)) for side in ("width", "height"))
                self.assertEqual(photos.size_of(picture), size)


class Events(unittest.TestCase):
    def setUp(self):
        self.listener = upnp.EventListener(stage.client.address)
        self.addCleanup(self.listener.close)
        self.services = upnp.MediaServer(stage.description).services

    def subscribe(self, service_type, **headers):
        status, answer = self.listener.subscribe(self.services[service_type], **headers)
        self.assertEqual(status, 200)
        return answer

    def test_initial_events(self):
        variables = {
            upnp.CONTENT_DIRECTORY: ["SearchCapabilities", "SortCapabilities", "SystemUpdateID"],
            upnp.CONNECTION_MANAGER: ["CurrentConnectionIDs", "SinkProtocolInfo", "SourceProtocolInfo"],
            upnp.REGISTRAR: ["AuthorizationDeniedUpdateID", "AuthorizationGrantedUpdateID", "ValidationRevokedUpdateID",
                             "ValidationSucceededUpdateID"],
        }
        for service_type, names in variables.items():
            with self.subTest(service_type):
                answer = self.subscribe(service_type)
                sid, sequence, values = self.listener.events.get(timeout=5)
                self.assertEqual((sid, sequence), (answer["sid"], 0))
                self.assertEqual([name for name, _ in values], names)

    def test_a_change_of_the_library_is_an_event(self):
        before = int(self.services[upnp.CONTENT_DIRECTORY].call("GetSystemUpdateID")["Id"])
        answer = self.subscribe(upnp.CONTENT_DIRECTORY)
        self.assertEqual(dict(self.listener.events.get(timeout=5)[2])["SystemUpdateID"], str(before))
        stage.server.send(signal.SIGUSR1)
        sid, sequence, values = self.listener.events.get(timeout=8)
        self.assertEqual((sid, sequence, dict(values)["SystemUpdateID"]), (answer["sid"], 1, str(before + 1)))
        self.assertEqual(self.services[upnp.CONTENT_DIRECTORY].call("GetSystemUpdateID")["Id"], str(before + 1))
        self.assertEqual(upnp.MediaServer(stage.description).browse("0").update_id, before + 1)

    def test_renewing_and_ending_a_subscription(self):
        service = self.services[upnp.CONTENT_DIRECTORY]
        sid = self.subscribe(upnp.CONTENT_DIRECTORY)["sid"]
        self.listener.events.get(timeout=5)
        renewed = upnp.request(service.event_url, "SUBSCRIBE", {"SID": sid, "TIMEOUT": "Second-120"})
        self.assertEqual((renewed[0], renewed[1]["sid"], renewed[1]["timeout"]), (200, sid, "Second-120"))
        self.assertEqual(upnp.request(service.event_url, "UNSUBSCRIBE", {"SID": sid})[0], 200)
        self.assertEqual(upnp.request(service.event_url, "UNSUBSCRIBE", {"SID": sid})[0], 412)


class Actions(unittest.TestCase):
    def call(self, service, action, **arguments):
        return server.services[service].call(action, **arguments)

    def test_connection_manager(self):
        protocols = self.call(upnp.CONNECTION_MANAGER, "GetProtocolInfo")
        self.assertEqual(list(protocols), ["Source", "Sink"])
        self.assertEqual((len(protocols["Source"]), protocols["Source"].count(","), protocols["Sink"]), (2835, 43, ""))
        for entry in ("http-get:*:image/jpeg:DLNA.ORG_PN=JPEG_SM;DLNA.ORG_OP=01;DLNA.ORG_CI=1;DLNA.ORG_FLAGS=00f" + 29 * "0",
                      "http-get:*:audio/L16;rate=44100;channels=2:DLNA.ORG_PN=LPCM;DLNA.ORG_OP=01;DLNA.ORG_FLAGS=017" + 29 * "0"):
            self.assertIn(entry, protocols["Source"].split(","))
        self.assertEqual(self.call(upnp.CONNECTION_MANAGER, "GetCurrentConnectionIDs"), {"ConnectionIDs": "0"})
        expected = [("RcsID", "-1"), ("AVTransportID", "-1"), ("ProtocolInfo", ""), ("PeerConnectionManager", ""),
                    ("PeerConnectionID", "-1"), ("Direction", "Output"), ("Status", "Unknown")]
        for connection in ("0", "7"):
            answer = self.call(upnp.CONNECTION_MANAGER, "GetCurrentConnectionInfo", ConnectionID=connection)
            self.assertEqual(list(answer.items()), expected)
        for connection in ("", "x", "1;drop table music"):
            with self.assertRaises(upnp.UpnpError) as caught:
                self.call(upnp.CONNECTION_MANAGER, "GetCurrentConnectionInfo", ConnectionID=connection)
            self.assertEqual(caught.exception.code, -101)

    def test_unknown_actions(self):
        for service, action in ((upnp.CONTENT_DIRECTORY, "Reboot"), (upnp.REGISTRAR, "Reboot"), (upnp.CONNECTION_MANAGER, "Browse")):
            with self.assertRaises(upnp.UpnpError) as caught:
                self.call(service, action)
            self.assertEqual((caught.exception.code, caught.exception.description), (401, "Invalid Action"))

    def test_everybody_is_authorized(self):
        self.assertEqual(self.call(upnp.REGISTRAR, "IsAuthorized", DeviceID="whoever"), {"Result": "1"})


class Access(unittest.TestCase):
    """The owner refuses one device; another one is served all the same."""

    def test_a_refused_client_gets_nothing(self):
        refused, = stage.others
        song = server.browse("music-all", count=1).elements[0].findtext(upnp.DIDL + "res")
        with refused.entered():
            self.assertEqual(upnp.MediaServer(stage.description, "child").browse("0").returned, 3)
            self.assertEqual(upnp.request(song)[0], 200)
        self.set_access(refused.mac, "false")
        with refused.entered():
            def is_refused():
                try:
                    upnp.MediaServer(stage.description, "child").browse("0")
                    return False
                except upnp.UpnpError:
                    return True
            wait_until(is_refused, 8, "the client to be refused")
            for agent in ("child", "grown-up"):
                with self.assertRaises(upnp.UpnpError):
                    upnp.MediaServer(stage.description, agent).browse("0")
            self.assertEqual(upnp.request(song)[0], 403, "the media port refuses, too")
        self.assertEqual(upnp.request(song)[0], 200)
        self.assertEqual(server.browse("0").returned, 3)

    def set_access(self, mac, access):
        """As the owner does it: in the file, then the signal that has it read again."""
        clients = {"ClientList": stage.server.saved_clients()}
        clients["ClientList"][mac]["isAccess"] = access
        Path(stage.server.config("client_list.json")).write_text(json.dumps(clients))
        stage.server.send(signal.SIGUSR2)
