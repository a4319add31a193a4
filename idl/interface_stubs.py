#!/usr/bin/env python3
"""interface_stubs.py HEADER OUTPUT: vex::idl::Stub of each dual interface of the header that widl wrote, a base class
that answers all its members, inherited ones included, with E_NOTIMPL."""
import re
import sys
from pathlib import Path

from interfaces import dual_interfaces

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
    duals = dual_interfaces(sys.argv[1])

    def members(name):
        base, body = duals[name]
        return (members(base) if base in duals else []) + METHOD.findall(body)

    out = ['// Generated from the interface definitions: bases for the objects that tests and benchmarks make themselves.', '#pragma once', '',
           '#include "server/type_library.h"', '', 'namespace vex::idl {', '',
           'template <class Interface>', 'class Stub;', '']
    for name in duals:
        out += ['template <>', f'class Stub<{name}> : public {name} {{', 'public:', f'    using DefaultInterface = {name};', '']
        out += [f'    HRESULT STDMETHODCALLTYPE {method}({parameters(text)}) override {{ return E_NOTIMPL; }}'
                for method, text in members(name)]
        out += ['', 'protected:', '    ~Stub() = default;', '};', '']
    out += ['}  // namespace vex::idl', '']
    Path(sys.argv[2]).write_text('\n'.join(out))


main()
