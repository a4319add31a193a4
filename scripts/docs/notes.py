"""The hand-written part of the reference: docs/reference/classes, docs/reference/interfaces and
docs/reference/enumerations.md.

A class's notes are paragraphs and a section `## Example`; an interface's are a section `### Member` for each member that
it declares itself, with paragraphs before them about the interface. docs/reference/enumerations.md has a section
`## Enumeration` for each enumeration: paragraphs, and a list with an item `- Value: its text` for each value.
"""
import re
from dataclasses import dataclass, field
from pathlib import Path

FENCE = re.compile(r'^\s*(```|~~~)')
VALUE = re.compile(r'- `?(\w+)`?: *(.*)')


@dataclass
class Notes:
    intro: str = ''
    sections: dict = field(default_factory=dict)
    repeated: list = field(default_factory=list)


def split(text, mark):
    """The text before the first heading that begins with mark, and what stands below each of them."""
    notes, name, lines, fenced = Notes(), None, [], False

    def close():
        body = '\n'.join(lines).strip()
        if name is None:
            notes.intro = body
        elif name in notes.sections:
            notes.repeated.append(name)
        else:
            notes.sections[name] = body

    for line in text.splitlines():
        if FENCE.match(line):
            fenced = not fenced
        if not fenced and line.startswith(mark + ' '):
            close()
            name, lines = line[len(mark):].strip().strip('`'), []
        else:
            lines.append(line)
    close()
    return notes


def values(section):
    """The paragraphs of an enumeration's section, and the list's items as notes by value. Each item is one paragraph."""
    notes, lines, name = Notes(), [], None
    for line in section.splitlines():
        found = VALUE.match(line)
        if found:
            name = found[1]
            if name in notes.sections:
                notes.repeated.append(name)
            notes.sections[name] = found[2].strip()
        elif name and line.startswith('  '):
            notes.sections[name] += ' ' + line.strip()
        else:
            name = None
            lines.append(line)
    notes.intro = '\n'.join(lines).strip()
    return notes


class Shelf:
    """The notes of a folder, read when asked for."""

    def __init__(self, folder):
        self.folder = Path(folder)

    def of_class(self, name):
        return self._read(self.folder / 'classes' / f'{name}.md', '##')

    def of_interface(self, name):
        return self._read(self.folder / 'interfaces' / f'{name}.md', '###')

    def of_enumeration(self, name):
        page = self._read(self.folder / 'enumerations.md', '##')
        return values(page.sections[name]) if page and name in page.sections else None

    def enumerations(self):
        """The names that have a section."""
        page = self._read(self.folder / 'enumerations.md', '##')
        return list(page.sections) if page else []

    @staticmethod
    def _read(path, mark):
        return split(path.read_text(encoding='utf-8'), mark) if path.exists() else None


def wanted(library):
    """The names of the interfaces, classes and enumerations that have something to be told."""
    return [interface.name for interface in library.interfaces.values() if interface.members] + \
        list(library.classes) + list(library.enumerations)


def faults_of_interface(interface, notes):
    """`notes` is None where nobody wrote any."""
    if notes is None:
        return [f'{interface.name}: no notes about its {len(interface.members)} members'] if interface.members else []
    names = {member.name for member in interface.members}
    return [f'{interface.name}: notes about {name}, which it does not declare' for name in notes.sections if name not in names] + \
        [f'{interface.name}: {name} is there twice' for name in notes.repeated] + \
        [f'{interface.name}: no note about {member.name}' for member in interface.members if not notes.sections.get(member.name)]


def faults_of_class(name, notes):
    if notes is None:
        return [f'{name}: no notes']
    example = notes.sections.get('Example', '')
    return [f'{name}: {what}' for what, there in (('no paragraph before its example', notes.intro),
                                                  ('no example in VBScript', '```vb' in example),
                                                  ('no example in C++', '```cpp' in example)) if not there]


def faults_of_enumerations(library, shelf):
    faults = [f'{name}: the library has no enumeration of that name' for name in shelf.enumerations()
              if name not in library.enumerations]
    for enumeration in library.enumerations.values():
        notes = shelf.of_enumeration(enumeration.name) or Notes()
        names = [value for value, _, _ in enumeration.values]
        faults += [f'{enumeration.name}: a text for {name}, which it does not have' for name in notes.sections
                   if name not in names]
        faults += [f'{enumeration.name}: {name} is there twice' for name in notes.repeated]
        faults += [f'{enumeration.name}: no text for {name}' for name in names if not notes.sections.get(name)]
    return faults


def compare(library, shelf):
    """What notes and library disagree about, and what nobody wrote notes about."""
    faults = []
    for interface in library.interfaces.values():
        faults += faults_of_interface(interface, shelf.of_interface(interface.name))
    for name in library.classes:
        faults += faults_of_class(name, shelf.of_class(name))
    faults += faults_of_enumerations(library, shelf)
    for folder, known in (('classes', library.classes), ('interfaces', library.interfaces)):
        faults += [f'{folder}/{path.name}: the library has nothing of that name'
                   for path in sorted((shelf.folder / folder).glob('*.md')) if path.stem not in known]
    return faults
