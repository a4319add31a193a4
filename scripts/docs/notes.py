"""The hand-written part of the reference: docs/reference/classes and docs/reference/interfaces.

A class's notes are paragraphs and a section `## Example`; an interface's are a section `### Member` for each member that
it declares itself, with paragraphs before them about the interface.
"""
import re
from dataclasses import dataclass, field
from pathlib import Path

FENCE = re.compile(r'^\s*(```|~~~)')


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


class Shelf:
    """The notes of a folder, read when asked for."""

    def __init__(self, folder):
        self.folder = Path(folder)

    def of_class(self, name):
        return self._read(self.folder / 'classes' / f'{name}.md', '##')

    def of_interface(self, name):
        return self._read(self.folder / 'interfaces' / f'{name}.md', '###')

    @staticmethod
    def _read(path, mark):
        return split(path.read_text(encoding='utf-8'), mark) if path.exists() else None


@dataclass
class Findings:
    """What notes and library disagree about. Faults are mistakes; gaps are notes that nobody has written yet."""
    faults: list = field(default_factory=list)
    gaps: list = field(default_factory=list)


def compare(library, shelf):
    found = Findings()
    for interface in library.interfaces.values():
        notes = shelf.of_interface(interface.name)
        if notes is None:
            if interface.members:
                found.gaps.append(f'{interface.name}: no notes about its {len(interface.members)} members')
            continue
        names = {member.name for member in interface.members}
        found.faults += [f'{interface.name}: notes about {name}, which it does not declare'
                         for name in notes.sections if name not in names]
        found.faults += [f'{interface.name}: {name} is there twice' for name in notes.repeated]
        found.faults += [f'{interface.name}: no note about {member.name}' for member in interface.members
                         if not notes.sections.get(member.name)]
    for name in library.classes:
        notes = shelf.of_class(name)
        if notes is None:
            found.gaps.append(f'{name}: no notes')
            continue
        example = notes.sections.get('Example', '')
        found.faults += [f'{name}: {what}' for what, there in (
            ('no paragraph before its example', notes.intro),
            ('no example in VBScript', '```vb' in example),
            ('no example in C++', '```cpp' in example)) if not there]
    for folder, known in (('classes', library.classes), ('interfaces', library.interfaces)):
        found.faults += [f'{folder}/{path.name}: the library has nothing of that name'
                         for path in sorted((shelf.folder / folder).glob('*.md')) if path.stem not in known]
    return found
