"""The feature browsers: features that are found, changed and shown on tabs."""

from desktop import check_openings
from lab import LabError

TITLE = "Features"
FILTER, VISIBILITY, ALPHABETICAL, REFRESH, LIST, DETAILS = range(101, 107)
CAMERA = ("127.0.0.2", "Left", "SN-0042")


def table_of(window):
    """The list of features, which a browser on a tab has, too."""
    tables = [control for control in window.controls if control.kind == "SysListView32"] if window is not None else []
    return tables[0] if tables else None


def value_of(window, name):
    """What the list tells of a feature; None while it does not."""
    table = table_of(window)
    rows = table.rows if table is not None else []
    return next((row.cells[1] for row in rows if row.cells[0].strip() == name), None)


def row_of(window, name):
    for row in table_of(window).rows:
        if row.cells[0].strip() == name:
            return row
    raise LabError(f"{name} is not listed")


def run(report, desk):
    camera = desk.camera(*CAMERA)
    check_browser(report, desk)
    check_tabs(report, desk)
    camera.stop()


def open_window(report, desk, kind):
    client = desk.client(kind, CAMERA[0])
    client.ask("move {} {} {} {}".format(*map(desk.look.scaled, (60, 60, 760, 600))))
    client.ask("show")
    client.window(TITLE)
    window = client.window_with(TITLE, lambda window: value_of(window, "DeviceUserID") == "Left", 30)
    value = value_of(window, "DeviceUserID")
    report.check("features are shown with their values", value == "Left", repr(value))
    return client, window


def check_browser(report, desk):
    screen = desk.screen
    client, window = open_window(report, desk, "browser")
    with client:
        screen.click(row_of(window, "DeviceUserID").place.at(0.1, 0.5))
        window = client.window_with(TITLE, lambda window: row_of(window, "DeviceUserID").is_chosen)
        report.check("a click chooses a feature", row_of(window, "DeviceUserID").is_chosen)
        screen.rest_pointer()
        row = row_of(window, "DeviceUserID").place
        name, value = row.part(0, 0, 0.3, 1), row.part(0.3, 0, 0.6, 1)
        details = window.control(DETAILS).place.inner(4)
        shown = screen.picture_with(lambda picture: all(map(picture.has_text, (name, value, details))))
        report.check("its name and value can be read", shown.has_text(name) and shown.has_text(value))
        report.check("and what it is for", shown.has_text(details))
        below = row_of(window, "Width").place.part(0, 0, 0.3, 1)
        dark = sum(shown.ground(below)) < 3 * 100
        report.check("the list is as dark as was asked for", dark == desk.look.dark, f"{shown.ground(below)}")
        desk.keep("features", window, shown)
        if desk.look.is_usual:
            check_filter(report, desk, client)
            check_edit(report, desk, client)
            client.ask("close")
            check_openings(report, client, desk.openings)
        report.check("its program ends", client.ended_well())


def check_filter(report, desk, client):
    desk.screen.press("alt+f")
    desk.screen.type("userid")
    window = client.window_with(TITLE, lambda window: value_of(window, "Width") is None)
    report.check("Alt+F and letters filter the list", value_of(window, "DeviceUserID") == "Left")
    report.check("what does not match has gone", value_of(window, "Width") is None)
    desk.screen.press("ctrl+a", "Delete")
    window = client.window_with(TITLE, lambda window: value_of(window, "Width") is not None)
    report.check("without a filter all are there again", value_of(window, "Width") is not None)


def check_edit(report, desk, client):
    window = client.window(TITLE)
    before = desk.screen.picture()
    row = row_of(window, "DeviceUserID").place
    desk.screen.click(row.at(0.1, 0.5))
    desk.screen.press("F2", "ctrl+a")
    desk.screen.type("Middle")
    desk.screen.press("Return")
    window = client.window_with(TITLE, lambda window: value_of(window, "DeviceUserID") == "Middle")
    report.check("F2, letters and Enter change a value", value_of(window, "DeviceUserID") == "Middle")
    told = desk.host.run([desk.tools.pvctl, "get", CAMERA[0], "DeviceUserID"], 20).stdout
    report.check("in the camera", "Middle" in told, told.strip())
    shown = desk.screen.picture_with(lambda picture: picture.differs(before, row))
    report.check("and on the screen", shown.differs(before, row))
    desk.screen.press("F2", "ctrl+a")
    desk.screen.type("Left")
    desk.screen.press("Return")
    window = client.window_with(TITLE, lambda window: value_of(window, "DeviceUserID") == "Left")
    report.check("and back", value_of(window, "DeviceUserID") == "Left")


def check_tabs(report, desk):
    screen = desk.screen
    client, window = open_window(report, desk, "tabs")
    with client:
        place = next(control.place for control in window.controls if control.kind == "SysTabControl32")
        heads = place._replace(height=desk.look.scaled(22), width=place.width // 2)
        screen.rest_pointer()
        shown = screen.picture_with(lambda picture: picture.has_text(heads))
        report.check("tabs have names", shown.has_text(heads))
        desk.keep("features_tabs", window, shown)
        screen.press("ctrl+Tab")

        def has_other_features(window):
            table = table_of(window)
            return table is not None and bool(table.rows) and value_of(window, "DeviceUserID") is None

        window = client.window_with(TITLE, has_other_features)
        report.check("Ctrl+Tab shows the next tab's features", has_other_features(window))
        other = screen.picture_with(lambda picture: picture.differs(shown, place))
        report.check("which looks different", other.differs(shown, place))
        if desk.look.is_usual:
            client.ask("close")
            check_openings(report, client, desk.openings)
        report.check("its program ends", client.ended_well())
