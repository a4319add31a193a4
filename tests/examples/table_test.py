#!/usr/bin/env python3
"""scripts/check_examples.py finds what the table of the examples and the examples say differently."""
import os
import subprocess
import sys
import tempfile
import unittest

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
sys.path.insert(0, os.path.join(ROOT, 'scripts'))
import check_examples  # noqa: E402

SCRIPT_ROW = '| `vbscript/a.vbs` | run: scripts | cscript |'
MODULE_ROW = '| `vba/A.bas` | not run here | no Office |'


class Table(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.root = folder.name
        subprocess.check_call(['git', 'init', '-q', self.root])
        self.write('examples/vbscript/a.vbs', "' Run in the tests.\n")
        self.write('examples/vba/A.bas', "' Not run here: no Office.\n")
        self.write('scripts/test.sh', 'count_script examples/vbscript/a.vbs\n')
        self.table(SCRIPT_ROW, MODULE_ROW)

    def write(self, name, text):
        os.makedirs(os.path.join(self.root, os.path.dirname(name)), exist_ok=True)
        with open(os.path.join(self.root, name), 'w', encoding='utf-8') as file:
            file.write(text)

    def table(self, *rows):
        self.write('examples/README.md', '\n'.join(('| file | state | host |', '|---|---|---|') + rows) + '\n')

    def expect(self, *parts):
        faults = check_examples.check(self.root)
        self.assertEqual(len(faults), len(parts), faults)
        for fault, part in zip(faults, parts):
            self.assertIn(part, fault)

    def test_agreement_is_no_fault(self):
        self.expect()

    def test_a_file_that_is_missing_from_the_table(self):
        self.table(SCRIPT_ROW)
        self.expect('examples/vba/A.bas: is not in the table')

    def test_a_row_without_a_file(self):
        self.table(SCRIPT_ROW, MODULE_ROW, '| `matlab/a.m` | not run here | none |')
        self.expect('examples/matlab/a.m: stands in the table of examples/README.md, but')

    def test_a_file_in_two_rows(self):
        self.table(SCRIPT_ROW, MODULE_ROW, MODULE_ROW)
        self.expect('twice')

    def test_a_file_that_says_run_in_a_row_that_says_not(self):
        self.write('examples/vba/A.bas', "' Run in the tests.\n")
        self.expect('its top says Run in the tests')

    def test_a_file_that_says_both(self):
        self.write('examples/vba/A.bas', "' Run in the tests.\n' Not run here.\n")
        self.expect('its top says Run in the tests and Not run here')

    def test_a_file_that_says_neither(self):
        self.write('examples/vbscript/a.vbs', "' A script.\n")
        self.expect('its top says neither')

    def test_a_state_that_is_none(self):
        self.table(SCRIPT_ROW, '| `vba/A.bas` | perhaps | no Office |')
        self.expect('"perhaps"')

    def test_an_example_that_no_script_runs(self):
        self.write('scripts/test.sh', '')
        self.expect('nothing runs it')

    def test_an_example_that_a_script_runs_all_the_same(self):
        self.write('scripts/test.sh', 'examples/vbscript/a.vbs examples/vba/A.bas\n')
        self.expect('but a script names it')


if __name__ == '__main__':
    unittest.main()
