"""Streams over networks: long, to several receivers, and by cables that lose, double and reorder."""

import collections
import contextlib
import os

import capture
import host as own
import third_party_camera
import third_party_client
from lab import Host
from third_party_client import start_camera

GROUP = "239.192.1.7"
GROUP_PORT = 50_007


def facts_of(text):
    """The facts that a probe told, name to value; of "result" a list."""
    facts = collections.defaultdict(list)
    for line in text.splitlines():
        name, _, value = line.partition(" ")
        facts[name].append(value)
    return facts


def check_sound(report, name, facts, frames, skipped=0):
    """As many frames as wanted, all complete, none skipped but those that were not sent."""
    wanted = {"complete": frames, "frames": frames, "skipped": skipped}
    wanted |= {count: 0 for count in ("incomplete", "misshapen", "wrong", "MalformedPacket")}
    troubled = [f"{count} {own.number(facts, count)}" for count in wanted if own.number(facts, count) != wanted[count]]
    troubled += [*facts["result"], *facts["problem"], *facts["error"]]
    return report.check(name, not troubled, ", ".join(troubled) or f"{frames} frames")


def skipped_ids(ids):
    """Block IDs that are missing in a row of them; 1 follows 65535."""
    return sum((after - before - 1) % 0xFFFF for before, after in zip(ids, ids[1:]))


def many_frames(report, folder, tools):
    """A camera that others wrote, for as long as 10,000 frames take."""
    frames = 10_000
    with Host(folder) as host:
        camera = third_party_camera.start_camera(host)
        taken = capture.Capture(host, "many")
        # the camera's description names the register of the frame period in microseconds but lists no feature for it
        done = host.run(
            [tools.stream_probe, "127.0.0.1", "--set", "Width=64", "Height=64", "--register", "138=500",
             "--buffers", "500", "--frames", str(frames)], 120,
        )  # fmt: skip
        report.check("camera is still there", camera.running(), camera.output().strip()[-200:])
        dropped = taken.finish()
        facts = facts_of(done.stdout)
        # on a busy machine the camera leaves IDs out to keep to its rate; those never were on the wire
        leaders = capture.dissect(taken.file, "gvsp.format == 0x01", ["gvsp.blockid16"])
        sent = [int(line[0], 0) for line in leaders][:frames]
        check_sound(report, "third-party camera's frames, many", facts, frames, skipped=skipped_ids(sent))
        errors = own.number(facts, "ErrorCount") - own.number(facts, "BlockIDsMissing")
        report.check("many frames: no error is counted", errors == 0 and dropped == 0, f"{errors} errors")
        found = capture.violations(taken.file)
        report.check("many frames: filters select nothing", not found, "; ".join(found))


def two_receivers(report, folder, tools):
    """A camera and two hosts at a switch: one host has the camera send to a group, the other listens, too."""
    frames = 200
    with contextlib.ExitStack() as stack:
        middle, end, *hosts = (stack.enter_context(Host(folder)) for _ in range(4))
        end.wire_to(middle, ("eth", "10.0.0.20/24"), ("s0", None))
        for n, host in enumerate(hosts):
            host.wire_to(middle, ("e0", f"10.0.0.{n + 1}/24"), (f"s{n + 1}", None))
        middle.switch("s0", "s1", "s2")
        start_camera(end, tools, address="10.0.0.20", serial="SN-0")
        taken = capture.Capture(hosts[1], "multicast", interface="any")
        group = ["--multicast", GROUP, "--port", str(GROUP_PORT), "--frames", str(frames)]
        watcher = hosts[1].start([tools.stream_probe, "10.0.0.20", "--watch", str(320 * 240), *group])
        watcher.wait_for_output("watching")
        done = hosts[0].run(
            [tools.stream_probe, "10.0.0.20", "--set", "Width=320", "Height=240", "AcquisitionFrameRate=100",
             "--verify", *group], 60,
        )  # fmt: skip
        check_sound(report, "multicast, who controls", facts_of(done.stdout), frames)
        watcher.wait_until_ended(20)
        check_sound(report, "multicast, who listens", facts_of(watcher.output()), frames)
        capture.check(report, "multicast", taken, 320 * 240, frames)


@contextlib.contextmanager
def bad_cable(folder, tools, *impairment):
    """A host and a camera's, joined by a cable that does to datagrams what it is told to."""
    with Host(folder) as host, Host(folder) as middle, Host(folder) as end:
        host.wire_to(middle, ("e0", "10.0.0.1/24"), ("here", None))
        end.wire_to(middle, ("eth", "10.0.0.20/24"), ("there", None))
        for each, interface in ((host, "e0"), (end, "eth")):
            each.cut_trains(interface)
        wire = middle.start([tools.lossy_wire, "here", "there", *impairment])
        wire.wait_for_output("forwarding")
        yield host, end, wire


def check_bad(report, name, wire, wanted):
    """Ends the cable; it has done what it was told to, and nothing else was lost on it."""
    wire.stop()
    facts = facts_of(wire.output())
    counts = {key: own.number(facts, key) for key in ("lost", "twice", "overtaken", "trains", "unwanted")}
    good = all(counts[key] > 0 for key in wanted) and counts["trains"] == 0 and counts["unwanted"] == 0
    told = ", ".join(f"{key} {count}" for key, count in counts.items())
    report.check(f"{name}: the cable was bad", good, f"{told}, seed {facts['seed'][0]}")
    return counts["lost"]


def lossy(report, folder, tools, name, impairment, wanted, *settings, patience=()):
    """Our receiver and our camera by a bad cable: every frame complete, with the right pixels."""
    frames = 200
    with bad_cable(folder, tools, *impairment) as (host, end, wire):
        start_camera(end, tools, address="10.0.0.20", serial="SN-0")
        taken = capture.Capture(host, f"lossy-{len(os.listdir(folder))}", interface="any")
        done = host.run(
            [tools.stream_probe, "10.0.0.20", "--set", "Width=512", "Height=512", "AcquisitionFrameRate=60",
             "TestPattern=ColorGradientMoving", *settings, *(["--stream-set", *patience] if patience else []),
             "--verify", "--frames", str(frames)], 60,
        )  # fmt: skip
        facts = facts_of(done.stdout)
        check_sound(report, name, facts, frames)
        lost = check_bad(report, name, wire, wanted)
        taken.finish()
        found = capture.violations(taken.file, without=capture.UNPAIRED)
        report.check(f"{name}: filters select nothing", not found, "; ".join(found))
        asked = own.number(facts, "ResendPacketRequested")
        report.check(f"{name}: lost packets are asked for", asked > 0, f"{asked} asked for, {lost} lost")


def lossy_third_party(report, folder, tools):
    """A client that others wrote and our camera by a bad cable."""
    with bad_cable(folder, tools, "--lose", "10", "--burst", "4") as (host, end, wire):
        start_camera(end, tools, address="10.0.0.20", serial="SN-0")
        done, numbers = third_party_client.stream(host, "-w", "512", "-h", "512", "-i", "1500", "-m", "1000")
        name = "third-party client by a bad cable"
        third_party_client.check_stream(report, name, done, numbers, 40, third_party_client.NO_LOST_FRAMES)
        check_bad(report, name, wire, ["lost"])


def run(report, folder, tools):
    many_frames(report, folder, tools)
    two_receivers(report, folder, tools)
    lossy(report, folder, tools, "1 % lost", ["--lose", "10"], ["lost"])
    # a burst may take four answers to requests with it, one after the other
    patience = ["MaximumResendRequestRetryByPacket=10"]
    bursts = ["--lose", "50", "--burst", "20", "--both-ways"]
    lossy(report, folder, tools, "5 % lost in bursts", bursts, ["lost"], patience=patience)
    mixed = ["--lose", "10", "--overtake", "30", "--double", "20", "--both-ways"]
    lossy(report, folder, tools, "lost, overtaken and doubled", mixed, ["lost", "overtaken", "twice"], "GevGVSPExtendedIDMode=On", patience=patience)
    lossy_third_party(report, folder, tools)
