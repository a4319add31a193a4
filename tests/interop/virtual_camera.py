"""A client that others wrote, and our own host side, against a camera made of a virtual device and a transmitter."""

import re

import capture
import host as own
from lab import GVCP_PORT, Host
from third_party_client import check_stream, stream

CAMERA = "127.0.0.1"
# a write to the register of AcquisitionStart
START = "gvcp.cmd.command in {0x0082, 0x0086} && udp.payload[8:4] == 00:01:00:24"


def start_camera(host, tools, *arguments):
    camera = host.start([tools.virtual_camera, "-a", CAMERA, *arguments])
    camera.wait_for_output("Listening on")
    camera.wait_for_port(GVCP_PORT, CAMERA)
    return camera


def control(report, host):
    found = host.run(["arv-tool-0.8"], 20)
    report.check("client finds the virtual device", "Virtual Device" in found.stdout, found.stdout.strip())

    features = host.run(["arv-tool-0.8", "features"], 20)
    wanted = ["AcquisitionStart", "Width", "Height", "PixelFormat", "PayloadSize", "GevSCPSPacketSize", "GevCCP"]
    absent = [feature for feature in wanted if not re.search(rf"\b{feature}\b", features.stdout)]
    report.check("client lists its features", features.returncode == 0 and not absent, ", ".join(absent))

    values = host.run(["arv-tool-0.8", "values"], 30)
    told = dict(re.findall(r"\[R[OW]\] '(\w+)' = (.+)$", values.stdout, re.MULTILINE))
    complaints = [f"{name} = {value}" for name, value in told.items() if re.search("error|denied|invalid", value, re.I)]
    report.check(
        "client reads every value of it",
        values.returncode == 0 and told.get("DeviceModelName") == "'Virtual Device'" and len(told) > 25 and not complaints,
        "; ".join(complaints[:3]) or f"{len(told)} values",
    )


def check_start(report, file):
    """A client that has opened its stream may not be ready to receive before it starts the acquisition."""
    rows = capture.dissect(file, f"({START}) || ({capture.STREAM})", ["frame.number", "gvsp.format"])
    good = len(rows) > 1 and rows[0][1] == "" and rows[1][1] != ""
    report.check("virtual camera sends nothing before the acquisition starts", good, str(rows[:2]))


def run(report, folder, tools):
    with Host(folder) as host:
        camera = start_camera(host, tools, "--width", "640", "--height", "480")
        taken = capture.Capture(host, "virtual")
        control(report, host)
        done, numbers = stream(host, "-i", "1500")
        check_stream(report, "client streams from the virtual camera", done, numbers, 40)
        capture.check(report, "virtual camera", taken, 640 * 480, 40)
        check_start(report, taken.file)
        report.check("virtual camera ends when asked", camera.stop() == 0, camera.output().strip().splitlines()[-1])

    with Host(folder) as host:
        start_camera(host, tools, "--width", "640", "--height", "480")
        for packet_size in ("1500", "auto"):
            code, facts, text = own.probe(
                host, tools, "stream", CAMERA, "--packet-size", packet_size, "--frames", "20"
            )
            own.check_frames(
                report, f"host streams from the virtual camera, packets {packet_size}", code, facts, text, 20,
                {"width": 640, "height": 480, "payload_size": 640 * 480},
            )  # fmt: skip
