"""The dual interfaces of the header that widl wrote."""
import re
import sys
from pathlib import Path

INTERFACE = re.compile(r'MIDL_INTERFACE\("[0-9a-f-]+"\)\s*(\w+) : public (\w+)\s*\{(.*?)\n\};', re.S)


def dual_interfaces(header):
    """By name, in the header's order: the interface it extends, and what is declared in it."""
    found = {name: (base, body) for name, base, body in INTERFACE.findall(Path(header).read_text())}
    duals = {name: what for name, what in found.items()
             if not name.startswith('_') and (what[0] == 'IDispatch' or what[0] in found)}
    if not duals:
        sys.exit(f'{header}: no interfaces found')
    return duals
