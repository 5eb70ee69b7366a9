"""Photos of every format and of the sizes at which something changes."""
import struct
from pathlib import Path

from harness import library


def _picture(path, size):
    library.ffmpeg("-f", "lavfi", "-i", f"testsrc2=size={size}", "-frames:v", "1", *([] if path.endswith("jpg") else ["-pix_fmt", "rgb24"]), path)


def _ifd(entries, following=0):
    """A directory of a TIFF file whose entries all hold one number each: tag, type (3: 16 bits, 4: 32 bits), value."""
    return (struct.pack("<H", len(entries)) + b"".join(struct.pack("<HHII", tag, kind, 1, value) for tag, kind, value in entries)
            + struct.pack("<I", following))


def turned(jpeg, orientation):
    """The JPEG with an EXIF orientation."""
    exif = b"Exif\0\0II*\0" + struct.pack("<I", 8) + _ifd([(274, 3, orientation)])
    return jpeg[:2] + b"\xff\xe1" + struct.pack(">H", len(exif) + 2) + exif + jpeg[2:]


def raw(preview, orientation):
    """A camera's raw file: a TIFF whose second directory is a JPEG."""
    second = 8 + 2 + 12 * 3 + 4
    begin = second + 2 + 12 * 3 + 4
    first = _ifd([(256, 4, 64), (257, 4, 48), (274, 3, orientation)], second)
    return b"II*\0" + struct.pack("<I", 8) + first + _ifd([(259, 3, 6), (513, 4, begin), (514, 4, len(preview))]) + preview


def size_of(picture):
    """Width and height of a PNG or JPEG document, as it is shown."""
    if picture.startswith(b"\x89PNG"):
        return struct.unpack(">II", picture[16:24])
    at, is_turned = 2, False
    while picture[at + 1] not in (0xC0, 0xC1, 0xC2):
        if picture[at + 1] == 0xE1 and picture[at + 4:at + 8] == b"Exif":
            entry = picture.find(struct.pack("<HH", 274, 3), at)
            is_turned = entry > 0 and picture[entry + 8] >= 5
        at += 2 + struct.unpack(">H", picture[at + 2:at + 4])[0]
    height, width = struct.unpack(">HH", picture[at + 5:at + 9])
    return (height, width) if is_turned else (width, height)


def make(folder):
    """Returns the size of each picture, upright, by its file's name."""
    sizes = {}
    for name, size in [("tiny.jpg", "150x100"), ("small.jpg", "640x480"), ("medium.jpg", "1024x768"), ("large.jpg", "1026x768"),
                       ("wide.jpg", "2000x1200"), ("huge.jpg", "5000x4000"), ("tall.png", "600x1200"), ("little.png", "100x50"),
                       ("bmp.bmp", "800x600"), ("gif.gif", "320x200"), ("tif.tif", "700x500"), ("webp.webp", "1000x700")]:
        _picture(f"{folder}/{name}", size)
        sizes[name] = tuple(map(int, size.split("x")))
    wide = Path(f"{folder}/wide.jpg").read_bytes()
    for orientation in (3, 6, 8):
        name = f"turned{orientation}.jpg"
        Path(f"{folder}/{name}").write_bytes(turned(wide, orientation))
        sizes[name] = (2000, 1200) if orientation == 3 else (1200, 2000)
    Path(f"{folder}/camera.nef").write_bytes(raw(wide, 6))
    sizes["camera.nef"] = (1200, 2000)
    return sizes
