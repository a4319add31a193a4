"""pvctl discover as users call it, with software cameras.

    discover_test.py PVCTL SOFTCAM
"""
import json
import subprocess
import sys
import unittest

PVCTL = SOFTCAM = ""


class Discover(unittest.TestCase):
    def start_camera(self, *arguments):
        camera = subprocess.Popen([SOFTCAM, *arguments], stdout=subprocess.PIPE, text=True)
        self.addCleanup(camera.stdout.close)
        self.addCleanup(camera.wait)
        self.addCleanup(camera.terminate)
        while "listening on" not in (line := camera.stdout.readline()):
            self.assertTrue(line, "the camera did not start")

    def discover(self, *arguments):
        done = subprocess.run([PVCTL, "discover", "-t", "500", *arguments], capture_output=True, text=True)
        self.assertEqual(done.stderr, "")
        return done.returncode, done.stdout

    def test_nothing_is_found_where_nothing_is(self):
        code, text = self.discover()
        self.assertEqual(code, 3)
        self.assertRegex(text, r"\A0 devices on \d+ interfaces?\n\Z")
        code, text = self.discover("--json")
        self.assertEqual((code, json.loads(text)), (3, []))

    def test_devices_stand_in_a_table(self):
        self.start_camera("-a", "127.0.0.2", "-s", "FIRST", "-n", "left")
        self.start_camera("-a", "127.0.0.3", "-s", "THE-OTHER")
        code, text = self.discover()
        self.assertEqual(code, 0)
        header, *rows, end = text.splitlines()
        self.assertRegex(end, r"^2 devices on \d+ interfaces?$")
        self.assertEqual(len(rows), 2)
        for title, cells in {
            "IP ADDRESS": {"127.0.0.2", "127.0.0.3"},
            "MAC ADDRESS": {"02:56:7f:00:00:02", "02:56:7f:00:00:03"},
            "SERIAL NUMBER": {"FIRST", "THE-OTHER"},
            "NAME": {"left", ""},
            "ACCESS": {"free"},
        }.items():
            at = header.index(title)
            self.assertEqual({row[at:].split("  ")[0].strip() for row in rows}, cells, title)

    def test_programs_read_all_about_a_device(self):
        self.start_camera("-a", "127.0.0.2", "-s", "FIRST", "-n", "l\x1b[31m\"ft")
        code, text = self.discover("--json")
        self.assertEqual(code, 0)
        (device,) = json.loads(text)
        for key, value in {
            "ip": "127.0.0.2",
            "mask": "255.0.0.0",
            "vendor": "Vexkam",
            "model": "SoftCam",
            "serial_number": "FIRST",
            "user_defined_name": "l\x1b[31m\"ft",
            "access": "free",
            "reachable": True,
        }.items():
            self.assertEqual(device[key], value, key)
        self.assertEqual(device["interface"]["ip"], "127.0.0.1")

    def test_names_cannot_change_the_terminal(self):
        self.start_camera("-a", "127.0.0.2", "-n", "a\x1b[31m\x7f\u009bb")
        _, text = self.discover()
        self.assertIn("a?[31m??b", text)
        self.assertNotIn("\x1b", text)

    def test_bad_options_are_refused(self):
        for wrong in (["-t", "0"], ["-t", "60001"], ["-t", "soon"], ["extra"]):
            done = subprocess.run([PVCTL, "discover", *wrong], capture_output=True, text=True)
            self.assertNotIn(done.returncode, (0, 3), wrong)
            self.assertNotEqual(done.stderr, "", wrong)


if __name__ == "__main__":
    PVCTL, SOFTCAM = sys.argv.pop(1), sys.argv.pop(1)
    unittest.main()
