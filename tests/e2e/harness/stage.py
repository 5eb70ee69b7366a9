"""What most modules start from: a network, the server on its first host, and the test standing on the second."""
import unittest

from harness import library
from harness.network import Network
from harness.server import UPNP_PORT, Server


class Stage:
    def __init__(self, hosts=2, media=None, options=()):
        self.network = Network(hosts)
        unittest.addModuleCleanup(self.network.close)
        self.server_host, self.client, *self.others = self.network.hosts
        unittest.enterModuleContext(self.client.entered())
        self.server = Server(self.server_host, *(media or [library.shared()]), options=options)
        unittest.addModuleCleanup(self.server.close)

    @property
    def base(self):
        return f"http://{self.server_host.address}:{UPNP_PORT}"

    @property
    def description(self):
        return self.base + "/desc/device.xml"
