"""pvctl report: what is in its ZIP file, and what is replaced in it.

    report_test.py PVCTL SOFTCAM
"""
import json
import os
import shutil
import socket
import struct
import subprocess
import sys
import tempfile
import unittest
import zipfile
from pathlib import Path

sys.dont_write_bytecode = True
import programs

CAMERA = "127.0.0.2"
MAC = bytes.fromhex("02567f000002")
FILES = {"summary.txt", "system.json", "interfaces.json", "discovery.json", "bootstrap.json", "description.xml",
         "features.json", "stream.json", "control.pcap"}


def payloads(capture):
    """(source, destination, payload) of each packet of a pcap file of raw IPv4."""
    magic, *_, link = struct.unpack_from("<IHHIIII", capture)
    assert (magic, link) == (0xA1B2C3D4, 101)
    at = 24
    while at < len(capture):
        _, _, size, _ = struct.unpack_from("<IIII", capture, at)
        packet = capture[at + 16:at + 16 + size]
        yield socket.inet_ntoa(packet[12:16]), socket.inet_ntoa(packet[16:20]), packet[28:]
        at += 16 + size


class Report(programs.PvctlTest):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = folder.name
        self.file = os.path.join(self.folder, "report.zip")

    def report(self, *arguments):
        self.start_camera("-a", CAMERA, "-s", "SN-4711", "-n", "left eye")
        self.good("report", CAMERA, "-o", self.file, "--duration", "0.5", *arguments)
        with zipfile.ZipFile(self.file) as archive:
            self.assertIsNone(archive.testzip())
            self.assertEqual(archive.namelist()[0], "summary.txt")
            self.assertEqual(set(archive.namelist()), FILES)
            return {name: archive.read(name) for name in FILES}

    def test_everything_is_in_it(self):
        files = self.report()
        summary = files["summary.txt"].decode()
        self.assertIn("Everything was read.", summary)
        self.assertRegex(summary, "good: 50 requests")
        system = json.loads(files["system.json"])
        self.assertEqual(system["host_name"], socket.gethostname())
        self.assertIn("firewalls", system)
        loopback = next(one for one in json.loads(files["interfaces.json"]) if one["loopback"])
        self.assertEqual((loopback["ip"], loopback["mtu"] > 1000), ("127.0.0.1", True))
        self.assertEqual([one["serial_number"] for one in json.loads(files["discovery.json"])], ["SN-4711"])
        self.assertEqual(json.loads(files["bootstrap.json"])["network"]["ip"], CAMERA)
        self.assertEqual(files["description.xml"].decode(), self.good("xml", CAMERA))
        self.assertEqual(json.loads(files["features.json"])["ImageFormatControl"]["Width"]["value"], 640)
        stream = json.loads(files["stream.json"])
        self.assertGreater(stream["frames"], 2)
        self.assertEqual(stream["frames"], stream["statistics"]["blocks"])
        packets = list(payloads(files["control.pcap"]))
        self.assertTrue(any(b"SN-4711" in payload for _, _, payload in packets))
        self.assertIn(("127.0.0.1", CAMERA), {packet[:2] for packet in packets})
        self.assertIn((CAMERA, "127.0.0.1"), {packet[:2] for packet in packets})
        self.assertEqual(os.listdir(self.folder), ["report.zip"])
        self.assertIn("free", self.good("info", CAMERA))

    def test_masked(self):
        files = self.report("--mask")
        for name, contents in files.items():
            for secret in (b"SN-4711", b"left eye", MAC, MAC[2:], b"02:56:7f:00:00:02", b"127.0.0.2", b"127.0.0.1",
                           socket.inet_aton(CAMERA), socket.inet_aton("127.0.0.1"), b"2130706434"):
                if name != "description.xml" or secret in (b"SN-4711", b"left eye"):
                    self.assertNotIn(secret, contents, name)
        self.assertNotEqual(json.loads(files["system.json"])["host_name"], socket.gethostname())
        found = json.loads(files["discovery.json"])[0]
        known = json.loads(files["bootstrap.json"])
        self.assertEqual((found["serial_number"], found["user_defined_name"]), ("serial1", "name---1"))
        self.assertEqual(found["serial_number"], known["identity"]["serial_number"])
        self.assertEqual((found["mac"], found["ip"]), (known["network"]["mac"], known["network"]["ip"]))
        packets = list(payloads(files["control.pcap"]))
        self.assertTrue(any(b"serial1\0" in payload and b"name---1\0" in payload for _, _, payload in packets))
        self.assertIn(found["ip"], {packet[1] for packet in packets})

    @unittest.skipUnless(shutil.which("tshark"), "tshark is not installed")
    def test_others_read_the_capture(self):
        capture = Path(self.folder) / "control.pcap"
        capture.write_bytes(self.report("--mask")["control.pcap"])
        def lines(display_filter):
            return subprocess.run(["tshark", "-r", capture, "-Y", display_filter], capture_output=True, text=True,
                                  timeout=60, check=True).stdout.splitlines()
        self.assertEqual(lines("_ws.malformed || ip.checksum.status == 0 || !gvcp"), [])
        self.assertTrue(lines("gvcp.cmd.command == 0x0002"))
        self.assertTrue(lines("gvcp.ack"))

    def test_without_a_camera_there_is_no_file(self):
        self.fails(3, "nobody", "report", "nobody", "-o", self.file)
        self.fails(3, CAMERA, "report", CAMERA, "-o", self.file)
        self.fails(1, "folder", "report", CAMERA, "-o", self.folder)
        self.fails(1, "Cannot create", "report", CAMERA, "-o", self.folder + "/missing/report.zip")
        self.fails(2, "--output", "report", CAMERA)
        self.assertEqual(os.listdir(self.folder), [])

    def test_an_older_file_stays_when_there_is_no_camera(self):
        Path(self.file).write_text("older")
        self.fails(3, "nobody", "report", "nobody", "-o", self.file)
        self.assertEqual(Path(self.file).read_text(), "older")

    def test_a_camera_that_somebody_controls(self):
        self.start_camera("-a", CAMERA)
        watch = self.start("watch", CAMERA, "Width", "--control", "--json", "--interval", "50")
        self.assertTrue(watch.stdout.readline())
        told = self.good_json("report", CAMERA, "-o", self.file, "--duration", "0.5")
        self.assertEqual([sentence.split(":")[0] for sentence in told["missing"]], ["stream.json"])
        self.assertIsNone(watch.poll())
        with zipfile.ZipFile(self.file) as archive:
            self.assertIn("stream.json: ", archive.read("summary.txt").decode())


if __name__ == "__main__":
    programs.main()
