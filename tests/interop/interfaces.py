"""The host side on a host with two interfaces, a camera behind each. No route tells which one leads to which camera."""

import contextlib

import host as own
from lab import Host
from third_party_client import start_camera

SIZE = {"width": 64, "height": 48}


def spare_of(address):
    """Another address in the subnet of an interface, where a camera may be sent to."""
    return address.rsplit(".", 1)[0] + ".77"


@contextlib.contextmanager
def two_cameras(folder, tools, prefix, addresses, cameras):
    """A host with the interfaces e0 and e1, and the camera SN-0 or SN-1 at the other end of each."""
    with contextlib.ExitStack() as stack:
        host, *ends = (stack.enter_context(Host(folder)) for _ in range(3))
        for n, end in enumerate(ends):
            host.wire_to(end, (f"e{n}", f"{addresses[n]}/{prefix}"), ("eth", cameras[n]))
            end.add_address("eth", f"{spare_of(addresses[n])}/{prefix}")
            # a camera answers whoever asks, whatever address that has
            end.add_route("default", "dev", "eth")
            start_camera(end, tools, address=cameras[n].split("/")[0], serial=f"SN-{n}")
        yield host


def check_found(report, name, host, tools, expected):
    """Each camera is found on its own interface, and nothing else is."""
    code, facts, text = own.probe(host, tools, "find")
    fields = [device.split(" | ") for device in facts["device"]]
    found = sorted(f"{field[3]} at {field[0]}" for field in fields)
    report.check(name, code == 0 and found == expected, "; ".join(found) or own.last_line(text))
    return facts


def check_stream(report, name, host, tools, device, interface):
    """A camera named like this streams to this interface."""
    code, facts, text = own.probe(
        host, tools, "stream", device, "--set", "Width=64", "Height=48", "--packet-size", "auto", "--frames", "5"
    )
    own.check_frames(report, name, code, facts, text, 5, SIZE)
    report.check(f"{name}, on its interface", facts["stream_on"] == [interface], "; ".join(facts["stream_on"]))


def one_subnet(report, folder, tools, kind, prefix, addresses, cameras):
    with two_cameras(folder, tools, prefix, addresses, [f"{camera}/{prefix}" for camera in cameras]) as host:
        expected = [f"SN-{n} at {cameras[n]} on {addresses[n]}" for n in range(2)]
        check_found(report, f"two interfaces in one subnet, {kind}", host, tools, expected)
        for n in range(2):
            check_stream(report, f"{kind}: stream of SN-{n}", host, tools, f"SN-{n}", addresses[n])
        if cameras[0] != cameras[1]:
            for n in range(2):
                check_stream(report, f"{kind}: stream of {cameras[n]}", host, tools, cameras[n], addresses[n])


def wrong_subnet(report, folder, tools):
    """A camera whose address does not fit its interface is found there; nobody takes it for one of the other."""
    addresses = ["192.168.7.1", "192.168.8.1"]
    cameras = ["192.168.7.20/24", "192.168.7.21/24"]
    with two_cameras(folder, tools, 24, addresses, cameras) as host:
        expected = ["SN-0 at 192.168.7.20 on 192.168.7.1", "SN-1 at 192.168.7.21 on 192.168.8.1"]
        facts = check_found(report, "camera of a wrong subnet", host, tools, expected)
        mac = next((device.split(" | ")[4] for device in facts["device"] if "SN-1" in device), "")
        code, _, text = own.probe(host, tools, "force", mac, spare_of(addresses[1]))
        report.check("camera of a wrong subnet takes a fitting address", code == 0, text.strip())
        check_stream(report, "stream of the camera at its new address", host, tools, "SN-1", addresses[1])


def own_camera(report, folder, tools, addresses):
    """A camera in software at an address of the host itself is reached within the host, not by its wires."""
    with Host(folder) as host, Host(folder) as other:
        for n, address in enumerate(addresses):
            host.wire_to(other, (f"e{n}", f"{address}/16"), (f"eth{n}", f"169.254.30.{n + 1}/16"))
        for n, address in enumerate(addresses):
            start_camera(host, tools, address=address, serial=f"OWN-{n}")
            check_stream(report, f"camera on the host's own interface e{n}", host, tools, f"OWN-{n}", address)


def run(report, folder, tools):
    local = ["169.254.10.1", "169.254.10.2"]
    one_subnet(report, folder, tools, "link-local", 16, local, ["169.254.20.1", "169.254.20.2"])
    one_subnet(report, folder, tools, "same address", 16, local, ["169.254.20.1", "169.254.20.1"])
    one_subnet(report, folder, tools, "private", 24, ["192.168.7.1", "192.168.7.2"], ["192.168.7.20", "192.168.7.21"])
    wrong_subnet(report, folder, tools)
    own_camera(report, folder, tools, local)
