"""The documentation's generator and its checks: what they read, what they write, what they refuse."""
import sys
import tempfile
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / 'scripts/docs'))

import blocks  # noqa: E402
import build_site  # noqa: E402
import idl  # noqa: E402
import links  # noqa: E402
import notes  # noqa: E402
import reference  # noqa: E402

SOURCE = '''
// a comment with [brackets] and "a text"
#define OLD "Is not used any more."
typedef [v1_enum, helpstring("Says a colour.")] enum VexColour { VexNone = -1, VexRed = 0, VexBlue = 0x0102 } VexColour;
[ object, uuid(11111111-0000-0000-0000-000000000001), dual, helpstring("IVexBase Interface") ]
interface IVexBase : IDispatch
{
    [propget, id(1), helpstring("Holds a size, in bytes; see \\"there\\".")] HRESULT Size([out, retval] unsigned __int64* pVal);
    [propput, id(1), helpstring("Holds a size.")] HRESULT Size([in] unsigned __int64 pVal);
    [id(2), helpstring(OLD)] HRESULT Read([in, out] SAFEARRAY(unsigned char) aData, [out] BSTR* aName, [out, retval] IVexResult** result);
};
[ object, uuid(11111111-0000-0000-0000-000000000002), dual ]
interface IVexThing : IVexBase { [id(3), helpstring("Ends it.")] HRESULT Stop(); };
[ uuid(11111111-0000-0000-0000-000000000003) ]
dispinterface _IVexThingEvents { properties: methods: [id(1)] HRESULT OnEnd([in] IVexThing* aThing); };
[uuid(11111111-0000-0000-0000-000000000004), noncreatable]
coclass VexThing { [default] interface IVexThing; [default, source] dispinterface _IVexThingEvents; };
'''


COLOURS = 'Of paint.\n\n- VexNone: No colour.\n- VexRed: As\n  blood.\n- `VexBlue`: As the sky.\n'


def library():
    made = idl.Library()
    idl.Reader(made, 'source', SOURCE).read()
    return made


class Row:
    is_class, header, version_independent_prog_id = True, 'devices/VexThing.h', 'Module.VexThing'
    name = 'VexThing'


class Shelf:
    """Notes from dictionaries."""

    def __init__(self, classes=None, interfaces=None, enumerations=None):
        self.classes, self.interfaces = classes or {}, interfaces or {}
        self.texts = {'VexColour': COLOURS} if enumerations is None else enumerations
        self.folder = Path('/nonexistent')

    def of_class(self, name):
        return notes.split(self.classes[name], '##') if name in self.classes else None

    def of_interface(self, name):
        return notes.split(self.interfaces[name], '###') if name in self.interfaces else None

    def of_enumeration(self, name):
        return notes.values(self.texts[name]) if name in self.texts else None

    def enumerations(self):
        return list(self.texts)


class Idl(unittest.TestCase):
    def test_reads_interfaces_with_members_and_defined_texts(self):
        base = library().interfaces['IVexBase']
        self.assertEqual(['Size', 'Read'], [member.name for member in base.members])
        self.assertEqual('Holds a size, in bytes; see "there".', base.member('Size').help)
        self.assertEqual('Is not used any more.', base.member('Read').help)
        self.assertEqual(['propget', 'propput'], [method.kind for method in base.member('Size').methods])

    def test_reads_enumerations_events_and_classes(self):
        made = library()
        self.assertEqual([-1, 0, 0x102], [number for _, number, _ in made.enumerations['VexColour'].values])
        self.assertTrue(made.interfaces['_IVexThingEvents'].events)
        self.assertFalse(made.classes['VexThing'].creatable)
        self.assertEqual('_IVexThingEvents', made.classes['VexThing'].events)
        self.assertEqual(['IVexThing', 'IVexBase'], [found.name for found in made.line('IVexThing')])

    def test_refuses_what_it_does_not_know(self):
        with self.assertRaisesRegex(idl.IdlError, 'HRESULT'):
            idl.Reader(idl.Library(), 'x', '[uuid(1)] interface A : B { [id(1)] void F(); };').read()

    def test_reads_the_whole_library(self):
        made = idl.read_library(ROOT / 'idl')
        self.assertEqual(48, len(made.classes))
        self.assertIn('IVexDevice', made.interfaces)


class Signatures(unittest.TestCase):
    def test_scripts_see_properties_and_functions(self):
        base = library().interfaces['IVexBase']
        self.assertEqual('Size As UInt64', reference.script_signature(base.member('Size')))
        self.assertEqual('Read(ByRef aData As Byte(), ByRef aName As String) As VexResult',
                         reference.script_signature(base.member('Read')))
        self.assertEqual('Stop()', reference.script_signature(library().interfaces['IVexThing'].member('Stop')))

    def test_cpp_sees_accessors(self):
        base = library().interfaces['IVexBase']
        self.assertEqual(['HRESULT get_Size(unsigned __int64* pVal);', 'HRESULT put_Size(unsigned __int64 pVal);'],
                         [reference.cpp_signature(method) for method in base.member('Size').methods])
        self.assertEqual('HRESULT Read(SAFEARRAY* aData, BSTR* aName, IVexResult** result);',
                         reference.cpp_signature(base.member('Read').methods[0]))


class Pages(unittest.TestCase):
    def pages(self, shelf):
        return reference.Reference(library(), [Row], shelf).pages()

    def test_class_page_has_members_without_notes(self):
        page = self.pages(Shelf())['reference/classes/VexThing.md']
        self.assertIn('| CLSID | `{11111111-0000-0000-0000-000000000004}` |', page)
        self.assertIn('none: other objects hand it out', page)
        self.assertIn('### Stop', page)
        self.assertIn('[`Size As UInt64`](../interfaces/IVexBase.md#size)', page)

    def test_class_page_takes_notes_in(self):
        shelf = Shelf({'VexThing': 'It is a thing.\n\n## Example\n\n```vb\nx\n```\n'},
                      {'IVexThing': '### Stop\n\nAs [Size](IVexBase.md#size).\n'})
        page = self.pages(shelf)['reference/classes/VexThing.md']
        self.assertLess(page.index('It is a thing.'), page.index('## Example'))
        self.assertIn('As [Size](../interfaces/IVexBase.md#size).', page)

    def test_notes_stand_for_a_help_string_that_says_nothing(self):
        made = library()
        made.interfaces['IVexThing'].member('Stop').methods[0].help = 'method Stop'
        shelf = Shelf(interfaces={'IVexThing': '### Stop\n\nEnds all of it. It never fails.\n'})
        page = reference.Reference(made, [Row], shelf).pages()['reference/classes/VexThing.md']
        self.assertIn('| Ends all of it. |', page)
        self.assertNotIn('method Stop', page)

    def test_events_and_enumerations_have_pages(self):
        pages = self.pages(Shelf())
        self.assertIn('Fired by | [VexThing]', pages['reference/interfaces/_IVexThingEvents.md'])
        self.assertIn('| VexBlue | 258 | `&H102` | As the sky. |', pages['reference/enumerations.md'])
        self.assertIn('| VexRed | 0 | `0` | As blood. |', pages['reference/enumerations.md'])
        self.assertIn('Of paint.', pages['reference/enumerations.md'])


class Notes(unittest.TestCase):
    def test_headings_in_code_are_none(self):
        found = notes.split('Intro.\n### A\n```vb\n### B\n```\n### C\nc', '###')
        self.assertEqual('Intro.', found.intro)
        self.assertEqual(['A', 'C'], list(found.sections))

    WHOLE_CLASS = 'Text.\n## Example\n```vb\nx\n```\n```cpp\nx\n```\n'
    WHOLE = {'IVexBase': '### Size\na\n### Read\nb\n', 'IVexThing': '### Stop\nc\n', '_IVexThingEvents': '### OnEnd\nd\n'}

    def faults(self, text=WHOLE_CLASS, enumerations=None, **interfaces):
        return notes.compare(library(), Shelf({'VexThing': text}, {**self.WHOLE, **interfaces}, enumerations))

    def test_whole_notes_have_no_faults(self):
        self.assertEqual([], self.faults())
        self.assertEqual(['IVexBase', 'IVexThing', '_IVexThingEvents', 'VexThing', 'VexColour'], notes.wanted(library()))

    def test_unknown_missing_and_repeated_members_are_faults(self):
        self.assertEqual(['IVexBase: notes about Sise, which it does not declare', 'IVexBase: Size is there twice',
                          'IVexBase: no note about Read'], self.faults(IVexBase='### Size\na\n### Sise\nb\n### Size\nc\n'))

    def test_a_member_with_a_heading_and_no_text_is_a_fault(self):
        self.assertEqual(['IVexThing: no note about Stop'], self.faults(IVexThing='### Stop\n\n'))

    def test_notes_that_nobody_wrote_are_faults(self):
        self.assertEqual(['IVexBase: no notes about its 2 members', 'IVexThing: no notes about its 1 members',
                          '_IVexThingEvents: no notes about its 1 members', 'VexThing: no notes'],
                         notes.compare(library(), Shelf()))

    def test_a_class_needs_a_paragraph_and_both_examples(self):
        self.assertEqual(['VexThing: no example in C++'], self.faults('Text.\n## Example\n```vb\n```\n'))
        self.assertEqual(['VexThing: no paragraph before its example', 'VexThing: no example in VBScript'],
                         self.faults('## Example\n```cpp\n```\n'))

    def test_a_value_without_a_text_is_a_fault(self):
        self.assertEqual(['VexColour: no text for VexNone', 'VexColour: no text for VexBlue'],
                         self.faults(enumerations={'VexColour': '- VexRed: As blood.\n- VexBlue:\n'}))
        self.assertEqual([f'VexColour: no text for {name}' for name in ('VexNone', 'VexRed', 'VexBlue')],
                         self.faults(enumerations={}))

    def test_texts_of_unknown_and_repeated_values_are_faults(self):
        texts = {'VexColour': COLOURS + '- VexRed: Again.\n- VexPink: As a rose.\n', 'VexColor': ''}
        self.assertEqual(['VexColor: the library has no enumeration of that name',
                          'VexColour: a text for VexPink, which it does not have', 'VexColour: VexRed is there twice'],
                         self.faults(enumerations=texts))

    def test_the_librarys_own_notes_are_whole(self):
        self.assertEqual([], notes.compare(idl.read_library(ROOT / 'idl'), notes.Shelf(ROOT / 'docs/reference')))


class Blocks(unittest.TestCase):
    def block(self, text, kind='', language='vb'):
        return blocks.Block('docs/x.md', 10, language, kind, text)

    def test_finds_language_kind_and_place(self):
        found = blocks.blocks_of('a\n```vb fragment\nx = 1\n```\n  ```cpp\n  int i;\n  ```\n', 'docs/x.md')
        self.assertEqual([('docs/x.md:3', 'vb', 'fragment', 'x = 1\n'), ('docs/x.md:6', 'cpp', '', 'int i;\n')],
                         [(one.place, one.language, one.kind, one.text) for one in found])

    def test_scripts_get_the_tests_camera_and_folder(self):
        made = blocks.script_of(self.block('a = "192.168.1.20"\nf = "C:\\Pictures\\a.bmp"\nWScript.Quit 0\n'), 'Z:\\W')
        self.assertIn('a = "127.0.0.2"', made)
        self.assertIn('f = "Z:\\W\\a.bmp"', made)
        self.assertIn(f'WScript.Echo "{blocks.END_MARK}" : WScript.Quit 0', made)

    def test_a_script_that_quits_with_a_failure_does_not_reach_its_end(self):
        self.assertEqual(1, blocks.script_of(self.block('WScript.Quit 1\n'), '').count(blocks.END_MARK))

    def test_fragments_are_read_and_not_run(self):
        made = blocks.script_of(self.block('x.Find\nSub A()\nEnd Sub\n', 'fragment'), '')
        self.assertEqual(['Sub Fragment()', 'x.Find', 'End Sub', 'Sub A()', 'End Sub'], made.splitlines()[:5])

    def test_fragments_name_members_that_exist(self):
        block = self.block('If x.Fnd(1.5).IsOK Then WScript.Echo "a.b" \' c.d\n')
        self.assertEqual(['Fnd'], blocks.unknown_members(block, ['Find', 'IsOK']))

    def test_statements_and_functions_compile_in_one_unit(self):
        made = blocks.translation_unit([self.block('int i = 0;\n', language='cpp'),
                                        self.block('#include <vector>\nint main()\n{\n}\n', language='cpp')], ROOT)
        self.assertLess(made.index('#include <vector>'), made.index('namespace block_0'))
        self.assertEqual(1, made.count('void statements()'))
        self.assertIn('#line 10 "docs/x.md"', made)

    def test_errors_lead_back_to_their_block(self):
        part = [self.block('a\nb\n', language='cpp')]
        self.assertEqual((part, False), blocks.faulty(part, 'docs/x.md:11:3: error: no'))
        self.assertEqual(([], True), blocks.faulty(part, 'other.h:11:3: error: no'))


class Links(unittest.TestCase):
    def site(self, pages):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        for name, text in pages.items():
            (Path(folder.name) / name).write_text(text, encoding='utf-8')
        return links.site_faults(folder.name)[1]

    def test_good_links_are_no_faults(self):
        self.assertEqual([], self.site({'a.html': '<a href="b.html#x">b</a>', 'b.html': '<h1 id="x">'}))

    def test_missing_pages_and_places_are_faults(self):
        self.assertEqual(['a.html: b.html#y: there is no such place on the page', 'a.html: c.html: there is no such page'],
                         self.site({'a.html': '<a href="b.html#y"></a><a href="c.html"></a>', 'b.html': ''}))

    def test_what_is_loaded_from_a_network_is_a_fault(self):
        self.assertEqual(['a.html: loads https://host/x.js from a network'],
                         self.site({'a.html': '<script src="https://host/x.js"></script><a href="https://host/">x</a>'}))

    def test_headings_become_anchors(self):
        self.assertEqual({'what-the-link-counts', 'bridges'}, links.headings('## What the link counts\n```\n# no\n```\n# `Bridges`\n'))


class Site(unittest.TestCase):
    def test_links_in_code_stay(self):
        changed = build_site.with_links('[a](b.md) `[c](d.md)`\n```\n[e](f.md)\n```\n', lambda link: 'X')
        self.assertEqual('[a](X) `[c](d.md)`\n```\n[e](f.md)\n```\n', changed)

    def test_kinds_of_blocks_are_not_shown(self):
        self.assertEqual('```vbscript\nx\n```\n', build_site.with_languages('```vb fragment\nx\n```\n'))


if __name__ == '__main__':
    unittest.main()
