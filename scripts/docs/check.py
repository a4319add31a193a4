#!/usr/bin/env python3
"""check.py ROOT OUTPUT: whether the documentation is right: notes, links, C++, scripts. OUTPUT has the built site.

Ends with a line that counts what was looked at: notes, pages, blocks; with 1 when something is wrong.
"""
import json
import os
import shutil
import subprocess
import sys
from pathlib import Path

import blocks
import build_site
import links
import notes

COMPILER = 'x86_64-w64-mingw32-g++-posix'
OPTIONS = ['-std=c++20', '-fsyntax-only', '-Wall', '-Wextra', '-Werror', '-Wno-unused', '-Wno-unused-parameter', '-DUNICODE',
           '-D_UNICODE', '-D_WIN32_WINNT=0x0A00']
WORKERS = 4


class Count:
    def __init__(self):
        self.passed = self.failed = 0

    def add(self, what, total, faults, wrong):
        """TOTAL were looked at, WRONG of them have FAULTS."""
        for fault in faults:
            print(f'   {fault}')
        total = max(total, wrong)
        self.passed += total - wrong
        self.failed += wrong
        print(f'-- {what}: {total - wrong} passed, {wrong} failed', flush=True)


def owners(faults):
    return len({fault.split(':')[0] for fault in faults})


def check_notes(count, pages):
    faults = notes.compare(pages.library, pages.shelf)
    count.add('notes on classes, interfaces and enumerations', len(notes.wanted(pages.library)), faults, owners(faults))


def check_links(count, root, output, made):
    for what, (total, faults) in (('pages of the site and their links', links.site_faults(output / 'site')),
                                  ('pages of README and docs/ and their links', links.source_faults(root, made))):
        count.add(what, total, faults, owners(faults))


def check_cpp(count, root, output, found):
    cpp = [block for block in found if block.language == 'cpp' and block.kind != 'none']
    wrong, messages = [], []
    for name, part in (('server', [block for block in cpp if not blocks.is_sdk(block)]),
                       ('sdk', [block for block in cpp if blocks.is_sdk(block)])):
        if not part:
            continue
        source = output / f'blocks_{name}.cpp'
        source.write_text(blocks.translation_unit(part, root), encoding='utf-8')
        outcome = subprocess.run([COMPILER, *OPTIONS, '-I', root, '-I', root / 'examples/cpp', '-isystem',
                                  root / 'build/windows/idl', source], capture_output=True, text=True, check=False, cwd=root)
        if outcome.returncode != 0:
            named, elsewhere = blocks.faulty(part, outcome.stderr)
            wrong += part if elsewhere or not named else named
            messages += [line for line in outcome.stderr.splitlines() if ' error: ' in line]
    count.add('blocks of C++', len(cpp), messages, len(wrong))


def run_scripts(root, output):
    """In as many workers as there can be: one where networks of their own cannot be had."""
    worker = [sys.executable, root / 'scripts/docs/script_worker.py', root, output]
    own_networks = os.geteuid() == 0 and subprocess.run(['unshare', '--net', 'true'], check=False).returncode == 0
    commands = [['unshare', '--net', '--', *worker, str(at)] for at in range(WORKERS)] if own_networks else [[*worker, 'only']]
    running = [subprocess.Popen(command, stdin=subprocess.DEVNULL) for command in commands]
    for process in running:
        process.wait()


def check_scripts(count, root, output, found, library):
    vb = [block for block in found if block.language == 'vb']
    folder = output / 'scripts'
    shutil.rmtree(folder, ignore_errors=True)
    folder.mkdir(parents=True)
    names = {f'{block.page.removesuffix(".md").replace("/", "_")}_{block.line}': block for block in vb}
    for name, block in names.items():
        (folder / f'{name}.vbs').write_text(blocks.script_of(block, 'Z:\\WORK'), encoding='utf-8')
    run_scripts(root, output)
    members = {member.name for interface in library.interfaces.values() for member in interface.members}
    faults, wrong = [], 0
    for name, block in names.items():
        told = folder / f'{name}.json'
        outcome = json.loads(told.read_text(encoding='utf-8')) if told.exists() else {'passed': False, 'code': 'not run', 'output': []}
        unknown = blocks.unknown_members(block, members) if block.kind == 'fragment' else []
        if outcome['passed'] and not unknown:
            continue
        wrong += 1
        faults.append(f'{block.place}: nothing has the member {", ".join(unknown)}' if unknown else
                      f'{block.place}: the script ended with {outcome["code"]} before its end')
        faults += [f'    {line}' for line in outcome['output'][-6:]]
    count.add('blocks of VBScript', len(vb), faults, wrong)


def main():
    root, output = Path(sys.argv[1]).resolve(), Path(sys.argv[2]).resolve()
    count = Count()
    pages = build_site.make_reference(root)
    check_notes(count, pages)
    check_links(count, root, output, pages.pages())
    found = blocks.blocks_below(root)
    check_cpp(count, root, output, found)
    check_scripts(count, root, output, found, pages.library)
    print(f'{count.passed} passed, {count.failed} failed')
    sys.exit(count.failed != 0 or count.passed == 0)


if __name__ == '__main__':
    main()
