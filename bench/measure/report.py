"""The figures as text, and as docs/benchmark.md."""

import time
from pathlib import Path

from . import chart, documents, machine
from .row import HEADER

WAYS = '''\
| way | what it does |
|---|---|
| Quirelle, warm | the engine's command line, one process a job, its server running |
| Quirelle, cold | the same without a server (`QUIRELLE_IDLE_SECONDS=0`): a browser of its own for each job |
| --print-to-pdf | the browser's own command line, one process and a new profile a job; its PDFs are tagged |
| script library, warm | `playwright-core`, one browser, a new context for each job; tags and bookmarks |
| bare limit | one page of one browser, navigated and printed again and again over its pipe; tags and bookmarks; nothing is \
waited for but the load event, and nothing keeps the jobs apart |
| weasyprint | a renderer that runs no scripts; its PDFs have no tags |
'''


def aligned(rows):
    widths = [max(map(len, column)) for column in zip(*rows)]
    return '\n'.join('  '.join(cell.ljust(width) for cell, width in zip(row, widths)).rstrip() for row in rows)


def markdown(rows):
    lines = ['| ' + ' | '.join(row) + ' |' for row in rows]
    return '\n'.join([lines[0], '|' + '---|' * len(rows[0]), *lines[1:]]) + '\n'


def figures_table(figures, form):
    """{document: {way: value}} as a table with a line for each way."""
    ways = list(dict.fromkeys(way for values in figures.values() for way in values))
    return [['way', *figures], *[[way, *[form(values[way]) if way in values else '' for values in figures.values()]]
                                 for way in ways]]


def milliseconds(seconds):
    return f'{seconds * 1000:,.0f} ms'


def kilobytes(size):
    return f'{size / 1000:,.0f} kB'


def show(bench):
    for heading, figures, form in (('time a job', bench.times, milliseconds),
                                   ('processor time a job', bench.processor, milliseconds),
                                   ('size of the PDFs', bench.sizes, kilobytes)):
        if figures:
            print(f'\n{heading}\n' + aligned(figures_table(figures, form)))
    print()
    for remark in bench.remarks:
        print(remark)
    print('\n' + aligned([HEADER, *[row.cells() for row in bench.rows]]))
    for failure in bench.failures:
        print(f'not measured: {failure}')


def write(bench, folder):
    folder = Path(folder)
    folder.mkdir(parents=True, exist_ok=True)
    (folder / 'benchmark.md').write_text(text(bench, draw(bench, folder)))


def draw(bench, folder):
    """Returns the names of the charts, by what they show."""
    charts = {}
    if bench.rows:
        charts['rows'] = 'benchmark-rows.svg'
        chart.rows_against_bounds(folder / charts['rows'], bench.rows)
    if bench.times:
        charts['times'] = 'benchmark-times.svg'
        chart.panels(folder / charts['times'], 'Time a job',
                     {name: {way: seconds * 1000 for way, seconds in values.items()}
                      for name, values in bench.times.items()}, 'ms')
        charts['sizes'] = 'benchmark-sizes.svg'
        chart.panels(folder / charts['sizes'], 'Size of the PDFs',
                     {name: {way: size / 1000 for way, size in values.items()} for name, values in bench.sizes.items()},
                     'kB')
    if len(bench.memory) > 1:
        charts['memory'] = 'benchmark-memory.svg'
        chart.memory_curve(folder / charts['memory'], bench.memory)
    return charts


def text(bench, charts):
    def picture(name, words):
        return f'![{words}]({charts[name]})\n' if name in charts else ''

    parts = [
        '# Speed and size\n',
        f'Written by `bench/run` on {time.strftime("%Y-%m-%d")}; [bench/README.md](../bench/README.md) tells what each row '
        'means.\n',
        markdown([['', 'measured on'], *map(list, machine.description())]),
        '## Rows\n',
        'Medians of interleaved rounds; the spread is that of the ratios within the rounds, from the lower to the upper '
        'quartile (of fewer than four rounds: from the least to the greatest).\n',
        markdown([HEADER, *[row.cells() for row in bench.rows]]),
        *[f'Not measured: {failure}.\n' for failure in bench.failures],
        picture('rows', 'Rows against their bounds'),
        '## Documents\n',
        WAYS,
        f'The photographs are made, not taken: ten JPEGs of 1600 x 1200 pixels of fractal noise, shown 300 pixels wide. The '
        f'{len(bench.real)} real pages come from the documentation of Debian packages '
        f'({", ".join(name.split("/")[0].removesuffix("-[0-9]*") for name in documents.REAL_FOLDERS)}), the '
        'generated ones, with scripts, from that of cmake-doc; of them the time is that of a page, the size that of all '
        'PDFs together.\n',
        'Time a job:\n',
        markdown(figures_table(bench.times, milliseconds)) if bench.times else '',
        picture('times', 'Time a job, by document and way'),
        'Processor time a job, of all processes and with what is left to do after it, of ten jobs:\n',
        markdown(figures_table(bench.processor, milliseconds)) if bench.processor else '',
        'Size of the PDFs:\n',
        markdown(figures_table(bench.sizes, kilobytes)) if bench.sizes else '',
        picture('sizes', 'Size of the PDFs, by document and way'),
        '## Memory\n' if 'memory' in charts else '',
        picture('memory', 'Memory of server and browser by the number of jobs'),
        '## Content\n' if bench.remarks else '',
        ''.join(f'- {remark}\n' for remark in bench.remarks),
    ]
    return '\n'.join(part for part in parts if part)
