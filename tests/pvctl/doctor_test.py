"""pvctl doctor as users call it. What it makes of systems is tested in tests/diagnosis.

    doctor_test.py PVCTL SOFTCAM
"""
import json
import sys

sys.dont_write_bytecode = True
import programs

CAMERA = "127.0.0.2"
SIZE = "GevSCPSPacketSize"


class Doctor(programs.PvctlTest):
    def findings(self, *arguments, code=0):
        ended, text, errors = self.pvctl("doctor", *arguments, "--json")
        self.assertEqual((ended, errors), (code, ""), text)
        told = json.loads(text)
        return told["result"], {finding["check"]: finding for finding in told["findings"]}

    def test_a_camera_of_this_computer_is_well(self):
        self.start_camera("-a", CAMERA, "-s", "FIRST", "-n", "left")
        before = self.good("get", CAMERA, SIZE, "--bare")
        _, found = self.findings("left")
        for check in ("interfaces", "subnets", "search", "route", "answers", "heartbeat", "packets"):
            self.assertEqual(found[check]["result"], "good", found[check])
        self.assertIn(CAMERA, found["route"]["text"])
        self.assertRegex(found["answers"]["text"], "^50 requests, 0 of them sent again, 0 failed")
        self.assertIn("3000 ms", found["heartbeat"]["text"])
        self.assertIn("receive_buffers", found)
        self.assertEqual(self.good("get", CAMERA, SIZE, "--bare"), before)
        self.assertIn("free", self.good("info", CAMERA))

    def test_people_read_what_to_do(self):
        text = self.pvctl("doctor")[1]
        self.assertRegex(text, r"(?m)^wrong         No camera answers a search on any interface\.$")
        self.assertRegex(text, r"(?m)^              -> See whether the camera has power")

    def test_something_wrong_ends_with_1_and_a_missing_camera_with_3(self):
        self.assertEqual(self.pvctl("doctor")[0], 1)
        result, found = self.findings(CAMERA, code=1)
        self.assertEqual((result, found["connection"]["result"]), ("wrong", "wrong"))
        result, found = self.findings("nobody", code=3)
        self.assertEqual((result, found["camera"]["result"]), ("wrong", "wrong"))

    def test_who_has_control_keeps_it(self):
        self.start_camera("-a", CAMERA)
        watch = self.start("watch", CAMERA, "Width", "--control", "--json", "--interval", "50")
        self.assertTrue(watch.stdout.readline())
        _, found = self.findings(CAMERA)
        self.assertEqual(found["packets"]["result"], "look at this")
        self.assertIn("control", found["packets"]["text"])
        self.assertIsNone(watch.poll())


if __name__ == "__main__":
    programs.main()
