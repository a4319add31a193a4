"""Packets as an independent dissector sees them: captures on loopback, filters that must select nothing, and the order
of the packets of each block.
"""

import collections
import dataclasses
import os
import re
import subprocess

from lab import LabError, eventually

# Packets of blocks. The zeros by which a receiver opens firewalls have no format.
STREAM = "gvsp && (gvsp.format & 0x0F)"

# Each selects packets that no correct device or host sends.
FILTERS = {
    "malformed": "_ws.malformed",
    "expert warning": "_ws.expert.severity >= 6291456",
    "not GVCP on its port": "udp.port==3956 && !gvcp",
    "GVCP length": "gvcp && gvcp.cmd.payloadlength && udp.length - 16 != gvcp.cmd.payloadlength",
    "request ID 0": "gvcp.cmd.req_id==0",
    "reserved GVCP flags": "gvcp.cmd.flags & 0xEE",
    "READMEM count too large": "gvcp.cmd.readmem.count > 536",
    "READMEM count unaligned": "gvcp.cmd.readmem.count & 3",
    # a discovery by broadcast has no answer, or several, so neither side of it can be paired
    "command without acknowledge": "gvcp.cmd.command && gvcp.cmd.command != 0x0002 && gvcp.cmd.flag.acq_required==1"
    " && !gvcp.response_in",
    "acknowledge without command": "gvcp.ack && gvcp.ack != 0x0003 && !gvcp.response_to",
    "block ID 0": f"{STREAM} && (gvsp.blockid16==0 || gvsp.blockid64==0)",
    # the upper bit of the format byte marks 64-bit IDs
    "leader without pixel format": "gvsp.format in {0x01, 0x81} && !gvsp.pixel",
    "leader that is not packet 0": "gvsp.format in {0x01, 0x81} && (gvsp.packetid24!=0 || gvsp.packetid32!=0)",
    # the refusal to send a leader again has its number
    "payload that is packet 0": "gvsp.format in {0x03, 0x83} && (gvsp.packetid24==0 || gvsp.packetid32==0)"
    " && !(gvsp.status & 0x8000)",
}

MARKER_PORT = 9


def dissect(file, display_filter, fields=(), messages=()):
    """The packets of a capture that a filter selects, as lists of fields (or one-line summaries). `messages` are the
    ports of message channels, which the dissector cannot know for GVCP.
    """
    argv = ["tshark", "-2", "-r", file, "--enable-heuristic", "gvsp_udp", "-Y", display_filter]
    for port in messages:
        argv += ["-d", f"udp.port=={port},gvcp"]
    if fields:
        argv += ["-T", "fields"]
        for field in fields:
            argv += ["-e", field]
    done = subprocess.run(argv, capture_output=True, text=True, errors="replace", timeout=120, check=False)
    if done.returncode != 0:
        raise LabError(f"tshark refuses {display_filter!r}: {done.stderr.strip()[-300:]}")
    lines = done.stdout.splitlines()
    return [line.split("\t") for line in lines] if fields else lines


class Capture:
    """A running capture of all UDP packets of a host, on one interface or on "any"."""

    def __init__(self, host, name, interface="lo"):
        self.file = os.path.join(host.folder, f"{name}.pcapng")
        self._host = host
        # the buffer takes what comes while the machine is busy with others
        self._program = host.start(["tshark", "-i", interface, "-s", "0", "-B", "64", "-f", "udp", "-q", "-w", self.file])
        self._program.wait_for_output("Capturing on")
        self._program.wait_for(lambda: os.path.exists(self.file) and os.path.getsize(self.file) > 0, "capture file")
        self._mark("begin")

    def finish(self):
        """Ends the capture once every packet sent before is in the file; the packets that were lost."""
        self._mark("end")
        self._program.stop()
        dropped = re.search(r"(\d+) packets? dropped", self._program.output())
        return int(dropped.group(1)) if dropped else 0

    def _mark(self, what):
        """Sends a packet of its own and waits until it stands in the file, so that no pause has to be guessed."""
        text = f"vex interop marker {what} {os.urandom(8).hex()}"
        target = f"('127.0.0.1', {MARKER_PORT})"
        send = f"import socket; socket.socket(socket.AF_INET, socket.SOCK_DGRAM).sendto(b'{text}', {target})"
        offset = max(0, os.path.getsize(self.file) - 1)
        if self._host.run(["python3", "-c", send], 10).returncode != 0:
            raise LabError("cannot send a marker packet")

        def written():
            with open(self.file, "rb") as file:
                file.seek(offset)
                return text.encode() in file.read()

        eventually(written, 20, "the capture to be written")


# of a line that loses packets
UNPAIRED = ["command without acknowledge", "acknowledge without command"]


def violations(file, allowed=(), messages=(), without=()):
    """What the filters select, as 'filter: first packet' texts. `allowed` names further display filters whose packets
    are known and explained where they are passed, `without` filters that are not used."""
    filters = {name: expression for name, expression in FILTERS.items() if name not in without}
    excluded = "".join(f" && !({expression})" for expression in allowed) + f" && udp.port != {MARKER_PORT}"
    found = []
    # one pass that finds nothing saves the many that would tell which filter it was
    any_filter = "(" + " || ".join(f"({expression})" for expression in filters.values()) + ")"
    if not dissect(file, any_filter + excluded, messages=messages):
        return found
    for name, expression in filters.items():
        lines = dissect(file, f"({expression}){excluded}", messages=messages)
        if lines:
            found.append(f"{name}: {len(lines)} packets, first {lines[0].strip()}")
    return found


@dataclasses.dataclass
class Packet:
    kind: int
    id: int
    data_bytes: int
    status: int
    payload: bytes


@dataclasses.dataclass
class Block:
    port: int
    id: int
    packets: list

    def of_kind(self, kind):
        return [packet for packet in self.packets if packet.kind == kind]

    def payload_packets(self):
        return self.of_kind(3)

    def data(self):
        return b"".join(packet.payload for packet in sorted(self.payload_packets(), key=lambda packet: packet.id))

    def repaired(self):
        """As it is with every packet once and in its place."""
        by_id = {packet.id: packet for packet in self.packets}
        return Block(self.port, self.id, [by_id[number] for number in sorted(by_id)])

    def faults(self, payload_bytes=None):
        """What is wrong with the count and order of its packets, as texts."""
        found = []
        ids = [packet.id for packet in self.packets]
        kinds = [packet.kind for packet in self.packets]
        payload = self.payload_packets()
        if ids != list(range(len(ids))):
            found.append(f"packet IDs {ids[:4]}...{ids[-3:]} do not run from 0 without gaps")
        if kinds[:1] != [1] or kinds[-1:] != [2] or any(kind != 3 for kind in kinds[1:-1]):
            found.append(f"formats {collections.Counter(kinds)} are not leader, payload, trailer")
        if len({packet.data_bytes for packet in payload[:-1]}) > 1:
            found.append("payload packets before the last differ in size")
        total = sum(packet.data_bytes for packet in payload)
        if payload_bytes is not None and total != payload_bytes:
            found.append(f"{total} data bytes instead of {payload_bytes}")
        return [f"block {self.id}: {text}" for text in found]


def blocks(file, extended=False, with_data=False):
    """The GVSP packets of a capture, by port and block, in the order in which they were sent."""
    header = 20 if extended else 8
    identifiers = ["gvsp.blockid64", "gvsp.packetid32"] if extended else ["gvsp.blockid16", "gvsp.packetid24"]
    fields = ["udp.dstport", *identifiers, "gvsp.format", "udp.length", "gvsp.status"]
    if with_data:
        fields.append("udp.payload")
    found = {}
    for row in dissect(file, STREAM, fields):
        if not row[1] or not row[3]:
            raise LabError(f"a stream packet without the expected form of IDs: {row[:6]}")
        port, block, packet, kind, length, status = (int(text, 0) for text in row[:6])
        payload = bytes.fromhex(row[6])[header:] if with_data else b""
        packets = found.setdefault((port, block), Block(port, block, [])).packets
        packets.append(Packet(kind & 0x7F, packet, length - 8 - header, status, payload))
    return list(found.values())


def sequence_faults(found, payload_bytes=None, resends=False):
    """What is wrong with a run of blocks of one stream, with `resends` once what was sent again is put in its place.
    The last one may be cut short by the end of acquisition, or ends too late for anything to be sent again.
    """
    faults = []
    for index, block in enumerate(found):
        if index == len(found) - 1 and (resends or not block.of_kind(2)):
            continue
        faults += (block.repaired() if resends else block).faults(payload_bytes)
    for before, after in zip(found, found[1:]):
        expected = 1 if before.id == 0xFFFF else before.id + 1
        if before.port == after.port and after.id != expected:
            faults.append(f"block {after.id} follows block {before.id}")
    return faults


def packet_gap(file):
    """Seconds from one payload packet to the next of its block, on average, by the capture's clock."""
    rows = dissect(file, "gvsp.format==0x03", ["frame.time_epoch", "gvsp.blockid16", "gvsp.packetid24"])
    gaps = [
        float(after[0]) - float(before[0])
        for before, after in zip(rows, rows[1:])
        if before[1] == after[1] and int(after[2]) == int(before[2]) + 1
    ]
    return sum(gaps) / len(gaps) if gaps else 0.0


def check(report, name, taken, payload_bytes, least, allowed=(), extended=False, resends=False, with_data=False):
    """Ends a capture and judges it: the filters select nothing, and every block (at least `least`) is a leader, its
    payload and a trailer. The blocks as they were sent.
    """
    dropped = taken.finish()
    found = violations(taken.file, allowed)
    report.check(
        f"{name}: filters select nothing",
        not found and dropped == 0,
        "; ".join(found) or (f"{dropped} packets not captured" if dropped else ""),
    )
    seen = blocks(taken.file, extended, with_data)
    faults = sequence_faults(seen, payload_bytes, resends)
    report.check(
        f"{name}: leader, payload and trailer of every block",
        not faults and len(seen) >= least,
        "; ".join(faults[:3]) or f"{len(seen)} blocks",
    )
    return seen
