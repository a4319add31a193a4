#!/usr/bin/env python3
"""class_table.py TABLE OUTPUT_DIR: what is generated from the class table (server/classes.txt).

class_facts.h    a specialisation of vex::server::ClassFacts for each class
class_table.cpp  the entries of the module's class table, in the table's order
scripts/*.rgs    a registration script per row, and the module's own
scripts.rc       the scripts as resources
"""
import re
import sys
from dataclasses import dataclass
from pathlib import Path

MODULE = 'VexKamCOMWrapper'
LIBID = '{700AA29B-D8AA-4AEE-9675-F81AB620D46E}'
APPID = '{6E01AF43-7C9C-4105-9AAC-3750C1E6AAC7}'
PROGID_LIMIT = 39
MODULE_SCRIPT = 100
FIRST_CLASS_SCRIPT = 101


@dataclass
class Row:
    name: str
    clsid: str
    interface: str
    events: str
    header: str
    exceptions: dict
    script: int

    @property
    def prog_id(self):
        return f'{MODULE}.{self.name}'[:PROGID_LIMIT - len('.1')] + '.1'

    @property
    def version_independent_prog_id(self):
        return f'{MODULE}.{self.name}'[:PROGID_LIMIT]

    @property
    def is_class(self):
        return 'script_only' not in self.exceptions


def read_table(path):
    rows = []
    for number, line in enumerate(path.read_text().splitlines(), 1):
        if not line.strip() or line.startswith('#'):
            continue
        fields = line.split()

        def refuse(why):
            sys.exit(f'{path}:{number}: {why}')

        if len(fields) < 5:
            refuse('a row has a class, CLSID, default interface, source interface and header')
        if not re.fullmatch(r'\{[0-9A-F]{8}(-[0-9A-F]{4}){3}-[0-9A-F]{12}\}', fields[1]):
            refuse(f'{fields[1]} is not a CLSID in upper case')
        exceptions = dict(field.partition('=')[::2] for field in fields[5:])
        unknown = exceptions.keys() - {'typelib', 'shares_progid', 'script_only'}
        if unknown:
            refuse(f'unknown exception {unknown.pop()}')
        row = Row(*fields[:5], exceptions, FIRST_CLASS_SCRIPT + len(rows))
        for other in rows:
            if row.clsid == other.clsid or row.name == other.name:
                refuse(f'{row.name} repeats the name or CLSID of {other.name}')
            if row.version_independent_prog_id == other.version_independent_prog_id:
                refuse(f'{row.name} and {other.name} have the same version-independent ProgID')
            if row.prog_id == other.prog_id and exceptions.get('shares_progid') != other.name:
                refuse(f'{row.name} has the ProgID of {other.name}; state shares_progid={other.name} if that is meant')
        rows.append(row)
    return rows


def module_script():
    return f"""HKCR
{{
    NoRemove AppID
    {{
        {APPID} = s '{MODULE}'
        '{MODULE}.DLL'
        {{
            val AppID = s '{APPID}'
        }}
    }}
}}
"""


def class_script(row):
    return f"""HKCR
{{
    {row.prog_id} = s '{row.name} Class'
    {{
        CLSID = s '{row.clsid}'
    }}
    {row.version_independent_prog_id} = s '{row.name} Class'
    {{
        CLSID = s '{row.clsid}'
        CurVer = s '{row.prog_id}'
    }}
    NoRemove CLSID
    {{
        ForceRemove {row.clsid} = s '{row.name} Class'
        {{
            ProgID = s '{row.prog_id}'
            VersionIndependentProgID = s '{row.version_independent_prog_id}'
            ForceRemove 'Programmable'
            InprocServer32 = s '%MODULE%'
            {{
                val ThreadingModel = s 'Apartment'
            }}
            val AppID = s '%APPID%'
            'TypeLib' = s '{row.exceptions.get("typelib", LIBID)}'
        }}
    }}
}}
"""


def guid_literal(text):
    a, b, c, d, e = text.strip('{}').split('-')
    tail = ', '.join(f'0x{(d + e)[i:i + 2]}' for i in range(0, 16, 2))
    return f'{{0x{a}, 0x{b}, 0x{c}, {{{tail}}}}}'


def class_facts(rows):
    classes = [row for row in rows if row.is_class]
    out = ['// Generated from server/classes.txt: what the frame knows about each class.', '#pragma once', '',
           '#include "server/class_facts.h"', '#include "server/type_library.h"', '']
    out += [f'class C{row.name};' for row in classes]
    out += ['', 'namespace vex::server {', '',
            f'inline constexpr GUID library_id{guid_literal(LIBID)};',
            f'inline constexpr wchar_t app_id[] = L"{APPID}";',
            f'inline constexpr UINT module_script = {MODULE_SCRIPT};', '']
    for row in classes:
        events = 'void' if row.events == '-' else row.events
        out.append(f"""template <>
struct ClassFacts<C{row.name}> {{
    using Interface = {row.interface};
    using Events = {events};
    static constexpr CLSID clsid{guid_literal(row.clsid)};
    static constexpr const wchar_t* name = L"{row.name}";
    static constexpr const wchar_t* prog_id = L"{row.prog_id}";
}};
""")
    out += ['}  // namespace vex::server', '']
    return '\n'.join(out)


def class_table(rows):
    classes = [row for row in rows if row.is_class]
    headers = sorted({row.header for row in classes})
    out = ['// Generated from server/classes.txt: the module\'s class table.', '#include "server/class_table.h"', '']
    out += [f'#include "{header}"' for header in headers]
    out += ['#include "generated/class_facts.h"', '#include "server/object.h"', '#include "server/wrapper.h"', '']
    out += ['namespace vex::server {', '', 'std::span<ClassEntry> class_table() noexcept', '{',
            '    static constinit ClassEntry entries[] = {']
    out += [f'        class_entry<C{row.name}>({row.script}),' for row in classes]
    out += ['    };', '    return entries;', '}', '', '}  // namespace vex::server', '']
    return '\n'.join(out)


def resources(rows):
    out = ['// Generated from server/classes.txt: the registration scripts.',
           f'{MODULE_SCRIPT} REGISTRY "scripts/{MODULE}.rgs"']
    out += [f'{row.script} REGISTRY "scripts/{row.name}.rgs"' for row in rows]
    return '\n'.join(out) + '\n'


def main():
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    rows = read_table(Path(sys.argv[1]))
    output = Path(sys.argv[2])
    (output / 'scripts').mkdir(parents=True, exist_ok=True)
    files = {'class_facts.h': class_facts(rows), 'class_table.cpp': class_table(rows), 'scripts.rc': resources(rows),
             f'scripts/{MODULE}.rgs': module_script()}
    files |= {f'scripts/{row.name}.rgs': class_script(row) for row in rows}
    for name, text in files.items():
        (output / name).write_text(text)


if __name__ == '__main__':
    main()
