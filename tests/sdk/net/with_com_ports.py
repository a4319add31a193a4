#!/usr/bin/env python3
"""with_com_ports.py COMMAND...: runs it with two COM ports of the Wine prefix that are the ends of one line.

VEX_COM_PORTS names them. Each is a pseudo terminal; what is written to one can be read from the other. When the second
sends the words of PULL, the first is taken away as if its plug were pulled, and a new one stands in its place; with those
of NEW, both.
"""
import fcntl
import os
import select
import signal
import subprocess
import sys
import termios
import threading
import tty
from pathlib import Path

PORTS = ('COM41', 'COM42')
PULL = b'\x10pull the plug\x10'
NEW = b'\x10a new wire\x10'
devices = Path(os.environ.get('WINEPREFIX', Path.home() / '.wine'), 'dosdevices')


class Owner:
    """A process whose controlling terminal a terminal is, until it ends, or this process does.

    Otherwise the terminal becomes that of the Wine server, which has none, when it opens it. The server is then told
    when the terminal goes, and answers by writing out every object that it has.
    """

    def __init__(self, terminal):
        ready, told = os.pipe()
        alive, self.lifeline = os.pipe()
        self.process = os.fork()
        if self.process == 0:
            try:
                signal.signal(signal.SIGHUP, signal.SIG_IGN)
                os.setsid()
                fcntl.ioctl(terminal, termios.TIOCSCTTY, 0)
                os.write(told, b'.')
                os.dup2(alive, 0)
                os.closerange(3, 1024)
                os.read(0, 1)
            finally:
                os._exit(0)
        os.close(told)
        os.close(alive)
        is_owned = os.read(ready, 1) == b'.'
        os.close(ready)
        if not is_owned:
            raise OSError('the pseudo terminal does not become a controlling terminal')

    def end(self):
        os.close(self.lifeline)
        os.waitpid(self.process, 0)


class End:
    """A pseudo terminal under the name of a COM port."""

    def __init__(self, port):
        self.port = port
        self.master, self.slave = os.openpty()
        os.set_blocking(self.master, False)
        tty.setraw(self.slave)  # and kept open, so that the master can be read before and after anybody uses the port
        self.owner = Owner(self.slave)
        link = devices / port.lower()
        link.unlink(missing_ok=True)
        link.symlink_to(os.ttyname(self.slave))

    def close(self):
        (devices / self.port.lower()).unlink(missing_ok=True)
        os.close(self.slave)
        os.close(self.master)
        self.owner.end()


class Wire(threading.Thread):
    def __init__(self):
        super().__init__(daemon=True)
        self.ends = [End(port) for port in PORTS]
        self.pending = [b'', b'']  # what is on its way to each end
        self.wake, self.waker = os.pipe()

    def run(self):
        while True:
            masters = [end.master for end in self.ends]
            # an end is read once what it sent before has been taken: a reader that is slow slows its writer
            readable = [masters[at] for at in (0, 1) if not self.pending[1 - at]]
            writable = [masters[at] for at in (0, 1) if self.pending[at]]
            can_read, can_write, _ = select.select([*readable, self.wake], writable, [])
            if self.wake in can_read:
                return
            for at in (0, 1):
                if masters[at] in can_write:
                    self.pending[at] = self.pending[at][os.write(masters[at], self.pending[at]):]
            for at in (0, 1):
                if masters[at] in can_read:
                    self.take(at, os.read(masters[at], 4096))

    def take(self, at, data):
        if at == 1 and data == PULL:
            self.renew(0)
        elif at == 1 and data == NEW:
            self.renew(0)
            self.renew(1)
        else:
            self.pending[1 - at] = data

    def renew(self, at):
        self.ends[at].close()
        self.ends[at] = End(PORTS[at])
        self.pending = [b'', b'']

    def end(self):
        os.write(self.waker, b'.')
        self.join()
        for end in self.ends:
            end.close()


def main():
    wire = Wire()
    wire.start()
    try:
        return subprocess.call(sys.argv[1:], env={**os.environ, 'VEX_COM_PORTS': ','.join(PORTS)})
    finally:
        wire.end()


if __name__ == '__main__':
    sys.exit(main())
