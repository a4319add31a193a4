"""The bridge manager: a row for each serial port, bridges that are started and stopped."""

from desktop import check_openings

TITLE = "Serial Bridges"
LIST, START, STOP, SETTINGS, PARAMETERS, RECOVER, RESET = range(101, 108)
CAMERA = ("127.0.0.2", "Left", "SN-0042")


def states(window):
    """What the last cell of each row tells."""
    return [row.cells[-1] for row in window.control(LIST).rows] if window is not None else []


def run(report, desk):
    screen = desk.screen
    camera = desk.camera(*CAMERA)
    client = desk.client("bridges", CAMERA[0])
    with client:
        client.ask("move {} {} {} {}".format(*map(desk.look.scaled, (50, 50, 900, 320))))
        client.ask("show")
        client.window(TITLE)
        window = client.window_with(TITLE, lambda window: len(states(window)) >= 2, 30)
        stopped = states(window)
        report.check("each port has a row", len(stopped) >= 2, f"{stopped}")
        screen.click(window.control(LIST).rows[0].place.at(0.02, 0.5))
        screen.press("alt+s")
        window = client.window_with(TITLE, lambda window: states(window)[0] not in (stopped[0], "Starting"))
        running = states(window)
        report.check("Alt+S starts the chosen one's bridge", running[0] != stopped[0], f"{running}")
        report.check("and no other", running[1:] == stopped[1:], f"{running}")
        screen.rest_pointer()
        rows = [row.place.part(0, 0, 0.15, 1) for row in window.control(LIST).rows]
        buttons = [window.control(identifier).place.inner(4) for identifier in (STOP, SETTINGS)]
        shown = screen.picture_with(lambda picture: all(map(picture.has_text, rows + buttons)))
        report.check("rows and buttons can be read", all(map(shown.has_text, rows + buttons)))
        ground = shown.ground(window.control(LIST).place.part(0.02, 0.7, 0.9, 0.95))
        report.check("the list is as dark as was asked for", (sum(ground) < 300) == desk.look.dark, f"{ground}")
        desk.keep("bridges", window, shown)
        screen.press("alt+t")
        window = client.window_with(TITLE, lambda window: states(window) == stopped)
        report.check("Alt+T stops it", states(window) == stopped, f"{states(window)}")
        if desk.look.is_usual:
            client.ask("close")
            check_openings(report, client, desk.openings)
        report.check("its program ends", client.ended_well())
    camera.stop()
