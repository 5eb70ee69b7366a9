"""Photos of every format and of the sizes at which something changes."""
import struct

from harness import library


def _picture(path, size):
    library.ffmpeg("-f", "lavfi", "-i", f"testsrc2=size={size}", "-frames:v", "1", *([] if path.endswith("jpg") else ["-pix_fmt", "rgb24"]), path)


def _read(path):
    with open(path, "rb") as file:
        return file.read()


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


def make(folder):
    """Returns the size of each picture, upright, by its file's name."""
    sizes = {}
    for name, size in [("tiny.jpg", "150x100"), ("small.jpg", "640x480"), ("medium.jpg", "1024x768"), ("large.jpg", "1026x768"),
                       ("wide.jpg", "2000x1200"), ("huge.jpg", "5000x4000"), ("tall.png", "600x1200"), ("little.png", "100x50"),
                       ("bmp.bmp", "800x600"), ("gif.gif", "320x200"), ("tif.tif", "700x500"), ("webp.webp", "1000x700")]:
        _picture(f"{folder}/{name}", size)
        sizes[name] = tuple(map(int, size.split("x")))
    for orientation in (3, 6, 8):
        name = f"turned{orientation}.jpg"
        with open(f"{folder}/{name}", "wb") as file:
            file.write(turned(_read(f"{folder}/wide.jpg"), orientation))
        sizes[name] = (2000, 1200) if orientation == 3 else (1200, 2000)
    with open(f"{folder}/camera.nef", "wb") as file:
        file.write(raw(_read(f"{folder}/wide.jpg"), 6))
    sizes["camera.nef"] = (1200, 2000)
    return sizes
