#!/usr/bin/env python3
"""build_site.py ROOT OUTPUT: makes the documentation's site under OUTPUT/site.

The pages are those of docs/, the reference (reference.py), and the files of the repository that pages link to, as pages
of their own. They are gathered under OUTPUT/pages, where links lead from page to page, and mkdocs makes the site of them.
"""
import os
import re
import shutil
import subprocess
import sys
from pathlib import Path, PurePosixPath

import yaml

import idl
import notes
import reference
import search

LINK = re.compile(r'(!?\[(?:[^\[\]]|\[[^\]]*\])*\]\()([^)\s]+)(\))')
FENCE = re.compile(r'^(\s*)(```|~~~)\s*([\w-]*)[^`\n]*$')
LANGUAGES = {'.vbs': 'vb', '.cpp': 'cpp', '.h': 'cpp', '.py': 'python', '.sh': 'bash', '.cs': 'csharp'}
SHOWN_AS = {'vb': 'vbscript', 'cpp-signature': 'cpp'}


class SiteError(Exception):
    """The site cannot be made."""


def with_links(text, change):
    """The text with each link's target changed, but for what stands in code."""
    out, fenced = [], False
    for line in text.splitlines():
        if FENCE.match(line):
            fenced = not fenced
        if not fenced:
            parts = re.split(r'(`[^`]*`(?!\]))', line)
            line = ''.join(part if at % 2 else LINK.sub(lambda found: found[1] + change(found[2]) + found[3], part)
                           for at, part in enumerate(parts))
        out.append(line)
    return '\n'.join(out) + '\n'


def with_languages(text):
    """Fences with nothing behind their language, in the words of the highlighter."""
    def change(line):
        found = FENCE.match(line)
        return f'{found[1]}{found[2]}{SHOWN_AS.get(found[3], found[3])}' if found else line
    return '\n'.join(change(line) for line in text.splitlines()) + '\n'


class Stage:
    """Gathers the pages in a folder and leads their links to one another."""

    def __init__(self, root, folder):
        self.root = Path(root)
        self.docs = self.root / 'docs'
        self.folder = Path(folder)
        self.written = set()
        self.waiting = []  # files of the repository that pages link to

    def gather(self, generated):
        shutil.rmtree(self.folder, ignore_errors=True)
        for page, text in generated.items():
            self.write(page, text, self.docs / page)
        for path in sorted(self.docs.rglob('*')):
            page = path.relative_to(self.docs).as_posix()
            if path.is_dir() or page in generated or page.startswith('site/'):
                continue
            if path.suffix == '.md':
                self.write(page, path.read_text(encoding='utf-8'), path)
            else:
                (self.folder / page).parent.mkdir(parents=True, exist_ok=True)
                shutil.copyfile(path, self.folder / page)
        while self.waiting:
            self.source_page(self.waiting.pop())

    def write(self, page, text, origin):
        self.written.add(page)
        target = self.folder / page
        target.parent.mkdir(parents=True, exist_ok=True)
        text = with_links(text, lambda link: self.led(link, origin, page))
        target.write_text(with_languages(text), encoding='utf-8')

    def led(self, link, origin, page):
        """Where a link of a file leads on the site."""
        if re.match(r'\w+:', link) or link.startswith('#'):
            return link
        path, _, fragment = link.partition('#')
        wanted = Path(os.path.normpath(origin.parent / path))
        try:
            name = wanted.relative_to(self.root).as_posix()
        except ValueError:
            raise SiteError(f'{origin}: {link} leads out of the repository') from None
        if name.startswith('docs/'):
            there = name.removeprefix('docs/')
        else:
            if not wanted.is_file():
                raise SiteError(f'{origin}: {link}: there is no file {name}')
            there = 'source/' + (name if name.endswith('.md') else name + '.md')
            if there not in self.written and wanted not in self.waiting:
                self.waiting.append(wanted)
        relative = os.path.relpath(there, PurePosixPath(page).parent)
        return relative + ('#' + fragment if fragment else '')

    def source_page(self, path):
        name = path.relative_to(self.root).as_posix()
        page = 'source/' + (name if name.endswith('.md') else name + '.md')
        if page in self.written:
            return
        text = path.read_text(encoding='utf-8')
        if not name.endswith('.md'):
            text = f'# {name}\n\n```{LANGUAGES.get(path.suffix, "text")}\n{text.rstrip()}\n```\n'
        self.write(page, text, path)


def class_rows(root):
    sys.path.insert(0, str(root / 'server' / 'generate'))
    import class_table
    return class_table.read_table(root / 'server' / 'classes.txt')


def make_reference(root):
    docs = root / 'docs'
    stubs = {page: (docs / page).read_text(encoding='utf-8') for page in reference.STRUCTURE if (docs / page).exists()}
    return reference.Reference(idl.read_library(root / 'idl'), class_rows(root), notes.Shelf(docs / 'reference'), stubs)


def configuration(root, output, navigation):
    """The site's configuration, with the reference in its place in the navigation."""
    settings = yaml.safe_load((root / 'docs/site/mkdocs.yml').read_text(encoding='utf-8'))
    for item in settings['nav']:
        if 'Reference' in item:
            item['Reference'] = navigation
    settings['docs_dir'] = str(output / 'pages')
    settings['site_dir'] = str(output / 'site')
    return settings


def build(root, output):
    output.mkdir(parents=True, exist_ok=True)
    pages = make_reference(root)
    Stage(root, output / 'pages').gather(pages.pages())
    shutil.copytree(root / 'docs/site/assets', output / 'pages/assets')
    colours = subprocess.check_output(['pygmentize', '-S', 'friendly', '-f', 'html', '-a', '.codehilite'], text=True)
    (output / 'pages/assets/code.css').write_text(colours, encoding='utf-8')
    scripts = output / 'pages/js'  # which Debian's theme asks for and does not have
    scripts.mkdir()
    shutil.copyfile('/usr/share/javascript/jquery/jquery.min.js', scripts / 'jquery-3.6.0.min.js')
    (output / 'pages/assets/navigation.js').rename(scripts / 'theme_extra.js')
    settings = output / 'mkdocs.yml'
    settings.write_text(yaml.safe_dump(configuration(root, output, pages.navigation()), sort_keys=False), encoding='utf-8')
    outcome = subprocess.run(['mkdocs', 'build', '--strict', '--quiet', '--clean', '--config-file', str(settings)],
                             check=False)
    if outcome.returncode != 0:
        raise SiteError('mkdocs found faults')
    search.make_local(output / 'site')


def main():
    root, output = Path(sys.argv[1]).resolve(), Path(sys.argv[2]).resolve()
    try:
        build(root, output)
    except (SiteError, idl.IdlError) as error:
        sys.exit(f'docs: {error}')


if __name__ == '__main__':
    main()
