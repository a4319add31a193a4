"""pvctl discover as users call it, with software cameras.

    discover_test.py PVCTL SOFTCAM
"""
import json
import sys

sys.dont_write_bytecode = True
import programs


class Discover(programs.PvctlTest):
    def discover(self, *arguments):
        code, text, errors = self.pvctl("discover", "-t", "500", *arguments)
        self.assertEqual(errors, "")
        return code, text

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
            self.fails(2, ".", "discover", *wrong)

    def test_64_devices_fit_the_terminal(self):
        for last in range(2, 66):
            self.start_camera("-a", f"127.0.0.{last}", "-s", f"SERIAL-NUMBER{last:03}", "-n", f"station {last}")
        for columns in (80, 100, 120):
            code, shown, _ = self.on_terminal(columns, "discover", "-t", "1000")
            self.assertEqual(code, 0)
            header, *rows, end = shown.splitlines()
            self.assertRegex(end, "^64 devices")
            self.assertLessEqual(max(map(len, (header, *rows))), columns)
            self.assertEqual(len(rows), 64)
            # what a device is told apart by stands there whole
            for last, row in zip(range(2, 66), rows):
                self.assertRegex(row, rf"^127\.0\.0\.{last} +02:56:7f:00:00:{last:02x} ")
                self.assertRegex(row, " free( |$)")
        self.assertIn("Vexkam", shown)

    def test_who_waits_is_shown_for_what(self):
        _, _, errors = self.on_terminal(80, "discover", "-t", "600")
        self.assertRegex(errors, r"^\rLooking for cameras \.\.\. 0\.3 s(.|\n)*\r\x1b\[K$")


if __name__ == "__main__":
    programs.main()
