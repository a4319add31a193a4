"""The terminal: what is typed, what comes back, and both in hexadecimal."""

from desktop import check_openings

TITLE = "Serial Terminal"
PORT, BAUD_RATE, ECHO, HEXADECIMAL, OUTPUT, INPUT, ENDING, SEND, CLEAR = range(101, 110)
CAMERA = ("127.0.0.2", "Left", "SN-0042")
LOOP, COMMAND_LINE = "0", "1"  # a plug that sends everything back, and a device that answers commands


def output_of(window):
    return window.control(OUTPUT).text if window is not None else ""


def open_terminal(report, desk, port):
    client = desk.client("terminal", CAMERA[0], port)
    client.ask("move {} {} {} {}".format(*map(desk.look.scaled, (80, 80, 760, 480))))
    client.ask("show")
    window = client.window_with(TITLE, lambda window: "Connected" in window.texts(), 30)
    report.check("it is connected", window is not None and "Connected" in window.texts())
    return client, client.window(TITLE)


def run(report, desk):
    camera = desk.camera(*CAMERA)
    if desk.look.is_usual:
        check_typing(report, desk)
    check_look(report, desk)
    camera.stop()


def check_typing(report, desk):
    screen = desk.screen
    client, window = open_terminal(report, desk, LOOP)
    with client:
        output = window.control(OUTPUT)
        first_line = output.place._replace(x=output.place.x + 4, y=output.place.y + 3, width=200, height=16)
        screen.click(window.control(INPUT).middle)
        screen.type("hello")
        window = client.window_with(TITLE, lambda window: window.control(INPUT).text == "hello")
        report.check("what is typed stands in the line", window.control(INPUT).text == "hello")
        report.check("nothing was sent yet", output_of(window) == "", output_of(window))
        screen.press("Return")
        twice = "hello\r\n" * 2
        window = client.window_with(TITLE, lambda window: output_of(window) == twice)
        good = output_of(window) == twice
        report.check("Enter sends it, it is shown and comes back", good, repr(output_of(window)))
        report.check("the line is empty again", window.control(INPUT).text == "")
        screen.press("Up")
        window = client.window_with(TITLE, lambda window: window.control(INPUT).text == "hello")
        report.check("an arrow key brings it back", window.control(INPUT).text == "hello")
        screen.click(window.control(ECHO).place.at(0.1, 0.5))
        screen.click(window.control(CLEAR).middle)
        window = client.window_with(TITLE, lambda window: output_of(window) == "")
        report.check("it can be cleared", output_of(window) == "", repr(output_of(window)))
        screen.click(window.control(SEND).middle)
        window = client.window_with(TITLE, lambda window: output_of(window) == "hello\r\n")
        good = output_of(window) == "hello\r\n"
        report.check("without local echo, only what comes back is shown", good, repr(output_of(window)))
        screen.rest_pointer()
        shown = screen.picture_with(lambda picture: picture.has_text(first_line))
        report.check("what came can be read", shown.has_text(first_line))
        below = first_line._replace(y=first_line.y + 40)
        report.check("nothing is written below", shown.is_plain(below))

        screen.press("alt+h")
        window = client.window_with(TITLE, lambda window: output_of(window).startswith("00000000  68 65 6C 6C 6F 0D"))
        good = output_of(window).startswith("00000000  68 65 6C 6C 6F 0D")
        report.check("Alt+H shows bytes in hexadecimal", good, repr(output_of(window)))
        hexadecimal = screen.picture_with(lambda picture: picture.differs(shown, first_line))
        report.check("which looks different", hexadecimal.differs(shown, first_line))
        desk.keep("terminal_hexadecimal", window, hexadecimal)
        screen.click(window.control(HEXADECIMAL).place.at(0.1, 0.5))
        window = client.window_with(TITLE, lambda window: output_of(window) == "hello\r\n")
        report.check("a click on the box shows text again", output_of(window) == "hello\r\n", repr(output_of(window)))

        screen.click(window.control(OUTPUT).middle)
        screen.type("abc")
        window = client.window_with(TITLE, lambda window: output_of(window) == "hello\r\nabc")
        good = output_of(window) == "hello\r\nabc"
        report.check("what is typed into the output goes out at once", good, repr(output_of(window)))
        screen.click(window.control(CLEAR).middle)
        window = client.window_with(TITLE, lambda window: output_of(window) == "")
        report.check("it can be cleared again", output_of(window) == "", repr(output_of(window)))
        shown = screen.picture_with(lambda picture: picture.is_plain(first_line))
        report.check("and nothing is written then", shown.is_plain(first_line))
        client.ask("close")
        check_openings(report, client, desk.openings)
        report.check("its program ends", client.ended_well())


def check_look(report, desk):
    """A device that answers, and a picture for people to look at."""
    screen = desk.screen
    client, window = open_terminal(report, desk, COMMAND_LINE)
    with client:
        screen.click(window.control(INPUT).middle)
        for command, answer in (("?", "commands: ? id temp"), ("id", "SN-0042"), ("temp", "temp ")):
            screen.type(command)
            screen.press("Return")
            window = client.window_with(TITLE, lambda window, answer=answer: answer in output_of(window))
            report.check(f"{command!r} is answered", answer in output_of(window), repr(output_of(window)))
        screen.rest_pointer()
        place = window.control(OUTPUT).place
        width, height = map(desk.look.scaled, (160, 34))
        lines = place._replace(x=place.x + 4, y=place.y + 4, width=width, height=height)
        shown = screen.picture_with(lambda picture: picture.has_text(lines))
        report.check("its answers can be read", shown.has_text(lines))
        buttons = [window.control(identifier).place.inner(4) for identifier in (SEND, CLEAR)]
        report.check("buttons can be read", all(map(shown.has_text, buttons)))
        dark = sum(shown.ground(lines)) < 3 * 100
        report.check("the output is as dark as was asked for", dark == desk.look.dark, f"{shown.ground(lines)}")
        desk.keep("terminal", window, shown)
        report.check("its program ends", client.ended_well())
