"""pvctl save, restore and diff as users call them, with a software camera.

    configuration_test.py PVCTL SOFTCAM
"""
import json
import os
import re
import sys
import tempfile

sys.dont_write_bytecode = True
import programs

CAMERA = "127.0.0.2"


class Configuration(programs.PvctlTest):
    def setUp(self):
        self.camera = self.start_camera("-a", CAMERA, "-s", "FIRST", "-n", "left")
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = folder.name
        self.file = os.path.join(folder.name, "left.xml")

    def values(self, *features):
        return self.good("get", CAMERA, "-b", *features).split()

    def edit(self, pattern, replacement):
        """The saved file with something else in one place."""
        with open(self.file, encoding="utf-8") as file:
            text = file.read()
        changed, count = re.subn(pattern, replacement, text)
        self.assertEqual(count, 1, text)
        with open(self.file, "w", encoding="utf-8") as file:
            file.write(changed)

    def differs(self, *arguments):
        code, text, errors = self.pvctl(*arguments)
        self.assertEqual((code, errors), (4, ""), text)
        return text

    def test_what_was_saved_is_restored(self):
        self.good("set", CAMERA, "Width=320", "Gain=1.5", "EventSelector=Test", "EventNotification=On",
                  "EventSelector=FrameStart")
        self.assertRegex(self.good("save", CAMERA, self.file), r"left\.xml, \d+ settings\n$")
        self.good("set", CAMERA, "Width=640", "Gain=0", "EventSelector=Test", "EventNotification=Off")
        told = self.good("restore", "left", self.file)
        self.assertRegex(told, r"^SETTING +WANTED +BEFORE\n")
        self.assertRegex(told, r"\nWidth +320 +640 *\n")
        self.assertRegex(told, r"\nEventNotification \(EventSelector Test\) +On +Off *\n")
        self.assertRegex(told, r"\n\d settings differ\n$")
        self.assertEqual(self.values("Width", "Gain"), ["320", "1.5"])
        told = self.good("set", CAMERA, "EventSelector=Test", "EventNotification=Off")
        self.assertIn("EventNotification = Off (was On)\n", told)
        self.good("restore", "left", self.file)
        self.assertEqual(self.good("restore", "left", self.file), "0 settings differ\n")

    def test_a_dry_run_changes_nothing(self):
        self.good("save", CAMERA, self.file)
        self.good("set", CAMERA, "Width=320", "EventSelector=Test")
        before = self.good_json("tree", CAMERA)
        told = self.differs("restore", CAMERA, self.file, "--dry-run")
        self.assertRegex(told, r"\nWidth +640 +320 *\n")
        self.assertRegex(told, "; nothing was changed\n$")
        after = self.good_json("tree", CAMERA)
        self.assertEqual(after["ImageFormatControl"], before["ImageFormatControl"])
        self.assertEqual(after["EventControl"]["EventSelector"], before["EventControl"]["EventSelector"])
        self.good("restore", CAMERA, self.file)
        self.assertEqual(self.good("restore", CAMERA, self.file, "--dry-run"),
                         "0 settings differ; nothing was changed\n")

    def test_programs_are_told(self):
        saved = self.good_json("save", CAMERA, self.file)
        self.assertEqual((saved["file"], saved["skipped"]), (self.file, []))
        self.assertGreater(saved["features"], 20)
        self.assertGreater(saved["link"], 5)
        self.good("set", CAMERA, "Width=320")
        width = {"setting": "Width", "wanted": "640", "before": "320"}
        dry = json.loads(self.differs("restore", CAMERA, self.file, "--dry-run", "--json"))
        self.assertEqual(dry, {"restored": False, "differences": [width], "failures": []})
        self.assertEqual(json.loads(self.differs("diff", self.file, CAMERA, "--json")),
                         {"differences": [{"setting": "Width", "first": "640", "second": "320"}]})
        self.assertEqual(self.good_json("restore", CAMERA, self.file),
                         {"restored": True, "differences": [width], "failures": []})
        self.assertEqual(self.good_json("diff", self.file, CAMERA), {"differences": []})

    def test_what_cannot_be_restored_is_named(self):
        self.good("save", CAMERA, self.file)
        self.good("set", CAMERA, "Height=100")
        self.edit('name="Width" value="640"', 'name="Width" value="99999"')
        self.edit("<features>", '<features><feature name="Gone" value="7"/>')
        self.fails(1, r"pvctl: 2 settings could not be restored\n  (.|\n)*Width = 99999: (.|\n)*maximum", "restore",
                   CAMERA, self.file)
        self.assertEqual(self.values("Width", "Height"), ["640", "480"])
        code, text, _ = self.pvctl("restore", CAMERA, self.file, "--json")
        told = json.loads(text)
        self.assertEqual((code, len(told["failures"])), (1, 2))
        self.assertIn({"setting": "Gone", "wanted": "7", "before": None}, told["differences"])
        self.assertTrue(any(line.startswith("Gone = 7: ") for line in told["failures"]), told["failures"])

    def test_files_are_compared(self):
        other = os.path.join(self.folder, "other.xml")
        self.good("save", CAMERA, self.file)
        self.good("set", CAMERA, "Width=320")
        self.good("save", CAMERA, other)
        self.assertEqual(self.good("diff", self.file, self.file), "0 settings differ\n")
        self.assertRegex(self.differs("diff", self.file, other),
                         r"^SETTING +FIRST +SECOND\nWidth +640 +320\n1 setting differs\n$")
        self.edit(' *<feature name="Width" value="640"/>\n', "")
        self.assertRegex(self.differs("diff", self.file, other), r"\nWidth +- +320\n")
        self.assertRegex(self.differs("diff", other, self.file), r"\nWidth +320 +-\n")

    def test_a_folder_named_like_a_camera_is_no_file(self):
        self.good("save", CAMERA, self.file)
        os.mkdir(os.path.join(self.folder, "left"))
        before = os.getcwd()
        self.addCleanup(os.chdir, before)
        os.chdir(self.folder)
        self.assertEqual(self.good("diff", "left.xml", "left"), "0 settings differ\n")

    def test_one_device_of_several_is_named(self):
        self.good("save", CAMERA, self.file, "--name", "A")
        with open(self.file, encoding="utf-8") as file:
            (device,) = re.findall(r" *<device (?:.|\n)*</device>\n", file.read())
        second = device.replace('name="A"', 'name="B"', 1).replace('name="Width" value="640"',
                                                                   'name="Width" value="320"')
        self.edit("</configuration>", second + "</configuration>")
        self.fails(1, r'2 devices in .*\n  .*--name: "A", "B"', "restore", CAMERA, self.file)
        self.fails(3, r'no device named "C" in .*\n  there are: "A", "B"', "restore", CAMERA, self.file, "--name", "C")
        self.good("restore", CAMERA, self.file, "--name", "B")
        self.assertEqual(self.values("Width"), ["320"])
        self.good("restore", CAMERA, self.file, "--name", "A")
        self.assertEqual(self.values("Width"), ["640"])
        self.assertRegex(self.differs("diff", self.file, self.file, "--name", "A", "--name", "B"),
                         r"\nWidth +640 +320\n1 setting differs\n$")
        self.assertEqual(self.good("diff", self.file, CAMERA, "--name", "A"), "0 settings differ\n")

    def test_failures_say_what_and_what_to_do(self):
        self.good("save", CAMERA, self.file)
        missing = os.path.join(self.folder, "missing.xml")
        self.fails(1, "Cannot open .*missing.xml", "restore", CAMERA, missing)
        self.fails(1, "Cannot open .*missing.xml", "diff", self.file, missing)
        self.fails(1, "nowhere", "save", CAMERA, "/nowhere/left.xml")
        self.fails(3, "pvctl discover", "restore", "nobody", self.file)
        self.fails(3, "pvctl discover", "diff", self.file, "nobody")
        self.edit("</configuration>", "")
        self.fails(1, r"Cannot load .*left\.xml: .*Line \d+", "restore", CAMERA, self.file)
        with open(self.file, "w", encoding="utf-8") as file:
            file.write('<configuration version="1"/>')
        self.fails(3, "no device in", "restore", CAMERA, self.file)

    def test_control_is_needed(self):
        self.good("save", CAMERA, self.file)
        holder = self.start("watch", CAMERA, "Width", "--control")
        self.assertIn("Width = 640", holder.stdout.readline())
        for arguments in (["save", CAMERA, self.file], ["restore", CAMERA, self.file], ["diff", self.file, CAMERA]):
            self.fails(1, r"is controlled by 127\.0\.0\.\d+, port \d+(.|\n)*end the application", *arguments)

    def test_wrong_command_lines_are_told_from_failures(self):
        for wrong in (["save", CAMERA], ["restore", CAMERA], ["diff", self.file],
                      ["diff", "a", "b", "--name", "1", "--name", "2", "--name", "3"]):
            self.fails(2, ".", *wrong)
        self.assertIn("4 when what was compared differs", self.good("--help"))
        self.assertIn("put back", self.good("restore", "--help"))


if __name__ == "__main__":
    programs.main()
