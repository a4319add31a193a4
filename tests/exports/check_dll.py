#!/usr/bin/env python3
"""check_dll.py MACHINE DLL: whether a built server is for the processor MACHINE (i386 or amd64) and exports the four entries of a
COM server under their plain names, as regsvr32 looks them up, and nothing else. Reads the file; runs nothing."""
import struct
import sys
from pathlib import Path

MACHINES = {'i386': (0x14C, 0x10B), 'amd64': (0x8664, 0x20B)}
ENTRIES = ['DllCanUnloadNow', 'DllGetClassObject', 'DllRegisterServer', 'DllUnregisterServer']


def headers(data):
    """Machine, kind of the optional header, address of the table of exports, and the sections as (address, size, place)."""
    if data[:2] != b'MZ':
        sys.exit('this is no program for Windows')
    start, = struct.unpack_from('<I', data, 0x3C)
    if data[start:start + 4] != b'PE\0\0':
        sys.exit('this is no program for Windows')
    machine, count = struct.unpack_from('<HH', data, start + 4)
    optional_size, = struct.unpack_from('<H', data, start + 20)
    optional = start + 24
    kind, = struct.unpack_from('<H', data, optional)
    exports, = struct.unpack_from('<I', data, optional + (96 if kind == 0x10B else 112))
    sections = []
    for number in range(count):
        _, address, size, place = struct.unpack_from('<IIII', data, optional + optional_size + 40 * number + 8)
        sections.append((address, size, place))
    return machine, kind, exports, sections


def exported(data, table, sections):
    def place_of(address):
        for start, size, place in sections:
            if start <= address < start + size:
                return address - start + place
        sys.exit(f'nothing is at the address {address:#x}')

    if table == 0:
        return []
    count, = struct.unpack_from('<I', data, place_of(table) + 24)
    names, = struct.unpack_from('<I', data, place_of(table) + 32)
    found = []
    for number in range(count):
        name, = struct.unpack_from('<I', data, place_of(names) + 4 * number)
        begin = place_of(name)
        found.append(data[begin:data.index(0, begin)].decode('ascii'))
    return found


def main():
    name, path = sys.argv[1:]
    data = Path(path).read_bytes()
    machine, kind, table, sections = headers(data)
    wrong = []
    if (machine, kind) != MACHINES[name]:
        wrong.append(f'it is for the machine {machine:#x}, header {kind:#x}, and not for {name}')
    names = sorted(exported(data, table, sections))
    if names != ENTRIES:
        wrong.append(f'it exports {names} and not {ENTRIES}')
    for text in wrong:
        print(f'{path}: {text}')
    if not wrong:
        print(f'{path}: for {name}, exports {", ".join(names)}')
    return 1 if wrong else 0


sys.exit(main())
