#!/usr/bin/env python3
"""interface_bases.py HEADER OUTPUT: vex::server::InterfaceBase of each interface that extends another than IDispatch,
from the interfaces of the header that widl wrote."""
import sys
from pathlib import Path

sys.path.insert(0, str(Path(__file__).parents[2] / 'idl'))
from interfaces import dual_interfaces  # noqa: E402


def main():
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    duals = dual_interfaces(sys.argv[1])
    out = ['// Generated from the interface definitions: what each interface extends.', '#pragma once', '',
           '#include "server/class_facts.h"', '#include "server/type_library.h"', '', 'namespace vex::server {', '']
    for name, (base, _) in duals.items():
        if base in duals:
            out += ['template <>', f'struct InterfaceBase<{name}> {{', f'    using Type = {base};', '};', '']
    out += ['}  // namespace vex::server', '']
    Path(sys.argv[2]).write_text('\n'.join(out))


main()
