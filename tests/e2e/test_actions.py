"""The actions of the two smaller services, what nobody offers, and a client that is refused."""
import json
import signal
import unittest

from harness import upnp
from harness.server import wait_until
from harness.stage import Stage


def setUpModule():
    global stage, server
    stage = Stage(hosts=3)
    stage.server.start()
    server = upnp.MediaServer(stage.description, "television")


class Actions(unittest.TestCase):
    def call(self, service, action, agent="television", **arguments):
        return server.services[service].call(action, headers={"User-Agent": agent}, **arguments)

    def error(self, service, action, **arguments):
        with self.assertRaises(upnp.UpnpError) as caught:
            self.call(service, action, **arguments)
        return caught.exception.code, caught.exception.description

    def test_connection_manager(self):
        protocols = self.call(upnp.CONNECTION_MANAGER, "GetProtocolInfo")
        self.assertEqual(list(protocols), ["Source", "Sink"])
        self.assertEqual((len(protocols["Source"]), protocols["Source"].count(","), protocols["Sink"]), (2835, 43, ""))
        self.assertEqual(self.call(upnp.CONNECTION_MANAGER, "GetCurrentConnectionIDs"), {"ConnectionIDs": "0"})
        expected = [("RcsID", "-1"), ("AVTransportID", "-1"), ("ProtocolInfo", ""), ("PeerConnectionManager", ""),
                    ("PeerConnectionID", "-1"), ("Direction", "Output"), ("Status", "Unknown")]
        for connection in ("0", "7"):
            answer = self.call(upnp.CONNECTION_MANAGER, "GetCurrentConnectionInfo", ConnectionID=connection)
            self.assertEqual(list(answer.items()), expected)
        for connection in ("", "x", "1;drop table music"):
            self.assertEqual(self.error(upnp.CONNECTION_MANAGER, "GetCurrentConnectionInfo", ConnectionID=connection)[0], -101)

    def test_everybody_is_authorized(self):
        self.assertEqual(self.call(upnp.REGISTRAR, "IsAuthorized", DeviceID="whoever"), {"Result": "1"})

    def test_unknown_actions(self):
        for service in (upnp.CONTENT_DIRECTORY, upnp.CONNECTION_MANAGER, upnp.REGISTRAR):
            with self.subTest(service):
                self.assertEqual(self.error(service, "Reboot"), (401, "Invalid Action"))
        self.assertEqual(self.error(upnp.CONNECTION_MANAGER, "Browse"), (401, "Invalid Action"))

    def test_state_variables_can_be_asked_for(self):
        """QueryStateVariable is deprecated, but part of UPnP 1.0."""
        def query(name):
            body = (f'<?xml version="1.0"?><s:Envelope xmlns:s="http://schemas.xmlsoap.org/soap/envelope/"><s:Body>'
                    f'<u:QueryStateVariable xmlns:u="urn:schemas-upnp-org:control-1-0"><u:varName>{name}</u:varName>'
                    f'</u:QueryStateVariable></s:Body></s:Envelope>').encode()
            service = server.services[upnp.CONTENT_DIRECTORY]
            return service.call_raw("", body, {"SOAPACTION": '"urn:schemas-upnp-org:control-1-0#QueryStateVariable"'})
        status, _, body = query("SystemUpdateID")
        self.assertEqual(status, 200)
        self.assertRegex(body, rb"<return>\d+</return>")
        status, _, body = query("Password")
        self.assertEqual((status, b"<errorCode>404</errorCode>" in body), (500, True))


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
        with open(stage.server.config("client_list.json"), "w") as file:
            json.dump(clients, file)
        stage.server.send(signal.SIGUSR2)
