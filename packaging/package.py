#!/usr/bin/env python3
"""package.py VERSION COMMIT EPOCH WINDOWS-BUILD DEPS OUTPUT: makes OUTPUT/VexKamCOMWrapper-VERSION-win64.zip, the installer, the
list of what is inside (SPDX 2.3) and the SHA-256 sums. EPOCH is the time of everything that is packaged."""
import hashlib
import json
import os
import shutil
import struct
import subprocess
import sys
import zipfile
from datetime import datetime, timezone
from pathlib import Path

from contents import components, notices

ROOT = Path(__file__).resolve().parent.parent
version, commit, epoch, build, deps, output = sys.argv[1:]
epoch, build, deps, output = int(epoch), Path(build), Path(deps), Path(output)
name = f'VexKamCOMWrapper-{version}-win64'
stage = output / name


def programs():
    """Where each file of the package's first folder comes from."""
    files = {'VexKamCOMWrapper.dll': 'bin/VexKamCOMWrapper.dll', 'viewer.exe': 'packaging/viewer.exe',
             'softcam.exe': 'tools/softcam/softcam.exe', 'pvctl.exe': 'tools/pvctl/pvctl.exe',
             'vexregister.exe': 'tools/vexregister/vexregister.exe',
             'all_classes.exe': 'examples/cpp/all_classes.exe', 'all_classes.exe.manifest': 'packaging/program.manifest',
             'VexKamCOMWrapper.Server.manifest': 'packaging/VexKamCOMWrapper.Server.manifest'}
    return files


def tracked(folder):
    listed = subprocess.check_output(['git', '-C', str(ROOT), 'ls-files', '-z', folder], text=True)
    return [path for path in listed.split('\0') if path]


def put(source, target):
    path = stage / target
    path.parent.mkdir(parents=True, exist_ok=True)
    shutil.copyfile(source, path)


def lay_out():
    shutil.rmtree(stage, ignore_errors=True)
    for target, source in programs().items():
        put(build / source, target)
    for header in ('VexKamCOMWrapper_h.h', 'VexKamCOMWrapper_i.c', 'VexKamCOMWrapper.tlb'):
        put(build / 'idl' / header, f'include/{header}')
    for path in tracked('examples') + tracked('docs') + ['README.md', 'CHANGELOG.md']:
        if not path.startswith('docs/site/'):
            put(ROOT / path, path)
    site = ROOT / 'build/docs/site'
    for path in sorted(site.rglob('*')) if site.exists() else []:
        if path.is_file():
            put(path, f'documentation/{path.relative_to(site)}')
    put(ROOT / 'packaging/README.txt', 'README.txt')
    (stage / 'THIRD-PARTY-NOTICES.txt').write_text(notices(deps), encoding='utf-8')


def staged():
    return sorted((path for path in stage.rglob('*') if path.is_file()), key=lambda path: path.relative_to(stage).as_posix())


def digest(path, method):
    return hashlib.new(method, path.read_bytes()).hexdigest()


def spdx_package(component):
    return {'SPDXID': f'SPDXRef-{component.id}', 'name': component.name, 'versionInfo': component.version,
            'downloadLocation': 'NOASSERTION', 'filesAnalyzed': False, 'licenseConcluded': component.license,
            'licenseDeclared': component.license, 'copyrightText': 'NOASSERTION',
            'comment': f'Linked into {", ".join(component.used_by)}. Debian source package {component.source}.'}


def spdx(files):
    own = {'SPDXID': 'SPDXRef-VexKamCOMWrapper', 'name': 'VexKamCOMWrapper', 'versionInfo': version,
           'downloadLocation': 'NOASSERTION', 'filesAnalyzed': True, 'licenseConcluded': 'NOASSERTION',
           'licenseDeclared': 'NOASSERTION', 'copyrightText': 'NOASSERTION',
           'packageVerificationCode': {'packageVerificationCodeValue': hashlib.sha1(
               ''.join(sorted(digest(path, 'sha1') for path in files)).encode()).hexdigest()}}
    linked = components(deps)
    entries, relations = [], [('SPDXRef-DOCUMENT', 'DESCRIBES', own['SPDXID'])]
    ids = {}
    for number, path in enumerate(files, 1):
        shown = path.relative_to(stage).as_posix()
        ids[shown] = f'SPDXRef-File-{number}'
        entries.append({'SPDXID': ids[shown], 'fileName': f'./{shown}', 'licenseConcluded': 'NOASSERTION',
                        'licenseInfoInFiles': ['NOASSERTION'], 'copyrightText': 'NOASSERTION',
                        'checksums': [{'algorithm': 'SHA1', 'checksumValue': digest(path, 'sha1')},
                                      {'algorithm': 'SHA256', 'checksumValue': digest(path, 'sha256')}]})
        relations.append((own['SPDXID'], 'CONTAINS', ids[shown]))
    relations += [(ids[file], 'STATIC_LINK', f'SPDXRef-{component.id}') for component in linked for file in component.used_by
                  if file in ids]
    return {'spdxVersion': 'SPDX-2.3', 'dataLicense': 'CC0-1.0', 'SPDXID': 'SPDXRef-DOCUMENT', 'name': name,
            'documentNamespace': f'urn:vexkamcomwrapper:{version}:{commit}',
            'creationInfo': {'created': datetime.fromtimestamp(epoch, timezone.utc).strftime('%Y-%m-%dT%H:%M:%SZ'),
                             'creators': ['Tool: VexKamCOMWrapper-package.py']},
            'packages': [own] + [spdx_package(component) for component in linked], 'files': entries,
            'relationships': [{'spdxElementId': a, 'relationshipType': kind, 'relatedSpdxElement': b}
                              for a, kind, b in relations]}


def write_zip():
    """Each file with the same time, in order, so that the same files give the same archive."""
    moment = datetime.fromtimestamp(epoch, timezone.utc).timetuple()[:6]
    with zipfile.ZipFile(output / f'{name}.zip', 'w', zipfile.ZIP_DEFLATED, compresslevel=9) as archive:
        for path in staged():
            entry = zipfile.ZipInfo(f'{name}/{path.relative_to(stage).as_posix()}', moment)
            entry.compress_type = zipfile.ZIP_DEFLATED
            entry.create_system = 0
            archive.writestr(entry, path.read_bytes())


def write_side_picture(path):
    """The picture beside the text of the first and the last page: a plane in one colour that grows darker downwards."""
    width, height = 164, 314
    row_size = (width * 3 + 3) // 4 * 4
    top, bottom = (0x8A, 0x5A, 0x2B), (0x40, 0x26, 0x12)  # blue, green, red
    rows = b''
    for row in range(height):  # from the lowest
        colour = bytes(low + (high - low) * row // (height - 1) for high, low in zip(top, bottom))
        rows += (colour * width).ljust(row_size, b'\0')
    path.write_bytes(struct.pack('<2sIHHI', b'BM', 54 + len(rows), 0, 0, 54) +
                     struct.pack('<IiiHHIIiiII', 40, width, height, 1, 24, 0, len(rows), 2835, 2835, 0, 0) + rows)


def write_installer():
    """With the list of what it puts on a disk, so that the uninstaller removes that and nothing else."""
    files = [path.relative_to(stage).as_posix().replace('/', '\\') for path in staged()]
    folders = sorted({str(path.parent.relative_to(stage)).replace('/', '\\') for path in staged()} - {'.'}, reverse=True)
    parents = {'\\'.join(folder.split('\\')[:depth]) for folder in folders for depth in range(1, folder.count('\\') + 2)}
    lists = output / 'lists'
    lists.mkdir(exist_ok=True)
    write_side_picture(lists / 'side.bmp')
    os.utime(lists / 'side.bmp', (epoch, epoch))  # the installer keeps it
    put_files, folder = [], None
    for file in files:
        parent = file.rpartition('\\')[0]
        if parent != folder:
            put_files.append(f'SetOutPath "$INSTDIR{chr(92) if parent else ""}{parent}"')
            folder = parent
        put_files.append('File "${STAGE}/' + file.replace('\\', '/') + '"')
    (lists / 'install.nsh').write_text('\n'.join(put_files) + '\n')
    (lists / 'remove.nsh').write_text('\n'.join([f'Delete "$INSTDIR\\{file}"' for file in files] +
                                               [f'RMDir "$INSTDIR\\{folder}"' for folder in sorted(parents, reverse=True)]) + '\n')
    size = sum(path.stat().st_size for path in staged()) // 1024
    result = subprocess.run(['makensis', '-V2', '-WX', f'-DVERSION={version}', f'-DSIZE={size}', f'-DSTAGE={stage}',
                             f'-DLISTS={lists}', f'-DOUTPUT={output / name}-setup.exe', str(ROOT / 'packaging/installer.nsi')],
                            env=os.environ | {'SOURCE_DATE_EPOCH': str(epoch)}, stdout=subprocess.PIPE,
                            stderr=subprocess.STDOUT, text=True, check=False)
    if result.returncode != 0:
        sys.exit(result.stdout + 'The installer could not be made.')
    shutil.rmtree(lists)


def main():
    output.mkdir(parents=True, exist_ok=True)
    lay_out()
    listed = f'{name}.spdx.json'
    (output / listed).write_text(json.dumps(spdx(staged()), indent=1) + '\n')
    put(output / listed, listed)
    for path in stage.rglob('*'):
        path.chmod(0o755 if path.is_dir() else 0o644)
        os.utime(path, (epoch, epoch))
    write_zip()
    write_installer()
    made = [f'{name}-setup.exe', f'{name}.zip', listed]
    (output / 'SHA256SUMS').write_text(''.join(f'{digest(output / file, "sha256")}  {file}\n' for file in made))
    shutil.rmtree(stage)


main()
