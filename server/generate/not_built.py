#!/usr/bin/env python3
"""not_built.py HEADER OUTPUT: from the interfaces of the header widl wrote, for each dual interface I

vex::server::InterfaceBase<I>  the interface it extends
vex::server::NotBuilt<I>       a base class that answers every member of I, inherited ones included, with not_built()
"""
import re
import sys
from pathlib import Path

INTERFACE = re.compile(r'MIDL_INTERFACE\("[0-9a-f-]+"\)\s*(\w+) : public (\w+)\s*\{(.*?)\n\};', re.S)
METHOD = re.compile(r'virtual HRESULT STDMETHODCALLTYPE (\w+)\(\s*(.*?)\) = 0;', re.S)
# the last word of a parameter is its name, which an unused parameter must not have
PARAMETER = re.compile(r'^(.*?)\b\w+$', re.S)


def parameters(text):
    text = ' '.join(text.split())
    if text in ('', 'void'):
        return ''
    return ', '.join(PARAMETER.match(part.strip()).group(1).strip() for part in text.split(','))


def main():
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    found = {name: (base, [(method, parameters(text)) for method, text in METHOD.findall(body)])
             for name, base, body in INTERFACE.findall(Path(sys.argv[1]).read_text())}
    duals = {name: what for name, what in found.items() if what[0] == 'IDispatch' or what[0] in found}
    duals = {name: what for name, what in duals.items() if not name.startswith('_')}
    if not duals:
        sys.exit(f'{sys.argv[1]}: no interfaces found')

    def members(name):
        base, own = duals[name]
        return (members(base) if base in duals else []) + own

    out = ['// Generated from the interface definitions: bases for classes that are not, or not wholly, built.', '#pragma once', '',
           '#include "server/not_built.h"', '#include "server/type_library.h"', '', 'namespace vex::server {', '']
    for name, (base, _) in duals.items():
        if base in duals:
            out += ['template <>', f'struct InterfaceBase<{name}> {{', f'    using Type = {base};', '};', '']
    for name in duals:
        out += ['template <>', f'class NotBuilt<{name}> : public {name} {{', 'public:', f'    using DefaultInterface = {name};', '']
        out += [f'    HRESULT STDMETHODCALLTYPE {method}({args}) override {{ return not_built(); }}'
                for method, args in members(name)]
        out += ['', 'protected:', '    ~NotBuilt() = default;', '', '    virtual HRESULT not_built() noexcept { return E_NOTIMPL; }', '};', '']
    out += ['}  // namespace vex::server', '']
    Path(sys.argv[2]).write_text('\n'.join(out))


main()
