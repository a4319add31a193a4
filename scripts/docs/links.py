"""Whether links lead somewhere: in the built site, and in docs/ as plain viewers show it."""
import os
import re
from html.parser import HTMLParser
from pathlib import Path
from urllib.parse import unquote, urlsplit

import blocks
from build_site import FENCE, LINK


class Page(HTMLParser):
    """What a page of the site defines, links to and loads."""

    def __init__(self, text):
        super().__init__()
        self.anchors, self.links, self.loads = set(), [], []
        self.feed(text)

    def handle_starttag(self, tag, attributes):
        values = dict(attributes)
        self.anchors |= {values[name] for name in ('id', 'name') if values.get(name)}
        if tag == 'a' and values.get('href') is not None:
            self.links.append(values['href'])
        self.loads += [values[name] for name in ('src', 'srcset', 'poster') if values.get(name)]
        if tag == 'link' and values.get('href') and values.get('rel') != 'canonical':
            self.loads.append(values['href'])


def is_remote(link):
    return re.match(r'(?:[a-z][a-z0-9+.-]*:)?//', link, re.I) is not None


def target(site, page, link):
    parts = urlsplit(link)
    path = site / os.path.normpath(Path(page).parent / unquote(parts.path)) if parts.path else site / page
    return path, unquote(parts.fragment)


def link_fault(site, pages, name, link):
    if re.match(r'[a-z]+:', link, re.I):
        return None
    path, fragment = target(site, name, link)
    if not path.is_file():
        return 'there is no such page'
    page = pages.get(path.relative_to(site).as_posix())
    if fragment and page is not None and fragment not in page.anchors:
        return 'there is no such place on the page'
    return None


def site_faults(site):
    """(number of pages, faults) of the built site."""
    site = Path(site)
    pages = {path.relative_to(site).as_posix(): Page(path.read_text(encoding='utf-8')) for path in sorted(site.rglob('*.html'))}
    pages.pop('404.html', None)  # its links are for a server's root
    faults = []
    for name, page in pages.items():
        for link in page.links:
            why = link_fault(site, pages, name, link)
            faults += [f'{name}: {link}: {why}'] if why else []
        for load in page.loads:
            if is_remote(load):
                faults.append(f'{name}: loads {load} from a network')
            elif not load.startswith('data:') and not target(site, name, load)[0].is_file():
                faults.append(f'{name}: {load} is not there')
    for style in sorted(site.rglob('*.css')):
        for load in re.findall(r'url\(["\']?([^"\')]+)', style.read_text(encoding='utf-8')):
            if is_remote(load):
                faults.append(f'{style.relative_to(site)}: loads {load} from a network')
    return len(pages), faults


# ---- plain viewers ----

def outside_code(text):
    """(number, line) of the lines outside blocks of code."""
    fenced = False
    for number, line in enumerate(text.splitlines(), 1):
        if FENCE.match(line):
            fenced = not fenced
        elif not fenced:
            yield number, line


def slug(heading):
    text = re.sub(r'\[([^\]]*)\]\([^)]*\)', r'\1', heading.lstrip('#').strip().replace('`', ''))
    return re.sub(r'[^\w\- ]', '', text.lower()).replace(' ', '-')


def headings(text):
    return {slug(line) for _, line in outside_code(text) if re.match(r'#{1,6} ', line)}


def source_faults(root, made):
    """(number of pages, faults) of the README and docs/. MADE are the pages that the site adds to what is there."""
    docs = Path(root) / 'docs'
    faults, count = [], 0
    for path in blocks.pages_of(root):
        count += 1
        for number, line in outside_code(path.read_text(encoding='utf-8')):
            for found in LINK.finditer(re.sub(r'`[^`]*`(?!\])', '', line)):
                why = source_fault(docs, path, found[2], made)
                if why:
                    faults.append(f'{path.relative_to(root)}: line {number}: {found[2]}: {why}')
    return count, faults


def source_fault(docs, path, link, made):
    if re.match(r'[a-z]+:', link, re.I):
        return None
    name, _, fragment = link.partition('#')
    wanted = Path(os.path.normpath(path.parent / name)) if name else path
    if wanted.is_relative_to(docs) and wanted.relative_to(docs).as_posix() in made:
        return None  # the site's check looks into these
    if not wanted.is_file():
        return 'there is no such file'
    if fragment and wanted.suffix == '.md' and fragment not in headings(wanted.read_text(encoding='utf-8')):
        return 'there is no such heading'
    return None
