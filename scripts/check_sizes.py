#!/usr/bin/env python3
"""Fails on functions of more than 60 lines and files of more than 500; the exceptions stand here with their reasons.

A function's body begins with a brace on a line of its own, which nothing else of this style does but a bare block
inside a function.
"""
import subprocess
import sys

LONGEST_FUNCTION, LONGEST_FILE = 60, 500
EXCEPTIONS = {}  # "file" or "file:function" -> why


def functions(lines):
    """(number of lines, line number, name) of each function, by where its braces stand."""
    for start, line in enumerate(lines):
        if line.strip() != '{':
            continue
        indent = line[:-1]
        end = next((at for at in range(start + 1, len(lines)) if lines[at].startswith(indent + '}')), start)
        head = next((at for at in range(start - 1, -1, -1) if not lines[at].startswith(indent + ' ')), start)
        yield end - head + 1, start + 1, lines[head].split('(')[0].split()[-1].split('::')[-1]


def main():
    faults = []
    for name in subprocess.check_output(['git', 'ls-files', '*.h', '*.cpp'], text=True).split():
        with open(name, encoding='utf-8') as file:
            lines = file.read().splitlines()
        if len(lines) > LONGEST_FILE and name not in EXCEPTIONS:
            faults.append(f'{name}: {len(lines)} lines, more than {LONGEST_FILE}')
        for length, at, function in functions(lines):
            if length > LONGEST_FUNCTION and f'{name}:{function}' not in EXCEPTIONS:
                faults.append(f'{name}:{at}: {function} has {length} lines, more than {LONGEST_FUNCTION}')
    print('\n'.join(faults))
    return bool(faults)


sys.exit(main())
