"""pvctl get, set, tree, watch and xml as users call them, with a software camera.

    features_test.py PVCTL SOFTCAM
"""
import json
import os
import re
import signal
import sys
import tempfile

sys.dont_write_bytecode = True
import programs

CAMERA = "127.0.0.2"


class Features(programs.PvctlTest):
    def setUp(self):
        self.camera = self.start_camera("-a", CAMERA, "-s", "FIRST", "-n", "left")

    def test_features_are_read_by_name(self):
        self.assertEqual(self.good("get", CAMERA, "Width", "PixelFormat", "Gain"),
                         "Width = 640\nPixelFormat = Mono8\nGain = 0 dB\n")
        self.assertEqual(self.good("get", "left", "-b", "Width", "Gain"), "640\n0\n")

    def test_programs_read_values_in_their_own_type(self):
        features = self.good_json("get", "FIRST", "Width", "Gain", "PixelFormat", "DeviceID", "AcquisitionStop")
        self.assertEqual(list(features), ["Width", "Gain", "PixelFormat", "DeviceID", "AcquisitionStop"])
        width = features["Width"]
        self.assertEqual((width["type"], width["access"], width["value"]), ("integer", "rw", 640))
        self.assertLess(width["minimum"], 640)
        self.assertGreater(width["maximum"], 640)
        self.assertEqual((features["Gain"]["value"], features["Gain"]["unit"]), (0.0, "dB"))
        self.assertIn("Mono8", features["PixelFormat"]["entries"])
        self.assertEqual(features["DeviceID"]["value"], "FIRST")
        self.assertEqual(features["DeviceID"]["access"], "ro")
        self.assertEqual((features["AcquisitionStop"]["type"], features["AcquisitionStop"]["value"]), ("command", None))

    def test_features_are_written_and_read_back(self):
        self.assertEqual(self.good("set", CAMERA, "Width=320", "PixelFormat=Mono16", "AcquisitionStop"),
                         "Width = 320 (was 640)\nPixelFormat = Mono16 (was Mono8)\nAcquisitionStop executed\n")
        self.assertEqual(self.good("get", CAMERA, "-b", "Width", "PixelFormat"), "320\nMono16\n")
        self.assertEqual(self.good_json("set", CAMERA, "Width=640"), {"Width": {"value": 640, "before": 320}})

    def test_a_value_may_hold_an_equals_sign(self):
        self.good("set", CAMERA, "DeviceUserID=a=b")
        self.assertEqual(self.good("get", CAMERA, "-b", "DeviceUserID"), "a=b\n")

    def test_failures_say_what_and_what_to_do(self):
        self.fails(1, r"Width: 99999 is above its maximum of \d+", "set", CAMERA, "Width=99999")
        self.fails(1, "DeviceID", "set", CAMERA, "DeviceID=OTHER")
        self.fails(3, r'no feature "Widht"; similar: Width', "get", CAMERA, "Widht")
        self.fails(3, "pvctl tree", "get", CAMERA, "Zzzzzzzzz")
        self.fails(2, "Width=VALUE", "set", CAMERA, "Width")
        self.fails(3, 'no category "Nowhere"; it has .*ImageFormatControl', "tree", CAMERA, "Nowhere")
        self.fails(3, "pvctl discover", "get", "nobody", "Width")
        self.fails(3, "no answer(.|\n)*pvctl discover", "get", "127.0.0.9", "Width")

    def test_nothing_is_written_when_a_name_is_wrong(self):
        self.fails(3, "Heigth", "set", CAMERA, "Width=320", "Heigth=240")
        self.assertEqual(self.good("get", CAMERA, "-b", "Width"), "640\n")

    def test_reading_needs_no_control_and_writing_does(self):
        holder = self.start("watch", CAMERA, "Width", "--control")
        self.assertIn("Width = 640", holder.stdout.readline())
        self.assertEqual(self.good("get", CAMERA, "-b", "Width"), "640\n")
        self.good("tree", CAMERA)
        self.fails(1, r"is controlled by 127\.0\.0\.\d+, port \d+(.|\n)*end the application", "set", CAMERA, "Width=320")

    def test_the_tree_shows_categories_values_access_and_units(self):
        lines = self.good("tree", CAMERA).splitlines()
        self.assertRegex(lines[0], "^FEATURE +VALUE +ACCESS$")
        self.assertIn("ImageFormatControl", lines)
        for row in (r"^  Width +640 +rw$", r"^  Gain +0 dB +rw$", r"^  DeviceID +FIRST +ro$",
                    r"^  AcquisitionStop +\(command\) +wo$", r"^  FileAccessBuffer +\(131072 bytes\) +rw$"):
            self.assertTrue(any(re.match(row, line) for line in lines), row)
        (width,) = [line for line in lines if line.startswith("  Width ")]
        self.assertEqual(width.index("640"), lines[0].index("VALUE"))

    def test_the_tree_can_be_cut_down(self):
        part = self.good("tree", CAMERA, "ImageFormatControl", "--visibility", "beginner")
        self.assertIn("  Width ", part)
        self.assertNotIn("Gain", part)
        self.assertNotIn("SensorWidth", part)
        self.assertIn("SensorWidth", self.good("tree", CAMERA, "ImageFormatControl"))
        self.assertEqual(self.good_json("tree", CAMERA)["ImageFormatControl"]["Width"]["value"], 640)

    def test_the_tree_fits_the_terminal(self):
        whole = self.good("tree", CAMERA)
        columns = max(map(len, whole.splitlines())) - 5
        code, shown, _ = self.on_terminal(columns, "tree", CAMERA)
        self.assertEqual(code, 0)
        self.assertEqual(max(map(len, shown.splitlines())), columns)
        self.assertEqual(len(shown.splitlines()), len(whole.splitlines()))
        self.assertIn("~", shown)

    def test_changes_are_watched(self):
        watch = self.start("watch", "left", "Width", "Gain", "--count", "2", "--interval", "20")
        self.assertRegex(watch.stdout.readline(), r"^ +\d+\.\d{3}  Width = 640$")
        self.assertRegex(watch.stdout.readline(), r"  Gain = 0 dB$")
        self.good("set", "left", "Width=320")
        self.assertRegex(watch.stdout.readline(), r"  Width = 320$")
        self.good("set", "left", "Gain=1")
        self.assertRegex(watch.stdout.readline(), r"  Gain = 1 dB$")
        self.assertEqual((watch.wait(30), watch.stdout.read(), watch.stderr.read()), (0, "", ""))

    def test_programs_watch_line_by_line(self):
        watch = self.start("watch", CAMERA, "Width", "--interval", "20", "--json")
        first = json.loads(watch.stdout.readline())
        self.assertEqual((first["feature"], first["value"], first["first"]), ("Width", 640, True))
        self.good("set", CAMERA, "Width=320")
        change = json.loads(watch.stdout.readline())
        self.assertEqual((change["value"], change["first"]), (320, False))
        self.assertGreater(change["time"], first["time"])
        watch.send_signal(signal.SIGINT)
        self.assertEqual((watch.wait(30), watch.stdout.read()), (0, ""))

    def test_events_are_told(self):
        watch = self.start("watch", CAMERA, "Width", "--control", "--json", "--set", "EventSelector=Test", "--set",
                           "EventNotification=On", "--set", "TestEventGenerate")
        facts = [json.loads(watch.stdout.readline()) for _ in range(2)]
        (event,) = [fact for fact in facts if "event" in fact]
        self.assertEqual(event["event"], "0x9004")
        self.assertGreater(event["timestamp"], 0)
        self.fails(2, "control", "watch", CAMERA, "--set", "Width=320")

    def test_a_loss_is_told_and_ends_the_watch(self):
        watch = self.start("watch", CAMERA, "Width", "--interval", "20")
        watch.stdout.readline()
        self.camera.kill()
        self.assertRegex(watch.stdout.readline(), "connection lost: .*not answered")
        self.assertEqual(watch.wait(30), 1)

    def test_a_watch_ends_in_time(self):
        self.assertRegex(self.good("watch", CAMERA, "Width", "--time", "0.1", "--interval", "20"), "Width = 640\n$")

    def test_the_description_is_written(self):
        xml = self.good("xml", CAMERA)
        self.assertTrue(xml.startswith("<?xml"))
        self.assertIn("RegisterDescription", xml)
        with tempfile.TemporaryDirectory() as folder:
            file = os.path.join(folder, "camera.xml")
            self.assertRegex(self.good("xml", CAMERA, "-o", file), r"camera\.xml, \d+ bytes")
            with open(file, encoding="utf-8") as written:
                self.assertEqual(written.read(), xml)
            told = self.good_json("xml", CAMERA, "-o", folder)
            self.assertEqual((told["file"], told["bytes"]), (os.path.join(folder, "softcam.xml"), len(xml.encode())))
            self.assertTrue(os.path.exists(told["file"]))
        self.fails(1, "nowhere", "xml", CAMERA, "-o", "/nowhere/camera.xml")

    def test_who_waits_is_shown_for_what(self):
        code, shown, errors = self.on_terminal(80, "get", "nobody", "Width")
        self.assertEqual((code, shown), (3, ""))
        self.assertRegex(errors, r"\rConnecting to nobody \.\.\. \d\.\d s(.|\n)*\r\x1b\[Kpvctl: No device")

    def test_wrong_command_lines_are_told_from_failures(self):
        for wrong in ([], ["bogus"], ["get"], ["get", CAMERA], ["tree", CAMERA, "--visibility", "all"],
                      ["watch", CAMERA, "--interval", "1"], ["xml", CAMERA, "--json"]):
            self.fails(2, ".", *wrong)
        self.assertIn("Exits with 0", self.good("--help"))


if __name__ == "__main__":
    programs.main()
