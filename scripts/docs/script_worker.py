#!/usr/bin/env python3
"""script_worker.py ROOT OUTPUT NUMBER: runs the scripts of OUTPUT/scripts, one after the other, each with a new camera.

Several workers share the scripts. Each has a Wine prefix of its own and a network of its own, so that every camera has the
same address; the worker with the NUMBER "only" uses the network that is there. What became of a script goes to a file
beside it.
"""
import json
import os
import shutil
import subprocess
import sys
import time
from pathlib import Path

from blocks import END_MARK

LIMIT = 60  # seconds a script may take
CAMERA, LINE = '127.0.0.2', 'com3'
WINE, WINE_SERVER = '/usr/lib/wine/wine64', '/usr/lib/wine/wineserver64'


def make_prefix(original, own):
    """A prefix that shares its drive with another one and has registry and devices of its own."""
    shutil.rmtree(own, ignore_errors=True)
    own.mkdir(parents=True)
    for path in original.iterdir():
        if path.suffix == '.reg' or path.name == '.update-timestamp':
            shutil.copyfile(path, own / path.name)
    shutil.copytree(original / 'dosdevices', own / 'dosdevices', symlinks=True)
    (own / 'dosdevices' / 'c:').unlink()
    (own / 'dosdevices' / 'c:').symlink_to(original / 'drive_c')
    (own / 'drive_c').symlink_to(original / 'drive_c')


class Worker:
    def __init__(self, root, output, number):
        self.root, self.scripts = root, output / 'scripts'
        self.work = output / f'work-{number}'
        self.prefix = output / f'wine-{number}'
        make_prefix(root / 'build/wine', self.prefix)
        self.environment = {name: value for name, value in os.environ.items() if name != 'DISPLAY'}
        self.environment['WINEPREFIX'] = str(self.prefix)

    def start(self, program, *arguments):
        log = self.work / f'{program}.log'
        with log.open('w', encoding='utf-8') as file:
            running = subprocess.Popen([self.root / f'build/native/tools/{program}/{program}', *arguments], stdout=file,
                                       stderr=subprocess.STDOUT, stdin=subprocess.DEVNULL)
        deadline = time.monotonic() + 10
        while 'listening' not in log.read_text(encoding='utf-8'):
            if running.poll() is not None or time.monotonic() > deadline:
                running.kill()
                sys.exit(f'docs: {program} did not start: {log.read_text(encoding="utf-8")}')
            time.sleep(0.02)
        return running

    def run(self, script):
        shutil.rmtree(self.work, ignore_errors=True)
        self.work.mkdir()
        cameras = [self.start('softcam', '--address', CAMERA, '--serial', 'DOCS'),
                   self.start('softlink', '--link', str(self.prefix / 'dosdevices' / LINE))]
        since = time.monotonic()
        with (self.work / 'output').open('wb') as output:
            host = subprocess.Popen([WINE, 'cscript', '//nologo', 'Z:' + str(script).replace('/', '\\')], cwd=self.work,
                                    env=self.environment, stdin=subprocess.DEVNULL, stdout=output, stderr=subprocess.STDOUT)
            try:
                code = host.wait(LIMIT)
            except subprocess.TimeoutExpired:
                host.kill()
                host.wait()
                code = 'no end'
        for camera in cameras:
            camera.terminate()
            camera.wait()
        lines = (self.work / 'output').read_text(encoding='utf-8', errors='replace').splitlines()
        return {'passed': code == 0 and END_MARK in lines, 'code': code, 'seconds': time.monotonic() - since,
                'output': [line for line in lines if line != END_MARK]}

    def work_off(self):
        subprocess.run([WINE_SERVER, '-p'], env=self.environment, stdin=subprocess.DEVNULL, check=True)
        try:
            for script in sorted(self.scripts.glob('*.vbs')):
                try:
                    script.with_suffix('.taken').touch(exist_ok=False)
                except FileExistsError:
                    continue
                # the folder that the script writes to is the worker's
                text = script.read_text(encoding='utf-8').replace('Z:\\WORK', 'Z:' + str(self.work).replace('/', '\\'))
                script.write_text(text, encoding='utf-8')
                script.with_suffix('.json').write_text(json.dumps(self.run(script)), encoding='utf-8')
        finally:
            subprocess.run([WINE_SERVER, '-k'], env=self.environment, check=False)


def main():
    root, output, number = Path(sys.argv[1]), Path(sys.argv[2]), sys.argv[3]
    if number != 'only':  # in a network namespace of its own, where nothing is up yet
        subprocess.run(['ip', 'link', 'set', 'lo', 'up'], check=True)
    Worker(root, output, number).work_off()


if __name__ == '__main__':
    main()
