"""The reference's pages: what the type library says of each class, interface and enumeration, with the notes."""
import re

SCRIPT_TYPES = {
    'BSTR': 'String', 'VARIANT_BOOL': 'Boolean', 'unsigned int': 'UInt32', 'int': 'Int32', 'unsigned short': 'UInt16',
    'unsigned char': 'Byte', '__int64': 'Int64', 'unsigned __int64': 'UInt64', 'double': 'Double', 'float': 'Single',
    'INT_PTR': 'Handle', 'SAFEARRAY(unsigned char)': 'Byte()', 'SAFEARRAY(LPUNKNOWN)': 'Object()',
}
SUBSYSTEMS = {
    'server': 'Results', 'devices': 'Devices', 'streaming': 'Streaming', 'buffers': 'Buffers and images',
    'genicam': 'Features', 'persistence': 'Lists and configuration files', 'serial': 'Serial ports and I2C',
    'gui': 'Windows',
}
STRUCTURE = ('reference/index.md', 'reference/enumerations.md')
INDEX_MARK = '<!-- the list of classes, interfaces and enumerations goes here -->'


def anchor(heading):
    """The identifier that a heading gets on the site and in plain viewers alike."""
    return re.sub(r'[\s]+', '-', re.sub(r'[^\w\s-]', '', heading.lower()).strip())


def script_type(type_):
    """A type as scripts name it: `Byte()` for SAFEARRAY(unsigned char), `VexDevice` for IVexDevice*."""
    bare = type_.rstrip('*').strip()
    if bare.startswith('IVex'):
        return bare[1:]
    return SCRIPT_TYPES.get(bare, bare)


def script_parameter(parameter):
    by_reference = 'ByRef ' if parameter.is_output else ''
    return f'{by_reference}{parameter.name} As {script_type(parameter.type)}'


def script_signature(member):
    """How a script sees a member: a property with its type, or a function with its parameters."""
    kinds = [method.kind for method in member.methods]
    first = member.methods[0]
    result = next((parameter for parameter in first.parameters if parameter.is_result), None)
    if not member.is_property:
        shown = ', '.join(script_parameter(parameter) for parameter in first.parameters if not parameter.is_result)
        return f'{member.name}({shown})' + (f' As {script_type(result.type)}' if result else '')
    value = result or first.parameters[-1]
    access = '' if len(kinds) > 1 else ' (read only)' if kinds == ['propget'] else ' (write only)'
    indexes = [script_parameter(parameter) for parameter in first.parameters if parameter is not value]
    return f'{member.name}{"(" + ", ".join(indexes) + ")" if indexes else ""} As {script_type(value.type)}{access}'


def cpp_type(parameter):
    if parameter.type.startswith('SAFEARRAY'):
        return 'SAFEARRAY*' + '*' * parameter.type.count('*')
    return parameter.type


def cpp_signature(method):
    prefix = {'propget': 'get_', 'propput': 'put_', 'propputref': 'putref_'}.get(method.kind, '')
    parameters = [f'{cpp_type(parameter)} {parameter.name}' for parameter in method.parameters]
    line = f'HRESULT {prefix}{method.name}({", ".join(parameters)});'
    if len(line) <= 100 or len(parameters) < 2:
        return line
    return f'HRESULT {prefix}{method.name}(\n    ' + ',\n    '.join(parameters) + ');'


PLAIN_HELP = re.compile(r'method \w+')  # what some members' help strings say, which is nothing


def sentence(text):
    return text.strip() if text.strip() else 'Nothing is said of it yet.'


class Reference:
    """Makes the pages. `pages()` gives their paths below docs/ and their texts."""

    def __init__(self, library, rows, shelf, stubs=()):
        self.library = library
        self.rows = {row.name: row for row in rows if row.is_class}
        self.shelf = shelf
        self.stubs = dict(stubs)  # hand-written pages that are filled in, by path
        self.homes = {coclass.interface: name for name, coclass in library.classes.items()}

    def home(self, interface):
        """The page, below reference/, that tells all about the members that an interface declares."""
        if interface in self.homes:
            return f'classes/{self.homes[interface]}.md'
        return f'interfaces/{interface}.md'

    def pages(self):
        made = {f'reference/classes/{name}.md': self.class_page(name) for name in self.library.classes}
        for interface in self.library.interfaces.values():
            made[f'reference/interfaces/{interface.name}.md'] = self.interface_page(interface)
        made['reference/enumerations.md'] = self.enumerations_page()
        made['reference/index.md'] = self.index_page()
        return made

    def navigation(self):
        """The reference's part of the site's navigation."""
        items = [{'Overview': 'reference/index.md'}]
        for folder, title in SUBSYSTEMS.items():
            items.append({title: [{name: f'reference/classes/{name}.md'} for name in self.classes_of(folder)]})
        events = [interface.name for interface in self.library.interfaces.values() if interface.events]
        plain = [name for name in self.library.interfaces if name not in events]
        items.append({'Events': [{name: f'reference/interfaces/{name}.md'} for name in sorted(events)]})
        items.append({'Interfaces': [{name: f'reference/interfaces/{name}.md'} for name in sorted(plain)]})
        items.append({'Enumerations': 'reference/enumerations.md'})
        return items

    def classes_of(self, folder):
        return sorted(name for name, row in self.rows.items() if row.header.split('/')[0] == folder)

    # ---- pages ----

    def class_page(self, name):
        coclass, row = self.library.classes[name], self.rows[name]
        notes = self.shelf.of_class(name)
        line = self.library.line(coclass.interface)
        text = [f'# {name}', '']
        if notes and notes.intro:
            text += [notes.intro, '']
        text += ['| | |', '|---|---|', f'| ProgID | {self.prog_id(coclass, row)} |', f'| CLSID | `{{{coclass.clsid}}}` |',
                 f'| Interface | {self.interface_links(line)} |']
        if coclass.others:
            text.append('| Also | ' + ', '.join(f'[{other}](../interfaces/{other}.md)' for other in coclass.others) + ' |')
        if coclass.events:
            text.append(f'| Events | [{coclass.events}](../interfaces/{coclass.events}.md) |')
        text += ['| Threading | Apartment: an object is used by the thread that created it, or through a proxy |', '']
        for heading, body in (notes.sections if notes else {}).items():
            text += [f'## {heading}', '', body, '']
        text += self.members(line, 'classes')
        return '\n'.join(text).rstrip() + '\n'

    @staticmethod
    def prog_id(coclass, row):
        if not coclass.creatable:
            return 'none: other objects hand it out'
        return f'`{row.version_independent_prog_id}`'

    @staticmethod
    def interface_links(line):
        links = [f'[{interface.name}](../interfaces/{interface.name}.md)' for interface in line]
        return ', which extends '.join(links) + ', dual'

    def interface_page(self, interface):
        line = self.library.line(interface.name)
        notes = self.shelf.of_interface(interface.name)
        kind = 'DIID' if interface.events else 'IID'
        text = [f'# {interface.name}', '']
        if notes and notes.intro:
            text += [notes.intro, '']
        text += ['| | |', '|---|---|', f'| {kind} | `{{{interface.iid}}}` |']
        if interface.events:
            text.append('| Kind | events, a dispatch interface that the client implements |')
        else:
            base = interface.base
            text.append('| Extends | ' + (f'[{base}]({base}.md)' if base in self.library.interfaces else f'`{base}`') + ' |')
        users = self.users(interface.name)
        if users:
            text.append(f'| {"Fired by" if interface.events else "Classes"} | {users} |')
        text.append('')
        if interface.name in self.homes:
            home = self.homes[interface.name]
            text += [f'All members are told at the class [{home}](../classes/{home}.md).', '']
            text += self.table(line, 'interfaces')
        else:
            text += self.members(line, 'interfaces')
        return '\n'.join(text).rstrip() + '\n'

    def users(self, name):
        found = []
        for coclass in self.library.classes.values():
            reached = [interface.name for first in (coclass.interface, *coclass.others) for interface in self.library.line(first)]
            if name in reached or name == coclass.events:
                found.append(f'[{coclass.name}](../classes/{coclass.name}.md)')
        return ', '.join(found)

    def enumerations_page(self):
        text = ['# Enumerations', '', 'Scripts write the numbers: late binding knows no names. `&H` is how VBScript begins a',
                'hexadecimal number.', '']
        for name in sorted(self.library.enumerations):
            enumeration = self.library.enumerations[name]
            notes = self.shelf.of_enumeration(name)
            text += [f'## {name}', '', sentence(enumeration.help), '']
            if notes and notes.intro:
                text += [notes.intro, '']
            text += ['| name | number | in VBScript | what it stands for |', '|---|---|---|---|']
            for value, number, _ in enumeration.values:
                shown = f'`&H{number:X}`' if number > 9 else f'`{number}`'
                text.append(f'| {value} | {number} | {shown} | {notes.sections.get(value, "") if notes else ""} |')
            text.append('')
        return '\n'.join(text).rstrip() + '\n'

    def index_page(self):
        text = []
        for folder, title in SUBSYSTEMS.items():
            text += [f'## {title}', '', '| class | made by scripts | what it is |', '|---|---|---|']
            for name in self.classes_of(folder):
                notes = self.shelf.of_class(name)
                what = first_sentence(notes.intro) if notes else ''
                made = 'yes' if self.library.classes[name].creatable else 'no'
                text.append(f'| [{name}](classes/{name}.md) | {made} | {what} |')
            text.append('')
        for title, wanted in (('Event interfaces', True), ('Interfaces', False)):
            names = sorted(interface.name for interface in self.library.interfaces.values() if interface.events is wanted)
            text += [f'## {title}', '', ', '.join(f'[{name}](interfaces/{name}.md)' for name in names), '']
        names = sorted(self.library.enumerations)
        text += ['## Enumerations', '', ', '.join(f'[{name}](enumerations.md#{anchor(name)})' for name in names)]
        stub = self.stubs.get('reference/index.md', f'# Reference\n\n{INDEX_MARK}\n')
        return stub.replace(INDEX_MARK, '\n'.join(text))

    # ---- members ----

    def target(self, interface, member, folder):
        home = self.home(interface.name)
        return (home.split('/')[1] if home.startswith(folder + '/') else f'../{home}') + f'#{anchor(member.name)}'

    def table(self, line, folder):
        if not any(interface.members for interface in line):
            return ['It has no members.', '']
        text = ['| member | what it does |', '|---|---|']
        for interface in line:
            text += [f'| [`{script_signature(member)}`]({self.target(interface, member, folder)}) | {self.summary(interface, member)} |'
                     for member in interface.members]
        return text + ['']

    def summary(self, interface, member):
        """The help string, or where that says nothing the first sentence of the notes."""
        notes = self.shelf.of_interface(interface.name)
        note = notes.sections.get(member.name) if notes else None
        return first_sentence(note) if note and PLAIN_HELP.fullmatch(member.help) else sentence(member.help)

    def members(self, line, folder):
        """The table of all members, then those that the interface itself declares, one by one."""
        text = ['## Members', '', *self.table(line, folder)]
        own = line[0]
        notes = self.shelf.of_interface(own.name)
        for member in own.members:
            text += [f'### {member.name}', '', '```cpp-signature']
            text += [cpp_signature(method) for method in member.methods]
            text += ['```', '']
            note = notes.sections.get(member.name) if notes else None
            if not (note and PLAIN_HELP.fullmatch(member.help)):
                text += [sentence(member.help), '']
            if note:
                text += [self.moved(note, own, folder), '']
        return text

    def moved(self, text, interface, folder):
        """Notes that stand beside the interface's page, for a page that may be a class's."""
        if folder == 'interfaces':
            return text
        return re.sub(r'(\]\()(?=_?IVex\w+\.md)', r'\1../interfaces/', text)


def first_sentence(text):
    paragraph = re.split(r'\n\s*\n', text.strip())[0].replace('\n', ' ')
    found = re.match(r'.*?[^\d\W][\w`)]*[.!?](?=\s|$)', paragraph)
    return found[0] if found else paragraph
