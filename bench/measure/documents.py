"""The documents to convert, the same on every machine."""

import re
import subprocess
from pathlib import Path

SMALL = '''<!DOCTYPE html>
<html lang="en"><meta charset="utf-8"><title>A small page</title>
<style>body { font: 12pt/1.5 serif } h1 { color: #247 }</style>
<h1>A small page</h1>
<p>One heading, one paragraph with a <a href="https://www.example.com/">link</a>, one list.</p>
<ul><li>First</li><li>Second</li><li>Third</li></ul>
'''

# Built by a script when it is loaded; and beside a worker that never says anything.
SCRIPTED = SMALL + "<p id=built>Built by <script>built.append('a script')</script>\n"
WORKER = SCRIPTED + "<script>new Worker(URL.createObjectURL(new Blob(['onmessage = () => 0'])))</script>\n"

PHOTOGRAPHS = 10
TABLE_ROWS = 2640  # 72 pages on A4
# Patterns: a package may have a version in its name.
REAL_FOLDERS = (
    'debian-handbook/html/en-US',
    'git-doc',
    'postgresql-doc-[0-9]*/html',
    'sqlite3',
)
REAL_PAGES = 40
# With scripts, by a generator of documentation.
GENERATED_FOLDER = 'cmake-data/html/command'
# Long ones, with wide listings and tables that are shrunk, drawings, and neither.
CHAPTERS = (
    'postgresql-doc-[0-9]*/html/monitoring-stats.html',
    'postgresql-doc-[0-9]*/html/app-psql.html',
    'debian-handbook/html/en-US/network-services.html',
    'sqlite3/windowfunctions.html',
)
ORDINARY_BYTES = range(8_000, 60_000)
REMOTE = re.compile(rb'(?:src=|<link[^>]*stylesheet[^>]*href=)["\']?(?:https?:)?//', re.IGNORECASE)


def small_page(folder):
    page = folder / 'small.html'
    page.write_text(SMALL)
    return page


def scripted_pages(folder):
    pages = [folder / 'scripted.html', folder / 'worker.html']
    for page, text in zip(pages, (SCRIPTED, WORKER)):
        page.write_text(text)
    return pages


def small_rows(folder, count):
    """Copies of the small page, for a list with PDFs of different names."""
    rows = [folder / f'row-{number:03}.html' for number in range(count)]
    for row in rows:
        row.write_text(SMALL)
    return rows


def photograph(path, seed):
    """A synthetic photograph that is as hard to encode as a real one: large soft shapes, textures of several sizes, grain."""
    subprocess.run(
        ['convert', '-size', '1600x1200', '-seed', str(seed),
         f'plasma:hsl({seed * 36},140,90)-hsl({seed * 36 + 90},90,190)',
         '(', '-size', '400x300', 'plasma:fractal', '-resize', '1600x1200!', ')', '-compose', 'overlay', '-composite',
         '-attenuate', '0.15', '+noise', 'Gaussian', '-quality', '88', str(path)],
        check=True)


def photograph_page(folder):
    """Ten JPEGs of 1600 x 1200 pixels, each shown 300 pixels wide."""
    lines = ['<!DOCTYPE html><html lang="en"><meta charset="utf-8"><title>Photographs</title><h1>Photographs</h1>']
    for number in range(PHOTOGRAPHS):
        name = f'photograph-{number}.jpg'
        photograph(folder / name, number + 1)
        lines.append(f'<p><img src="{name}" width="300" alt="Photograph {number + 1}"> Photograph {number + 1}')
    page = folder / 'photographs.html'
    page.write_text('\n'.join(lines))
    return page


def table_page(folder):
    """Sets its own paper size, so that all programs print the same number of pages."""
    lines = ['<!DOCTYPE html><html lang="en"><meta charset="utf-8"><title>A long table</title>',
             '<style>@page { size: A4; margin: 10mm } table { border-collapse: collapse }',
             'td, th { border: 1px solid #999; padding: 4px 8px }</style>',
             '<h1>A long table</h1><table><thead><tr><th>Number<th>Square<th>Cube<th>Remark</thead>']
    lines += [f'<tr><td>{n}<td>{n * n}<td>{n ** 3}<td>Row {n} of the table' for n in range(1, TABLE_ROWS + 1)]
    page = folder / 'table.html'
    page.write_text('\n'.join(lines) + '\n</table>')
    return page


def is_ordinary(page):
    return page.stat().st_size in ORDINARY_BYTES and not REMOTE.search(page.read_bytes())


def documentation(pattern):
    folder = Path('/usr/share/doc')
    return next(folder.glob(pattern), folder / pattern)


def real_pages(count=REAL_PAGES):
    """Pages of the installed documentation, as many from each package, evenly from its list in alphabetical order.
    Pages of ordinary size that have their pictures and style sheets beside them."""
    return [page for name in REAL_FOLDERS for page in ordinary_pages(name, count // len(REAL_FOLDERS))]


def generated_pages(count=REAL_PAGES):
    return ordinary_pages(GENERATED_FOLDER, count)


def ordinary_pages(name, count):
    folder = documentation(name)
    pages = [page for page in sorted(folder.glob('*.html')) if is_ordinary(page)]
    if len(pages) < count:
        raise RuntimeError(f'{folder} has {len(pages)} pages of ordinary size; is its package installed?')
    return [pages[number * len(pages) // count] for number in range(count)]


def chapters():
    pages = [documentation(name) for name in CHAPTERS]
    missing = [page for page in pages if not page.exists()]
    if missing:
        raise RuntimeError(f'{missing[0]} is missing; is its package installed?')
    return pages
