"""A client that others wrote against the software camera."""

import re
import xml.etree.ElementTree

import capture
from lab import GVCP_PORT, Host

SERIAL = "INTEROP-1"

# what a client counts when anything was lost, late or wrong
TROUBLE = [
    "n_failures",
    "n_timeouts",
    "n_aborted",
    "n_missing_frames",
    "n_size_mismatch_errors",
    "n_missing_packets",
    "n_error_packets",
    "n_duplicated_packets",
]
# packets that were lost and sent again are no trouble
REPAIRED = ["n_missing_packets", "n_duplicated_packets"]
NO_LOST_FRAMES = [counter for counter in TROUBLE if counter not in REPAIRED]


def counters(text):
    return {name: int(value) for name, value in re.findall(r"^(n_\w+)\s*=\s*(\d+)", text, re.MULTILINE)}


def start_camera(host, tools, *arguments, address="127.0.0.1", serial=SERIAL):
    camera = host.start([tools.softcam, "-a", address, "-s", serial, *arguments])
    camera.wait_for_output("listening on")
    camera.wait_for_port(GVCP_PORT, address)
    return camera


def stream(host, *arguments, seconds=3, frequency=20):
    done = host.run(
        ["arv-camera-test-0.8", f"--duration={seconds}", "-f", str(frequency), *arguments], seconds + 30
    )
    return done, counters(done.stdout)


def tell(numbers, names):
    return ", ".join(f"{name[2:].replace('_', ' ')} {numbers.get(name)}" for name in names)


def check_stream(report, name, done, numbers, least, trouble=TROUBLE):
    """The client received frames and counted no trouble."""
    troubled = [counter for counter in trouble if numbers.get(counter) != 0]
    report.check(
        name,
        done.returncode == 0 and numbers.get("n_completed_buffers", 0) >= least and not troubled,
        tell(numbers, ["n_completed_buffers", *troubled]),
    )


def control(report, host):
    found = host.run(["arv-tool-0.8"], 20)
    report.check("client finds the camera", SERIAL in found.stdout, found.stdout.strip())

    description = host.run(["arv-tool-0.8", "genicam"], 20).stdout
    text = description[description.find("<?xml") :]
    try:
        nodes = sum(1 for _ in xml.etree.ElementTree.fromstring(text.strip().encode()).iter())
    except xml.etree.ElementTree.ParseError as error:
        nodes = 0
        text = str(error)
    report.check("client downloads the description", nodes > 100, f"{nodes} elements" if nodes else text[:200])

    features = host.run(["arv-tool-0.8", "features"], 20)
    wanted = ["AcquisitionStart", "Width", "Height", "PixelFormat", "PayloadSize"]
    absent = [feature for feature in wanted if not re.search(rf"\b{feature}\b", features.stdout)]
    report.check("client lists the features", features.returncode == 0 and not absent, ", ".join(absent))

    values = host.run(["arv-tool-0.8", "values"], 30)
    told = dict(re.findall(r"\[R[OW]\] '(\w+)' = (.+)$", values.stdout, re.MULTILINE))
    complaints = [f"{name} = {value}" for name, value in told.items() if re.search("error|denied|invalid", value, re.I)]
    report.check(
        "client reads every value",
        values.returncode == 0
        and len(told) > 50
        and told.get("DeviceSerialNumber") == f"'{SERIAL}'"
        and not complaints,
        "; ".join(complaints[:3]) or f"{len(told)} values",
    )

    settings = ["Width=320", "Height=200", "PixelFormat=Mono16"]
    written = host.run(["arv-tool-0.8", "control", *settings, "Width", "PixelFormat"], 20)
    report.check(
        "client writes features",
        bool(re.search(r"Width = 320\b", written.stdout)) and "PixelFormat = Mono16" in written.stdout,
        " ".join(written.stdout.split()),
    )
    refused = host.run(["arv-tool-0.8", "control", "Width=7", "PixelFormat=Mono8", "Width"], 20)
    report.check(
        "client is refused a value out of range",
        "invalid-parameter" in refused.stdout and bool(re.search(r"Width = 320\b", refused.stdout)),
        " ".join(refused.stdout.split()),
    )


def run(report, folder, tools):
    with Host(folder) as host:
        camera = start_camera(host, tools)
        taken = capture.Capture(host, "client")
        control(report, host)
        done, numbers = stream(host, "-w", "512", "-h", "512", "-i", "1500")
        check_stream(report, "client streams 512 x 512", done, numbers, 40)
        blocks = capture.check(report, "client streams 512 x 512", taken, 512 * 512, 40)
        whole = sum(1 for block in blocks if block.of_kind(2))
        report.check(
            "client completes every block that was sent",
            0 <= whole - numbers.get("n_completed_buffers", -1) <= 1,
            f"{numbers.get('n_completed_buffers')} of {whole}",
        )
        report.check("camera ends when asked", camera.stop() == 0, camera.output().strip().splitlines()[-1])

    with Host(folder) as host:
        start_camera(host, tools)
        taken = capture.Capture(host, "delay")
        # a frame that fits into a socket's default buffer, because the client cannot ask for a larger one
        delay = 100e-6
        done, numbers = stream(
            host, "-w", "320", "-h", "240", "-i", "1500", "--no-packet-socket", f"--gv-packet-delay={delay * 1e9:.0f}",
            "-m", "1000",
        )  # fmt: skip
        name = "client streams 320 x 240 through a plain socket"
        check_stream(report, name, done, numbers, 40, NO_LOST_FRAMES)
        capture.check(report, name, taken, 320 * 240, 40, resends=True)
        gap = capture.packet_gap(taken.file)
        # the average is a little short when the last packets catch up with a late one
        report.check("camera keeps the packet delay", 0.9 * delay <= gap < 5 * delay, f"{gap * 1e6:.0f} us on average")

    with Host(folder) as host:
        start_camera(host, tools, "--drop", "10", "--seed", "7")
        taken = capture.Capture(host, "loss")
        # the client keeps a frame long enough for a busy machine to answer
        done, numbers = stream(host, "-w", "512", "-h", "512", "-i", "1500", "-m", "1000")
        check_stream(report, "client repairs 1 % loss", done, numbers, 40, NO_LOST_FRAMES)
        report.check(
            "client got what it asked for again",
            numbers.get("n_resent_packets", 0) > 0,
            tell(numbers, ["n_resend_requests", "n_resent_packets"]),
        )
        capture.check(report, "client repairs 1 % loss", taken, 512 * 512, 40, resends=True)

    with Host(folder) as host:
        faults = {"--drop-bursts": 1, "--burst": 10, "--drop-again": 100, "--double": 10, "--reorder": 10, "--seed": 7}
        start_camera(host, tools, *(str(part) for fault in faults.items() for part in fault))
        taken = capture.Capture(host, "bursts")
        name = "client repairs bursts, and bears what comes late or twice"
        done, numbers = stream(host, "-w", "512", "-h", "512", "-i", "1500", "-m", "1000")
        check_stream(report, name, done, numbers, 40, NO_LOST_FRAMES)
        report.check("client got its bursts again", numbers.get("n_resent_packets", 0) >= 10,
                     tell(numbers, ["n_resend_requests", "n_resent_packets"]))  # fmt: skip
        capture.check(report, name, taken, 512 * 512, 40, resends=True)

    with Host(folder) as host:
        start_camera(host, tools, address="127.0.0.2", serial="INTEROP-2")
        start_camera(host, tools, address="127.0.0.3", serial="INTEROP-3")
        listed = host.run(["arv-tool-0.8"], 20).stdout
        report.check(
            "client finds two cameras of one host",
            "INTEROP-2" in listed and "INTEROP-3" in listed,
            " ".join(listed.split()),
        )
        name = "Vexkam-SoftCam-INTEROP-3"
        done, numbers = stream(host, "-n", name, "-w", "512", "-h", "512", "-i", "1500", seconds=2)
        check_stream(report, "client streams from the second of them", done, numbers, 25)
