#!/usr/bin/env python3
"""package_test.py DIST SCRATCH SOFTCAM: the packages in DIST as a user has them, in a Wine prefix under SCRATCH that has never
seen the server. VEX_LOADER and VEX_SERVER name Wine's programs. Ends with "N passed, N failed"."""
import hashlib
import json
import os
import re
import shutil
import signal
import subprocess
import sys
import time
import traceback
import zipfile
from pathlib import Path

DIST, SCRATCH, SOFTCAM = (Path(argument).resolve() for argument in sys.argv[1:4])
ROOT = Path(__file__).resolve().parents[2]
PREFIX, DRIVE = SCRATCH / 'wine', SCRATCH / 'wine/drive_c'
SETUP = next(DIST.glob('*-setup.exe'))
ARCHIVE = next(DIST.glob('*.zip'))
VERSION = re.search(r'-(\d+\.\d+\.\d+)-', SETUP.name)[1]
WINE = os.environ.get('VEX_LOADER', '/usr/lib/wine/wine64')
SERVER = os.environ.get('VEX_SERVER', '/usr/lib/wine/wineserver64')
UNINSTALL = r'Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\VexKamCOMWrapper'
# What Wine writes of its screen each time it starts; and the copy of itself in the temporary folder from which an uninstaller runs,
# noted to be removed at the next start of Windows. No other difference is overlooked
PASSING = re.compile(r'"DriverDate(Data)?"=.*|'
                     r'"PendingFileRenameOperations"=str\(7\):"(\\\\\?\?\\\\C:\\\\users\\\\[^\\]+\\\\Temp\\\\~nsu[^\\]*(\\\\Un[^\\]*\.exe)?\\0\\0)+"')
ENVIRONMENT = {key: value for key, value in os.environ.items() if key != 'DISPLAY'} | {
    'WINEPREFIX': str(PREFIX), 'WINEDEBUG': '-all',
    # neither Wine's debugger nor entries in the menu of this machine's desktop
    'WINEDLLOVERRIDES': 'mscoree,mshtml,winedbg.exe,winemenubuilder.exe='}


def wine(program, *arguments, limit=100, cwd=None):
    """Exit code and output. The output goes through a file: Wine's own processes keep a pipe open."""
    output = SCRATCH / 'output'
    with output.open('wb') as file:
        code = subprocess.run([WINE, program, *arguments], env=ENVIRONMENT, stdin=subprocess.DEVNULL, stdout=file, cwd=cwd,
                              stderr=subprocess.STDOUT, timeout=limit, check=False).returncode
    return code, output.read_text(errors='replace').replace('\r', '')


def windows_path(path):
    return 'Z:' + str(path).replace('/', '\\')


def cscript(file, text, *arguments):
    """Output of a script whose text is given. The exit code says nothing: cscript under Wine ends with 0 where a script fails."""
    path = SCRATCH / file
    path.write_text(text)
    return wine('cscript', '//nologo', windows_path(path), *arguments)[1]


def stop_server():
    subprocess.run([SERVER, '-k'], env=ENVIRONMENT, check=False)
    subprocess.run([SERVER, '-w'], env=ENVIRONMENT, check=False, timeout=60)


def start_server():
    subprocess.run([SERVER, '-p'], env=ENVIRONMENT, check=True, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                   stderr=subprocess.DEVNULL)


def registry():
    """{'machine\\key' or 'user\\key': values}, in Wine's notation, once everything is written."""
    stop_server()
    keys = {}
    for file, hive in (('system.reg', 'machine'), ('user.reg', 'user')):
        key = None
        for line in (PREFIX / file).read_text(errors='replace').splitlines():
            if head := re.match(r'\[(.*)\] \d+$', line):
                key = keys.setdefault(f'{hive}\\\\{head[1]}', [])
            elif key is not None and line and not line.startswith('#') and not PASSING.fullmatch(line):
                key.append(line)
    start_server()
    return {key: '\n'.join(sorted(values)) for key, values in keys.items()}


def files():
    return {path.relative_to(DRIVE).as_posix(): '' if path.is_dir() else hashlib.sha256(path.read_bytes()).hexdigest()
            for path in DRIVE.rglob('*') if not path.is_symlink() and 'windows/temp' not in path.as_posix().lower()
            and '/Temp/' not in path.as_posix()}


def differences(before, after):
    return sorted([f'{name} is new' for name in after.keys() - before.keys()] + [f'{name} is gone' for name in before.keys() - after.keys()] +
                  [f'{name} has changed' for name in before.keys() & after.keys() if before[name] != after[name]])


def check(holds, text):
    if not holds:
        raise AssertionError(text)


def nothing_left(before):
    left = differences(before[0], registry()) + differences(before[1], files())
    check(not left, 'left behind: ' + '; '.join(left[:20]))


def packaged():
    """What the archive holds, by its paths."""
    with zipfile.ZipFile(ARCHIVE) as archive:
        return {name.partition('/')[2]: hashlib.sha256(archive.read(name)).hexdigest() for name in archive.namelist()}


def installed_in(folder):
    return {path.relative_to(folder).as_posix(): hashlib.sha256(path.read_bytes()).hexdigest()
            for path in folder.rglob('*') if path.is_file() and path.name != 'uninstall.exe'}


def install(*arguments):
    code, output = wine(str(SETUP), '/S', *arguments)
    check(code == 0, f'the installer ended with {code}: {output}')


def uninstall(folder, mode):
    """The uninstaller copies itself away, goes on there and deletes its folder last but for the registry."""
    code, output = wine(str(folder / 'uninstall.exe'), f'/{mode}', '/S')
    check(code == 0, f'the uninstaller ended with {code}: {output}')
    deadline = time.monotonic() + 60
    while folder.exists() or wine('reg', 'query', f'{"HKLM" if mode == "AllUsers" else "HKCU"}\\' + UNINSTALL.replace('\\\\', '\\'))[0] == 0:
        check(time.monotonic() < deadline, 'the uninstaller does not come to its end')
        time.sleep(0.2)


def folder_for_all():
    return DRIVE / 'Program Files/VexKamCOMWrapper'


def folder_of_user():
    """Wherever the user's programs are."""
    return next(path.parent for path in (DRIVE / 'users').rglob('VexKamCOMWrapper.dll'))


def classes_below(registry_keys, prefix):
    """What the server wrote below a key of classes, without where the DLL is."""
    return {key[len(prefix):]: re.sub(r'"[A-Z]:\\\\[^"]*"', '"FOLDER"', values) for key, values in registry_keys.items() if key.startswith(prefix)}


def import_keys(file, text):
    (SCRATCH / file).write_text(text, encoding='utf-16')
    code, output = wine('reg', 'import', windows_path(SCRATCH / file))
    check(code == 0, output)


def copy_users_classes():
    """From the user's part of the registry to the machine's."""
    file = SCRATCH / 'classes.reg'
    wine('reg', 'export', r'HKCU\Software\Classes', windows_path(file), '/y')
    import_keys(file.name, file.read_text(encoding='utf-16').replace('[HKEY_CURRENT_USER\\', '[HKEY_LOCAL_MACHINE\\'))


# ---- the tests, in this order: the prefix has never seen the server when the first begins ----

def test_sums_agree():
    for line in (DIST / 'SHA256SUMS').read_text().splitlines():
        digest, name = line.split()
        check(hashlib.sha256((DIST / name).read_bytes()).hexdigest() == digest, f'{name} has another sum')


def test_list_names_every_file():
    listed = json.loads(next(DIST.glob('*.spdx.json')).read_text())
    named = {entry['fileName'][2:]: entry['checksums'][1]['checksumValue'] for entry in listed['files']}
    inside = {name: digest for name, digest in packaged().items() if not name.endswith('.spdx.json')}
    check(named == inside, '; '.join(differences(named, inside)[:10]))
    check({'pugixml', 'highway', 'zlib', 'libstdcpp', 'mingw-w64', 'libpng', 'libtiff', 'CLI11', 'nlohmann-json'} <= {entry['SPDXID'][8:] for entry in listed['packages']}, 'a library is not listed')


def test_notices_have_the_licences():
    with zipfile.ZipFile(ARCHIVE) as archive:
        text = archive.read(f'{ARCHIVE.stem}/THIRD-PARTY-NOTICES.txt').decode()
    for words in ('Arseny Kapoulkine', 'Jean-loup Gailly', 'Apache License', 'GCC Runtime Library Exception', 'MinGW-w64',
                  'Cosmin Truta', 'Silicon Graphics', 'Henry Schreiner', 'Niels Lohmann'):
        check(words.lower() in text.lower(), f'the notices do not say "{words}"')


def test_archive_works_without_registration():
    before = registry()
    with zipfile.ZipFile(ARCHIVE) as archive:
        archive.extractall(SCRATCH)
    folder = SCRATCH / ARCHIVE.stem
    code, output = wine(str(folder / 'all_classes.exe'), cwd=folder)
    check(code == 0 and '48 classes were created, 0 could not be created.' in output, output)
    left = differences(before, registry())
    check(not left, f'the registry has changed: {left[:5]}')


def test_programs_say_their_version():
    folder = SCRATCH / ARCHIVE.stem
    for name in ('softcam', 'pvctl'):
        code, output = wine(str(folder / f'{name}.exe'), '--version')
        check(code == 0 and output.strip() == f'{name} {VERSION}', output)
    for file in (folder / 'VexKamCOMWrapper.dll', SETUP):
        check(f'ProductVersion\0'.encode('utf-16-le') in file.read_bytes() and f'{VERSION}\0'.encode('utf-16-le') in file.read_bytes(), f'{file.name} has another version')


def test_programs_need_only_windows():
    """No library beside them: what they import, Windows (here Wine) has."""
    system = {path.name.lower() for path in (DRIVE / 'windows/system32').iterdir()}
    for path in (SCRATCH / ARCHIVE.stem).glob('*.exe'):
        shown = subprocess.check_output(['x86_64-w64-mingw32-objdump', '-p', str(path)], text=True)
        wanted = {name.lower() for name in re.findall(r'DLL Name: (\S+)', shown)}
        check(wanted and wanted <= system, f'{path.name} needs {wanted - system}')


def softcam(*arguments):
    """A camera that has said it listens; to be used with `with` and ended by SIGINT."""
    log = SCRATCH / 'softcam.log'
    with log.open('w') as file:
        camera = subprocess.Popen(arguments, env=ENVIRONMENT, stdin=subprocess.DEVNULL, stdout=file, stderr=file)
    deadline = time.monotonic() + 30
    while 'listening' not in log.read_text(errors='replace'):
        check(camera.poll() is None and time.monotonic() < deadline, f'no camera: {log.read_text(errors="replace")}')
        time.sleep(0.05)
    return camera


def test_command_line_tool_uses_a_camera():
    tool = str(SCRATCH / ARCHIVE.stem / 'pvctl.exe')
    picture = SCRATCH / 'Bild_\u00e4.png'
    with softcam(SOFTCAM, '--address', '127.0.0.2', '--serial', 'PVCTL') as camera:
        try:
            for arguments, expected in ((('discover',), 'PVCTL'), (('info', '127.0.0.2'), 'SoftCam'),
                                        (('set', '127.0.0.2', 'Width=320'), '320'), (('get', '127.0.0.2', 'Width'), 'Width = 320'),
                                        (('grab', '127.0.0.2', '-n', '1', '-o', windows_path(picture)), '1 frames, 0 damaged'),
                                        (('grab', '127.0.0.2', '-n', '3', '-o', windows_path(SCRATCH / 'Bild_\u00e4.tiff')), '3 frames, 0 damaged')):
                code, output = wine(tool, *arguments)
                check(code == 0 and expected in output, f'{arguments}: {code}: {output}')
            code, output = wine(tool, 'get', '127.0.0.2', 'Gr\u00f6\u00dfe')
            check(code == 3 and 'no feature "Gr\u00f6\u00dfe"' in output, f'{code}: {output}')
        finally:
            camera.send_signal(signal.SIGINT)
    check(picture.read_bytes()[:8] == b'\x89PNG\r\n\x1a\n' and picture.read_bytes()[16:20] == (320).to_bytes(4, 'big'), 'no picture 320 pixels wide')
    for number in (1, 2, 3):
        check((SCRATCH / f'Bild_\u00e4_0000{number}.tiff').read_bytes()[:4] == b'II*\0', 'no TIFF file')


def test_software_camera_is_used():
    """Both programs of the package with each other. Wine has one loopback address."""
    folder = SCRATCH / ARCHIVE.stem
    with softcam(WINE, str(folder / 'softcam.exe'), '--address', '127.0.0.1', '--serial', 'WINDOWS') as camera:
        try:
            code, output = wine(str(folder / 'pvctl.exe'), 'info', '127.0.0.1')
            check(code == 0 and 'WINDOWS' in output, output)
            code, output = wine(str(folder / 'pvctl.exe'), 'grab', '127.0.0.1', '-n', '3')
            check(code == 0 and '3 frames, 0 damaged' in output, output)
        finally:
            camera.kill()


def test_viewer_connects_without_registration():
    """Its window is drawn nowhere here; that it has the camera is seen from outside."""
    folder = SCRATCH / ARCHIVE.stem
    with softcam(SOFTCAM, '--address', '127.0.0.2', '--serial', 'VIEWER') as camera:
        with subprocess.Popen([WINE, str(folder / 'viewer.exe'), '127.0.0.2'], env=ENVIRONMENT, cwd=SCRATCH, stdin=subprocess.DEVNULL,
                              stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL) as viewer:
            try:
                deadline = time.monotonic() + 60
                shown = {}
                while shown.get('access', 'free') == 'free':
                    check(time.monotonic() < deadline and viewer.poll() is None, f'the viewer does not take the camera: {shown}')
                    code, output = wine(str(folder / 'pvctl.exe'), 'discover', '--json')
                    check(code == 0, output)
                    shown = next((device for device in json.loads(output) if device['serial_number'] == 'VIEWER'), {})
            finally:
                viewer.kill()
                camera.send_signal(signal.SIGINT)


def test_installs_for_everyone():
    install('/AllUsers')
    check(installed_in(folder_for_all()) == packaged(), '; '.join(differences(packaged(), installed_in(folder_for_all()))[:10]))
    keys = registry()
    values = keys.get(f'machine\\\\{UNINSTALL}', '')
    check(f'"DisplayVersion"="{VERSION}"' in values and '/AllUsers /S' in values, f'what Windows shows of it: {values}')
    server = keys.get(r'machine\\Software\\Classes\\CLSID\\{ADF0D9D8-36F8-4E25-9A3A-6B4CD601D4B2}\\InprocServer32', '')
    check('Program Files' in server and 'VexKamCOMWrapper.dll' in server, f'the server is registered as {server}')
    menu = next(DRIVE.glob('ProgramData/Microsoft/Windows/Start Menu/Programs/VexKamCOMWrapper'), None)
    check(menu is not None and len(list(menu.glob('*.lnk'))) == 4, 'the Start menu has no entries')


def test_manifest_names_what_registration_writes():
    """Two ways to the same: what regsvr32 and the type library put into the registry."""
    manifest = (SCRATCH / ARCHIVE.stem / 'VexKamCOMWrapper.Server.manifest').read_text().upper()
    written = classes_below(registry(), r'machine\\Software\\Classes\\')
    classes = {key.split('\\\\')[1] for key, value in written.items() if re.fullmatch(r'CLSID\\\\\{.*\}\\\\InprocServer32', key) and 'FOLDER' in value
               and 'Apartment' in value and '"AppID"="{6E01AF43' in written[key.rpartition('\\\\')[0]]}
    interfaces = {key.split('\\\\')[1] for key, value in written.items() if re.fullmatch(r'Interface\\\\\{.*\}\\\\TypeLib', key) and '700AA29B' in value.upper()}
    check(len(classes) == 48, f'{len(classes)} classes are registered')
    check(len(interfaces) > 48, f'{len(interfaces)} interfaces are registered')
    in_manifest = set(re.findall(r'IID="(\{[^"]*\})"', manifest)), set(re.findall(r'CLSID="(\{[^"]*\})"', manifest))
    check(in_manifest[1] == {name.upper() for name in classes}, 'other classes in the manifest')
    check(in_manifest[0] == {name.upper() for name in interfaces}, f'other interfaces in the manifest: {in_manifest[0] ^ {name.upper() for name in interfaces}}')


def test_script_sees_a_camera():
    log = (SCRATCH / 'softcam.log').open('w+')
    with subprocess.Popen([SOFTCAM, '--address', '127.0.0.2', '--serial', 'PACKAGE'], stdout=log, stderr=log) as camera:
        try:
            script = r'C:\Program Files\VexKamCOMWrapper\examples\vbscript\features.vbs'
            code, output = wine('cscript', '//nologo', script, '127.0.0.2')
        finally:
            camera.send_signal(signal.SIGINT)
    check(code == 0 and output.rstrip().endswith('Done.'), output[-600:])


def test_running_again_repairs():
    whole = registry()
    (folder_for_all() / 'VexKamCOMWrapper.dll').unlink()
    (folder_for_all() / 'docs/install.md').write_text('spoilt')
    wine('reg', 'delete', r'HKLM\Software\Classes\VexKamCOMWrapper.VexSystem', '/f')
    check(differences(whole, registry()), 'nothing was broken')
    install('/AllUsers')
    check(installed_in(folder_for_all()) == packaged(), 'files were not repaired')
    left = differences(whole, registry())
    check(not left, '; '.join(left[:10]))


def test_firewall_rule_is_written_down():
    """Wine's netsh only says that it worked; without it the installation goes on."""
    told = folder_for_all() / 'firewall.txt'
    rule = 'netsh advfirewall firewall add rule name="VexKamCOMWrapper cameras" dir=in action=allow protocol=UDP remoteip=localsubnet ' \
           r'profile=private,domain program="C:\Program Files\VexKamCOMWrapper\viewer.exe"'
    netsh, aside = DRIVE / 'windows/system32/netsh.exe', SCRATCH / 'netsh.exe'
    check(not told.exists(), 'a rule was not asked for')
    install('/AllUsers', '/Firewall')
    text = told.read_text(encoding='utf-16')
    check('was added' in text and rule in text, text)
    shutil.move(netsh, aside)
    try:
        install('/AllUsers', '/Firewall')
    finally:
        shutil.move(aside, netsh)
    text = told.read_text(encoding='utf-16')
    check('could not be added (error)' in text and rule in text, text)


def test_uninstalls_without_a_trace():
    BOTH['everyone'] = classes_below(registry(), r'machine\\Software\\Classes\\')
    uninstall(folder_for_all(), 'AllUsers')
    nothing_left(CLEAN)


def test_installs_for_one_user_as_for_everyone():
    before = registry()
    install('/CurrentUser')
    after = registry()
    check(installed_in(folder_of_user()) == packaged(), 'other files')
    clean = classes_below(CLEAN[0], r'machine\\Software\\Classes\\')
    everyones = {key: value for key, value in BOTH['everyone'].items() if clean.get(key) != value}
    # Wine ignores RegOverridePredefKey for a key that is opened for 32-bit programs, and its RegisterTypeLib opens the interfaces
    # so, too: these, and nothing else, go to the machine's part
    for_32_bits = {key for key in everyones if key.startswith(r'Wow6432Node\\Interface\\{')}
    machine = {text for text in differences(before, after) if text.startswith('machine')}
    machine -= {f'machine\\\\Software\\\\Classes\\\\{key} is new' for key in for_32_bits}
    check(not machine, f'the machine\'s part has changed: {sorted(machine)[:10]}')
    mine = classes_below(after, r'user\\Software\\Classes\\')
    missing = {key: value for key, value in everyones.items() if key not in for_32_bits and mine.get(key) != value}
    check(len(everyones) - len(for_32_bits) > 400 and not missing,
          f'{len(everyones)} keys for everyone, not so for one user: {list(missing.items())[:5]}')
    check('/CurrentUser /S' in after.get(f'user\\\\{UNINSTALL}', ''), 'Windows would not list it for the user')


def test_a_class_registered_for_one_user_is_created():
    before = registry()
    script = 'Dim system\nSet system = CreateObject("VexKamCOMWrapper.VexSystem")\nWScript.Echo "Created: " & TypeName(system)\n'
    output = cscript('create.vbs', script)
    if 'Created: ' not in output:
        # Wine 8 looks for classes in the machine's part alone: what was written for the user is copied there as it stands
        copy_users_classes()
        output = cscript('create.vbs', script)
    check('Created: IVexSystem' in output, f'the script said: {output}')
    registrar = str(folder_of_user() / 'vexregister.exe')
    for arguments in (('--remove', '--everyone'), ('--user',)):
        code, output = wine(registrar, *arguments)
        check(code == 0, output)
    left = differences(before, registry())
    check(not left, '; '.join(left[:10]))


def test_uninstalls_for_one_user_without_a_trace():
    uninstall(folder_of_user(), 'CurrentUser')
    nothing_left(CLEAN)


def settle():
    """Brings the new prefix to the state that Wine itself gives it in time. Nothing that is tested has run before."""
    wine('wineboot', '-i')
    # no display, so that consoles can have windows; Wine's desktop takes the setting when it starts. At its second start Wine also
    # removes the key NetworkCards that its first one made
    wine('reg', 'add', r'HKCU\Software\Wine\Drivers', '/v', 'Graphics', '/d', 'null', '/f')
    stop_server()
    start_server()
    # cscript registers its own type library
    cscript('empty.vbs', 'WScript.Quit 0\n')
    # the first console program that an installer runs makes Wine write the key HKCU\Console: an installer of nothing does so
    script = SCRATCH / 'empty.nsi'
    script.write_text(f'Unicode true\nTarget amd64-unicode\nName empty\nOutFile "{SCRATCH}/empty.exe"\nRequestExecutionLevel user\n'
                      "SilentInstall silent\nSection\nnsExec::ExecToLog 'cmd /c exit'\nPop $0\nSectionEnd\n")
    subprocess.run(['makensis', '-V2', '-WX', str(script)], check=True)
    check(wine(str(SCRATCH / 'empty.exe'))[0] == 0, 'an installer of nothing failed')
    # keys and a folder that programs share, so that no uninstaller removes them; Windows has them, a new Wine prefix does not
    import_keys('parents.reg', 'Windows Registry Editor Version 5.00\n\n[HKEY_CURRENT_USER\\Software\\Classes]\n\n'
                '[HKEY_CURRENT_USER\\Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall]\n')
    next(DRIVE.glob('users/*/AppData/Local')).joinpath('Programs').mkdir(exist_ok=True)


BOTH = {}
CLEAN = ()


def main():
    global CLEAN
    shutil.rmtree(SCRATCH, ignore_errors=True)
    PREFIX.mkdir(parents=True)
    start_server()
    try:
        settle()
        CLEAN = registry(), files()
        passed = failed = 0
        for name, test in [item for item in globals().items() if item[0].startswith('test_')]:
            try:
                test()
                passed += 1
                print(f'   {name[5:].replace("_", " ")}', flush=True)
            except Exception:  # noqa: BLE001: one test's failure does not hide the next one's
                failed += 1
                print(f'   {name[5:].replace("_", " ")}: FAILED\n{traceback.format_exc(limit=2)}', flush=True)
    finally:
        stop_server()
    print(f'package: {passed} passed, {failed} failed')
    return 1 if failed or not passed else 0


sys.exit(main())
