"""What bench/run measures besides the pages of menus: the indexer, the gateway, the start, and a long steady run."""
import contextlib
import os
import shutil
import signal
import subprocess
import threading
import time

MEDIA_PORT = 50002
MIB = 1 << 20
INDEXED_FILES = 10000
BIG_FILE_MIB, SMALL_FILE_MIB = 256, 4
LARGE_SECONDS, READERS_SECONDS = 4, 8


def environment_of(pid):
    """The environment that the process was started with."""
    with open(f"/proc/{pid}/environ", "rb") as file:
        return dict(line.split(b"=", 1) for line in file.read().split(b"\0") if b"=" in line)


def state_of(pid):
    """Resident MiB, open descriptors and threads of a process."""
    with open(f"/proc/{pid}/status") as file:
        resident = next(int(line.split()[1]) for line in file if line.startswith("VmRSS")) / 1024
    return resident, len(os.listdir(f"/proc/{pid}/fd")), len(os.listdir(f"/proc/{pid}/task"))


def id3_tag(**frames):
    """An ID3v2.3 tag (Latin-1 text frames)."""
    body = b"".join(name.encode() + (len(text) + 1).to_bytes(4, "big") + b"\0\0\0" + text.encode("latin-1")
                    for name, text in frames.items())
    size = len(body)
    return b"ID3\3\0\0" + bytes([size >> 21 & 127, size >> 14 & 127, size >> 7 & 127, size & 127]) + body


def make_songs(folder, count):
    """Real MP3 files with tags of their own, ten to an album."""
    source = os.path.join(folder, "source.mp3")
    subprocess.run(["ffmpeg", "-nostdin", "-v", "error", "-y", "-f", "lavfi", "-i", "sine=duration=3", "-b:a", "64k",
                    "-map_metadata", "-1", "-id3v2_version", "0", source], check=True)
    with open(source, "rb") as file:
        sound = file.read()
    os.remove(source)
    for number in range(count):
        album = number // 10
        directory = os.path.join(folder, f"Album {album:04d}")
        if number % 10 == 0:
            os.mkdir(directory)
        tag = id3_tag(TIT2=f"Song {number}", TPE1=f"Artist {album // 8}", TALB=f"Album {album}", TRCK=str(number % 10 + 1),
                      TCON=f"Genre {album % 24}", TYER=str(1960 + album % 60))
        with open(os.path.join(directory, f"{number % 10 + 1:02d} Song {number}.mp3"), "wb") as file:
            file.write(tag + sound)


def index(bench):
    """Seconds of the first and of the second run of the indexer over INDEXED_FILES songs."""
    watcher = bench.process("dms-indexer")
    environment = environment_of(watcher)
    bench.wait_until_quiet(watcher)  # it may hold locks
    os.kill(watcher, signal.SIGSTOP)  # it would index beside us
    try:
        folder = os.path.join(bench.media, "indexed")
        os.mkdir(folder)
        make_songs(folder, INDEXED_FILES)
        seconds = []
        for _ in range(2):
            begin = time.monotonic()
            subprocess.run([os.readlink(f"/proc/{watcher}/exe"), "--once", "--quiet"], check=True, env=environment,
                           preexec_fn=bench.same_user(watcher), timeout=300)
            seconds.append(time.monotonic() - begin)
        indexed = int(bench.sql("SELECT count(*) FROM music WHERE title LIKE 'Song %'"))
        if indexed != INDEXED_FILES:
            raise RuntimeError(f"{indexed} of {INDEXED_FILES} songs were indexed")
        shutil.rmtree(folder)
    finally:
        os.kill(watcher, signal.SIGCONT)
    bench.wait_until_quiet(watcher)
    return seconds


def file_request(bench, name, mebibytes):
    """Makes a file that nginx and the gateway both serve; the requests for it at nginx and at the gateway."""
    path = os.path.join(bench.home, "static", name)
    with open(path, "wb") as file:
        for _ in range(mebibytes):
            file.write(os.urandom(MIB))
    row = bench.sql(f"INSERT INTO music (path, title) VALUES ('{path}', '{name}') RETURNING id")
    return [f"GET {target} HTTP/1.1\r\nHost: {bench.host.address}\r\n\r\n".encode()
            for target in (f"/{name}", f"/m/NDLNA/{row}.mp3")]


def gateway(bench):
    """Speed of one large file to nginx's, and how many files the slowest of 32 readers gets for one of the quickest."""
    ratios = []
    static, media = file_request(bench, "big.mp3", BIG_FILE_MIB)
    for _ in range(3):
        nginx, own = (bench.load(port, 1, LARGE_SECONDS, request)[1]
                      for port, request in ((bench.nginx_port, static), (MEDIA_PORT, media)))
        ratios.append(own / nginx)
    _, small = file_request(bench, "small.mp3", SMALL_FILE_MIB)
    figures = bench.load(MEDIA_PORT, 32, READERS_SECONDS, small)
    return sorted(ratios)[1], figures[5] / figures[6]


def start_up(bench, ask):
    """Seconds from the start of a second dms on a host of its own, over the same database, to its first answer."""
    dms = bench.server.pid()
    environment = environment_of(dms)
    root = environment[b"DMS_SYSROOT"].decode()
    own_root = os.path.join(bench.home, "second")
    subprocess.run(["cp", "-a", root, own_root], check=True)
    for name in ("dms.pid", "dms.ip"):
        with contextlib.suppress(FileNotFoundError):
            os.remove(os.path.join(own_root, "var/run", name))
    environment[b"DMS_SYSROOT"] = own_root.encode()
    begin = time.monotonic()
    process = subprocess.Popen(bench.spare.command(os.readlink(f"/proc/{dms}/exe"), "--foreground"), env=environment,
                               stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    try:
        while time.monotonic() - begin < 30:
            with contextlib.suppress(OSError):
                ask(bench.spare.address)
                return time.monotonic() - begin
            time.sleep(0.005)
        raise RuntimeError("the second server does not answer")
    finally:
        process.terminate()
        process.wait(timeout=30)
        shutil.rmtree(own_root, ignore_errors=True)


def steady(bench, seconds, browse):
    """32 clients that browse and 32 that stream, for so long: the state of dms and the gateway before and after."""
    _, media = file_request(bench, "steady.mp3", SMALL_FILE_MIB)
    loads = ((bench.upnp_port, browse), (MEDIA_PORT, media))

    def load_both(duration):
        threads = [threading.Thread(target=bench.load, args=(port, 32, duration, request)) for port, request in loads]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        time.sleep(2)  # for the last connections to end
        return [state_of(bench.process(name)) for name in ("dms", "dms-gateway")]
    return load_both(min(10, seconds)), load_both(seconds)
