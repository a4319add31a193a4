"""The command line tool and software cameras as programs, for the tests beside this file.

    main() takes PVCTL and SOFTCAM off the command line.
"""
import fcntl
import json
import os
import pty
import struct
import subprocess
import sys
import termios
import threading
import unittest

PVCTL = SOFTCAM = ""


def read_all(descriptor):
    """What a terminal shows until the program at its other end has ended."""
    parts = []
    while True:
        try:
            part = os.read(descriptor, 65536)
        except OSError:  # the other end is closed
            part = b""
        if not part:
            return b"".join(parts).decode()
        parts.append(part)


class PvctlTest(unittest.TestCase):
    def start(self, *arguments):
        """A pvctl that goes on; ended with the test at the latest, and when nothing is heard of it for long."""
        program = subprocess.Popen([PVCTL, *arguments], stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
        watchdog = threading.Timer(40, program.kill)
        watchdog.start()
        self.addCleanup(watchdog.cancel)
        self.addCleanup(program.stdout.close)
        self.addCleanup(program.stderr.close)
        self.addCleanup(program.wait)
        self.addCleanup(program.kill)
        return program

    def start_camera(self, *arguments):
        camera = subprocess.Popen([SOFTCAM, *arguments], stdout=subprocess.PIPE, text=True)
        self.addCleanup(camera.stdout.close)
        self.addCleanup(camera.wait)
        self.addCleanup(camera.kill)
        while "listening on" not in (line := camera.stdout.readline()):
            self.assertTrue(line, "the camera did not start")
        return camera

    def pvctl(self, *arguments):
        """Exit code, standard output and standard error."""
        done = subprocess.run([PVCTL, *arguments], capture_output=True, text=True, timeout=60)
        return done.returncode, done.stdout, done.stderr

    def good(self, *arguments):
        """The output of a command that has to work."""
        code, text, errors = self.pvctl(*arguments)
        self.assertEqual((code, errors), (0, ""), text)
        return text

    def good_json(self, *arguments):
        return json.loads(self.good(*arguments, "--json"))

    def fails(self, expected_code, pattern, *arguments):
        code, _, errors = self.pvctl(*arguments)
        self.assertEqual(code, expected_code, errors)
        self.assertRegex(errors, pattern)

    def on_terminal(self, columns, *arguments):
        """Exit code and what stands on terminals, one for each stream, of so many columns."""
        ends = [pty.openpty() for _ in range(2)]
        shown = [None, None]
        for _, slave in ends:
            fcntl.ioctl(slave, termios.TIOCSWINSZ, struct.pack("HHHH", 64, columns, 0, 0))
        program = subprocess.Popen([PVCTL, *arguments], stdout=ends[0][1], stderr=ends[1][1])

        def read(index):
            shown[index] = read_all(ends[index][0]).replace("\r\n", "\n")

        readers = [threading.Thread(target=read, args=(index,)) for index in range(2)]
        for (_, slave), reader in zip(ends, readers):
            os.close(slave)
            reader.start()
        code = program.wait(60)
        for (master, _), reader in zip(ends, readers):
            reader.join()
            os.close(master)
        return code, *shown


def main():
    global PVCTL, SOFTCAM
    PVCTL, SOFTCAM = sys.argv.pop(1), sys.argv.pop(1)
    unittest.main(module="__main__")
