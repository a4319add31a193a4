"""pvctl serial and pvctl i2c as users call them, with a software camera.

    serial_test.py PVCTL SOFTCAM
"""
import os
import subprocess
import sys
import tempfile

sys.dont_write_bytecode = True
import programs

CAMERA = "127.0.0.2"


class Serial(programs.PvctlTest):
    def talk(self, typed, *arguments):
        """What comes back for a piped input."""
        done = subprocess.run([programs.PVCTL, "serial", CAMERA, *arguments], input=typed, capture_output=True,
                              timeout=60)
        self.assertEqual((done.returncode, done.stderr), (0, b""))
        return done.stdout

    def test_a_device_answers_lines(self):
        self.start_camera("-a", CAMERA, "-s", "SC-7")
        self.assertEqual(self.talk(b"id\r", "Serial1"), b"SoftCam SC-7\r\n")
        self.assertEqual(self.talk(b"temp\r?\r", "serial1"), b"temp 38.5\r\ncommands: ? id temp\r\n")

    def test_bytes_are_shown_in_hexadecimal_and_logged(self):
        self.start_camera("-a", CAMERA)
        sent = bytes(range(20))
        with tempfile.TemporaryDirectory() as folder:
            log = os.path.join(folder, "log")
            self.assertEqual(self.talk(sent, "Serial0", "--hex", "--log", log),
                             b"00 01 02 03 04 05 06 07 08 09 0A 0B 0C 0D 0E 0F\n10 11 12 13 \n")
            with open(log, "rb") as file:
                self.assertEqual(file.read(), sent)

    def test_many_bytes_come_back_as_they_were(self):
        self.start_camera("-a", CAMERA)
        sent = os.urandom(100000)
        self.assertEqual(self.talk(sent, "Serial0"), sent)

    def test_a_baud_rate_is_set(self):
        self.start_camera("-a", CAMERA)
        self.assertEqual(self.talk(b"abc", "Bulk0", "--baud", "19200"), b"abc")
        self.assertIn("19200", self.good("get", CAMERA, "IPEngineBulk0BaudRate"))

    def test_failures_say_what(self):
        self.start_camera("-a", CAMERA)
        self.fails(2, "no port; ports are Serial0", "serial", CAMERA, "COM1")
        self.fails(1, "has no serial port Bulk7", "serial", CAMERA, "Bulk7")
        self.fails(1, "has no I2C bus on the port Serial0", "i2c", "scan", CAMERA, "Serial0")

    def test_slaves_are_listed(self):
        self.start_camera("-a", CAMERA)
        self.assertEqual(self.good("i2c", "scan", CAMERA, "Bulk1"),
                         "0x90 (7-bit address 0x48)\n0xA0 (7-bit address 0x50)\n")
        self.assertEqual(self.good_json("i2c", "scan", CAMERA, "Bulk1"), [0x90, 0xA0])

    def test_bytes_of_slaves_are_written_and_read(self):
        self.start_camera("-a", CAMERA)
        self.assertEqual(self.good("i2c", "read", CAMERA, "Bulk1", "0x90", "4", "--offset", "2"), "4B 00 50 00\n")
        self.good("i2c", "write", CAMERA, "Bulk1", "0x90", "0x12", "52", "--offset", "2")
        self.assertEqual(self.good_json("i2c", "read", CAMERA, "Bulk1", "0x90", "2", "--offset", "2", "--separate"),
                         [0x12, 52])
        self.assertEqual(self.good("i2c", "read", CAMERA, "Bulk1", "0xA0", "--slow"), "FF\n")
        self.fails(3, "0x50 did not acknowledge", "i2c", "read", CAMERA, "Bulk1", "0x50")
        self.fails(2, "no byte", "i2c", "write", CAMERA, "Bulk1", "0x90", "256")


if __name__ == "__main__":
    programs.main()
