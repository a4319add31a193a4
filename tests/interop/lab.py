"""Hosts to test on: network namespaces with loopback, the wires between them, and the programs that run in them.

Whatever is started or made here ends with the `with` block it belongs to, also when that is left by an exception.
"""

import contextlib
import itertools
import os
import re
import signal
import subprocess
import time

GVCP_PORT = 3956


class LabError(Exception):
    """Something could not be set up, or took longer than it may."""


def eventually(condition, seconds, what):
    """Waits for a condition; its value once it is true."""
    deadline = time.monotonic() + seconds
    while True:
        value = condition()
        if value:
            return value
        if time.monotonic() > deadline:
            raise LabError(f"waited {seconds} s for {what}")
        time.sleep(0.02)


class Program:
    """A program that runs in a host, its output in a file; it reads what `tell` writes where it has input."""

    def __init__(self, host, argv, log, has_input=False):
        self.argv = argv
        self.log = log
        stdin = subprocess.PIPE if has_input else subprocess.DEVNULL
        with open(log, "wb") as out:
            self._process = subprocess.Popen(host.inside(argv), stdin=stdin, stdout=out, stderr=subprocess.STDOUT)

    @property
    def name(self):
        return os.path.basename(self.argv[0])

    def output(self):
        with open(self.log, encoding="utf-8", errors="replace") as file:
            return file.read()

    def tell(self, line):
        """Writes a line to its standard input."""
        try:
            self._process.stdin.write(f"{line}\n".encode())
            self._process.stdin.flush()
        except OSError as error:
            raise LabError(f"{self.name} reads no more: {self.output().strip()[-500:]}") from error

    def end_input(self):
        with contextlib.suppress(OSError):
            self._process.stdin.close()

    def pid(self):
        return self._process.pid

    def running(self):
        return self._process.poll() is None

    def wait_for(self, condition, what, seconds=10):
        def done():
            if not self.running():
                raise LabError(f"{self.name} ended with {self._process.returncode}: {self.output().strip()[-500:]}")
            return condition()

        return eventually(done, seconds, f"{self.name}: {what}")

    def wait_for_output(self, pattern, seconds=10):
        def said():
            return re.search(pattern, self.output())

        try:
            return self.wait_for(said, f"output {pattern!r}", seconds)
        except LabError:
            if found := said():  # the last that it said before it ended
                return found
            raise

    def wait_for_port(self, port, address=None, seconds=10):
        """Waits until some socket of the program's host is bound to a UDP port, at `address` or anywhere."""

        def bound():
            with open(f"/proc/{self._process.pid}/net/udp", encoding="ascii") as table:
                locals_ = [line.split()[1] for line in table.readlines()[1:]]
            wanted = f":{port:04X}"
            if address is not None:
                wanted = bytes(reversed([int(part) for part in address.split(".")])).hex().upper() + wanted
            return any(local.endswith(wanted) for local in locals_)

        self.wait_for(bound, f"UDP port {port}", seconds)

    def wait_until_ended(self, seconds=10):
        eventually(lambda: not self.running(), seconds, f"{self.name} to end")

    def stop(self, how=signal.SIGINT, seconds=5):
        """Asks the program to end and makes sure of it; its exit code, or None when it had to be killed."""
        if self.running():
            self._process.send_signal(how)
        try:
            return self._process.wait(seconds)
        except subprocess.TimeoutExpired:
            self._process.kill()
            self._process.wait()
            return None


class Host:
    """A network namespace with only loopback, until it is wired to another. It lives as long as a process that holds
    it, which ends with this one, however that ends: nothing stays behind under a name, and wires end with their hosts.
    """

    _log_numbers = itertools.count()

    def __init__(self, folder):
        self.folder = folder
        self._holder = None
        self._programs = []

    def __enter__(self):
        self._holder = subprocess.Popen(
            ["unshare", "--net", "--", "sh", "-c", "ip link set lo up && echo ready && exec cat"],
            stdin=subprocess.PIPE,
            stdout=subprocess.PIPE,
            stderr=subprocess.STDOUT,
            text=True,
        )
        said = self._holder.stdout.readline().strip()
        if said != "ready":
            self.__exit__()
            raise LabError(f"no network namespace: {said}")
        return self

    def __exit__(self, *_):
        for program in reversed(self._programs):
            program.stop()
        # what a program left behind, a grandchild for instance, has no other way to end
        for pid in self._inhabitants():
            with contextlib.suppress(ProcessLookupError):
                os.kill(pid, signal.SIGKILL)
        self._holder.stdin.close()
        self._holder.wait()
        self._holder.stdout.close()

    def _inhabitants(self):
        """The processes in the namespace, the holder not counted."""

        def namespace(pid):
            try:
                return os.readlink(f"/proc/{pid}/ns/net")
            except OSError:
                return None

        own = namespace(self._holder.pid)
        if own is None:
            return []
        pids = [int(name) for name in os.listdir("/proc") if name.isdigit()]
        return [pid for pid in pids if pid != self._holder.pid and namespace(pid) == own]

    def _configure(self, *arguments):
        done = self.run(["ip", *arguments], 10)
        if done.returncode != 0:
            raise LabError(f"ip {' '.join(arguments)}: {done.stdout.strip()}")

    def wire_to(self, other, here, there):
        """Joins an interface of this host to one of another, as by a cable; each is a name and an address with prefix
        length, or None for an interface that only passes frames on.
        """
        peer = ["peer", "name", there[0], "netns", str(other._holder.pid)]
        self._configure("link", "add", here[0], "type", "veth", *peer)
        for host, (name, address) in ((self, here), (other, there)):
            if address is not None:
                host._configure("address", "add", address, "broadcast", "+", "dev", name)
            host._configure("link", "set", name, "up")

    def switch(self, *names):
        """Joins interfaces of this host as a switch does, which passes every multicast on to everybody."""
        self._configure("link", "add", "switch", "type", "bridge", "mcast_snooping", "0")
        for name in names:
            self._configure("link", "set", name, "master", "switch")
        self._configure("link", "set", "switch", "up")

    def cut_trains(self, name):
        """Lets an interface send datagram by datagram what programs give it at once."""
        self._configure("link", "set", "dev", name, "gso_max_segs", "1")

    def set_link(self, name, state):
        """Plugs the cable of an interface in ("up") or out ("down")."""
        self._configure("link", "set", name, state)

    def add_address(self, interface, address):
        self._configure("address", "add", address, "dev", interface)

    def add_route(self, *arguments):
        self._configure("route", "add", *arguments)

    def inside(self, argv):
        """The command that runs `argv` here and lets it die with this process."""
        return ["setpriv", "--pdeathsig", "KILL", "nsenter", f"--net=/proc/{self._holder.pid}/ns/net", *argv]

    def run(self, argv, seconds):
        """Runs a program to its end; CompletedProcess with standard output and error as one text."""
        try:
            return subprocess.run(
                self.inside(argv),
                stdin=subprocess.DEVNULL,
                stdout=subprocess.PIPE,
                stderr=subprocess.STDOUT,
                text=True,
                errors="replace",
                timeout=seconds,
                check=False,
            )
        except subprocess.TimeoutExpired as error:
            raise LabError(f"{os.path.basename(argv[0])} did not end within {seconds} s") from error

    def start(self, argv, has_input=False):
        # hosts share a folder
        log = os.path.join(self.folder, f"{next(self._log_numbers):02d}-{os.path.basename(argv[0])}.log")
        program = Program(self, argv, log, has_input)
        self._programs.append(program)
        return program
