"""pvctl info as users call it, with a software camera.

    info_test.py PVCTL SOFTCAM
"""
import sys

sys.dont_write_bytecode = True
import programs

CAMERA = "127.0.0.2"


class Info(programs.PvctlTest):
    def setUp(self):
        self.start_camera("-a", CAMERA, "-s", "FIRST", "-n", "left")

    def facts(self, text):
        """Sections of the sheet as lists of (name, value)."""
        sections = {}
        for line in text.splitlines():
            if line.startswith("  "):
                name, _, value = line[2:].partition("  ")
                sections[section].append((name.strip(), value.strip()))
            else:
                section = line.strip()
                sections[section] = []
        return sections

    def test_all_that_matters_is_told(self):
        sections = self.facts(self.good("info", "left"))
        for section, fact in (
            ("identity", ("vendor", "Vexkam")),
            ("identity", ("serial number", "FIRST")),
            ("identity", ("user defined name", "left")),
            ("identity", ("gige vision", "2.0")),
            ("identity", ("class", "transmitter")),
            ("network", ("mac", "02:56:7f:00:00:02")),
            ("network", ("ip", CAMERA)),
            ("network", ("mask", "255.0.0.0")),
            ("network", ("configurations", "persistent, link-local")),
            ("network", ("link speed", "1000 Mbit/s")),
            ("control", ("access", "free")),
            ("control", ("heartbeat timeout", "3000 ms")),
            ("control", ("", "packet resend")),
            ("stream channel 0", ("destination", "closed")),
            ("stream channel 0", ("packet size", "1500 bytes")),
            ("timestamp", ("frequency", "1000000000 Hz")),
        ):
            self.assertIn(fact, sections[section])
        self.assertRegex(dict(sections["description"])["first url"], "^Local:softcam")

    def test_programs_read_the_same(self):
        facts = self.good_json("info", CAMERA)
        self.assertEqual(facts["identity"]["serial_number"], "FIRST")
        self.assertEqual(facts["network"]["link_speed"], 1000)
        self.assertEqual(facts["control"]["heartbeat_timeout"], 3000)
        self.assertIn("packet resend", facts["control"]["capabilities"])
        self.assertEqual(facts["stream_channel_0"]["packet_size"], 1500)
        self.assertEqual(facts["timestamp"]["frequency"], 1_000_000_000)

    def test_the_controller_is_told(self):
        holder = self.start("watch", CAMERA, "Width", "--control")
        self.assertIn("Width", holder.stdout.readline())
        control = self.good_json("info", CAMERA)["control"]
        self.assertEqual(control["access"], "controlled")
        self.assertRegex(control["controlled_by"], r"^127\.0\.0\.\d+, port \d+$")
        self.fails(1, "is controlled by", "info", CAMERA, "--latch")

    def test_the_clock_is_latched_on_request(self):
        self.assertNotIn("ticks", self.good_json("info", CAMERA)["timestamp"])
        facts = self.good_json("info", CAMERA, "--latch")
        self.assertEqual(facts["control"]["access"], "free")
        first = facts["timestamp"]
        second = self.good_json("info", CAMERA, "--latch")["timestamp"]
        self.assertEqual(first["set_by_ptp"], "not supported")
        self.assertAlmostEqual(first["time"], first["ticks"] / first["frequency"])
        self.assertGreater(second["ticks"], first["ticks"])
        self.assertGreater(first["error"], 0)
        self.assertLess(first["error"], 0.5)
        self.assertRegex(self.good("info", CAMERA, "--latch"), r"\n  time +\d+\.\d{6} s\n  error +\+-\d+ us\n")
        self.assertEqual(self.good_json("info", CAMERA)["control"]["access"], "free")

    def test_the_sheet_fits_the_terminal(self):
        code, shown, _ = self.on_terminal(48, "info", CAMERA)
        self.assertEqual(code, 0)
        self.assertEqual(max(map(len, shown.splitlines())), 48)
        self.assertIn("several registers in one ~\n", shown)

    def test_who_is_not_there_has_no_facts(self):
        self.fails(3, "no answer", "info", "127.0.0.9")
        self.fails(3, '"nobody"(.|\n)*pvctl discover', "info", "nobody")


if __name__ == "__main__":
    programs.main()
