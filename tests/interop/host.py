"""The project's own host side, through host_probe."""

import collections
import os


def probe(host, tools, *arguments, seconds=60):
    """Runs host_probe; its exit code, its facts (name to list of values) and all that it printed."""
    done = host.run([tools.host_probe, *arguments], seconds)
    facts = collections.defaultdict(list)
    for line in done.stdout.splitlines():
        name, _, value = line.partition(" ")
        facts[name].append(value)
    return done.returncode, facts, done.stdout


def number(facts, name):
    """The last value of a fact as a number; -1 when it was not told."""
    return int(facts[name][-1]) if facts.get(name) else -1


def last_line(text):
    lines = text.strip().splitlines()
    return lines[-1] if lines else "no output"


def check_frames(report, name, code, facts, text, frames, settings):
    """Every frame arrived complete and has the geometry that was set."""
    wrong = [f"{key} {number(facts, key)}" for key, value in settings.items() if number(facts, key) != value]
    names = ("complete", "incomplete", "misshapen", "lost_packets", "MalformedPacket")
    counts = {key: number(facts, key) for key in names}
    good = (
        code == 0 and not wrong and counts.pop("complete") == frames and not any(counts.values())
        and number(facts, "ImageCount") >= frames
    )
    report.check(name, good, f"{number(facts, 'complete')} frames" if good else ", ".join(wrong) or last_line(text))


def check_bytes(report, name, blocks, folder):
    """The bytes in the buffers are those that the dissector saw on the wire."""
    by_id = {block.id: block for block in blocks}
    saved = sorted(file for file in os.listdir(folder) if file.endswith(".raw"))
    different = []
    for file in saved:
        identifier = int(file[len("block-") : -len(".raw")])
        with open(os.path.join(folder, file), "rb") as raw:
            if identifier not in by_id or raw.read() != by_id[identifier].data():
                different.append(file)
    report.check(name, bool(saved) and not different, ", ".join(different[:3]) or f"{len(saved)} frames")


def check_losses(report, name, facts, blocks):
    """For each frame the host tells as many lost packets as never appeared on the wire."""
    absent = {}
    for block in blocks:
        present = {packet.id for packet in block.packets}
        trailers = [packet.id for packet in block.of_kind(2)]
        # a block whose trailer was lost ends where the others do
        last = trailers[0] if trailers else max(packet.id for other in blocks for packet in other.packets)
        absent[block.id] = last + 1 - len(present)
    told = {int(block): int(lost) for block, lost in (fact.split(" lost ") for fact in facts["block"])}
    wrong = [
        f"block {block}: {lost} told, {absent.get(block)} absent"
        for block, lost in told.items()
        if absent.get(block) != lost
    ]
    total = sum(told.values())
    seen = "; ".join(wrong[:3]) or f"{total} packets of {len(told)} frames"
    report.check(name, bool(told) and total > 0 and not wrong, seen)


def save_folder(folder, name):
    path = os.path.join(folder, name)
    os.mkdir(path)
    return path
