"""server_manifest.py VERSION ROOT OUTPUT: the manifest by which programs find the server's classes, its type library and its
interfaces without the registry; made from server/classes.txt and idl/."""
import re
import sys
from pathlib import Path
from xml.sax.saxutils import quoteattr

version, root, output = sys.argv[1], Path(sys.argv[2]), Path(sys.argv[3])
sys.path.insert(0, str(root / 'server/generate'))
sys.dont_write_bytecode = True
from class_table import LIBID, read_table  # noqa: E402

# an interface or source interface with its identifier; no other identifier stands between the two
INTERFACE = re.compile(r'uuid\(([0-9A-Fa-f-]{36})\)(?:(?!uuid\(|coclass).)*?\]\s*(interface|dispinterface)\s+(\w+)', re.S)
MARSHALLERS = {'interface': '{00020424-0000-0000-C000-000000000046}', 'dispinterface': '{00020420-0000-0000-C000-000000000046}'}


def element(indent, tag, end, /, **attributes):
    text = ''.join(f' {key}={quoteattr(value)}' for key, value in attributes.items() if value)
    return f'{" " * indent}<{tag}{text}{end}>'


def class_element(row, owners):
    """As registration has it: a program identifier that two classes share belongs to the later one."""
    own = owners[row.prog_id] is row
    attributes = {'description': f'{row.name} Class', 'clsid': row.clsid, 'threadingModel': 'Apartment',
                  'tlbid': LIBID if 'typelib' not in row.exceptions else '',
                  'progid': row.prog_id if own else row.version_independent_prog_id}
    if not own:
        return [element(4, 'comClass', '/', **attributes)]
    return [element(4, 'comClass', '', **attributes), f'      <progid>{row.version_independent_prog_id}</progid>',
            '    </comClass>']


def interface_elements():
    for path in sorted((root / 'idl').glob('*.idl')):
        for iid, kind, name in INTERFACE.findall(path.read_text()):
            yield element(2, 'comInterfaceExternalProxyStub', '/', name=name, iid='{' + iid.upper() + '}', tlbid=LIBID,
                          proxyStubClsid32=MARSHALLERS[kind])


rows = [row for row in read_table(root / 'server/classes.txt') if row.is_class]
owners = {row.prog_id: row for row in rows}
lines = ['<?xml version="1.0" encoding="UTF-8" standalone="yes"?>',
         '<assembly xmlns="urn:schemas-microsoft-com:asm.v1" manifestVersion="1.0">',
         element(2, 'assemblyIdentity', '/', type='win32', name='VexKamCOMWrapper.Server', version=f'{version}.0',
                 processorArchitecture='amd64'),
         '  <file name="VexKamCOMWrapper.dll">']
lines += [line for row in rows for line in class_element(row, owners)]
lines += [f'    <typelib tlbid="{LIBID}" version="2.1" helpdir=""/>', '  </file>', *interface_elements(), '</assembly>']
output.write_text('\n'.join(lines) + '\n')
