"""What the kernel says of a process: its memory, threads and descriptors."""
import os
from pathlib import Path


def _status(pid, name):
    with open(f"/proc/{pid}/status") as file:
        return next(line.split(":", 1)[1].split()[0] for line in file if line.startswith(name + ":"))


def peak_memory(pid):
    """Most memory that was resident since forget_peak(), in bytes."""
    return int(_status(pid, "VmHWM")) * 1024


def resident_memory(pid):
    """In bytes."""
    return int(_status(pid, "VmRSS")) * 1024


def awaits_signals(pid):
    """True when the first thread sleeps and no signal is left for the process to take."""
    state = Path(f"/proc/{pid}/stat").read_text().rsplit(")", 1)[1].split()[0]
    return state == "S" and int(_status(pid, "ShdPnd"), 16) == 0


def forget_peak(pid):
    Path(f"/proc/{pid}/clear_refs").write_text("5")


def is_sanitized(pid):
    """True for a program whose memory serves a sanitizer as well."""
    with open(f"/proc/{pid}/maps") as file:
        return any(name in line for line in file for name in ("libasan", "libtsan"))


def threads(pid):
    return int(_status(pid, "Threads"))


def descriptors(pid):
    """What each open descriptor of the process leads to, sockets without their number."""
    names = []
    for entry in os.listdir(f"/proc/{pid}/fd"):
        try:
            names.append(os.readlink(f"/proc/{pid}/fd/{entry}").split(":[")[0])
        except OSError:
            continue  # closed meanwhile
    return sorted(names)
