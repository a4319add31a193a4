"""pvctl action as users call it, with software cameras.

    action_test.py PVCTL SOFTCAM
"""
import json
import socket
import struct
import sys

sys.dont_write_bytecode = True
import programs

CCP, HEARTBEAT_TIMEOUT, TIMESTAMP_CONTROL, TIMESTAMP = 0x0A00, 0x0938, 0x0944, 0x0948
DEVICE_KEY, GROUP_KEY, GROUP_MASK = 0x090C, 0x9800, 0x9804
KEYS = ["--device-key", "0x11", "--group-key", "0x22", "--group-mask", "0x6"]


class Application:
    """Controls a camera, register by register and without the project's own code."""

    def __init__(self, address):
        self.socket = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        self.socket.settimeout(5)
        self.socket.connect((address, 3956))
        self.request_id = 0

    def exchange(self, command, payload):
        self.request_id += 1
        self.socket.send(struct.pack(">BBHHH", 0x42, 1, command, len(payload), self.request_id) + payload)
        answer = self.socket.recv(2048)
        status, _, _, request_id = struct.unpack(">HHHH", answer[:8])
        assert (status, request_id) == (0, self.request_id), answer
        return answer[8:]

    def write(self, address, value):
        self.exchange(0x82, struct.pack(">II", address, value))

    def read64(self, address):
        return struct.unpack(">Q", self.exchange(0x80, struct.pack(">II", address, address + 4)))[0]

    def now(self):
        self.write(TIMESTAMP_CONTROL, 2)
        return self.read64(TIMESTAMP)


class Action(programs.PvctlTest):
    def start_controlled_camera(self, address, group_mask=2):
        self.start_camera("-a", address)
        application = Application(address)
        self.addCleanup(application.socket.close)
        for register, value in ((CCP, 2), (HEARTBEAT_TIMEOUT, 60_000), (DEVICE_KEY, 0x11), (GROUP_KEY, 0x22),
                                (GROUP_MASK, group_mask)):
            application.write(register, value)
        return application

    def test_acknowledges_are_counted(self):
        self.start_controlled_camera("127.0.0.2")
        self.start_controlled_camera("127.0.0.3", group_mask=4)
        self.start_controlled_camera("127.0.0.4", group_mask=8)
        text = self.good("action", *KEYS, "--expect", "2", "--timeout", "20000")
        self.assertRegex(text, r"\AIP ADDRESS +STATUS\n127\.0\.0\.. +success\n127\.0\.0\.. +success\n"
                               r"2 of 2 expected acknowledged\n\Z")
        self.assertEqual({line.split()[0] for line in text.splitlines()[1:3]}, {"127.0.0.2", "127.0.0.3"})
        code, text, errors = self.pvctl("action", *KEYS, "--expect", "3", "--json")
        self.assertEqual(code, 1)
        self.assertIn("2 of 3 devices acknowledged the action within 500 ms", errors)
        told = json.loads(text)
        self.assertEqual((told["expected"], told["acknowledged"], told["succeeded"]), (3, 2, 2))

    def test_one_camera_can_be_meant(self):
        self.start_controlled_camera("127.0.0.2")
        self.start_controlled_camera("127.0.0.3")
        told = self.good_json("action", *KEYS, "--to", "127.0.0.3", "--interface", "127.0.0.1")
        self.assertEqual(told["devices"], [{"ip": "127.0.0.3", "status": 0, "text": "success"}])

    def test_actions_are_scheduled(self):
        camera = self.start_controlled_camera("127.0.0.2")
        later = camera.now() + 3600 * 10**9
        # as many as the camera keeps, and one more
        for _ in range(16):
            self.good("action", *KEYS, "--time", str(later), "--expect", "1")
        code, text, errors = self.pvctl("action", *KEYS, "--time", str(later), "--expect", "1")
        self.assertEqual(code, 1)
        self.assertRegex(text, r"127\.0\.0\.2 +busy")
        self.assertRegex(errors, r"127\.0\.0\.2: busy")
        self.good("action", *KEYS, "--expect", "1")

    def test_nobody_may_be_meant(self):
        self.start_camera("-a", "127.0.0.2")
        self.fails(3, "No camera acknowledged; .* controls them", "action", *KEYS, "--timeout", "200")
        self.assertEqual(self.good("action", *KEYS, "--no-acknowledge"), "sent\n")

    def test_bad_options_are_refused(self):
        for wrong in ([], KEYS[:4], [*KEYS, "--to", "camera"], [*KEYS, "--interface", "1.2.3.4"],
                      [*KEYS, "--time", "soon"], [*KEYS[:5], "0"], [*KEYS, "--timeout", "0"]):
            self.fails(2, ".", "action", *wrong)


if __name__ == "__main__":
    programs.main()
