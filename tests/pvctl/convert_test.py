"""pvctl convert as users call it. What it writes is read back by netpbm's programs.

    convert_test.py PVCTL
"""
import json
import os
import random
import shutil
import struct
import subprocess
import sys
import tempfile
import unittest

PVCTL = ""


class Picture:
    """What a netpbm program made of a file: samples of each pixel in turn, from the top left."""

    def __init__(self, data):
        kind = data[:2]
        if kind == b"P7":
            header, _, body = data.partition(b"ENDHDR\n")
            fields = dict(line.split(None, 1) for line in header.split(b"\n")[1:] if line)
            self.width, self.height = int(fields[b"WIDTH"]), int(fields[b"HEIGHT"])
            self.channels, self.maximum = int(fields[b"DEPTH"]), int(fields[b"MAXVAL"])
        else:
            # one white space character ends the header; the samples may begin with more of them
            width, height, maximum = data.split(None, 4)[1:4]
            body = data[len(kind) + len(width) + len(height) + len(maximum) + 4:]
            self.width, self.height, self.maximum = int(width), int(height), int(maximum)
            self.channels = {b"P5": 1, b"P6": 3}[kind]
        count = self.width * self.height * self.channels
        if self.maximum > 255:
            self.samples = list(struct.unpack(">%dH" % count, body))
        else:
            self.samples = list(struct.unpack("%dB" % count, body))


READERS = {"bmp": ["bmptopnm"], "png": ["pngtopam"], "tiff": ["tifftopnm", "-byrow"]}


class Convert(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.mkdtemp(prefix="pvctl_test_")
        self.addCleanup(shutil.rmtree, self.folder)

    def path(self, name):
        return os.path.join(self.folder, name)

    def run_pvctl(self, *arguments, given=b""):
        return subprocess.run([PVCTL, *map(str, arguments)], input=given, capture_output=True)

    def convert(self, raw, output, *arguments):
        """The file made of those bytes."""
        with open(self.path("in.raw"), "wb") as file:
            file.write(raw)
        done = self.run_pvctl("convert", self.path("in.raw"), self.path(output), *arguments)
        self.assertEqual(done.returncode, 0, done.stderr)
        self.assertEqual(done.stdout + done.stderr, b"")
        self.assertEqual(sorted(os.listdir(self.folder)), sorted(["in.raw", output]))
        return self.path(output)

    def picture(self, raw, output, *arguments, reader=()):
        """The file made of those bytes as netpbm reads it; it is deleted."""
        name = self.convert(raw, output, *arguments)
        kind = "tiff" if output.endswith(".tif") else output.rsplit(".", 1)[1]
        program = READERS[kind] + list(reader)
        done = subprocess.run(program + [name], capture_output=True)
        self.assertEqual(done.returncode, 0, done.stderr)
        os.remove(name)
        return Picture(done.stdout)

    def refused(self, *arguments, given=b""):
        """The text of the failure."""
        done = self.run_pvctl("convert", *arguments, given=given)
        self.assertNotEqual(done.returncode, 0)
        self.assertEqual(done.stdout, b"")
        return done.stderr.decode()

    def test_grey_of_eight_bits_is_kept_by_every_type(self):
        random.seed(1)
        for width, height in ((1, 1), (2, 3), (5, 4), (64, 33)):
            raw = random.randbytes(width * height)
            for name in ("a.bmp", "a.png", "a.tiff", "a.tif"):
                picture = self.picture(raw, name, "-f", "Mono8", "-W", width, "-H", height)
                self.assertEqual((picture.width, picture.height, picture.channels), (width, height, 1))
                self.assertEqual((picture.maximum, picture.samples), (255, list(raw)))

    def test_deep_grey_keeps_sixteen_bits_in_png_and_tiff(self):
        values = [0, 1, 0x234, 0xABC, 0x800, 0xFFF]
        raw = struct.pack("<6H", *values)
        for name in ("a.png", "a.tiff"):
            picture = self.picture(raw, name, "-f", "Mono12", "-W", 3, "-H", 2)
            self.assertEqual((picture.maximum, picture.samples), (65535, [v << 4 | v >> 8 for v in values]))
            picture = self.picture(raw, name, "-f", "Mono16", "-W", 3, "-H", 2)
            self.assertEqual((picture.maximum, picture.samples), (65535, values))
        picture = self.picture(raw, "a.bmp", "-f", "Mono12", "-W", 3, "-H", 2)
        self.assertEqual(picture.samples, [v >> 4 for v in values])

    def test_packed_lines_of_odd_width_with_padding_after_an_offset(self):
        lines = [[0x123, 0x456, 0x789], [0xABC, 0xDEF, 0x012]]
        raw = b"header!"
        for a, b, c in lines:
            raw += bytes([a >> 4, (a & 15) | (b & 15) << 4, b >> 4, c >> 4, c & 15]) + b"\xEE\xEE"
        raw += b"\xDD" * 3 + b"the next frame"
        options = ["-f", "Mono12Packed", "-W", 3, "-H", 2, "--padding-x", 2, "--padding-y", 3, "--offset", 7]
        picture = self.picture(raw, "a.png", *options)
        self.assertEqual(picture.samples, [v << 4 | v >> 8 for line in lines for v in line])

    def test_colours_keep_their_order(self):
        for name in ("a.bmp", "a.png", "a.tiff"):
            for form, raw in (("RGB8Packed", [1, 2, 3, 4, 5, 6]), ("BGR8Packed", [3, 2, 1, 6, 5, 4]),
                              ("RGB8Planar", [1, 4, 2, 5, 3, 6]), ("WinRGB24", [3, 2, 1, 6, 5, 4])):
                picture = self.picture(bytes(raw), name, "-f", form, "-W", 2, "-H", 1)
                self.assertEqual((picture.channels, picture.samples), (3, [1, 2, 3, 4, 5, 6]), (name, form))

    def test_lines_run_from_the_top(self):
        for name in ("a.bmp", "a.png", "a.tiff"):
            picture = self.picture(bytes(range(12)), name, "-f", "RGB8Packed", "-W", 1, "-H", 4)
            self.assertEqual(picture.samples, list(range(12)))

    def test_deep_colours_keep_sixteen_bits(self):
        raw = struct.pack("<6H", 0, 0xFFF, 0x123, 0x800, 1, 0xABC)
        expected = [v << 4 | v >> 8 for v in struct.unpack("<6H", raw)]
        for name in ("a.png", "a.tiff"):
            picture = self.picture(raw, name, "-f", "RGB12Packed", "-W", 2, "-H", 1)
            self.assertEqual((picture.channels, picture.maximum, picture.samples), (3, 65535, expected))

    def test_alpha_is_kept(self):
        raw = bytes([3, 2, 1, 200, 6, 5, 4, 0])
        picture = self.picture(raw, "a.png", "-f", "BGRA8Packed", "-W", 2, "-H", 1, reader=["-alphapam"])
        self.assertEqual((picture.channels, picture.samples), (4, [1, 2, 3, 200, 4, 5, 6, 0]))
        alpha = self.picture(raw, "a.tiff", "-f", "BGRA8Packed", "-W", 2, "-H", 1, reader=["-alphaout=-"])
        self.assertEqual(alpha.samples, [200, 0])
        picture = self.picture(raw, "a.bmp", "-f", "BGRA8Packed", "-W", 2, "-H", 1)
        self.assertEqual(picture.samples, [1, 2, 3, 4, 5, 6])

    def test_bayer_interpolation_can_be_chosen(self):
        # one green sample above the middle is dark: an edge from left to right, along which 3x3 looks for the green there
        raw = bytearray([100] * 25)
        raw[5 + 2] = 0
        green = (2 * 5 + 2) * 3 + 1
        for name in ("a.bmp", "a.png", "a.tiff"):
            options = ["-f", "BayerRG8", "-W", 5, "-H", 5]
            best = self.picture(bytes(raw), name, *options)
            self.assertEqual(best.samples, self.picture(bytes(raw), name, *options, "--bayer", "3x3").samples)
            simple = self.picture(bytes(raw), name, *options, "--bayer", "simple")
            self.assertEqual((best.samples[green], simple.samples[green]), (100, 75))

    def test_flat_bayer_of_twelve_bits_is_a_flat_colour_of_sixteen(self):
        line = [0xF00, 0x080], [0x080, 0x00F]  # red, green; green, blue
        raw = b"".join(struct.pack("<2H", *line[y % 2]) * 3 for y in range(6))
        picture = self.picture(raw, "a.png", "-f", "BayerRG12", "-W", 6, "-H", 6)
        self.assertEqual(picture.samples, [v << 4 | v >> 8 for v in (0xF00, 0x080, 0x00F)] * 36)

    def test_raw_output_takes_any_destination(self):
        name = self.convert(bytes([5, 6]), "a.raw", "-f", "Mono8", "-W", 2, "-H", 1, "--to", "BGRA8Packed")
        with open(name, "rb") as file:
            self.assertEqual(file.read(), bytes([5, 5, 5, 255, 6, 6, 6, 255]))

    def test_the_type_can_be_told_apart_from_the_name(self):
        name = self.convert(bytes([5]), "picture", "-f", "Mono8", "-W", 1, "-H", 1, "--type", "png")
        with open(name, "rb") as file:
            self.assertEqual(file.read(8), b"\x89PNG\r\n\x1a\n")

    def test_reads_the_standard_input(self):
        done = self.run_pvctl("convert", "-", self.path("a.bmp"), "-f", "Mono8", "-W", 2, "-H", 1, "--offset", 3,
                              given=b"xyz\x01\x02")
        self.assertEqual(done.returncode, 0, done.stderr)
        with open(self.path("a.bmp"), "rb") as file:
            self.assertEqual(file.read()[-4:-2], b"\x01\x02")

    def test_every_listed_format_converts_by_each_of_its_names(self):
        done = self.run_pvctl("convert", "--list-formats")
        self.assertEqual(done.returncode, 0, done.stderr)
        lines = done.stdout.decode().splitlines()[1:]
        self.assertEqual(len(lines), 57)
        for line in lines:
            for name in (word for i, word in enumerate(line.split()) if i != 2):
                self.convert(bytes(4 * 2 * 6), "a.png", "-f", name, "-W", 4, "-H", 2)
                os.remove(self.path("a.png"))
        self.convert(bytes(1), "a.png", "-f", "mono8", "-W", 1, "-H", 1)

    def test_an_unknown_format_lists_the_names(self):
        for name in ("Mono9", "0x12345678", "0x", "Coord3D_A8"):
            text = self.refused("-", self.path("a.png"), "--format=" + name, "-W", 1, "-H", 1)
            self.assertIn("there is no pixel format '%s'" % name, text)
            for known in ("Mono12Packed", "BayerBG16", "WinBGR24"):
                self.assertIn(known, text)

    def test_a_short_input_says_what_it_has_and_needs(self):
        text = self.refused("-", self.path("a.png"), "-f", "Mono16", "-W", 4, "-H", 2, given=bytes(15))
        self.assertIn("take 16 bytes", text)
        self.assertIn("there are 15", text)
        text = self.refused("-", self.path("a.png"), "-f", "Mono8", "-W", 4, "-H", 2, "--offset", 9, given=bytes(16))
        self.assertIn("take 8 bytes after the first 9", text)
        self.assertIn("there are 7", text)
        text = self.refused("-", self.path("a.png"), "-f", "Mono8", "-W", 4, "-H", 2, "--offset", 10**18)
        self.assertIn("there are 0", text)
        self.assertEqual(os.listdir(self.folder), [])

    def test_files_that_cannot_be_read_or_written_are_named_with_the_reason(self):
        options = ["-f", "Mono8", "-W", 1, "-H", 1]
        text = self.refused(self.path("none.raw"), self.path("a.png"), *options)
        self.assertIn("none.raw': No such file", text)
        text = self.refused(self.folder, self.path("a.png"), *options)
        self.assertIn("is a folder", text)
        for kind in ("bmp", "png", "tiff"):
            text = self.refused("-", self.path("no folder/a." + kind), *options, given=b"x")
            self.assertIn("no folder/a.%s: No such file" % kind, text)
            text = self.refused("-", "/dev/full", "--type", kind, *options, given=b"x")
            self.assertIn("No space left", text)
        self.assertEqual(os.listdir(self.folder), [])

    def test_tells_programs_what_was_written(self):
        for name, kind, more in (("a.png", "png", ()), ("a.tif", "tiff", ()), ("a.raw", "raw", ("--to", "Mono8"))):
            done = self.run_pvctl("convert", "-", self.path(name), "-f", "Mono8", "-W", 3, "-H", 2, *more, "--json",
                                  given=b"abcdef")
            self.assertEqual(done.returncode, 0, done.stderr)
            self.assertEqual(json.loads(done.stdout),
                             {"file": self.path(name), "type": kind, "width": 3, "height": 2})
            self.assertTrue(os.path.exists(self.path(name)))
        failed = self.run_pvctl("convert", "-", self.path("b.jpg"), "-f", "Mono8", "-W", 1, "-H", 1, "--json", given=b"x")
        self.assertEqual((failed.returncode, failed.stdout), (1, b""))

    def test_impossible_sizes_and_contradictions_are_refused(self):
        output = self.path("a.png")
        self.assertIn("width and a height", self.refused("-", output, "-f", "Mono8", "-W", 0, "-H", 1))
        self.assertIn("4 GiB", self.refused("-", output, "-f", "Mono8", "-W", 65536, "-H", 65536))
        self.assertIn("--type", self.refused("-", self.path("a.jpg"), "-f", "Mono8", "-W", 1, "-H", 1))
        self.assertIn("--to FORMAT", self.refused("-", self.path("a.raw"), "-f", "Mono8", "-W", 1, "-H", 1))
        self.assertIn("raw outputs", self.refused("-", output, "-f", "Mono8", "-W", 1, "-H", 1, "--to", "Mono8"))
        self.assertIn("no conversion to BayerRG8",
                      self.refused("-", self.path("a.raw"), "-f", "Mono8", "-W", 1, "-H", 1, "--to", "BayerRG8", given=b"x"))
        for missing in ("--format", "--width", "--height"):
            options = {"--format": "Mono8", "--width": "1", "--height": "1"}
            del options[missing]
            self.assertIn(missing, self.refused("-", output, *(word for pair in options.items() for word in pair)))
        self.assertIn("--bayer", self.refused("-", output, "-f", "Mono8", "-W", 1, "-H", 1, "--bayer", "5x5"))
        self.assertIn("--width", self.refused("-", output, "-f", "Mono8", "--width=-1", "-H", 1))
        self.assertNotEqual(self.run_pvctl().returncode, 0)


if __name__ == "__main__":
    PVCTL = sys.argv.pop(1)
    for program in (programs[0] for programs in READERS.values()):
        if shutil.which(program) is None:
            sys.exit(f"{program} is missing; install the package netpbm")
    unittest.main()
