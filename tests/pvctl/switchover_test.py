"""pvctl switchover as users call it, with a software camera.

    switchover_test.py PVCTL SOFTCAM
"""
import json
import signal
import sys

sys.dont_write_bytecode = True
import programs

CAMERA = "127.0.0.2"


class Switchover(programs.PvctlTest):
    def setUp(self):
        self.camera = self.start_camera("-a", CAMERA)

    def access(self):
        return self.good_json("info", CAMERA)["control"]["access"]

    def hold(self, key, *arguments):
        holder = self.start("switchover", CAMERA, "--key", key, "--hold", *arguments)
        self.assertIn("control taken", holder.stdout.readline())
        return holder

    def test_control_goes_to_who_knows_the_key(self):
        first = self.hold("0x1234")
        self.assertEqual(self.access(), "controlled, can be switched over")
        second = self.hold("0x1234")
        self.assertRegex(first.stdout.readline(), r"^control lost: control of the device went to 127\.0\.0\.1, port \d+$")
        self.assertEqual((first.wait(30), first.stderr.read()), (0, ""))
        self.assertEqual(self.access(), "controlled, can be switched over")
        second.send_signal(signal.SIGINT)
        self.assertEqual(second.stdout.readline(), "control given back\n")
        self.assertEqual(second.wait(30), 0)
        self.assertEqual(self.access(), "free")

    def test_a_wrong_key_is_refused(self):
        holder = self.hold("1234")
        self.fails(1, r"is controlled by .*does not hand it over for this key(.|\n)*--switchover-key",
                   "switchover", CAMERA, "--key", "1235")
        self.fails(1, "is controlled by", "set", CAMERA, "Width=320")
        self.assertIsNone(holder.poll())

    def test_who_does_not_allow_it_keeps_control(self):
        holder = self.start("watch", CAMERA, "Width", "--control")
        holder.stdout.readline()
        self.fails(1, "does not hand it over", "switchover", CAMERA, "--key", "1234")

    def test_features_are_set_in_spite_of_another_application(self):
        holder = self.hold("1234")
        self.good("set", CAMERA, "Width=320", "--switchover-key", "1234")
        self.assertEqual(self.good("get", CAMERA, "-b", "Width"), "320\n")
        self.assertEqual(holder.wait(30), 0)
        self.assertIn("control lost", holder.stdout.read())

    def test_control_is_given_back_at_once_without_hold(self):
        self.assertEqual(self.good("switchover", CAMERA, "--key", "7"), "control taken\ncontrol given back\n")
        self.assertEqual(self.access(), "free")
        lines = self.good("switchover", CAMERA, "--key", "7", "--hold", "--time", "0.1", "--json").splitlines()
        self.assertEqual([json.loads(line)["event"] for line in lines], ["control taken", "control given back"])

    def test_a_lost_camera_is_told_from_lost_control(self):
        holder = self.hold("1234")
        self.camera.kill()
        self.assertRegex(holder.stdout.readline(), "^control lost: the device has not answered")
        self.assertEqual(holder.wait(30), 1)

    def test_bad_options_are_refused(self):
        for wrong in ([], ["--key", "0"], ["--key", "65536"], ["--key", "secret"]):
            self.fails(2, "key", "switchover", CAMERA, *wrong)
        self.fails(2, "control", "watch", CAMERA, "--switchover-key", "5")


if __name__ == "__main__":
    programs.main()
