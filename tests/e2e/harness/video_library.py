"""The videos of the tests of the video library: movies, shows, home videos and recordings, each of a few kilobytes."""
import os
from xml.sax.saxutils import escape

from harness import library

GENRES = ["Drama", "Comedy", "Science Fiction"]
SHOWS = {"Alpha Base": 2, "Bread & Butter": 1, "Çà et là": 1}  # title to number of seasons of two episodes
MOVIES, HOME_VIDEOS, EPISODES = 30, 10, 3 + 2 * sum(SHOWS.values())  # a special each
RECORDINGS = [("One", "News", "2026-01-02 20-00"), ("One", "News", "2026-01-03 20-00"), ("One", "Film", "2026-01-03 22-15"),
              ("Two", "News", "2026-01-02 19-00"), ("Two", "Weather", "2026-01-02 19-30"), ("Two", "O'Neill's", "2026-01-04 08-00")]
IN_PARTS = {"Movie 03", "Movie 17"}  # two files each
SUBTITLED = {"Movie 05", "Movie 21"}  # beside their only file
LAST_PART_SUBTITLED = "Movie 17"
SUBTITLE = "1\n00:00:00,000 --> 00:00:01,000\nHello\n"


class Library:
    """Made below a new folder: "Films" and "More/Films" are meant to be served, so that two roots have one title."""

    def __init__(self, folder):
        self.folder = folder
        self._seed = os.path.join(folder, "seed.mkv")
        library.ffmpeg("-f", "lavfi", "-i", "testsrc2=size=64x48:rate=5:duration=1", "-f", "lavfi", "-i", "sine=duration=1",
                       "-c:v", "mpeg4", "-c:a", "ac3", "-shortest", self._seed)
        for number in range(MOVIES):
            self._movie(number)
        for title, seasons in SHOWS.items():
            self._show(title, seasons)
        for number in range(HOME_VIDEOS):
            self.add(f"More/Films/home/2020-05-{number + 1:02d} Day {number}.mkv")
        for channel, programme, time in RECORDINGS:
            self.add(f"More/Films/tv/{channel} - {programme} - {time}.mkv")
        os.makedirs(os.path.join(folder, "Films", "nothing here"))

    @property
    def roots(self):
        return [os.path.join(self.folder, "Films"), os.path.join(self.folder, "More", "Films")]

    def add(self, name):
        """A video, as a link to the one that was made."""
        path = os.path.join(self.folder, name)
        os.makedirs(os.path.dirname(path), exist_ok=True)
        os.link(self._seed, path)
        return path

    def write(self, name, text):
        with open(os.path.join(self.folder, name), "w", encoding="utf-8") as file:
            file.write(text)

    def _movie(self, number):
        title = f"Movie {number:02d}"
        full = f"{title} ({1990 + number % 7})"
        # Half of them in a folder of their own, some of these below "old", and the last in the second root.
        place = f"Films/{'old/' if number % 5 == 0 else ''}{full}" if number % 2 else "Films"
        name = f"{place}/{full}" if number < MOVIES - 1 else f"More/Films/{full}"
        if title in IN_PARTS:
            self.add(name + " cd1.mkv")
            self.add(name + " cd2.mkv")
        else:
            self.add(name + ".mkv")
        if title == LAST_PART_SUBTITLED:
            self.write(name + " cd2.srt", SUBTITLE)
        if title in SUBTITLED:
            self.write(name + ".srt", SUBTITLE)
        if title in IN_PARTS or number >= 20:
            return  # known by their names only
        self.write(name + ".nfo", nfo("movie", title=title, tagline=f"Line {number}", plot=f"Story <{number}> & more",
                                      year=1990 + number % 7, genre=[GENRES[number % 3]], director=[f"Director {number % 4}"],
                                      credits=[f"Writer {number % 2}"], actor=[f"Actor {number % 5}", "Zoë O'Hara"]))

    def _show(self, title, seasons):
        self.add(f"Films/{title}/Specials/{title} S00E01 Making of.mkv")
        for season in range(1, seasons + 1):
            for episode in (1, 2):
                name = f"Films/{title}/Season {season}/{title} S{season:02d}E{episode:02d}"
                self.add(name + ".mkv")
                self.write(name + ".nfo", nfo("episodedetails", title=f"Part {episode}", season=season, episode=episode,
                                              plot="What happens", aired=f"20{season:02d}-01-0{episode}", actor=["Zoë O'Hara"]))
        self.write(f"Films/{title}/tvshow.nfo", nfo("tvshow", title=title, genre=[GENRES[len(title) % 3]]))


def nfo(kind, **elements):
    """A description as media centres write it."""
    lines = ['<?xml version="1.0" encoding="UTF-8"?>', f"<{kind}>"]
    for name, value in elements.items():
        for text in value if isinstance(value, list) else [value]:
            inner = f"<name>{escape(text)}</name>" if name == "actor" else escape(str(text))
            lines.append(f"<{name}>{inner}</{name}>")
    return "\n".join([*lines, f"</{kind}>"])
