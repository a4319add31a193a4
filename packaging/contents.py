"""What of others is linked into the packaged programs, and the texts of its licences from Debian's packages."""
import re
import subprocess
from dataclasses import dataclass
from pathlib import Path

ALL = ('VexKamCOMWrapper.dll', 'softcam.exe', 'pvctl.exe')
EVERY_PROGRAM = (*ALL, 'viewer.exe', 'vexregister.exe', 'all_classes.exe')


@dataclass
class Component:
    id: str
    name: str
    package: str  # the Debian package whose copyright file has the licence
    license: str
    used_by: tuple
    version: str = ''
    source: str = ''


LINKED = [
    Component('pugixml', 'pugixml', 'libpugixml-dev', 'MIT', ALL),
    Component('highway', 'Highway', 'libhwy-dev', 'Apache-2.0', ('VexKamCOMWrapper.dll', 'pvctl.exe')),
    Component('zlib', 'zlib', 'libz-mingw-w64-dev', 'Zlib', ALL),
    Component('libstdcpp', 'The GNU C++ and GCC runtime libraries', 'gcc-mingw-w64-x86-64-posix-runtime',
              'GPL-3.0-or-later WITH GCC-exception-3.1', EVERY_PROGRAM),
    Component('mingw-w64', 'The MinGW-w64 runtime and winpthreads', 'mingw-w64-x86-64-dev', 'ZPL-2.1 AND MIT', EVERY_PROGRAM),
    Component('CLI11', 'CLI11', 'libcli11-dev', 'BSD-3-Clause', ('softcam.exe', 'pvctl.exe')),
    # only the command line tool
    Component('nlohmann-json', 'JSON for Modern C++', 'nlohmann-json3-dev', 'MIT', ('pvctl.exe',)),
    Component('libpng', 'libpng', 'libpng-dev', 'libpng-2.0', ('pvctl.exe',)),
    Component('libtiff', 'libtiff', 'libtiff-dev', 'libtiff', ('pvctl.exe',)),
    Component('nsis', 'NSIS, of which the installer is made', 'nsis-common', 'Zlib', ()),
]


def asked(component, deps):
    """With the versions that this machine has: of the source that was compiled, where there is one, else of the package."""
    shown = subprocess.check_output(['dpkg-query', '-W', '-f=${Version} ${source:Package} ${source:Version}', component.package],
                                    text=True).split()
    component.version, component.source = shown[0], f'{shown[1]} {shown[2]}'
    for compiled in deps.glob(f'{shown[1]}_*.dsc'):
        component.version = compiled.stem.partition('_')[2]
        component.source = f'{shown[1]} {component.version}'
    return component


def components(deps):
    chosen = [asked(component, deps) for component in LINKED]
    for component in chosen:
        component.used_by = component.used_by or ('the installer',)
    return chosen


def common_licenses(text):
    """The licences that a copyright file only names by their path on Debian."""
    return sorted(set(re.findall(r'/usr/share/common-licenses/([A-Za-z0-9.-]*[A-Za-z0-9])', text)))


def notices(deps):
    text = ['VexKamCOMWrapper: notices of third parties', '',
            'These libraries of others are linked into the programs. Their licences, as Debian\'s packages have them, follow.',
            'The copyright file of a package also covers parts of its sources that are not in these programs.', '']
    chosen = components(deps)
    text += [f'- {component.name} {component.version} ({component.license}): in {", ".join(component.used_by)}' for component in chosen]
    named = set()
    for component in chosen:
        copyright_text = Path(f'/usr/share/doc/{component.package}/copyright').read_text(encoding='utf-8', errors='replace')
        named |= set(common_licenses(copyright_text))
        text += ['', '=' * 100, f'{component.name} {component.version}', '=' * 100, '', copyright_text.rstrip()]
    for license_name in sorted(named):
        path = Path('/usr/share/common-licenses', license_name)
        if path.exists():
            text += ['', '=' * 100, f'The licence that is named above as /usr/share/common-licenses/{license_name}', '=' * 100, '',
                     path.read_text(encoding='utf-8', errors='replace').rstrip()]
    return '\n'.join(text) + '\n'
