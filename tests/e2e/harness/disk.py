"""A small disk that only this process, and what it starts, can see."""
import contextlib
import ctypes
import os
import subprocess

_LIBC = ctypes.CDLL(None, use_errno=True)
_CLONE_NEWNS = 0x20000


class SmallDisk:
    def __init__(self, path, size="2m"):
        self.path = path
        if _LIBC.unshare(_CLONE_NEWNS) != 0:
            raise OSError(ctypes.get_errno(), "could not make a mount namespace")
        # Below a chroot "/" is no mount point; others may then see the disk, and see it go.
        subprocess.run(["mount", "--make-rprivate", "/"], check=False, stderr=subprocess.DEVNULL)
        subprocess.run(["mount", "-t", "tmpfs", "-o", f"size={size}", "disk", path], check=True)

    def fill(self):
        """To the last byte."""
        with open(f"{self.path}/filling", "wb", buffering=0) as file:
            for size in (65536, 4096, 1):
                with contextlib.suppress(OSError):
                    while file.write(bytes(size)):
                        pass

    def free(self):
        os.unlink(f"{self.path}/filling")

    def close(self):
        subprocess.run(["umount", "--lazy", self.path], check=True)
