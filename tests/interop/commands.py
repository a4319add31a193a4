"""Every kind of command that the command line can send, and the camera's events, before the dissector."""

import capture
import host as own
from lab import Host, eventually
from third_party_client import start_camera

CAMERA = "127.0.0.1"
MESSAGE_PORT_REGISTER = 0x0B00
KEYS = ["--device-key", "0x11", "--group-key", "0x22", "--group-mask", "0x6"]


def message_ports(file):
    """The ports that the host asked to have events sent to."""
    ports = []
    for (payload,) in capture.dissect(file, "gvcp.cmd.command == 0x0082", ["udp.payload"]):
        # a head of 8 bytes, then an address and a value for each register
        for at in range(16, len(payload), 16):
            address, value = int(payload[at : at + 8], 16), int(payload[at + 8 : at + 16], 16)
            if address == MESSAGE_PORT_REGISTER and value != 0:
                ports.append(value)
    return ports


def run(report, folder, tools):
    with Host(folder) as host:
        start_camera(host, tools, serial="OWN-1")
        taken = capture.Capture(host, "commands")

        def pvctl(*arguments, expected=0):
            done = host.run([tools.pvctl, *arguments], 30)
            report.check(f"pvctl {' '.join(arguments)}", done.returncode == expected, own.last_line(done.stdout))

        pvctl("discover", "--timeout", "300")
        pvctl("info", CAMERA, "--latch")
        pvctl("xml", CAMERA, "-o", f"{folder}/camera.xml")
        pvctl("set", CAMERA, "Width=320")
        pvctl("watch", CAMERA, "--control", "--set", "EventSelector=Test", "EventNotification=On", "TestEventGenerate",
              "--time", "1")  # fmt: skip
        pvctl("ip", CAMERA, "--persistent", "10.0.0.5/24")
        pvctl("ip", CAMERA, "--force", "127.0.0.1/8")
        pvctl("ip", CAMERA, "--restart")
        pvctl("action", *KEYS, "--timeout", "200", expected=3)
        holder = host.start([tools.pvctl, "switchover", CAMERA, "--key", "7", "--hold"])
        holder.wait_for_output("control taken")
        pvctl("switchover", CAMERA, "--key", "7")
        eventually(lambda: "control lost" in holder.output(), 10, "the holder to lose control")

        taken.finish()
        ports = message_ports(taken.file)
        kinds = {int(line[0], 16) for line in capture.dissect(taken.file, "gvcp.cmd.command", ["gvcp.cmd.command"], ports)}
        missing = {0x0002, 0x0004, 0x0080, 0x0082, 0x0084, 0x0100} - kinds
        events = kinds & {0x00C0, 0x00C2}
        report.check("commands: all kinds are in the capture", not missing and events, ", ".join(map(hex, sorted(kinds))))
        # no camera has these keys, so none acknowledges; FORCEIP is sent on and by broadcast
        allowed = [
            "gvcp.cmd.command in {0x0004, 0x0100} && !gvcp.response_in",
            "gvcp.ack == 0x0005 && !gvcp.response_to",
        ]
        found = capture.violations(taken.file, allowed, ports)
        report.check("commands: filters select nothing", not found, "; ".join(found))
