"""Programs that others wrote: one that plays from the server, one that the server finds."""
import os
import subprocess
import tempfile
import unittest
from pathlib import Path

from harness import library, upnp
from harness.server import wait_until
from harness.stage import Stage


def setUpModule():
    global stage
    stage = Stage(hosts=3)
    stage.server.start()


def start(test, host, folder, *command):
    """Runs a program on a host until the test ends."""
    output = open(os.path.join(folder, "output"), "wb")
    process = subprocess.Popen(host.command("setpriv", "--pdeathsig", "KILL", "--", *command), stdin=subprocess.DEVNULL,
                               stdout=output, stderr=output, env={**os.environ, "HOME": folder})

    def stop():
        process.terminate()
        process.wait(timeout=10)
        output.close()
    test.addCleanup(stop)
    return process


class MusicPlayerDaemon(unittest.TestCase):
    """It browses the server through its own UPnP stack, and plays what the resource URLs give."""

    CONFIGURATION = """
music_directory "upnp://"
database {{
    plugin "upnp"
    interface "lan"
}}
bind_to_address "{folder}/socket"
log_file "{folder}/log"
playlist_directory "{folder}"
state_file "{folder}/state"
zeroconf_enabled "no"
input {{
    plugin "curl"
}}
audio_output {{
    type "recorder"
    name "tape"
    path "{folder}/tape.wav"
    encoder "wave"
    format "44100:16:2"
}}
"""

    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="mpd")
        self.addCleanup(folder.cleanup)
        self.folder = folder.name
        Path(f"{self.folder}/conf").write_text(self.CONFIGURATION.format(folder=self.folder))
        start(self, stage.client, self.folder, "mpd", "--no-daemon", f"{self.folder}/conf")
        wait_until(lambda: os.path.exists(f"{self.folder}/socket"), 20, "the player")

    def mpc(self, *arguments):
        return subprocess.run(["mpc", "--host", f"{self.folder}/socket", *arguments], text=True, timeout=60,
                              capture_output=True, check=True).stdout.splitlines()

    def test_lists_and_plays(self):
        servers = wait_until(lambda: self.mpc("ls"), 40, "the player to find the server")
        self.assertEqual(len(servers), 1)
        artists = f"{servers[0]}/By Artist"  # a music player gets the music menu
        self.assertEqual(len(self.mpc("ls", artists)), len(library.ARTISTS))
        album = f"{artists}/{library.ARTISTS[0]}/Album 00"
        songs = self.mpc("ls", album)
        self.assertEqual(len(songs), library.TRACKS_PER_ALBUM)
        self.mpc("add", songs[0])
        self.assertEqual(self.mpc("--format", "%artist% : %album% : %title%", "playlist"),
                         [f"{library.ARTISTS[0]} : Album 00 : Song 00-1"])
        self.mpc("play")
        # Two seconds of 44.1 kHz stereo, less what the encoder's padding takes.
        wait_until(lambda: os.path.exists(f"{self.folder}/tape.wav") and
                   os.path.getsize(f"{self.folder}/tape.wav") > 1.5 * 44100 * 4, 30, "the song on the tape")


class MediaRenderer(unittest.TestCase):
    """A renderer that comes on line is found and recorded with its names."""

    def test_is_recorded(self):
        host, = stage.others
        # Most renderers are players, too, and look at every server first: the machines know each other's hardware address.
        with host.entered():
            upnp.MediaServer(stage.description, "Kitchen/1.0")
        folder = tempfile.TemporaryDirectory(prefix="renderer")
        self.addCleanup(folder.cleanup)
        start(self, host, folder.name, "gmediarender", "--interface-name", "lan", "--friendly-name", "Kitchen",
              "--output", "gst", "--gstout-audiosink", "fakesink", "--gstout-videosink", "fakesink")

        def recorded():
            entry = stage.server.saved_clients().get(host.mac, {})
            return entry if "friendlyName" in entry else None
        renderer = wait_until(recorded, 30, "the renderer's names")
        self.assertEqual((renderer["ip"], renderer["friendlyName"]), (host.address, "Kitchen"))
        self.assertTrue(renderer["modelName"])
        self.assertTrue(renderer["manufacturer"])
        # The server itself is no renderer, and neither is a silent host.
        self.assertNotIn("friendlyName", stage.server.saved_clients().get(stage.client.mac, {}))
