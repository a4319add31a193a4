"""The device finder: what it finds, and what is typed and chosen in it."""

from desktop import check_openings
from lab import LabError

TITLE = "Device Finder"
ADDRESS_TITLE = "Set IP Address"
OK, CANCEL, FILTER, LIST, SET_ADDRESS = 1, 2, 101, 103, 104
DARK_WINDOW = (32, 32, 32)
CAMERAS = (("127.0.0.2", "Left", "SN-0042"), ("127.0.0.3", "Right", "SN-0043"))


def names(window):
    """The cameras that are listed; headings have a first cell only."""
    rows = window.control(LIST).rows if window is not None else []
    return [row.cells[0] for row in rows if row.cells[2]]


def row_of(window, name):
    for row in window.control(LIST).rows:
        if row.cells[0] == name and row.cells[2]:
            return row
    raise LabError(f"{name} is not listed: {names(window)}")


def names_seen(picture, window):
    """Whether each row's name can be read."""
    return all(picture.has_text(row.place.part(0, 0, 0.2, 1)) for row in window.control(LIST).rows)


def run(report, desk):
    with desk.client("finder") as client:
        client.ask("move {} {} {} {}".format(*map(desk.look.scaled, (40, 40, 900, 540))))
        client.ask("show")
        window = client.window(TITLE)
        if desk.look.is_usual:
            check_empty(report, desk, client)
        cameras = [desk.camera(*camera) for camera in CAMERAS]
        desk.screen.press("F5")
        window = client.window_with(TITLE, lambda window: names(window) == ["Left", "Right"], 30)
        report.check("cameras are listed as they are found", names(window) == ["Left", "Right"], f"{names(window)}")
        check_look(report, desk, client, window)
        if desk.look.is_usual:
            check_filter(report, desk, client)
            check_address(report, desk, client)
            check_choice(report, desk, client)
            check_openings(report, client, desk.openings)
        else:
            desk.screen.press("Escape")
            report.check("Escape closes it", client.is_gone(TITLE))
            report.check("and nothing is chosen then", client.ask("selected") == ["selected none"])
        report.check("its program ends", client.ended_well())
        for camera in cameras:
            camera.stop()


def check_empty(report, desk, client):
    """Nothing is there to be found."""

    def says_so(window):
        return any(text.startswith("No device was found") for text in window.texts())

    window = client.window_with(TITLE, says_so, 30)
    hint = next((control for control in window.controls if control.text.startswith("No device was found")), None)
    report.check("without a camera it says what to check", hint is not None, f"{window.texts()}")
    if hint is None:
        return
    report.check("and on which interfaces it looked", "127.0.0.1" in hint.text, hint.text)
    table = window.control(LIST).place
    shown = desk.screen.picture_with(lambda picture: picture.has_text(hint.place))
    report.check("which can be read", shown.has_text(hint.place))
    report.check("the list is empty", shown.is_plain(table.part(0.02, 0.2, 0.9, 0.95)))
    desk.keep("finder_empty", window, shown)


def check_look(report, desk, client, window):
    """Size, colours and letters, and a picture for people to look at."""
    size, wanted = (window.frame.width, window.frame.height), tuple(map(desk.look.scaled, (900, 540)))
    report.check("it has the size that was asked for", size == wanted, f"{size}")
    desk.screen.click(row_of(window, "Left").place.at(0.1, 0.5))
    window = client.window_with(TITLE, lambda window: row_of(window, "Left").is_chosen)
    report.check("a click chooses a row", row_of(window, "Left").is_chosen)
    details = next((control for control in window.controls if control.text.startswith("Name: Left")), None)
    report.check("whose details are told", details is not None and "SN-0042" in details.text, f"{window.texts()}")
    desk.screen.rest_pointer()
    left, right = (row_of(window, name).place.part(0, 0, 0.5, 1) for name in ("Left", "Right"))

    def drawn(picture):
        return names_seen(picture, window) and picture.ground(left) != picture.ground(right)

    shown = desk.screen.picture_with(drawn)
    report.check("rows can be read", names_seen(shown, window))
    grounds = [shown.ground(left), shown.ground(right)]
    report.check("the chosen one has another ground", grounds[0] != grounds[1], f"{grounds}")
    buttons = [window.control(identifier).place.inner(4) for identifier in (OK, CANCEL)]
    report.check("buttons can be read", all(map(shown.has_text, buttons)))
    # between the window's edge and what is in it nothing is drawn
    edge = window.inside.part(0, 0.3, 0, 0.9)._replace(x=window.inside.x + 2, width=desk.look.scaled(6))
    color = shown.ground(edge)
    good = color == DARK_WINDOW if desk.look.dark else sum(color) > 3 * 190
    report.check("the window is as dark as was asked for", good and shown.is_plain(edge), f"{color}")
    table = window.control(LIST).place
    end = table._replace(x=table.right - desk.look.scaled(16), y=table.y + desk.look.scaled(4), width=4, height=4)
    good = sum(shown.ground(end)) < 300
    report.check("so is the heading behind the last column", good == desk.look.dark, f"{shown.ground(end)}")
    letters = shown.writing(details.place.inner(4)) if details is not None else 0
    report.check("details can be read", letters >= 100, f"{letters} pixels of letters")
    desk.keep("finder", window, shown)


def check_filter(report, desk, client):
    window = client.window(TITLE)
    below = row_of(window, "Right").place.part(0, 0, 0.5, 1)
    desk.screen.click(window.control(FILTER).middle)
    desk.screen.type("right")
    window = client.window_with(
        TITLE, lambda window: names(window) == ["Right"] and window.control(FILTER).text == "right"
    )
    report.check("what is typed filters the list", names(window) == ["Right"], f"{names(window)}")
    report.check("what was typed stands in the field", window.control(FILTER).text == "right")
    shown = desk.screen.picture_with(lambda picture: picture.is_plain(below))
    report.check("the rows below have gone", shown.is_plain(below))
    desk.screen.click(row_of(window, "Right").place.at(0.1, 0.5))
    desk.screen.press("alt+f")
    desk.screen.type("zz")
    # one letter is enough to leave no row
    window = client.window_with(
        TITLE, lambda window: not window.control(LIST).rows and window.control(FILTER).text.endswith("zz")
    )
    typed = window.control(FILTER).text
    report.check("Alt+F goes back to the field", typed.endswith("zz"), typed)
    report.check("a filter that nothing matches leaves no row", not window.control(LIST).rows, f"{names(window)}")
    empty_field(desk)
    window = client.window_with(TITLE, lambda window: len(names(window)) == 2)
    report.check("without a filter all are there again", names(window) == ["Left", "Right"], f"{names(window)}")

    desk.screen.click(row_of(window, "Right").place.at(0.1, 0.5))
    desk.screen.press("ctrl+c")
    desk.screen.click(window.control(FILTER).middle)
    desk.screen.press("ctrl+v")
    window = client.window_with(TITLE, lambda window: window.control(FILTER).text.startswith("Name: Right"))
    good = window.control(FILTER).text.startswith("Name: Right")
    report.check("Ctrl+C copies the chosen device's details", good, repr(window.control(FILTER).text))
    empty_field(desk)
    client.window_with(TITLE, lambda window: len(names(window)) == 2)


def empty_field(desk):
    desk.screen.press("Home", "shift+End", "Delete")


def check_address(report, desk, client):
    window = client.window(TITLE)
    desk.screen.click(row_of(window, "Left").place.at(0.1, 0.5))
    desk.screen.click(window.control(SET_ADDRESS).middle)
    dialog = client.window(ADDRESS_TITLE)
    fields = [control for control in dialog.controls if control.kind == "Edit"]
    proposal = fields[0].text if fields else ""
    free = proposal.startswith("127.") and proposal not in [address for address, _, _ in CAMERAS]
    report.check("a free address is proposed", free, proposal)
    desk.screen.rest_pointer()
    shown = desk.screen.picture_with(lambda picture: all(picture.has_text(field.place.inner(3)) for field in fields))
    report.check("which can be read", all(shown.has_text(field.place.inner(3)) for field in fields))
    desk.keep("address", dialog, shown)
    desk.screen.press("Escape")
    report.check("Escape closes the dialog", client.is_gone(ADDRESS_TITLE))
    report.check("and not the finder", client.window_with(TITLE, lambda _: True) is not None)


def check_choice(report, desk, client):
    window = client.window(TITLE)
    report.check("nothing is chosen yet", client.ask("selected") == ["selected none"])
    desk.screen.double_click(row_of(window, "Right").place.at(0.1, 0.5))
    report.check("a double click closes the finder", client.is_gone(TITLE))
    answer = client.ask("selected")
    report.check("and chooses the device", answer == ["selected 127.0.0.3"], f"{answer}")
    client.ask("show")
    client.window(TITLE)
    desk.screen.press("Escape")
    report.check("Escape closes it", client.is_gone(TITLE))
    report.check("and nothing is chosen then", client.ask("selected") == ["selected none"])
