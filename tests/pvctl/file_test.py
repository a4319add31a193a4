"""pvctl file as users call it, with a software camera.

    file_test.py PVCTL SOFTCAM
"""
import os
import sys
import tempfile

sys.dont_write_bytecode = True
import programs

CAMERA = "127.0.0.2"


class Files(programs.PvctlTest):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = folder.name

    def path(self, name):
        return os.path.join(self.folder, name)

    def test_files_are_listed(self):
        self.start_camera("-a", CAMERA)
        self.assertRegex(self.good("file", "ls", CAMERA),
                         r"^FILE +BYTES\nUserSet1 +\d+\nUserSet2 +\d+\nLUTLuminance +8192\nFirmware +-\nUserFile +0\n$")
        listed = self.good_json("file", "ls", CAMERA)
        self.assertEqual(listed[2:], [{"name": "LUTLuminance", "bytes": 8192}, {"name": "Firmware", "bytes": None},
                                     {"name": "UserFile", "bytes": 0}])

    def test_a_file_travels_there_and_back(self):
        self.start_camera("-a", CAMERA)
        table = bytes(i * 7 % 256 for i in range(8192))
        with open(self.path("table"), "wb") as file:
            file.write(table)
        self.assertRegex(self.good("file", "put", CAMERA, "LUTLuminance", self.path("table")),
                         r"table -> LUTLuminance, 8192 bytes, \d+\.\d s\n$")
        told = self.good_json("file", "get", CAMERA, "LUTLuminance", "-o", self.folder)
        self.assertEqual((told["bytes"], told["file"]), (8192, self.path("LUTLuminance")))
        with open(self.path("LUTLuminance"), "rb") as file:
            self.assertEqual(file.read(), table)

    def test_failures_say_what_and_what_to_do(self):
        self.start_camera("-a", CAMERA)
        self.fails(3, 'no file "Nothing"; it has UserSet1', "file", "get", CAMERA, "Nothing", "-o", self.folder)
        self.fails(1, "Cannot open .*missing", "file", "put", CAMERA, "LUTLuminance", self.path("missing"))
        self.fails(2, "subcommand is required", "file")
        with open(self.path("short"), "wb") as file:
            file.write(b"short")
        self.fails(1, "Firmware cannot be closed: the device reports Failure", "file", "put", CAMERA, "Firmware",
                   self.path("short"))

    def test_a_camera_that_fails_leaves_the_older_file(self):
        self.start_camera("-a", CAMERA, "--file-fails-after", "100")
        with open(self.path("kept"), "wb") as file:
            file.write(b"kept")
        self.fails(1, "cannot be read: the device reports Failure", "file", "get", CAMERA, "LUTLuminance", "-o",
                   self.path("kept"))
        with open(self.path("kept"), "rb") as file:
            self.assertEqual(file.read(), b"kept")
        self.assertEqual(os.listdir(self.folder), ["kept"])

    def test_a_slow_camera_is_waited_for_and_progress_is_shown(self):
        self.start_camera("-a", CAMERA, "--file-time", "400")
        code, shown, errors = self.on_terminal(100, "file", "get", CAMERA, "LUTLuminance", "-o", self.folder)
        self.assertEqual(code, 0, shown + errors)
        self.assertIn("Reading LUTLuminance", errors)
        self.assertRegex(errors, r"8192 of 8192 bytes, 100 %")

    def test_a_camera_that_never_finishes_is_given_up(self):
        self.start_camera("-a", CAMERA, "--file-time", "3600000")
        self.fails(1, "has not finished within 1000 ms\n--timeout", "file", "get", CAMERA, "LUTLuminance", "-o",
                   self.folder, "--timeout", "1")


if __name__ == "__main__":
    programs.main()
