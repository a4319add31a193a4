"""A desktop to show windows on: a screen in memory, a window manager, Wine, a keyboard and a mouse."""

import os
import re
import time

from lab import LabError, eventually
from pictures import Picture, Region

WINE = "/usr/lib/wine/wine64"
WINE_SERVER = "/usr/lib/wine/wineserver64"
SCREEN = (1920, 1360)
MANAGED = (1, 20, 1, 6)  # pixels of the manager's frame around a window's inside: left, top, right, bottom
DESKTOP_KEY = r"HKCU\Control Panel\Desktop"
THEME_KEY = r"HKCU\Software\Microsoft\Windows\CurrentVersion\Themes\Personalize"


class Look:
    """What the user chose in the system's settings."""

    def __init__(self, dpi, dark):
        self.dpi = dpi
        self.dark = dark

    def __str__(self):
        return f"{self.dpi * 100 // 96} %, {'dark' if self.dark else 'light'}"

    @property
    def is_usual(self):
        """What most users have."""
        return self.dpi == 96 and not self.dark

    @property
    def suffix(self):
        """For file names; nothing for the usual look."""
        return ("_dark" if self.dark else "") + ("_200" if self.dpi == 192 else "")

    def scaled(self, length):
        return length * self.dpi // 96


class Screen:
    """An X server and a window manager in a host, with a mouse and a keyboard."""

    def __init__(self, host):
        self._host = host
        self._name = None
        self._start_server()
        self._host.start(["env", f"DISPLAY={self._name}", "openbox"])
        # what the root window tells of the manager that has taken over
        self._wait_for(["xdotool", "get_num_desktops"], "the window manager")
        self.rest_pointer()

    @property
    def name(self):
        return self._name

    def _start_server(self):
        # numbers are machine-wide; a server that finds its own taken ends
        for number in range(70, 500):
            if any(os.path.exists(path) for path in (f"/tmp/.X{number}-lock", f"/tmp/.X11-unix/X{number}")):
                continue
            size = f"{SCREEN[0]}x{SCREEN[1]}x24"
            server = self._host.start(
                ["Xvfb", f":{number}", "-screen", "0", size, "-nolisten", "tcp", "-noreset", "-dpi", "96"]
            )
            self._name = f":{number}"
            try:
                self._wait_for(["xdotool", "getdisplaygeometry"], "the screen", server)
            except LabError:
                if server.running():
                    raise
                continue
            return
        raise LabError("no number is free for a screen")

    def _wait_for(self, argv, what, server=None):
        def answers():
            if server is not None and not server.running():
                raise LabError(f"Xvfb ended: {server.output().strip()[-300:]}")
            return self._run(argv).returncode == 0

        eventually(answers, 20, what)

    def _run(self, argv, seconds=20):
        return self._host.run(["env", f"DISPLAY={self._name}", *argv], seconds)

    def _input(self, *arguments):
        done = self._run(["xdotool", *arguments])
        if done.returncode != 0:
            raise LabError(f"xdotool {' '.join(arguments)}: {done.stdout.strip()}")
        return done.stdout

    # ---- what a user does ----

    def rest_pointer(self):
        """Takes the pointer to where it is over nothing."""
        self._input("mousemove", str(SCREEN[0] - 1), str(SCREEN[1] - 1))

    def click(self, at):
        self._input("mousemove", str(at[0]), str(at[1]), "click", "1")

    def double_click(self, at):
        self._input("mousemove", str(at[0]), str(at[1]), "click", "--repeat", "2", "--delay", "60", "1")

    def turn_wheel(self, at, steps):
        """Away from the user for positive steps."""
        button = "4" if steps > 0 else "5"
        self._input("mousemove", str(at[0]), str(at[1]))
        self._input("click", "--repeat", str(abs(steps)), "--delay", "20", button)

    def drag(self, start, end):
        self._input("mousemove", str(start[0]), str(start[1]), "mousedown", "1")
        for step in range(1, 5):
            x, y = (a + (b - a) * step // 4 for a, b in zip(start, end))
            self._input("mousemove", str(x), str(y))
        self._input("mouseup", "1")

    def type(self, text):
        self._input("type", "--delay", "15", text)

    def press(self, *keys):
        self._input("key", "--delay", "15", *keys)

    def window_named(self, title):
        """The window manager's number of a window, for what is asked of the manager; None while there is none."""
        found = self._run(["xdotool", "search", "--onlyvisible", "--name", f"^{re.escape(title)}$"])
        numbers = [word for word in found.stdout.split() if word.isdigit()]
        return numbers[-1] if numbers else None

    def resize(self, title, width, height):
        """As dragging a corner of the frame does."""
        number = eventually(lambda: self.window_named(title), 20, f"window {title!r}")
        self._input("windowsize", number, str(width), str(height))

    def activate(self, title):
        number = eventually(lambda: self.window_named(title), 20, f"window {title!r}")
        self._input("windowactivate", "--sync", number)

    # ---- what a user sees ----

    def picture(self):
        return self.picture_of("root")

    def picture_of(self, number, framed=False):
        """Of a window by the manager's number."""
        path = os.path.join(self._host.folder, "screen.ppm")
        frame = ["-frame"] if framed else []
        done = self._run(["import", *frame, "-window", number, "-depth", "8", f"ppm:{path}"], 30)
        if done.returncode != 0:
            raise LabError(f"no picture of {number}: {done.stdout.strip()}")
        with open(path, "rb") as file:
            return Picture.from_ppm(file.read())

    def picture_with(self, condition, seconds=15):
        """The first picture that meets a condition, or the last one when none did in time: whoever wants to know asks
        the condition again.
        """
        deadline = time.monotonic() + seconds
        while True:
            picture = self.picture()
            if condition(picture) or time.monotonic() > deadline:
                return picture
            time.sleep(0.1)


class Wine:
    """A prefix of its own, whose windows go to a screen; its server runs in the host."""

    def __init__(self, host, screen, server_dll, prefix):
        self._host = host
        self._prefix = prefix
        self._display = screen.name
        self._programs = []
        os.makedirs(prefix, exist_ok=True)
        self._start_server()
        if not os.path.exists(os.path.join(prefix, ".ready")):
            self.finish(self.start("wineboot", "-i"), 120)
            with open(os.path.join(prefix, ".ready"), "wb"):
                pass
        self.finish(self.start("regsvr32", "/s", self.path(server_dll)), 60)

    @staticmethod
    def path(path):
        return "Z:" + path.replace("/", "\\")

    def choose(self, look):
        """Everything that starts from now on finds these settings of the user's."""
        light = "0" if look.dark else "1"
        for key, name, value in ((DESKTOP_KEY, "LogPixels", str(look.dpi)), (THEME_KEY, "AppsUseLightTheme", light)):
            self.finish(self.start("reg", "add", key, "/v", name, "/t", "REG_DWORD", "/d", value, "/f"), 60)
        # the desktop has taken its settings when it started
        self._start_server()

    def start(self, *argv, has_input=False):
        program = self._host.start(self._command(WINE, *argv), has_input)
        self._programs.append(program)
        return program

    def end_programs(self):
        for program in self._programs:
            program.stop()
        self._programs.clear()

    def finish(self, program, seconds):
        eventually(lambda: not program.running(), seconds, " ".join(program.argv[-4:]))
        if program.stop() != 0:
            raise LabError(f"{' '.join(program.argv[-4:])}: {program.output().strip()[-500:]}")

    def stop(self):
        """Ends the server, and with it every program in the prefix."""
        self._host.run(self._command(WINE_SERVER, "-k"), 30)

    def _start_server(self):
        # one that a killed run has left would be in another host
        self.stop()
        # comes back when the server listens, which then stays without programs; its host ends it at the latest
        server = self._host.start(self._command(WINE_SERVER, "-p"))
        server.wait_until_ended(30)
        if server.stop() != 0:
            raise LabError(f"no Wine server: {server.output().strip()[-300:]}")

    def _command(self, *argv):
        settings = [f"WINEPREFIX={self._prefix}", "WINEDEBUG=-all", "WINEDLLOVERRIDES=mscoree,mshtml,winedbg.exe="]
        return ["env", *settings, f"DISPLAY={self._display}", *argv]


class Control:
    """A control in a window, its rows when it is a table; where it stands is on the screen."""

    def __init__(self, fields):
        self.place = Region(*map(int, fields[:4]))
        self.id, self.kind, self.text = int(fields[4]), fields[5], fields[6]
        self.rows = []

    @property
    def middle(self):
        return self.place.at(0.5, 0.5)


class Row:
    def __init__(self, fields):
        self.place = Region(*map(int, fields[:4]))
        self.is_chosen = fields[4] == "1"
        self.cells = fields[5:]


class Window:
    def __init__(self, fields):
        self.frame = Region(*map(int, fields[:4]))
        self.inside = Region(*map(int, fields[4:8]))
        self.kind, self.title = fields[8], fields[9]
        self.controls = []

    def control(self, identifier):
        for control in self.controls:
            if control.id == identifier:
                return control
        raise LabError(f"window {self.title!r} has no control {identifier}")

    def texts(self):
        return [control.text for control in self.controls]


def unmarked(text):
    marks = {"r": "\r", "n": "\n", "t": "\t", "\\": "\\"}
    return re.sub(r"\\([rnt\\])", lambda mark: marks[mark[1]], text)


def windows_of(lines):
    """What the lines of a program's layout tell."""
    windows = []
    for line in lines:
        kind, *fields = line.split("\t")
        fields = [unmarked(field) for field in fields]
        if kind == "window":
            windows.append(Window(fields))
        elif kind == "control":
            windows[-1].controls.append(Control(fields))
        elif kind == "row":
            windows[-1].controls[-1].rows.append(Row(fields))
    return windows


class Client:
    """A program of this folder that shows windows, told what to do by lines of text."""

    def __init__(self, wine, *argv):
        self._program = wine.start(*argv, has_input=True)
        self._number = 0
        self._program.wait_for_output(r"(?m)^ready\r?$", 60)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self._program.end_input()
        try:
            self._program.wait_until_ended(10)
        except LabError:
            self._program.stop()

    def ended_well(self):
        """Ends the program by the end of its input; whether it then ended by itself, and without a failure."""
        self._program.end_input()
        self._program.wait_until_ended(20)
        return self._program.stop() == 0

    def tell(self, command):
        """Has a command begun; its number."""
        self._number += 1
        self._program.tell(f"{self._number} {command}")
        return self._number

    def answer(self, number, seconds=20):
        """What a command printed, once it is done."""
        pattern = rf"(?ms)^begin {number}\r?\n(.*?)^done {number}\r?$"
        return self._program.wait_for_output(pattern, seconds)[1].replace("\r", "").splitlines()

    def ask(self, command, seconds=20):
        return self.answer(self.tell(command), seconds)

    def windows(self):
        return windows_of(self.ask("layout"))

    def _window(self, title):
        return next((window for window in self.windows() if window.title == title), None)

    def window(self, title, seconds=20):
        """A window, once it is shown and the window manager has put it in its place."""

        def found():
            before = self._window(title)
            time.sleep(0.2)
            after = self._window(title)
            settled = before is not None and after is not None and before.frame == after.frame
            return after if settled else None

        return eventually(found, seconds, f"window {title!r}")

    def window_with(self, title, condition, seconds=20):
        """A window, once it meets a condition; the last that was seen of it, perhaps None, when it did not in time."""
        deadline = time.monotonic() + seconds
        while True:
            window = self._window(title)
            if (window is not None and condition(window)) or time.monotonic() > deadline:
                return window
            time.sleep(0.1)

    def is_gone(self, title, seconds=20):
        """Whether no window has the title any more, after some time at the latest."""
        deadline = time.monotonic() + seconds
        while self._window(title) is not None:
            if time.monotonic() > deadline:
                return False
            time.sleep(0.1)
        return True


def check_openings(report, client, count):
    """Opens and closes a client's window so often: nothing stays behind."""
    answer = {}
    for line in client.ask(f"openings {count}", 60 + count):
        name, *counts = line.split()
        answer[name] = [int(number) for number in counts]
    kept = answer["objects"][0] - answer["objects"][1]
    # a cache may have grown
    report.check(f"{count} openings keep nothing to draw with", kept <= 8, f"{kept} of {answer['objects'][0]}")
    before, after = answer["windows"]
    report.check("and no window", before == after, f"{before}, then {after}")


class Desktop:
    """What a scenario works with."""

    def __init__(self, host, screen, wine, tools, pictures, openings):
        self.host = host
        self.screen = screen
        self.wine = wine
        self.tools = tools
        self.look = None
        self.openings = openings  # of each window, to see whether something stays behind
        self._pictures = pictures
        self._cameras = []

    def choose(self, look):
        self.look = look
        self.wine.choose(look)

    def client(self, *argv):
        return Client(self.wine, self.tools.gui_client, *argv)

    def host_program(self):
        return Client(self.wine, self.tools.gui_host)

    def camera(self, address, name, serial_number):
        camera = self.host.start([self.tools.softcam, "-a", address, "-n", name, "-s", serial_number])
        self._cameras.append(camera)
        camera.wait_for_output("listening")
        return camera

    def end_programs(self):
        """Ends the cameras and Wine programs that still run, and takes the mouse away."""
        for camera in self._cameras:
            camera.stop()
        self._cameras.clear()
        self.wine.end_programs()
        self.screen.rest_pointer()

    def path(self, name):
        """Where a picture with this name goes."""
        return os.path.join(self._pictures, f"{name}{self.look.suffix}.png")

    def keep(self, name, window, picture):
        """Saves what the screen shows of a window, its frame included, as the window manager draws it."""
        left, top, right, bottom = MANAGED
        inside = window.inside
        size = (inside.width + left + right, inside.height + top + bottom)
        picture.save_png(self.path(name), Region(inside.x - left, inside.y - top, *size))
