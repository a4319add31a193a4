#!/usr/bin/env python3
"""Fails when examples/README.md and the examples disagree about which of them are run in the tests.

Each file has one row in the table there, `| file | run: SUITE | host |` or `| file | not run here | why |`, and says the
same near its top: "Run in the tests" or "Not run here". What is run is named by a script or a test or built by CMake; what
is not run is named by no script.

    check_examples.py [FOLDER]

FOLDER is the project's (default: the current one).
"""
import os
import re
import subprocess
import sys

TOP = 30  # lines
RUN, NOT_RUN = 'Run in the tests', 'Not run here'
NO_EXAMPLES = ('README.md', 'CMakeLists.txt', '.rc.in')
ROW = re.compile(r'^\| `([^`]+)` \| ([^|]+) \| ([^|]+) \|$')


def files_below(root, *folders):
    """The project's files in these folders; those that git would take, too."""
    command = ['git', '-C', root, 'ls-files', '-z', '--cached', '--others', '--exclude-standard', *folders]
    listed = subprocess.check_output(command, text=True).split('\0')
    return sorted(name for name in set(listed) if name and os.path.exists(os.path.join(root, name)))


def read(root, name):
    with open(os.path.join(root, name), encoding='utf-8', errors='replace') as file:
        return file.read()


def rows(text):
    """(file, state) of each row."""
    return [(match[1], match[2].strip()) for match in map(ROW.match, text.splitlines()) if match]


def stated(text):
    """What the top of a file says: the states that stand there."""
    top = '\n'.join(text.splitlines()[:TOP])
    return [state for state in (RUN, NOT_RUN) if state in top]


def faults_of(name, state, text, runners, builders):
    """What is wrong with one file and its row. Runners is the text of all that runs examples."""
    said = stated(text)
    runs = state.startswith('run: ')
    if not runs and state != 'not run here':
        yield f'{name}: the table says "{state}", neither "run: SUITE" nor "not run here"'
    elif said != [RUN if runs else NOT_RUN]:
        yield f'{name}: the table says "{state}", its top says {" and ".join(said) or "neither"}'
    elif runs and not name.endswith('.h') and os.path.basename(name) not in runners + builders:
        yield f'{name}: nothing runs it, although the table says "{state}"'
    elif not runs and name in runners:
        yield f'{name}: the table says "{state}", but a script names it'


def check(root):
    examples = [name for name in files_below(root, 'examples') if not name.endswith(NO_EXAMPLES)]
    table = rows(read(root, 'examples/README.md'))
    names = ['examples/' + name for name, _ in table]
    runners = ''.join(read(root, name) for name in files_below(root, 'scripts', 'tests')
                      if name.endswith(('.sh', '.py', '.cpp', '.txt', 'run_all')))
    builders = ''.join(read(root, name) for name in files_below(root, 'examples') if name.endswith('CMakeLists.txt'))
    faults = [f'{name}: is not in the table of examples/README.md' for name in examples if name not in names]
    faults += [f'{name}: stands in the table of examples/README.md twice' for name in sorted(set(names)) if names.count(name) > 1]
    for name, (_, state) in zip(names, table):
        if name not in examples:
            faults.append(f'{name}: stands in the table of examples/README.md, but there is no such file')
        else:
            faults += faults_of(name, state, read(root, name), runners, builders)
    return faults


if __name__ == '__main__':
    found = check(sys.argv[1] if len(sys.argv) > 1 else '.')
    print('\n'.join(found), end='\n' if found else '')
    sys.exit(bool(found))
