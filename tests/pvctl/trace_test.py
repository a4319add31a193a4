"""--trace of pvctl and of the software camera.

    trace_test.py PVCTL SOFTCAM
"""
import collections
import re
import sys
import tempfile
from pathlib import Path

sys.dont_write_bytecode = True
import programs

CAMERA = "127.0.0.2"
LINE = re.compile(r"(\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{6}Z) (\S+/\d+) (\w+) (error|warning|info|debug) (.+)")
Record = collections.namedtuple("Record", "time thread category level text")


def records(path):
    lines = Path(path).read_text().splitlines()
    matches = [LINE.fullmatch(line) for line in lines]
    assert all(matches), lines
    return [Record(*match.groups()) for match in matches]


class Trace(programs.PvctlTest):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.file = str(Path(folder.name) / "trace.txt")
        self.camera_file = str(Path(folder.name) / "camera.txt")

    def traced(self, *arguments, code=0):
        self.assertEqual(self.pvctl(*arguments, "--trace", self.file)[0], code)
        return records(self.file)

    def assert_told(self, told, category, level, pattern):
        self.assertTrue(
            any(r.category == category and r.level == level and re.search(pattern, r.text) for r in told),
            f"no {category} {level} {pattern} in\n" + "\n".join(" ".join(r) for r in told))

    def test_a_feature_on_its_way(self):
        self.start_camera("-a", CAMERA, "-s", "FIRST", "-n", "left")
        told = self.traced("set", "left", "Width=320")
        self.assert_told(told, "discovery", "info", r"search to 255\.255\.255\.255 sent")
        self.assert_told(told, "discovery", "info", r"SoftCam \(serial number FIRST, .* address 127\.0\.0\.2")
        self.assert_told(told, "connection", "info", "127.0.0.2: connected with control .* heartbeat timeout 3000 ms")
        self.assert_told(told, "control", "debug",
                         r"reading register 0x0A00 \(control channel privilege\): 0x0000000\d, done in \d+\.\d{3} ms$")
        self.assert_told(told, "control", "debug", r"writing register 0x\w+: 0x00000140, done")
        self.assert_told(told, "description", "info", "the description is read from Local:")
        self.assert_told(told, "connection", "info", "disconnected")
        self.assertEqual([r.time for r in told], sorted(r.time for r in told))
        self.assertGreater(len({r.thread for r in told}), 1)

    def test_a_stream_and_what_gets_lost(self):
        self.start_camera("-a", CAMERA)
        told = self.traced("grab", CAMERA, "-n", "20", "--loss", "5", "--seed", "7")
        self.assert_told(told, "stream", "info", r"127\.0\.0\.2, channel 0: stream opened on .* keeps \d+ bytes")
        self.assert_told(told, "stream", "info", r"block \d+: packets \d+ to \d+ are asked for again")
        self.assert_told(told, "stream", "debug", r"block \d+, 307200 bytes: whole")
        self.assert_told(told, "stream", "info", "stream closed")

    def test_the_level_chooses(self):
        self.start_camera("-a", CAMERA)
        told = self.traced("get", CAMERA, "Width", "--trace-level", "info")
        self.assertEqual({r.level for r in told}, {"info"})
        self.fails(2, "--trace-level", "get", CAMERA, "Width", "--trace", self.file, "--trace-level", "loud")

    def test_a_camera_that_does_not_answer(self):
        told = self.traced("info", CAMERA, code=3)
        self.assert_told(told, "control", "warning", "no answer within .* sent again")
        self.assert_told(told, "connection", "error", "not connected: .*no answer")

    def test_a_file_that_cannot_be(self):
        self.fails(1, "Cannot open the trace file", "discover", "--trace", self.file + "/missing/x")

    def test_the_camera_s_side(self):
        self.start_camera("-a", CAMERA, "--trace", self.camera_file)
        self.good("set", CAMERA, "Width=320")
        told = records(self.camera_file)
        self.assert_told(told, "camera", "debug", r"127\.0\.0\.1:\d+ wants registers read at 0x")
        self.assert_told(told, "camera", "info", "has taken control")
        self.assert_told(told, "camera", "info", "no longer has control")


if __name__ == "__main__":
    programs.main()
