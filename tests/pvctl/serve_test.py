"""pvctl serve, watched by pvctl grab.

    serve_test.py PVCTL SOFTCAM
"""
import json
import os
import re
import shutil
import signal
import sys
import tempfile

sys.dont_write_bytecode = True
import programs

WIDTH, HEIGHT = 40, 30
GREY = bytes((x * 5 + y * 3) % 256 for y in range(HEIGHT) for x in range(WIDTH))
COLOUR = bytes((x * 5 + y * 3 + c * 70) % 256 for y in range(HEIGHT) for x in range(WIDTH) for c in range(3))


class Serve(programs.PvctlTest):
    def setUp(self):
        self.folder = tempfile.mkdtemp(prefix="pvctl_test_")
        self.addCleanup(shutil.rmtree, self.folder)
        self.taken = tempfile.mkdtemp(prefix="pvctl_test_")
        self.addCleanup(shutil.rmtree, self.taken)

    def picture(self, name, pixels):
        raw = os.path.join(self.taken, "in.raw")
        with open(raw, "wb") as file:
            file.write(pixels)
        form = "Mono8" if len(pixels) == WIDTH * HEIGHT else "RGB8"
        self.good("convert", raw, os.path.join(self.folder, name), "-f", form, "-W", str(WIDTH), "-H", str(HEIGHT))
        os.remove(raw)

    def serve(self, *arguments):
        """The program, once it listens."""
        program = self.start("serve", self.folder, "--interface", "127.0.0.1", "--rate", "50", *arguments)
        self.assertIn("Listening on 127.0.0.1", program.stdout.readline())
        return program

    def grab(self, count):
        """The raw bytes of frames that follow each other."""
        facts = self.good_json("grab", "127.0.0.1", "-n", str(count), "-o", os.path.join(self.taken, "f.raw"))
        self.assertEqual((facts["frames"], facts["damaged"]), (count, 0))
        frames = []
        for name in facts["files"]:
            with open(name, "rb") as file:
                frames.append(file.read())
        return frames

    def test_sends_each_kind_of_picture_as_it_is(self):
        for name, pixels in (("a.png", GREY), ("b.bmp", GREY), ("c.tif", GREY), ("d.png", COLOUR), ("e.bmp", COLOUR),
                             ("f.tiff", COLOUR)):
            self.picture(name, pixels)
        self.serve()
        frames = self.grab(8)
        kinds = [frame == GREY for frame in frames]
        for frame in frames:
            self.assertIn(frame, (GREY, COLOUR))
        # three of each in turn, wherever it began
        self.assertEqual(kinds[0], not kinds[3])
        self.assertEqual(kinds[:2], kinds[6:])

    def test_sends_again_after_a_client_has_gone(self):
        self.picture("a.png", GREY)
        self.picture("b.png", bytes(255 - value for value in GREY))
        program = self.serve("--json")
        first = self.grab(4)
        self.assertEqual(first[0], first[2])
        self.assertNotEqual(first[0], first[1])
        self.assertEqual(self.grab(2)[0], GREY)  # from the first one on
        events = []
        while len(events) < 4:
            events.append(json.loads(program.stdout.readline())["event"])
        self.assertEqual(events, ["sending", "ended", "sending", "ended"])
        program.send_signal(signal.SIGINT)
        self.assertEqual(program.wait(20), 0)

    def test_its_camera_is_found_and_describes_the_pictures(self):
        self.picture("a.png", COLOUR)
        self.serve()
        self.grab(1)
        self.assertEqual(self.good("get", "127.0.0.1", "-b", "Width", "Height", "PixelFormat"), "40\n30\nRGB8Packed\n")

    def test_ends_by_itself(self):
        self.picture("a.png", GREY)
        program = self.serve("--time", "0.2")
        self.assertEqual(program.wait(20), 0)

    def test_tells_what_cannot_be_served(self):
        self.fails(1, "no picture", "serve", self.folder)
        self.fails(1, "nowhere", "serve", os.path.join(self.folder, "nowhere"))
        self.picture("a.png", GREY)
        self.fails(3, "no such interface", "serve", self.folder, "--interface", "no such interface")
        for name, content in (("b.png", b"no picture"), ("c.tif", b"II*\0"), ("d.bmp", b"BM" + bytes(60)),
                              ("e.bmp", b"BM")):
            with open(os.path.join(self.folder, name), "wb") as file:
                file.write(content)
            self.fails(1, re.escape(name), "serve", self.folder)
            os.remove(os.path.join(self.folder, name))
        self.picture("cut.bmp", COLOUR)
        path = os.path.join(self.folder, "cut.bmp")
        os.truncate(path, os.path.getsize(path) - 1)
        self.fails(1, "cut off", "serve", self.folder)


if __name__ == "__main__":
    programs.main()
