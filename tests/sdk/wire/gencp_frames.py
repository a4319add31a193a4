#!/usr/bin/env python3
"""A second implementation of GenCP's serial frames, written from the layout tables and from nothing else of this project.

gencp_frames.py GOLDEN PRINTER: judges the golden frames of the file GOLDEN, and then what the program PRINTER encodes: it
is given a seed and prints one frame a line, what it is meant to say and its bytes.
"""
import random
import re
import struct
import subprocess
import sys

COMMANDS = {'read': 0x0800, 'read_ack': 0x0801, 'write': 0x0802, 'write_ack': 0x0803, 'pending': 0x0805, 'event': 0x0C00}
ACKNOWLEDGE_REQUESTED, RESEND = 0x4000, 0x8000


def check_sum(data):
    """The 16-bit words in one's complement: 2^16 counts as 1, and the sum is inverted."""
    words = struct.unpack(f'>{(len(data) + 1) // 2}H', data + b'\0' * (len(data) % 2))
    total = sum(words)
    while total >= 1 << 16:
        total = total % (1 << 16) + total // (1 << 16)
    return 0xFFFF - total


def frame(flags_or_status, command, request_id, scd):
    channel_and_ccd = struct.pack('>HHHHH', 0, flags_or_status, command, len(scd), request_id)
    return (struct.pack('>HHH', 0x0100, check_sum(channel_and_ccd), check_sum(channel_and_ccd + scd))
            + channel_and_ccd + scd)


def scd_of(kind, values):
    if kind == 'read':
        return struct.pack('>QHH', values['address'], 0, values['count'])
    if kind == 'write':
        return struct.pack('>Q', values['address']) + values['data']
    if kind == 'write_ack':
        return b'' if values['number'] is None else struct.pack('>HH', 0, values['number'])
    if kind == 'pending':
        return struct.pack('>HH', 0, values['number'])
    if kind == 'event':
        return struct.pack('>HHQ', 12 + len(values['data']), values['id'], values['timestamp']) + values['data']
    return values['data']


GOLDEN = {
    'read_version': frame(ACKNOWLEDGE_REQUESTED, 0x0800, 1, struct.pack('>QHH', 0, 0, 4)),
    'read_version_again': frame(ACKNOWLEDGE_REQUESTED | RESEND, 0x0800, 1, struct.pack('>QHH', 0, 0, 4)),
    'read_version_ack': frame(0, 0x0801, 1, bytes([0, 1, 0, 2])),
    'read_far': frame(ACKNOWLEDGE_REQUESTED, 0x0800, 0xFFFE, struct.pack('>QHH', 0x123456789ABCDEF0, 0, 1008)),
    'read_odd_ack': frame(0, 0x0801, 0x0102, b'Mono8'),
    'read_refused': frame(0x8003, 0x0801, 0x0102, b''),
    'write_word': frame(ACKNOWLEDGE_REQUESTED, 0x0802, 2, struct.pack('>QI', 0x10000, 0xCAFEBABE)),
    'write_odd': frame(ACKNOWLEDGE_REQUESTED, 0x0802, 3, struct.pack('>Q', 0x184) + b'box'),
    'write_ack_with_length': frame(0, 0x0803, 2, struct.pack('>HH', 0, 4)),
    'write_ack_without_length': frame(0, 0x0803, 2, b''),
    'pending': frame(0, 0x0805, 2, struct.pack('>HH', 0, 500)),
    'one_event': frame(0, 0x0C00, 7, struct.pack('>HHQ', 14, 0x9001, 0x0102030405060708) + b'\xAA\x55'),
    # the words of these add up to all ones, and to more than 16 bits hold
    'sum_is_zero': frame(0, 0x0801, 0, bytes([0xF7, 0xFC])),
    'sum_carries': frame(0, 0x0801, 1, b'\xFF' * 1024),
}


def golden_frames(path):
    text = re.sub(r'//[^\n]*', '', open(path, encoding='utf-8').read())
    return {name: bytes.fromhex(''.join(re.findall(r'"([0-9a-f]*)"', digits)))
            for name, digits in re.findall(r'GOLDEN\((\w+),([^)]*)\)', text)}


def judged(line):
    """A line of the printer: kind, flags or status, request ID, the fields of the kind as name=value, the bytes."""
    kind, flags, request_id, *fields, encoded = line.split()
    values = {}
    for field in fields:
        name, value = field.split('=')
        values[name] = bytes.fromhex(value) if name == 'data' else int(value) if value != 'none' else None
    expected = frame(int(flags), COMMANDS[kind], int(request_id), scd_of(kind, values))
    return expected == bytes.fromhex(encoded)


def main():
    golden, printer = sys.argv[1:]
    faults = [name for name, expected in (GOLDEN | golden_frames(golden)).items()
              if golden_frames(golden).get(name) != GOLDEN.get(name) or expected != GOLDEN.get(name)]
    seed = random.SystemRandom().randrange(1 << 32)
    print('seed', seed)
    lines = subprocess.run([printer, str(seed)], check=True, capture_output=True, text=True).stdout.splitlines()
    kinds = {line.split()[0] for line in lines}
    faults += [line for line in lines if not judged(line)]
    faults += [f'no {kind}' for kind in COMMANDS if kind not in kinds]
    print('\n'.join(faults) or f'{len(GOLDEN)} golden frames and {len(lines)} encoded ones are right')
    sys.exit(bool(faults))


if __name__ == '__main__':
    main()
