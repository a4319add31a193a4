"""The display: images, how far in they are, texts where there is no image, what is around them."""

from desktop import check_openings
from pictures import Region, around

TITLE = "Display"
BACKGROUND = (10, 60, 110)
NOTE = (32, 32, 32)  # behind what is told of a pixel
GREYS = {(0.25, 0.25): 40, (0.75, 0.25): 90, (0.25, 0.75): 140, (0.75, 0.75): 200}


def shows_quarters(picture, inside):
    """Whether all four quarters of the image are to be seen where they are when it is fitted."""
    return all(picture.is_plain(around(inside.at(*at), 5), (grey,) * 3) for at, grey in GREYS.items())


def note_region(inside):
    return Region(inside.x + 10, inside.bottom - 26, 120, 14)


def has_note(picture, inside):
    region = note_region(inside)
    return picture.ground(region) == NOTE and picture.has_text(region)


def zoomed_in(picture, inside):
    """Whether everything above the note is of the upper left quarter."""
    return picture.is_plain(inside.part(0.01, 0.01, 0.99, 0.9), (GREYS[0.25, 0.25],) * 3)


def run(report, desk):
    screen, scaled = desk.screen, desk.look.scaled
    with desk.client("display") as client:
        client.ask("move {} {} {} {}".format(*map(scaled, (40, 40, 700, 620))))
        client.ask("background {} {} {}".format(*BACKGROUND))
        client.ask("show")
        window = client.window(TITLE)
        inside = window.inside
        size = (scaled(700), scaled(620))
        seen = (window.frame.width, window.frame.height)
        report.check("it has the size that was asked for", seen == size, f"{seen}")
        shown = screen.picture_with(lambda picture: picture.is_plain(inside.inner(2), BACKGROUND))
        report.check("an empty display is plain", shown.is_plain(inside.inner(2), BACKGROUND))

        client.ask("quarters 400 300")
        shown = screen.picture_with(lambda picture: shows_quarters(picture, inside))
        report.check("an image is shown whole", shows_quarters(shown, inside))
        above = Region(inside.x + 2, inside.y + 2, inside.width - 4, 4)  # the window is higher than the image
        report.check("around it is the background", shown.is_plain(above, BACKGROUND), f"{shown.at(*above[:2])}")
        report.check("nothing is told of a pixel", not has_note(shown, inside))
        if desk.look.is_usual:
            check_zoom(report, desk, inside)
            check_texts(report, desk, client, inside)
        check_picture(report, desk, client, window)
        client.ask("close")
        report.check("it closes", client.is_gone(TITLE))
        report.check("and has no handle then", client.ask("handle") == ["handle 0"])
        if desk.look.is_usual:
            check_openings(report, client, desk.openings)
        report.check("its program ends", client.ended_well())


def check_zoom(report, desk, inside):
    """Wheel, pointer, mouse and keys."""
    screen = desk.screen
    at = inside.at(0.25, 0.3)
    screen.click(at)
    screen.turn_wheel(at, 20)
    shown = screen.picture_with(lambda picture: zoomed_in(picture, inside) and has_note(picture, inside))
    report.check("the wheel zooms in about the pointer", zoomed_in(shown, inside), f"{shown.at(*inside.at(0.9, 0.5))}")
    report.check("far in, the pixel under the pointer is told", has_note(shown, inside))
    screen.press("1")
    shown = screen.picture_with(lambda picture: not has_note(picture, inside))
    report.check("one to one, no pixel is told", not has_note(shown, inside))
    screen.press("0")
    shown = screen.picture_with(lambda picture: shows_quarters(picture, inside))
    report.check("the key 0 fits the image again", shows_quarters(shown, inside))

    # so far in that the right half of the image begins a little left of where the mouse is pressed
    screen.turn_wheel(at, 4)
    start, end = inside.at(0.92, 0.5), inside.at(0.3, 0.5)
    left, right = ((GREYS[x, 0.25],) * 3 for x in (0.25, 0.75))
    beside = inside.at(0.7, 0.5)
    zoomed = screen.picture_with(lambda picture: picture.at(*beside) == left and picture.at(*start) == right)
    report.check("zoomed in less, both halves are seen", zoomed.at(*beside) == left and zoomed.at(*start) == right)
    screen.drag(start, end)
    shown = screen.picture_with(lambda picture: picture.at(*end) == right)
    report.check("dragging moves the image", shown.at(*end) == right, f"{zoomed.at(*end)}, then {shown.at(*end)}")
    screen.double_click(inside.at(0.5, 0.5))
    screen.rest_pointer()
    shown = screen.picture_with(lambda picture: shows_quarters(picture, inside))
    report.check("a double click fits the image again", shows_quarters(shown, inside))


def check_texts(report, desk, client, inside):
    screen = desk.screen
    answer = client.ask("empty")
    words = inside.part(0.1, 0.4, 0.9, 0.6)

    def told(picture):
        return picture.ground(words) == BACKGROUND and picture.has_text(words)

    shown = screen.picture_with(told)
    report.check("an empty buffer is refused", answer[0].split(maxsplit=2)[:2] != ["result", "0"], answer[0])
    report.check("and shown as a text", told(shown))
    report.check("with nothing else", shown.is_plain(inside.part(0.01, 0.01, 0.99, 0.3), BACKGROUND))
    client.ask("clear")
    shown = screen.picture_with(lambda picture: picture.is_plain(inside.inner(2), BACKGROUND))
    report.check("cleared, it is plain", shown.is_plain(inside.inner(2), BACKGROUND))
    client.ask("background 300 0 255")
    shown = screen.picture_with(lambda picture: picture.is_plain(inside.inner(2), (44, 0, 255)))
    report.check("colours count by their low 8 bits", shown.is_plain(inside.inner(2), (44, 0, 255)))


def check_picture(report, desk, client, window):
    """A camera's image, for people to look at."""
    client.ask("background 32 32 32")
    before = desk.screen.picture()
    client.ask("card 640 480")
    middle = window.inside.part(0.25, 0.25, 0.75, 0.75)

    def colourful(picture):
        return picture.differs(before, middle) and len(picture.colors(middle)) >= 4

    shown = desk.screen.picture_with(colourful)
    report.check("a camera's image has its colours", colourful(shown), f"{len(shown.colors(middle))} colours")
    desk.keep("display", window, shown)
    if not desk.look.is_usual:
        return
    desk.screen.turn_wheel(window.inside.at(0.378, 0.27), 14)  # where the card's letter begins
    shown = desk.screen.picture_with(lambda picture: has_note(picture, window.inside))
    report.check("its pixels are told, too", has_note(shown, window.inside))
    desk.keep("display_zoomed", window, shown)
    desk.screen.rest_pointer()
