"""Hosts on a network of their own: one namespace each, joined by a bridge, with real multicast and real ARP entries."""
import contextlib
import ctypes
import json
import os
import signal
import subprocess
import sys

_LIBC = ctypes.CDLL(None, use_errno=True)
_CLONE_NEWNET = 0x40000000
_REENTERED = "DMS_E2E_IN_USER_NAMESPACE"


def become_root():
    """Without root, starts the test program again inside a user namespace, where it may make network namespaces."""
    if os.geteuid() != 0 and _REENTERED not in os.environ:
        os.environ[_REENTERED] = "1"
        os.execvp("unshare", ["unshare", "--user", "--map-root-user", "--net", "--", sys.executable, *sys.orig_argv[1:]])


class Host:
    """A network namespace, held open by a sleeping process until close()."""

    def __init__(self, address=None):
        self.address = address
        self._holder = subprocess.Popen(
            ["setpriv", "--pdeathsig", "KILL", "unshare", "--net", "--", "sh", "-c", "echo ready; exec sleep 3600"],
            stdout=subprocess.PIPE, stdin=subprocess.DEVNULL)
        if self._holder.stdout.readline() != b"ready\n":
            raise RuntimeError("could not make a network namespace")
        self.run("ip", "link", "set", "lo", "up")

    @property
    def pid(self):
        return self._holder.pid

    def command(self, *arguments):
        """The command line that runs `arguments` on this host."""
        return ["nsenter", f"--net=/proc/{self.pid}/ns/net", "--", *arguments]

    def run(self, *arguments):
        return subprocess.run(self.command(*arguments), check=True, text=True, capture_output=True).stdout

    @property
    def mac(self):
        """Hardware address, as the other hosts see it."""
        return json.loads(self.run("ip", "-json", "link", "show", "dev", "lan"))[0]["address"]

    @contextlib.contextmanager
    def entered(self):
        """The calling thread, and threads that it starts meanwhile, stand on this host."""
        before = os.open("/proc/thread-self/ns/net", os.O_RDONLY)
        try:
            _set_namespace(f"/proc/{self.pid}/ns/net")
            yield self
        finally:
            _join(before)
            os.close(before)

    def close(self):
        self._holder.send_signal(signal.SIGKILL)
        self._holder.wait()
        self._holder.stdout.close()


def _join(descriptor):
    if _LIBC.setns(descriptor, _CLONE_NEWNET) != 0:
        raise OSError(ctypes.get_errno(), "could not enter a network namespace")


def _set_namespace(path):
    descriptor = os.open(path, os.O_RDONLY)
    try:
        _join(descriptor)
    finally:
        os.close(descriptor)


class Network:
    """`count` hosts 10.73.0.1, 10.73.0.2, ... on one switch, each with an interface called "lan"."""

    def __init__(self, count):
        become_root()
        self._switch = Host()
        self._switch.run("ip", "link", "add", "switch", "type", "bridge", "mcast_snooping", "0")
        self._switch.run("ip", "link", "set", "switch", "up")
        self.hosts = [self._attach(number) for number in range(1, count + 1)]

    def _attach(self, number):
        host = Host(f"10.73.0.{number}")
        self._switch.run("ip", "link", "add", f"port{number}", "type", "veth", "peer", "name", "lan", "netns", str(host.pid))
        self._switch.run("ip", "link", "set", f"port{number}", "master", "switch", "up")
        host.run("ip", "address", "add", f"{host.address}/24", "dev", "lan")
        host.run("ip", "link", "set", "lan", "up")
        host.run("ip", "route", "add", "239.0.0.0/8", "dev", "lan")
        return host

    def close(self):
        for host in self.hosts + [self._switch]:
            host.close()
