"""The example program examples/cpp/viewer.cpp: live images, recording, the finder in front of it, the bridges of
the camera's serial ports."""

import os
import struct

from lab import LabError, eventually
from pictures import Region

ADDRESS = "127.0.0.2"
TITLE = f"Viewer - {ADDRESS}, live"
FINDER_TITLE = "Device Finder"
BRIDGES_TITLE = "Serial Bridges"


def happens(condition, seconds, what):
    try:
        return bool(eventually(condition, seconds, what))
    except LabError:
        return False


def bitmaps(folder):
    return sorted(name for name in os.listdir(folder) if name.endswith(".bmp"))


def is_bitmap(path):
    """Whether a file is a bitmap as long as it says, of an image with pixels."""
    with open(path, "rb") as file:
        data = file.read()
    if len(data) < 54 or data[:2] != b"BM":
        return False
    length, width, height = struct.unpack_from("<I", data, 2) + struct.unpack_from("<ii", data, 18)
    return length == len(data) and width > 0 and height != 0


def check_bridges(report, screen):
    def opened():
        screen.activate(TITLE)
        screen.press("alt+p")
        return eventually(lambda: screen.window_named(BRIDGES_TITLE), 20, "the bridge manager")

    number = opened()
    stopped = screen.picture_of(number)
    # the last cells of the rows
    states = Region(0, 0, stopped.width, stopped.height).part(0.8, 0.05, 0.98, 0.5)
    screen.press("alt+s")
    starts = happens(lambda: screen.picture_of(number).differs(stopped, states), 20, "a bridge that runs")
    report.check("Alt+P shows the serial ports, Alt+S starts a bridge", starts)
    screen.press("Escape")
    eventually(lambda: screen.window_named(BRIDGES_TITLE) is None, 20, "the bridge manager's end")
    again = screen.picture_of(opened())
    report.check("which runs on while nobody looks", again.differs(stopped, states))
    number = opened()
    shown = screen.picture_of(number)
    report.check("Alt+P once more changes nothing", shown.differs(stopped, states))
    screen.press("Escape")
    gone = happens(lambda: screen.window_named(BRIDGES_TITLE) is None, 20, "the bridge manager's end")
    report.check("and brings it to the front", gone)


def run(report, desk):
    screen = desk.screen
    folder = os.path.join(desk.host.folder, "recorded")
    os.makedirs(folder)
    desk.camera(ADDRESS, "Left", "SN-0042")
    if desk.host.run([desk.tools.pvctl, "set", ADDRESS, "PixelFormat=BayerRG8"], 20).returncode != 0:
        raise LabError("the camera sends no colours")
    viewer = desk.wine.start(desk.tools.viewer, ADDRESS, desk.wine.path(folder))
    number = eventually(lambda: screen.window_named(TITLE), 60, "the viewer")
    shown = screen.picture_of(number)
    # the card, with the block that moves in its lower right
    image = Region(0, 0, shown.width, shown.height).part(0.2, 0.2, 0.85, 0.92)
    colors = len(shown.colors(image))
    report.check("it shows a camera's images", colors >= 4, f"{colors} colours")
    moves = happens(lambda: screen.picture_of(number).differs(shown, image), 10, "another image")
    report.check("which move", moves)
    screen.picture_of(number, framed=True).save_png(desk.path("viewer"))

    screen.activate(TITLE)
    screen.press("alt+e")
    recorded = happens(lambda: len(bitmaps(folder)) >= 3, 20, "recorded images")
    screen.press("alt+e")
    report.check("Alt+E records", recorded, f"{len(bitmaps(folder))} files")
    report.check("bitmaps", recorded and is_bitmap(os.path.join(folder, bitmaps(folder)[0])))

    screen.press("alt+c")
    report.check("Alt+C shows the finder", happens(lambda: screen.window_named(FINDER_TITLE), 20, "the finder"))
    screen.press("Escape")
    gone = happens(lambda: screen.window_named(FINDER_TITLE) is None, 20, "the finder's end")
    report.check("Escape leaves it", gone)
    report.check("and the images go on", happens(lambda: screen.window_named(TITLE), 10, "images"))

    check_bridges(report, screen)

    screen.activate(TITLE)
    screen.press("alt+F4")
    ended = happens(lambda: not viewer.running(), 20, "the viewer's end")
    report.check("it ends when it is closed", ended and viewer.stop() == 0, viewer.output().strip()[-300:])
