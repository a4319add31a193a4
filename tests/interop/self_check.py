"""The checks themselves: a capture with one defect for every filter, and block sequences with known faults. A filter
that selects nothing here could never fail elsewhere.
"""

import os
import struct

import capture
import features
from capture import Block, Packet

HOST, CAMERA = bytes([192, 168, 7, 1]), bytes([192, 168, 7, 50])


def _frame(source, destination, source_port, destination_port, payload):
    header = struct.pack(
        ">BBHHHBBH4s4s", 0x45, 0, 28 + len(payload), 1, 0x4000, 64, 17, 0, source, destination
    )
    return (
        bytes.fromhex("020000000001020000000002")
        + b"\x08\x00"
        + header
        + struct.pack(">HHHH", source_port, destination_port, 8 + len(payload), 0)
        + payload
    )


def _command(code, payload, request=1, flags=1, length=None):
    length = len(payload) if length is None else length
    return _frame(HOST, CAMERA, 50000, 3956, struct.pack(">BBHHH", 0x42, flags, code, length, request) + payload)


def _acknowledge(code, payload, request=1, status=0):
    return _frame(CAMERA, HOST, 3956, 50000, struct.pack(">HHHH", status, code, len(payload), request) + payload)


def _stream(block, form, packet, payload):
    return _frame(CAMERA, HOST, 3957, 50001, struct.pack(">HHI", 0, block, (form << 24) | packet) + payload)


def _stream_64(block, form, packet, payload):
    header = struct.pack(">HHBBHQI", 0, 0, 0x80 | form, 0, 0, block, packet)
    return _frame(CAMERA, HOST, 3957, 50001, header + payload)


LEADER = struct.pack(">BBHQIIIIIHH", 0, 0, 1, 999, 0x01080001, 640, 480, 0, 0, 0, 0)
READ_PRIVILEGE = struct.pack(">I", 0x0A00)
OPEN_STREAM = [
    _command(0x82, struct.pack(">II", 0x0D00, 50001), request=90),
    _acknowledge(0x83, struct.pack(">HH", 0, 1), request=90),
]

RAW_LEADER = struct.pack(">HHQQ", 0, 2, 999, 1000)

# what makes each filter select something: one or several captures
DAMAGE = {
    "malformed": [[_acknowledge(0x0003, bytes(40), request=2)]],
    "expert warning": [[_acknowledge(0x0003, bytes(40), request=2)]],
    "not GVCP on its port": [[_frame(HOST, CAMERA, 50000, 3956, b"abc")]],
    "GVCP length": [[_command(0x80, READ_PRIVILEGE, length=2)]],
    "request ID 0": [[_command(0x80, READ_PRIVILEGE, request=0)]],
    "reserved GVCP flags": [[_command(0x80, READ_PRIVILEGE, flags=0x21)]],
    "READMEM count too large": [[_command(0x84, struct.pack(">IHH", 0x200, 0, 540))]],
    "READMEM count unaligned": [[_command(0x84, struct.pack(">IHH", 0x200, 0, 510))]],
    "command without acknowledge": [[_command(0x80, READ_PRIVILEGE, request=77)]],
    "acknowledge without command": [[_acknowledge(0x81, bytes(4), request=78)]],
    "block ID 0": [[_stream(0, 3, 1, bytes(16))], [_stream_64(0, 3, 1, bytes(16))]],
    "leader without pixel format": [[_stream(1, 1, 0, RAW_LEADER)], [_stream_64(1, 1, 0, RAW_LEADER)]],
    "leader that is not packet 0": [[_stream(1, 1, 4, LEADER)], [_stream_64(1, 1, 4, LEADER)]],
    "payload that is packet 0": [[_stream(1, 3, 0, bytes(16))], [_stream_64(1, 3, 0, bytes(16))]],
}


def _write(file, frames):
    with open(file, "wb") as out:
        out.write(struct.pack("<IHHiIII", 0xA1B2C3D4, 2, 4, 0, 0, 65535, 1))
        for index, frame in enumerate(frames):
            out.write(struct.pack("<IIII", 1700000000, index * 1000, len(frame), len(frame)) + frame)


def _block(identifier, packets):
    return Block(50001, identifier, [Packet(kind, number, size, 0, b"") for kind, number, size in packets])


GOOD = [(1, 0, 36), (3, 1, 100), (3, 2, 100), (3, 3, 56), (2, 4, 8)]


def _sequences():
    good = [_block(65535, GOOD), _block(1, GOOD), _block(2, GOOD[:3])]
    yield "good sequence", good, False
    yield "missing packet", [_block(1, GOOD[:2] + GOOD[3:])], True
    yield "packet sent twice", [_block(1, GOOD[:2] + GOOD[1:])], True
    yield "missing leader", [_block(1, GOOD[1:])], True
    yield "missing trailer", [_block(1, GOOD[:4]), _block(2, GOOD)], True
    yield "short payload", [_block(1, GOOD[:2] + [(3, 2, 56), (2, 3, 8)])], True
    yield "uneven payload", [_block(1, [(1, 0, 36), (3, 1, 100), (3, 2, 56), (3, 3, 100), (2, 4, 8)])], True
    yield "missing block", [_block(1, GOOD), _block(3, GOOD)], True


def run(report, folder, _tools):
    blind = []
    for name, expression in capture.FILTERS.items():
        for frames in DAMAGE[name]:
            file = os.path.join(folder, "damaged.pcap")
            _write(file, OPEN_STREAM + frames)
            if not capture.dissect(file, expression):
                blind.append(name)
    file = os.path.join(folder, "sound.pcap")
    _write(file, OPEN_STREAM + [_stream(1, 1, 0, LEADER), _stream_64(2, 3, 1, bytes(16))])
    blind += [f"sound packets: {violation}" for violation in capture.violations(file)]
    report.check("filters select damaged packets and no others", not blind, ", ".join(blind))

    wrong = [
        name for name, blocks, faulty in _sequences() if bool(capture.sequence_faults(blocks, 256)) != faulty
    ]
    report.check("sequence check tells good from bad", not wrong, ", ".join(wrong))

    wrong = features.blind_spots()
    report.check("comparison of features tells every difference", not wrong, ", ".join(wrong))
