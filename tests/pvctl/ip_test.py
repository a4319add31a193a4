"""pvctl ip as users call it, with a software camera.

    ip_test.py PVCTL SOFTCAM
"""
import sys

sys.dont_write_bytecode = True
import programs

CAMERA = "127.0.0.2"
MAC = "02:56:7f:00:00:02"


class Ip(programs.PvctlTest):
    def setUp(self):
        self.start_camera("-a", CAMERA, "-s", "FIRST", "-n", "left")

    def test_the_configuration_is_shown(self):
        text = self.good("ip", "left")
        self.assertRegex(text, r"\Acurrent\n  ip +127\.0\.0\.2\n  mask +255\.0\.0\.0\n  gateway +0\.0\.0\.0\npersistent\n")
        self.assertRegex(text, r"\n  takes +persistent, link-local\n  supports +persistent, link-local\n\Z")
        self.assertEqual(self.good_json("ip", CAMERA)["current"],
                         {"ip": CAMERA, "mask": "255.0.0.0", "gateway": "0.0.0.0"})

    def test_a_persistent_address_is_kept_and_read_back(self):
        kept = {"ip": "192.168.7.5", "mask": "255.255.240.0", "gateway": "192.168.7.1"}
        told = self.good_json("ip", CAMERA, "--persistent", "192.168.7.5/20,192.168.7.1")
        self.assertEqual((told["persistent"], told["current"]["ip"]), (kept, CAMERA))
        self.assertEqual(self.good_json("ip", CAMERA)["persistent"], kept)
        told = self.good_json("ip", CAMERA, "--persistent", "off")
        self.assertEqual((told["persistent"], told["when_it_starts"]["takes"]), (kept, ["link-local"]))
        told = self.good_json("ip", CAMERA, "--persistent", "10.0.0.5/255.0.0.0")
        self.assertEqual(told["persistent"], {"ip": "10.0.0.5", "mask": "255.0.0.0", "gateway": "0.0.0.0"})
        self.assertEqual(told["when_it_starts"]["takes"], ["persistent", "link-local"])

    def test_an_address_is_forced_by_name_mac_and_address(self):
        for device, address in (("left", "127.0.0.77"), (MAC, "127.0.0.78"), ("127.0.0.78", "127.0.0.79")):
            told = self.good_json("ip", device, "--force", address + "/8")
            self.assertEqual(told["current"], {"ip": address, "mask": "255.0.0.0", "gateway": "0.0.0.0"})
            self.assertEqual(self.good("get", address, "-b", "DeviceID"), "FIRST\n")
        self.assertEqual(self.good_json("ip", MAC, "--restart")["current"]["ip"], CAMERA)
        self.assertEqual(self.good("get", CAMERA, "-b", "DeviceID"), "FIRST\n")

    def test_control_is_given_back(self):
        self.good("ip", CAMERA, "--persistent", "off")
        self.assertEqual(self.good_json("info", CAMERA)["control"]["access"], "free")

    def test_what_the_camera_cannot_is_told(self):
        self.fails(1, "does not support DHCP", "ip", CAMERA, "--dhcp", "on")
        self.fails(1, "keeps link-local addresses switched on", "ip", CAMERA, "--link-local", "off")
        self.fails(1, f"{MAC} refused the address 10.1.1.1", "ip", CAMERA, "--force", "10.1.1.1/24")
        self.fails(3, "02:00:00:00:00:01", "ip", "02:00:00:00:00:01", "--force", "127.0.0.9/8")

    def test_what_no_camera_can_have_is_refused_untried(self):
        for wrong in ("10.1.1.1", "10.1.1.1/33", "10.1.1.1/0", "10.1.1.1/255.0.255.0", "10.1.1.0/24", "239.1.1.1/24",
                      "10.1.1.1/24,10.1.2.1", "10.1.1.1/24,", "camera/24", "10.1.1.1/24/24"):
            for option in ("--force", "--persistent"):
                self.fails(2, ".", "ip", "nobody", option, wrong)
        self.fails(2, "dhcp", "ip", CAMERA, "--dhcp", "perhaps")
        self.fails(2, "force", "ip", CAMERA, "--force", "127.0.0.9/8", "--restart")


if __name__ == "__main__":
    programs.main()
