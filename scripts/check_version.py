#!/usr/bin/env python3
"""The version stands in one place, CMakeLists.txt, and CHANGELOG.md begins with it."""
import re
import subprocess
import sys
from pathlib import Path


def version_of_project():
    return re.search(r'^project\(VexKamCOMWrapper VERSION (\d+\.\d+\.\d+) ', Path('CMakeLists.txt').read_text(), re.M)[1]


def version_of_changelog():
    return re.search(r'^## (\S+)', Path('CHANGELOG.md').read_text(), re.M)[1]


def copies(version):
    """Files of sources that repeat the version instead of asking for it."""
    shown = subprocess.run(['git', 'grep', '-lwF', version, '--', '*.cpp', '*.h', '*.in', '*.nsi', '*.py', '*.sh', '*.cmake',
                            '*CMakeLists.txt', '*.rc'], stdout=subprocess.PIPE, text=True, check=False).stdout
    return [name for name in shown.split() if name != 'CMakeLists.txt']


def main():
    version = version_of_project()
    wrong = [f'{name} repeats the version {version}' for name in copies(version)]
    if version_of_changelog() != version:
        wrong.append(f'CHANGELOG.md begins with {version_of_changelog()}, but CMakeLists.txt says {version}')
    print('\n'.join(wrong) or f'   version {version}: CHANGELOG.md agrees, and no source repeats it')
    return bool(wrong)


sys.exit(main())
