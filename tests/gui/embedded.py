"""Windows inside and beside programs that are not the library's: a control of a C++ program, and a script's window."""

import os

from display import shows_quarters
from lab import LabError, eventually
from pictures import Region

HOST_TITLE = "Foreign program"
HOST_COLOR = (200, 230, 200)
DISPLAY_ID = 31
MARGIN, LABEL_HEIGHT = 20, 24  # around the display in the program's window
SCRIPT_TITLE = "Window of a script"
# the script's window stands where the script says, its first label below the frame's title
FIRST_LABEL = Region(108, 126, 60, 34)
SCRIPT = os.path.join(os.path.dirname(os.path.abspath(__file__)), "finder.vbs")


def run(report, desk):
    check_control(report, desk)
    check_script(report, desk)


def display_place(window):
    inside = window.inside
    return Region(
        inside.x + MARGIN,
        inside.y + LABEL_HEIGHT,
        inside.width - 2 * MARGIN,
        inside.height - LABEL_HEIGHT - MARGIN,
    )


def check_control(report, desk):
    screen = desk.screen
    with desk.host_program() as client:
        window = client.window(HOST_TITLE)
        display = window.control(DISPLAY_ID)
        report.check("a display is a control of the program's", display.place == display_place(window), display.place)
        client.ask("quarters 40 30")
        shown = screen.picture_with(lambda picture: shows_quarters(picture, display.place))
        report.check("it shows an image there", shows_quarters(shown, display.place))

        screen.resize(HOST_TITLE, 900, 700)
        window = client.window_with(HOST_TITLE, lambda window: window.inside.width >= 880)
        place = window.control(DISPLAY_ID).place
        good = place == display_place(window) and window.inside.width >= 880
        report.check("it is resized with the program's window", good, f"{place} in {window.inside}")
        shown = screen.picture_with(lambda picture: shows_quarters(picture, place))
        report.check("and fits the image to its size", shows_quarters(shown, place))
        beside = Region(window.inside.x + 2, place.y, MARGIN - 4, place.height)
        report.check("the program's own colour is beside it", shown.is_plain(beside, HOST_COLOR), shown.ground(beside))
        desk.keep("embedded", window, shown)

        # as the user closes it, with everything in it
        screen.activate(HOST_TITLE)
        screen.press("alt+F4")
        report.check("it goes with the program's window", client.is_gone(HOST_TITLE))
        report.check("and has no handle then", client.ask("handle") == ["handle 0"])
        client.ask("show")
        window = client.window("Display")
        shown = screen.picture_with(lambda picture: shows_quarters(picture, window.inside))
        report.check("its object can show it again, with its image", shows_quarters(shown, window.inside))
        report.check("the program ends", client.ended_well())


def check_script(report, desk):
    """A script whose only loop calls DoEvents."""
    script = desk.wine.start("cscript", "//nologo", desk.wine.path(SCRIPT), SCRIPT_TITLE)
    script.wait_for_output("Shown", 60)
    number = eventually(lambda: desk.screen.window_named(SCRIPT_TITLE), 20, "the script's window")
    report.check("a script shows a window", number is not None)
    shown = desk.screen.picture_with(lambda picture: picture.has_text(FIRST_LABEL))
    report.check("which is drawn while the script calls DoEvents", shown.has_text(FIRST_LABEL))
    desk.screen.activate(SCRIPT_TITLE)
    desk.screen.press("Escape")
    try:
        script.wait_for_output("Closed", 20)
    except LabError as error:
        report.check("the user closes it, and the script goes on", False, str(error))
        return
    script.wait_until_ended(20)
    said = script.output().split()
    report.check("the user closes it, and the script goes on", said[-1] == "Done.", " ".join(said))
