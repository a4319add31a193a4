"""The blocks of code in the pages, and the programs that show whether they are right.

What stands behind the language says what kind of block it is:

    vb             a whole script; it is run against a software camera
    vb fragment    a part of one; its syntax and the members that it names are checked
    cpp            a whole program, or statements; it is compiled, with the variables of VARIABLES at hand
    cpp none       C++ that is not compiled

Addresses and folders in scripts are those of a reader's network; STAND_INS are those of the test.
"""
import re
from dataclasses import dataclass
from pathlib import Path

OPEN = re.compile(r'^(\s*)(```+|~~~+)\s*([\w+#-]*)[ \t]*(.*)$')
END_MARK = '-- the block ended'
QUIT = re.compile(r'^(\s*)WScript\.Quit(?:\s+0)?\s*$', re.M | re.I)
STAND_INS = (('192.168.1.20', '127.0.0.2'), ('192.168.1.10', '127.0.0.1'))
FOLDER = re.compile(r'"[A-Z]:\\(?:[\w ]+\\)*')
# members of the script host's own objects
HOST_MEMBERS = set('''arguments echo quit sleep createobject connectobject disconnectobject scriptfullname count number
    description source clear fileexists folderexists createfolder deletefile getfile size writeline close opentextfile
    createtextfile readline readall exists add item keys stdout write'''.split())
PREAMBLE = """// made from the blocks of code in docs/
#define NOMINMAX
#define WIN32_LEAN_AND_MEAN
#include <windows.h>
#include <oaidl.h>
#include <ocidl.h>
#include "VexKamCOMWrapper_h.h"
"""
VARIABLES = """
extern IVexDevice* device;
extern IVexGenParameterArray* features;
extern IVexStream* stream;
extern IVexPipeline* pipeline;
extern IVexBuffer* buffer;
extern IVexResult* result;
"""
SDK_VARIABLES = """
extern PvDevice& device;
extern PvStream& stream;
"""
FUNCTION = re.compile(r'^(?!if\b|for\b|while\b|switch\b|else\b|do\b|catch\b|return\b|try\b)'
                      r'[A-Za-z_][\w:<>*&, ]*[ *&][\w:~]+\([^;{}]*\)[\w\s]*\{', re.M)


@dataclass
class Block:
    page: str
    line: int  # of the block's first line
    language: str
    kind: str
    text: str

    @property
    def place(self):
        return f'{self.page}:{self.line}'


def blocks_of(text, page):
    """The blocks of a page, in order. One that is not closed ends with the page, as viewers have it."""
    found, fence, first, inside = [], None, 0, []
    lines = text.splitlines()
    for number, line in enumerate([*lines, ''], 1):
        mark = OPEN.match(line)
        past = number > len(lines)
        if fence is None:
            if mark and not past:
                fence, first, inside = mark, number + 1, []
        elif past or (mark and mark[2][:3] == fence[2][:3] and not mark[3]):
            found.append(Block(page, first, fence[3], fence[4].strip(), '\n'.join(inside) + '\n'))
            fence = None
        else:
            inside.append(line.removeprefix(fence[1]))
    return found


def pages_of(root):
    """What users read first, and the pages of docs/."""
    return [page for page in [Path(root) / 'README.md'] if page.exists()] + sorted((Path(root) / 'docs').rglob('*.md'))


def blocks_below(root):
    found = []
    for path in pages_of(root):
        found += blocks_of(path.read_text(encoding='utf-8'), path.relative_to(root).as_posix())
    return found


# ---- scripts ----

def script_of(block, folder):
    """The script to run for a block, with FOLDER, a path of Windows, in the place of its folders."""
    text = block.text
    if block.kind == 'fragment':
        text = as_procedure(text)
    else:
        for place, other in STAND_INS:
            text = text.replace(place, other)
        text = FOLDER.sub(lambda _: '"' + folder + '\\', text)
        text = QUIT.sub(rf'\1WScript.Echo "{END_MARK}" : WScript.Quit 0', text)
    return text + f'\nWScript.Echo "{END_MARK}"\n'


def as_procedure(text):
    """The statements in a procedure that nobody calls, procedures and classes of the fragment behind it."""
    statements, definitions, inside = [], [], None
    for line in text.splitlines():
        start = re.match(r'(?i)\s*(?:public |private )?(sub|function|class)\s+\w+', line)
        if inside is None and start:
            inside = start[1].lower()
        (definitions if inside else statements).append(line)
        if inside and re.match(rf'(?i)\s*end {inside}\b', line):
            inside = None
    statements = [line for line in statements if line.strip().lower() != 'option explicit']
    return '\n'.join(['Sub Fragment()', *statements, 'End Sub', *definitions])


def unknown_members(block, members):
    """The names behind a dot that neither the library nor the script host has."""
    known = {name.lower() for name in members} | HOST_MEMBERS
    code = re.sub(r'"[^"]*"', '""', block.text)
    code = re.sub(r"'.*$", '', code, flags=re.M)
    names = re.findall(r'(?<=[\w)"])\.([A-Za-z]\w*)', code)
    return [name for name in dict.fromkeys(names) if name.lower() not in known]


# ---- C++ ----

def is_sdk(block):
    return re.search(r'\bPv[A-Z]\w+', block.text) is not None


def sdk_headers(blocks, root):
    names = set(re.findall(r'\bPv[A-Z]\w+', ' '.join(block.text for block in blocks))) | {'PvDevice', 'PvStream', 'PvGenParameterArray'}
    headers = [path for name in sorted(names) for path in sorted((Path(root) / 'sdk').rglob(f'{name}.h'))]
    return ''.join(f'#include "{path.relative_to(root).as_posix()}"\n' for path in headers)


def translation_unit(blocks, root):
    """One source file of all blocks, each in a namespace of its own. Errors name the page and line."""
    sdk = any(is_sdk(block) for block in blocks)
    includes, bodies = [], []
    for number, block in enumerate(blocks):
        lines = block.text.splitlines()
        includes += [line for line in lines if line.startswith('#include') and line not in includes]
        body = '\n'.join('' if line.startswith('#include') else line for line in lines)
        located = f'#line {block.line} "{block.page}"\n{body}\n'
        if not FUNCTION.search(body):
            located = f'void statements()\n{{\n{located}}}\n'
        bodies.append(f'namespace block_{number} {{\n{located}}}  // namespace block_{number}\n')
    head = sdk_headers(blocks, root) if sdk else PREAMBLE
    return head + '\n'.join(includes) + (SDK_VARIABLES if sdk else VARIABLES) + '\n' + '\n'.join(bodies)


def faulty(blocks, messages):
    """The blocks that the compiler's messages name, and whether it found errors elsewhere."""
    found, elsewhere = [], False
    for page, line in re.findall(r'^(\S+?):(\d+):(?:\d+:)? (?:fatal )?error', messages, re.M):
        hit = [block for block in blocks
               if block.page == page and block.line <= int(line) <= block.line + block.text.count('\n')]
        found += [block for block in hit if block not in found]
        elsewhere = elsewhere or not hit
    return found, elsewhere
