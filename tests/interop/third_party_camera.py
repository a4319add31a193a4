"""The host side against a camera that others simulate."""

import json
import re

import capture
import host as own
from lab import GVCP_PORT, Host

CAMERA = "127.0.0.1"
SERIAL = "OTHERS-1"


def start_camera(host, *arguments):
    camera = host.start(["arv-fake-gv-camera-0.8", "-i", "lo", "-s", SERIAL, *arguments])
    camera.wait_for_port(GVCP_PORT, CAMERA)
    return camera


def check_command_line(report, folder, tools):
    with Host(folder) as host:
        start_camera(host)

        def pvctl(*arguments):
            done = host.run([tools.pvctl, *arguments], 30)
            return done.returncode, done.stdout

        code, text = pvctl("discover", "-t", "500")
        report.check("pvctl discover", code == 0 and CAMERA in text and SERIAL in text, own.last_line(text))
        code, text = pvctl("info", CAMERA, "--json")
        facts = json.loads(text) if code == 0 else {}
        report.check(
            "pvctl info",
            code == 0 and facts["identity"]["serial_number"] == SERIAL and facts["control"]["access"] == "free"
            and facts["description"]["first_url"].startswith("Local:"),
            own.last_line(text),
        )  # fmt: skip
        code, text = pvctl("set", SERIAL, "Width=320", "PixelFormat=Mono16")
        report.check("pvctl set", code == 0 and text.startswith("Width = 320 (was 512)"), text.strip())
        code, text = pvctl("get", CAMERA, "-b", "Width", "PixelFormat", "DeviceID")
        report.check("pvctl get", (code, text) == (0, f"320\nMono16\n{SERIAL}\n"), text.strip())
        code, text = pvctl("tree", CAMERA, "--json")
        width = json.loads(text)["ImageFormatControl"]["Width"] if code == 0 else {}
        report.check("pvctl tree", width.get("value") == 320 and width["maximum"] == 2048, own.last_line(text))
        code, text = pvctl("xml", CAMERA)
        report.check("pvctl xml", code == 0 and text.rstrip().endswith("</RegisterDescription>"), own.last_line(text))
        code, text = pvctl("ip", CAMERA, "--json")
        report.check("pvctl ip", code == 0 and json.loads(text)["current"]["ip"] == CAMERA, own.last_line(text))
        code, text = pvctl("ip", CAMERA, "--dhcp", "on")
        report.check("pvctl ip of what is not supported", code == 1 and "does not support DHCP" in text, text.strip())
        code, text = pvctl("switchover", CAMERA, "--key", "5")
        report.check("pvctl switchover takes a free camera", code == 0, text.strip())
        code, text = pvctl("switchover", CAMERA, "--key", "5", "--hold")
        report.check("pvctl switchover where there is none", code == 1 and "cannot hand control over" in text, text.strip())
        code, text = pvctl("info", CAMERA, "--json")
        report.check("control is given back", code == 0 and json.loads(text)["control"]["access"] == "free",
                     own.last_line(text))  # fmt: skip
        code, text = pvctl("get", CAMERA, "NoSuchFeature")
        report.check("pvctl get of what is not there", code == 3, text.strip())


def run(report, folder, tools):
    check_command_line(report, folder, tools)
    with Host(folder) as host:
        camera = start_camera(host)
        taken = capture.Capture(host, "host")

        code, facts, text = own.probe(host, tools, "find")
        found = [device for device in facts["device"] if device.startswith(CAMERA) and SERIAL in device]
        report.check("host finds the camera", code == 0 and len(found) == 1, "; ".join(facts["device"]) or text.strip())

        code, facts, text = own.probe(host, tools, "read", CAMERA)
        values = dict(re.match(r"(\w+) = (.*)", fact).groups() for fact in facts["feature"])
        report.check(
            "host reads every feature",
            code == 0 and values.get("DeviceID") == SERIAL and values.get("TestRegister") == str(0x12345678)
            and len(values) >= 20 and not facts["error"],
            "; ".join(facts["error"][:3]) or f"{len(values)} values" if values else own.last_line(text),
        )

        saved = own.save_folder(folder, "frames")
        code, facts, text = own.probe(
            host, tools, "stream", CAMERA, "--set", "Width=512", "Height=384", "PixelFormat=Mono8",
            "--packet-size", "1500", "--frames", "30", "--save", saved,
        )  # fmt: skip
        own.check_frames(
            report, "host streams 512 x 384 Mono8", code, facts, text, 30,
            {"width": 512, "height": 384, "payload_size": 512 * 384, "packet_size": 1500},
        )  # fmt: skip
        blocks = capture.check(report, "host streams 512 x 384 Mono8", taken, 512 * 384, 30, with_data=True)
        own.check_bytes(report, "buffers hold what was sent", blocks, saved)
        report.check("camera is still there", camera.running(), camera.output().strip()[-200:])

    with Host(folder) as host:
        start_camera(host)
        taken = capture.Capture(host, "large")
        code, facts, text = own.probe(
            host, tools, "stream", CAMERA, "--set", "Width=1024", "Height=1024", "PixelFormat=Mono16",
            "--packet-size", "8000", "--frames", "20",
        )  # fmt: skip
        own.check_frames(
            report, "host streams 1024 x 1024 Mono16", code, facts, text, 20,
            {"width": 1024, "height": 1024, "payload_size": 2 * 1024 * 1024, "packet_size": 8000},
        )  # fmt: skip
        capture.check(report, "host streams 1024 x 1024 Mono16", taken, 2 * 1024 * 1024, 20)

    with Host(folder) as host:
        start_camera(host, "-r", "10")
        taken = capture.Capture(host, "loss")
        code, facts, text = own.probe(
            host, tools, "stream", CAMERA, "--set", "Width=512", "Height=512", "PixelFormat=Mono8",
            "--packet-size", "1500", "--frames", "30", "--accept-incomplete",
        )  # fmt: skip
        incomplete = own.number(facts, "incomplete")
        # the camera does not resend, so what it loses stays lost and has to be told, frame by frame
        report.check(
            "host tells which frames lost packets",
            code == 0 and incomplete > 0 and own.number(facts, "misshapen") == 0,
            f"{incomplete} of 30 frames" if code == 0 else own.last_line(text),
        )
        taken.finish()
        own.check_losses(report, "host counts what never came", facts, capture.blocks(taken.file))
