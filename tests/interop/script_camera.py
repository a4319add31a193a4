"""A client that others wrote watches the camera that an example script makes under Wine."""

import os
import re

import capture
from lab import GVCP_PORT, Host, LabError, eventually
from third_party_client import NO_LOST_FRAMES, check_stream, stream

WINE = "/usr/lib/wine/wine64"
WINE_SERVER = "/usr/lib/wine/wineserver64"
ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
EXAMPLE = os.path.join(ROOT, "examples", "vbscript", "virtual_camera.vbs")
CAMERA = "127.0.0.1"
PAYLOAD_BYTES = 640 * 480


class Wine:
    """A Wine prefix of its own: sockets are made by its server, which therefore has to run in the host."""

    def __init__(self, host, tools):
        self._host = host
        self._dll = tools.server_dll
        self._prefix = os.path.join(os.path.dirname(os.path.dirname(tools.server_dll)), "wine-interop")
        os.makedirs(self._prefix, exist_ok=True)
        # in the foreground, so that it ends with the host
        host.start(self._command(WINE_SERVER, "-p", "-f"))
        if not os.path.exists(os.path.join(self._prefix, ".ready")):
            self._finish(self.start("wineboot", "-i"), 120)
            with open(os.path.join(self._prefix, ".ready"), "wb"):
                pass
        self._finish(self.start("regsvr32", "/s", self.path(self._dll)), 60)

    @staticmethod
    def path(path):
        return "Z:" + path.replace("/", "\\")

    def start(self, *argv):
        return self._host.start(self._command(WINE, *argv))

    def _command(self, *argv):
        settings = [f"WINEPREFIX={self._prefix}", "WINEDEBUG=-all", "WINEDLLOVERRIDES=mscoree,mshtml,winedbg.exe="]
        return ["env", "-u", "DISPLAY", *settings, *argv]

    @staticmethod
    def _finish(program, seconds):
        eventually(lambda: not program.running(), seconds, " ".join(program.argv))
        if program.stop() != 0:
            raise LabError(f"{' '.join(program.argv)}: {program.output().strip()[-500:]}")


def run(report, folder, tools):
    with Host(folder) as host:
        wine = Wine(host, tools)
        script = wine.path(EXAMPLE)
        camera = wine.start("cscript", "//nologo", script, CAMERA, "600")
        camera.wait_for_output("Listening on", 120)
        camera.wait_for_port(GVCP_PORT, CAMERA)
        found = host.run(["arv-tool-0.8"], 20)
        report.check("client finds the script's camera", "Virtual Device" in found.stdout, found.stdout.strip())

        taken = capture.Capture(host, "script")
        # the client keeps a picture long enough for a busy machine to answer
        done, numbers = stream(host, "-i", "1500", "-m", "1000", seconds=6)
        check_stream(report, "client watches the script's camera", done, numbers, 10, NO_LOST_FRAMES)
        blocks = capture.check(report, "script's camera", taken, PAYLOAD_BYTES, 10, resends=True, with_data=True)
        pictures = {block.repaired().data() for block in blocks[:-1]}
        report.check("the script's picture moves", len(pictures) > 2, f"{len(pictures)} different pictures")
        camera.wait_for_output("Sending ended after")
        told = re.search(r"Sending ended after (\d+) pictures", camera.output())
        report.check(
            "the script noticed when the client came and went",
            bool(re.search(rf"Sending to {CAMERA}", camera.output())) and int(told[1]) >= 10,
            camera.output().strip().splitlines()[-1],
        )
