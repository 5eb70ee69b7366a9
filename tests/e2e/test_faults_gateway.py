"""As test_faults, for the gateway: what a player asks of it comes whole, or as an error, or ends short for all to see."""
import unittest
import urllib.parse

from harness import faults, upnp
from harness.daemon import Gateway
from harness.server import MEDIA_PORT
from harness.stage import Stage


def setUpModule():
    global stage, paths, pictures
    faults.need_library()
    stage = Stage(hosts=3)
    stage.server.start()
    server = upnp.MediaServer(stage.description, "television")
    song, photo, video = (server.browse(f"{kind}-all", count=1).elements[0] for kind in ("music", "photo", "video"))
    paths = {"song": song.findtext(upnp.DIDL + "res"), "photo": photo.findtext(upnp.DIDL + "res"),
             "video": video.findtext(upnp.DIDL + "res"), "cover": song.findtext(upnp.UPNP + "albumArtURI")}
    paths = {name: urllib.parse.urlsplit(url).path for name, url in paths.items()}
    number = paths["song"].rpartition("/")[2].partition(".")[0]
    paths["samples"] = f"/transcoder/genericoder.cgi/id={number}.wav?format=WAV"
    for size in ("sp", "xlp"):
        paths[size] = paths["photo"].replace("/p/", f"/{size}/")
    pictures = {paths[name] for name in ("cover", "sp", "xlp")}


class Faults(faults.Walk, unittest.TestCase):
    CHOSEN = 24

    def program(self):
        return Gateway(stage.others[0], stage.server)

    def ask(self, path, method="GET", **fields):
        status, headers, body = upnp.request(f"http://{self.daemon.host.address}:{MEDIA_PORT}{path}", method,
                                             {name.replace("_", "."): value for name, value in fields.items()})
        if status >= 500 or (status == 404 and path in pictures):  # one that cannot be made is as good as none
            return None
        return status, headers.get("content-type"), len(body)

    def steps(self):
        for path in paths.values():
            yield lambda: self.ask(path)
        yield lambda: self.ask(paths["song"], Range="bytes=100-299")
        yield lambda: self.ask(paths["video"], "HEAD", getcontentFeatures_dlna_org="1")
        yield lambda: self.ask("/m/MP3/99999999.mp3")
