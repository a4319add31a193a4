"""pvctl grab with a software camera.

    grab_test.py PVCTL SOFTCAM
"""
import os
import shutil
import subprocess
import sys
import tempfile

sys.dont_write_bytecode = True
import programs

CAMERA = "127.0.0.2"
SMALL = ["--set", "Width=64", "--set", "Height=48", "--set", "PixelFormat=Mono8"]
# enough packets for a loss to hit some of them
PACKETS = ["--set", "Width=640", "--set", "Height=480", "--set", "PixelFormat=Mono8", "--packet-size", "1500",
           "--set", "AcquisitionFrameRate=100"]


class Grab(programs.PvctlTest):
    def setUp(self):
        self.start_camera("-a", CAMERA, "-s", "GRAB", "-n", "grabbed")
        self.folder = tempfile.mkdtemp(prefix="pvctl_test_")
        self.addCleanup(shutil.rmtree, self.folder)

    def path(self, name):
        return os.path.join(self.folder, name)

    def test_takes_as_many_frames_as_asked_for(self):
        facts = self.good_json("grab", "grabbed", "-n", "7", *SMALL)
        self.assertEqual((facts["frames"], facts["damaged"]), (7, 0))
        self.assertGreater(facts["frames_per_second"], 0)
        self.assertGreaterEqual(facts["statistics"]["images"], 7)
        self.assertGreaterEqual(facts["statistics"]["bytes"], 7 * 64 * 48)
        self.assertNotIn("loss", facts)
        text = self.good("grab", CAMERA, "-n", "3", *SMALL)
        self.assertRegex(text, r"^3 frames, 0 damaged, [0-9.]+ frames/s, [0-9.]+ MB/s\n")

    def test_leaves_the_camera_free_and_still(self):
        self.good("grab", CAMERA, "-n", "2", *SMALL)
        self.assertEqual(self.good("get", CAMERA, "--bare", "GevSCPHostPort"), "0\n")
        self.good("grab", CAMERA, "-n", "2", *SMALL)

    def test_saves_the_frames(self):
        facts = self.good_json("grab", CAMERA, "-n", "3", "-o", self.path("frame.png"), *SMALL)
        names = [self.path("frame_%05d.png" % number) for number in (1, 2, 3)]
        self.assertEqual(facts["files"], names)
        for name in names:
            header = subprocess.run(["pngtopam", name], capture_output=True, check=True).stdout
            self.assertTrue(header.startswith(b"P5\n64 48\n"), header[:20])
        self.good("grab", CAMERA, "-n", "1", "-o", self.path("one.raw"), *SMALL)
        self.assertEqual(os.path.getsize(self.path("one.raw")), 64 * 48)
        self.good("grab", CAMERA, "-n", "1", "-o", self.path("one.bmp"), *SMALL)
        self.assertEqual(sorted(os.listdir(self.folder)), sorted(map(os.path.basename, names)) + ["one.bmp", "one.raw"])

    def test_gets_over_loss(self):
        facts = self.good_json("grab", CAMERA, "-n", "10", "--loss", "2", "--seed", "5", *PACKETS)
        self.assertEqual(facts["damaged"], 0)
        self.assertEqual(facts["loss"]["seed"], 5)
        self.assertGreater(facts["loss"]["thrown_away"], 0)
        self.assertGreater(facts["loss"]["packets"], 10 * 200)
        self.assertGreater(facts["statistics"]["packets_recovered"], 0)

    def test_without_resend_loss_damages_frames(self):
        code, text, errors = self.pvctl("grab", CAMERA, "-n", "5", "--loss", "2", "--seed", "5", "--no-resend", *PACKETS)
        self.assertEqual((code, errors), (1, ""))
        self.assertRegex(text, r"^5 frames, [1-5] damaged")
        self.assertRegex(text, r"loss: [1-9][0-9]* of [0-9]+ packets thrown away, seed 5\n")
        self.assertRegex(text, r"resend: 0 packets asked for in 0 requests, 0 came, [1-9][0-9]* are missing\n")
        self.assertRegex(text, r"last error: Block ")

    def test_tells_why_nothing_comes(self):
        self.fails(1, "No block was completed within 100 ms", "grab", CAMERA, "-n", "1", "--loss", "100",
                   "--timeout", "100", *SMALL)
        self.fails(3, "nobody", "grab", "nobody")
        self.fails(1, "frame.doc", "grab", CAMERA, "-o", self.path("frame.doc"))
        self.fails(2, "--seed", "grab", CAMERA, "--seed", "1")

    def test_shows_its_progress_on_a_terminal(self):
        code, _, errors = self.on_terminal(80, "grab", CAMERA, "-n", "20", *SMALL)
        self.assertEqual(code, 0)
        self.assertRegex(errors, "[0-9]+ of 20 frames")


if __name__ == "__main__":
    programs.main()
