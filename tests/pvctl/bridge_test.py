"""pvctl bridge as users call it, with a software camera.

    bridge_test.py PVCTL SOFTCAM
"""
import json
import os
import pty
import signal
import socket
import sys
import threading
import tty

sys.dont_write_bytecode = True
import programs

CAMERA = "127.0.0.2"


class Bridge(programs.PvctlTest):
    def join(self, port, *arguments):
        """A running bridge, and what it says of itself."""
        bridge = self.start("bridge", CAMERA, port, "--json", *arguments)
        return bridge, json.loads(bridge.stdout.readline())

    def end(self, bridge):
        """What it has carried."""
        bridge.send_signal(signal.SIGINT)
        carried = json.loads(bridge.stdout.readline())
        self.assertEqual(bridge.wait(timeout=20), 0)
        return carried

    def take(self, connection, size):
        got = b""
        while len(got) < size:
            part = connection.recv(65536)
            self.assertNotEqual(part, b"", "the connection has ended")
            got += part
        return got

    def exchange(self, connection, sent):
        """What a loopback plug gives back."""
        sender = threading.Thread(target=connection.sendall, args=(sent,))
        sender.start()
        got = self.take(connection, len(sent))
        sender.join()
        return got

    def test_a_tcp_port_on_loopback_leads_to_the_camera(self):
        self.start_camera("-a", CAMERA, "-s", "SC-7")
        bridge, said = self.join("Serial1", "--name", "tcp:0", "--device-baud", "57600")
        self.assertEqual((said["port"], said["baud"]), ("Serial1", 57600))
        port = int(said["joined"].removeprefix("tcp:"))
        for _ in range(2):
            with socket.create_connection(("127.0.0.1", port), timeout=20) as program:
                program.sendall(b"id\r")
                self.assertEqual(self.take(program, 14), b"SoftCam SC-7\r\n")
        with self.assertRaises(ConnectionRefusedError):
            socket.create_connection(("127.0.0.3", port), timeout=20)
        self.assertIn("57600", self.good("get", CAMERA, "IPEngineSerial1BaudRate"))
        self.assertEqual(self.end(bridge), {"sent": 6, "received": 28, "dropped": 0})

    def test_a_socket_file_leads_to_the_camera(self):
        self.start_camera("-a", CAMERA)
        bridge, said = self.join("Serial0", "--name", f"test-{os.getpid()}")
        path = said["joined"].split("(")[1].rstrip(")")
        self.assertEqual(os.stat(path).st_mode & 0o777, 0o600)
        sent = os.urandom(1000000)
        with socket.socket(socket.AF_UNIX) as program:
            program.settimeout(20)
            program.connect(path)
            self.assertTrue(self.exchange(program, sent) == sent)
        self.assertEqual(self.end(bridge), {"sent": len(sent), "received": len(sent), "dropped": 0})
        self.assertFalse(os.path.exists(path))
        os.unlink(path + ".lock")

    def test_a_serial_line_leads_to_the_camera(self):
        self.start_camera("-a", CAMERA, "-s", "SC-7")
        master, line = pty.openpty()
        tty.setraw(line)
        name = os.ttyname(line)
        os.close(line)
        bridge, said = self.join("Serial1", "--line", name, "--baud", "19200", "--parity", "even", "--bits", "7",
                                 "--stop-bits", "2")
        self.assertEqual((said["joined"], said["baud"]), (name, 19200))
        self.assertIn("Even", self.good("get", CAMERA, "IPEngineSerial1Parity"))
        os.write(master, b"id\r")
        got = b""
        while len(got) < 14:
            got += os.read(master, 100)
        self.assertEqual(got, b"SoftCam SC-7\r\n")
        self.assertEqual(self.end(bridge), {"sent": 3, "received": 14, "dropped": 0})
        os.close(master)

    def test_failures_say_what(self):
        self.start_camera("-a", CAMERA)
        self.fails(2, "needs --name NAME or --line LINE", "bridge", CAMERA, "Serial0")
        self.fails(2, "excludes", "bridge", CAMERA, "Serial0", "--name", "a", "--line", "b")
        self.fails(1, "cannot be the name", "bridge", CAMERA, "Serial0", "--name", "a/b")
        self.fails(3, "There is no serial port", "bridge", CAMERA, "Serial0", "--line", "/dev/ttyNONE")
        self.fails(1, "has no serial port Bulk7", "bridge", CAMERA, "Bulk7", "--name", "tcp:0")
        self.fails(1, "cannot be set to baud rate 12345", "bridge", CAMERA, "Serial0", "--name", "tcp:0",
                   "--device-baud", "12345")


if __name__ == "__main__":
    programs.main()
