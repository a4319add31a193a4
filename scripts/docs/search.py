"""Search that needs no server: the site may be opened as files, from which a browser loads scripts and nothing else."""
import json
import shutil
from pathlib import Path

SEARCH = 'search'
UNUSED = ('worker.js', 'search_index.json')


def make_local(site):
    """Turns the index that mkdocs wrote into a script, and puts our search in the place of the one that fetches it."""
    folder = Path(site) / SEARCH
    index = json.loads((folder / 'search_index.json').read_text(encoding='utf-8'))
    entries = [entry for entry in index['docs'] if entry['text'] or entry['title']]
    text = json.dumps(entries, ensure_ascii=False, separators=(',', ':'))
    (folder / 'search_index.js').write_text(f'window.searchEntries = {text};\n', encoding='utf-8')
    shutil.copyfile(Path(site) / 'assets/search.js', folder / 'main.js')
    for name in UNUSED:
        (folder / name).unlink()
