"""A client finds the server, reads who it is, and is told when the library changes."""
import signal
import unittest

from lxml import etree

from harness import upnp
from harness.stage import Stage

ROOT_DEVICE = "upnp:rootdevice"
MEDIA_SERVER = "urn:schemas-upnp-org:device:MediaServer:1"
SCPD = "{urn:schemas-upnp-org:service-1-0}"


def setUpModule():
    global stage, first_notify
    stage = Stage(options=["--name", "Den & Attic"])
    listener = upnp.NotifyListener(stage.client.address)
    stage.server.start()
    first_notify = listener.wait(lambda headers: headers.get("nt") == ROOT_DEVICE and headers["nts"] == "ssdp:alive", 15)
    listener.close()


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
    VARIANTS = [  # why, user agent, document
        ("no user agent at all", None, "s_allservices.xml"),
        ("a television", "DLNADOC/1.50 SEC_HHP_[TV]UE40D7000/1.0", "s_device.xml"),
        ("a console", "Xbox/2.0.8955.0 UPnP/1.0 Xbox/2.0.8955.0", "s_device_xbox.xml"),
        ("a media player program", "Windows-Media-Player/12.0.7601.17514", "s_device_win.xml"),
    ]

    def test_each_kind_of_client_gets_its_variant(self):
        for why, agent, name in self.VARIANTS:
            with self.subTest(why), open(stage.server.path(f"root/tmp/dms/{name}"), "rb") as file:
                self.assertEqual(upnp.MediaServer(stage.description, agent).text, file.read())

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
                self.assertEqual(picture_size(picture), (int(icon.findtext(upnp.DEVICE + "width")),
                                                         int(icon.findtext(upnp.DEVICE + "height"))))

def picture_size(picture):
    """Width and height of a PNG or JPEG document."""
    if picture.startswith(b"\x89PNG"):
        return int.from_bytes(picture[16:20], "big"), int.from_bytes(picture[20:24], "big")
    position = 2
    while picture[position + 1] not in (0xC0, 0xC1, 0xC2):
        position += 2 + int.from_bytes(picture[position + 2:position + 4], "big")
    height, width = (int.from_bytes(picture[position + at:position + at + 2], "big") for at in (5, 7))
    return width, height


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
