"""A camera that is lost and comes back: cables pulled, power switched, addresses changed, another host in between."""

import contextlib
import re
import time

import capture
import host as own
from lab import GVCP_PORT, Host
from third_party_client import start_camera

ORDER = ["disconnected", "reconnected", "device", "configuration", "acquisition"]
SETTINGS = ["Width=160", "Height=120", "PixelFormat=Mono16"]
# from the moment at which the camera can be reached again
MOST_SECONDS = 3


class Application:
    """The probe in a host, and what it has told."""

    def __init__(self, host, tools, device):
        self.program = host.start([tools.recovery_probe, device, "--set", *SETTINGS])
        self.program.wait_for_output(r"(?m)^frame 0 ")

    def _lines(self, name):
        return re.findall(rf"^{name} (.*)$", self.program.output(), re.MULTILINE)

    def told(self):
        return [line.split()[0] for line in self._lines("told")]

    def wait_for(self, notification, times=1, seconds=20):
        self.program.wait_for(lambda: self.told().count(notification) >= times, f"{notification}, {times}", seconds)

    def wait_for_frame(self, recovery, seconds=20):
        """The time at which the first frame after that recovery had come."""
        found = self.program.wait_for_output(rf"(?m)^frame {recovery} (\S+)(\n.*){{{len(SETTINGS) + 1}}}", seconds)
        return float(found.group(1))

    def wait_for_state(self, pattern, seconds=20):
        return self.program.wait_for_output(rf"(?m)^state .*{pattern}", seconds)

    def settings(self):
        return self._lines("setting")[-len(SETTINGS) :]


def check_recovered(report, name, application, recovery, since):
    """Told in order, set as before, and streaming again soon after the camera could be reached."""
    took = application.wait_for_frame(recovery) - since
    told = application.told()[-len(ORDER) :]
    report.check(f"{name}: told in order", told == ORDER, ", ".join(told))
    settings = application.settings()
    report.check(f"{name}: set as before", settings == SETTINGS, ", ".join(settings))
    report.check(f"{name}: frames within {MOST_SECONDS} s", took <= MOST_SECONDS, f"{took:.2f} s")


@contextlib.contextmanager
def wired(folder):
    """A host and a camera's, and the capture of all between them."""
    with Host(folder) as host, Host(folder) as end:
        host.wire_to(end, ("e0", "10.0.0.1/24"), ("eth", "10.0.0.20/24"))
        yield host, end


def cable_and_power(report, folder, tools):
    with wired(folder) as (host, end):
        camera = start_camera(end, tools, address="10.0.0.20", serial="SN-0")
        taken = capture.Capture(end, "recovery", interface="any")
        application = Application(host, tools, "10.0.0.20")

        host.set_link("e0", "down")
        application.wait_for("disconnected")
        time.sleep(1)  # longer than the camera waits for its controller
        up = time.monotonic()
        host.set_link("e0", "up")
        check_recovered(report, "cable pulled", application, 1, up)

        camera.stop()
        application.wait_for("disconnected", 2)
        camera = start_camera(end, tools, address="10.0.0.20", serial="SN-0")
        check_recovered(report, "power switched", application, 2, time.monotonic())

        camera.stop()
        application.wait_for("disconnected", 3)
        start_camera(end, tools, address="10.0.0.20", serial="SN-9")
        application.wait_for_state("SN-9")
        report.check("another camera at the address is left alone", application.told().count("reconnected") == 2)

        application.program.stop()
        taken.finish()
        seen = len(capture.dissect(taken.file, "gvcp.cmd.command == 0x0082"))
        report.check("recovery: the capture has what was written", seen > 20, f"{seen} register writes")
        # a camera that is off answers nothing
        found = capture.violations(taken.file, allowed=["gvcp.cmd.command && !gvcp.response_in"])
        report.check("recovery: filters select nothing", not found, "; ".join(found))


def another_controller(report, folder, tools):
    with wired(folder) as (host, end), Host(folder) as other:
        # the other host has a wire of its own to the camera, by which it stays in reach
        other.wire_to(end, ("e1", "10.0.1.1/24"), ("eth1", "10.0.1.20/24"))
        other.add_route("10.0.0.0/24", "via", "10.0.1.20")
        start_camera(end, tools, address="10.0.0.20", serial="SN-0")
        application = Application(host, tools, "10.0.0.20")
        host.set_link("e0", "down")
        application.wait_for("disconnected")
        time.sleep(1)  # longer than the camera waits for its controller
        second = Application(other, tools, "10.0.0.20")
        host.set_link("e0", "up")
        application.wait_for_state("controlled by 10.0.1.1")
        report.check("another controller keeps the camera", not second.told(), ", ".join(second.told()))
        second.program.stop()
        check_recovered(report, "another controller left", application, 1, time.monotonic())


def third_party(report, folder, tools):
    """The same with a camera that others wrote."""
    with wired(folder) as (host, end):
        def start():
            camera = end.start(["arv-fake-gv-camera-0.8", "-i", "eth", "-s", "OTHERS-1"])
            camera.wait_for_port(GVCP_PORT, "10.0.0.20")
            return camera

        camera = start()
        application = Application(host, tools, "10.0.0.20")
        camera.stop()
        application.wait_for("disconnected")
        start()
        check_recovered(report, "third-party camera switched", application, 1, time.monotonic())


def soak(report, folder, tools):
    """As often as in months. The camera is the probe's own, on the loopback network."""
    losses = 1000
    with Host(folder) as host:
        done = host.run([tools.recovery_probe, "127.0.0.1", "--soak", str(losses)], 300)
        facts = dict(line.split(" ", 1) for line in done.stdout.splitlines() if " " in line)
        recovered = int(facts.get("recovered", 0))
        report.check(f"{losses} losses recovered", recovered == losses, facts.get("error", str(recovered)))
        grown = int(facts.get("memory_end", 1 << 30)) - int(facts.get("memory_warm", 0))
        report.check("memory stays flat", grown < 1024, f"{grown} KiB more after {losses} losses than after a fifth")


def run(report, folder, tools):
    cable_and_power(report, folder, tools)
    another_controller(report, folder, tools)
    third_party(report, folder, tools)
    soak(report, folder, tools)
