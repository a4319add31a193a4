"""The host side against the software camera, with the dissector as the judge."""

import re

import capture
import host as own
from lab import Host
from third_party_client import start_camera

CAMERA = "127.0.0.1"


def run(report, folder, tools):
    with Host(folder) as host:
        start_camera(host, tools, serial="OWN-1")
        taken = capture.Capture(host, "both")
        code, facts, text = own.probe(host, tools, "find")
        report.check(
            "host finds the camera",
            code == 0 and any("OWN-1" in device for device in facts["device"]),
            "; ".join(facts["device"]),
        )
        code, facts, text = own.probe(host, tools, "read", CAMERA)
        values = dict(re.match(r"(\w+) = (.*)", fact).groups() for fact in facts["feature"])
        report.check(
            "host reads every feature",
            code == 0 and values.get("DeviceSerialNumber") == "OWN-1" and not facts["error"],
            "; ".join(facts["error"][:3]) or f"{len(values)} values" if values else own.last_line(text),
        )
        saved = own.save_folder(folder, "frames")
        code, facts, text = own.probe(
            host, tools, "stream", CAMERA, "--set", "Width=640", "Height=480", "PixelFormat=BayerRG8",
            "--packet-size", "1500", "--frames", "30", "--save", saved,
        )  # fmt: skip
        own.check_frames(
            report, "host streams 640 x 480 BayerRG8", code, facts, text, 30,
            {"width": 640, "height": 480, "payload_size": 640 * 480, "packet_size": 1500},
        )  # fmt: skip
        blocks = capture.check(report, "both ends", taken, 640 * 480, 30, with_data=True)
        own.check_bytes(report, "buffers hold what was sent", blocks, saved)

    with Host(folder) as host:
        start_camera(host, tools, "--extended-ids")
        taken = capture.Capture(host, "extended")
        code, facts, text = own.probe(
            host, tools, "stream", CAMERA, "--set", "Width=512", "Height=512", "--packet-size", "4000", "--frames", "30"
        )
        settings = {"width": 512, "packet_size": 4000}
        own.check_frames(report, "host streams with 64-bit IDs", code, facts, text, 30, settings)
        capture.check(report, "64-bit IDs", taken, 512 * 512, 30, extended=True)

    with Host(folder) as host:
        start_camera(host, tools)
        taken = capture.Capture(host, "negotiated")
        code, facts, text = own.probe(
            host, tools, "stream", CAMERA, "--set", "Width=512", "Height=512", "--packet-size", "auto", "--frames", "30"
        )
        own.check_frames(report, "host negotiates the packet size", code, facts, text, 30, {"width": 512})
        size = own.number(facts, "packet_size")
        report.check("negotiated size is larger than Ethernet's", size > 1500, f"{size} bytes")
        taken.finish()
        found = capture.violations(taken.file)
        report.check("negotiated: filters select nothing", not found, "; ".join(found))

    with Host(folder) as host:
        for last in (2, 3, 4):
            start_camera(host, tools, address=f"127.0.0.{last}", serial=f"OWN-{last}")
        code, facts, text = own.probe(host, tools, "find")
        seen = [last for last in (2, 3, 4) if any(f"OWN-{last}" in device for device in facts["device"])]
        good = code == 0 and seen == [2, 3, 4]
        report.check("host finds three cameras of one network", good, "; ".join(facts["device"]))
