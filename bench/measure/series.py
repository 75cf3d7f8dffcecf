"""The measurements. Each series returns rows and further figures for the report."""

import concurrent.futures
import subprocess
import time
from dataclasses import dataclass, field

from . import contestants, documents, pdf, places, processes
from .row import Row, missing_row, ratio_row
from .rounds import Times, interleaved, timed
from .screen import Screen, Window

CLIENTS = 4
CHUNK = 10  # pages one after another in a turn
SETTLING_SECONDS = 0.5
TABLE_PAGES = 72
MEMORY_PAGES = 10  # a divisor of the jobs between two looks
FIRST_PAINT_MS = 100
RESIDENT_MIB = 60


@dataclass(frozen=True)
class Extent:
    """How much is measured."""

    small_rounds: int = 15
    small_turn: int = 5
    other_rounds: int = 7
    real_pages: int = documents.REAL_PAGES
    real_rounds: int = 5
    small_run: int = 200
    small_runs: int = 3
    list_rows: int = 200
    list_rounds: int = 3
    paints: int = 25
    jobs_before: int = 50
    jobs_after: int = 1000


QUICK = Extent(small_rounds=3, small_turn=3, other_rounds=1, real_pages=8, real_rounds=1, small_run=20, small_runs=1,
               list_rows=20, list_rounds=1, paints=5, jobs_before=10, jobs_after=50)


@dataclass
class Bench:
    room: places.Room
    extent: Extent
    rows: list = field(default_factory=list)
    times: dict = field(default_factory=dict)  # document: {contestant: seconds a job}
    processor: dict = field(default_factory=dict)  # document: {contestant: seconds of processor time a job}
    sizes: dict = field(default_factory=dict)  # document: {contestant: bytes}
    remarks: list = field(default_factory=list)
    memory: list = field(default_factory=list)  # (jobs, kilobytes)
    failures: list = field(default_factory=list)

    def __post_init__(self):
        self.cold = contestants.ColdEngine(self.room)
        self.warm = contestants.WarmEngine(self.room)
        self.peer = contestants.PrintToPdf(self.room)
        self.library = contestants.Library(self.room)
        self.limit = contestants.BareLimit(self.room)
        self.without_scripts = contestants.WithoutScripts(self.room)
        self.small = documents.small_page(self.room.documents)
        self.real = documents.real_pages(self.extent.real_pages)

    def race(self, document, pages, rounds, entrants, once=()):
        """Everybody converts the pages, in parts of ten; a first job each is not timed. Returns {name: Times}."""
        parts = [pages[at:at + CHUNK] for at in range(0, len(pages), CHUNK)]
        started = []
        try:
            for entrant in entrants:
                entrant.start()
                started.append(entrant)
                entrant.take_turn(pages[:1])
            times = interleaved({entrant.name: entrant.take_turn for entrant in entrants}, parts, rounds,
                                [entrant.name for entrant in once])
            self.processor[document] = {entrant.name: processor_time(entrant, pages) for entrant in entrants}
        finally:
            for entrant in started:
                entrant.stop()
        self.times[document] = {name: value.median / len(pages) for name, value in times.items()}
        self.sizes[document] = {
            entrant.name: sum(entrant.output_for(page).stat().st_size for page in set(pages)) for entrant in entrants}
        return times


def processor_time(entrant, pages):
    """Seconds a job, of ten from all of the pages. What is left to do after a job is counted, too."""
    some = pages[::max(1, len(pages) // CHUNK)]
    turn = some * max(1, CHUNK // len(some))
    time.sleep(SETTLING_SECONDS)
    before = processes.busy_seconds()
    entrant.take_turn(turn)
    time.sleep(SETTLING_SECONDS)
    return (processes.busy_seconds() - before) / len(turn)


def small_page(bench):
    turn = [bench.small] * bench.extent.small_turn
    times = bench.race('small page', turn, bench.extent.small_rounds,
                       [bench.warm, bench.cold, bench.peer, bench.library, bench.limit, bench.without_scripts])
    peer = times[bench.peer.name]
    return [ratio_row('cold job, small page, against --print-to-pdf', times[bench.cold.name], peer, 0.7, len(turn)),
            ratio_row('warm job, small page, against --print-to-pdf', times[bench.warm.name], peer, 0.18, len(turn))]


def scripted_pages(bench):
    """How long is waited for scripts that have nothing more to do."""
    scripted, worker = documents.scripted_pages(bench.room.documents)
    rows = []
    for name, page, bound in (('scripted small page', scripted, 0.5), ('small page with a silent worker', worker, 1.5)):
        turn = [page] * bench.extent.small_turn
        times = bench.race(name, turn, bench.extent.small_rounds, [bench.warm, bench.peer])
        rows.append(ratio_row(f'warm job, {name}, against --print-to-pdf', times[bench.warm.name],
                              times[bench.peer.name], bound, len(turn)))
    return rows


def photographs(bench):
    """No row: shown among the documents."""
    page = documents.photograph_page(bench.room.documents)
    bench.race('ten photographs', [page], bench.extent.other_rounds,
               [bench.warm, bench.cold, bench.peer, bench.library, bench.limit, bench.without_scripts])
    return []


def long_table(bench):
    page = documents.table_page(bench.room.documents)
    times = bench.race('72-page table', [page], bench.extent.other_rounds,
                       [bench.warm, bench.cold, bench.peer, bench.library, bench.limit, bench.without_scripts],
                       once=[bench.without_scripts])
    for entrant in (bench.warm, bench.peer):
        pages = pdf.page_count(entrant.output_for(page))
        if pages != TABLE_PAGES:
            bench.remarks.append(f'The long table has {pages} pages from {entrant.name}.')
    return [ratio_row('72-page table, tagged, against tagged --print-to-pdf', times[bench.warm.name],
                      times[bench.peer.name], 0.8)]


def real_pages(bench):
    times = bench.race('real pages', bench.real, bench.extent.real_rounds,
                       [bench.warm, bench.peer, bench.limit, bench.cold, bench.without_scripts],
                       once=[bench.cold, bench.without_scripts])
    count = len(bench.real)
    compare_contents(bench)
    ours, peer = (bench.sizes['real pages'][entrant.name] for entrant in (bench.warm, bench.peer))
    return [ratio_row(f'{count} real pages one after another, against --print-to-pdf', times[bench.warm.name],
                      times[bench.peer.name], 0.5),
            ratio_row(f'{count} real pages, warm, against the bare limit', times[bench.warm.name],
                      times[bench.limit.name], 1.2),
            Row(f'bytes of the {count} PDFs, against --print-to-pdf', f'{ours / 1e6:.2f} MB', f'{peer / 1e6:.2f} MB',
                ours / peer, 0.7)]


def generated_pages(bench):
    """Pages with scripts."""
    pages = documents.generated_pages(bench.extent.real_pages)
    times = bench.race('generated pages', pages, bench.extent.real_rounds, [bench.warm, bench.peer, bench.library])
    return [ratio_row(f'{len(pages)} generated pages with scripts, against --print-to-pdf', times[bench.warm.name],
                      times[bench.peer.name], 0.4)]


def window_options(bench):
    """The window's default options must not slow jobs down."""
    optioned = contestants.LikeTheWindow(bench.room)

    def race(name, pages, rounds):
        times = bench.race(f'{name} with options', pages, rounds, [bench.warm, optioned])
        return ratio_row(f"{len(pages)} {name}, the window's options, against none", times[optioned.name],
                         times[bench.warm.name], 1.1)

    return [race('long chapters', documents.chapters(), bench.extent.other_rounds),
            race('real pages', bench.real, bench.extent.real_rounds)]


def long_run(bench):
    """Many small pages without a pause, in which a server could prepare for more of them."""
    turn = [bench.small] * bench.extent.small_run
    entrants = [bench.warm, bench.library]
    try:
        for entrant in entrants:
            entrant.start()
            entrant.take_turn(turn[:1])
        times = interleaved({entrant.name: entrant.take_turn for entrant in entrants}, [turn],
                            bench.extent.small_runs)
    finally:
        for entrant in entrants:
            entrant.stop()
    return [ratio_row(f"{len(turn)} small pages in a row, against the script library's warm loop",
                      times[bench.warm.name], times[bench.library.name], 0.5, len(turn))]


def compare_contents(bench):
    """Whether cold and warm jobs produce the same, and whether the text equals that of --print-to-pdf on its paper."""
    alike = 0
    lettered = bench.room.output / 'lettered.pdf'
    for page in bench.real:
        warm, cold, peer = (entrant.output_for(page) for entrant in (bench.warm, bench.cold, bench.peer))
        bench.cold.convert(page, lettered, ('--page-size', 'Letter'))
        compare(bench, page, (warm, 'warm'), (cold, 'cold'))
        alike += compare(bench, page, (lettered, 'ours on Letter'), (peer, '--print-to-pdf'))
    bench.remarks.append(f'{alike} of {len(bench.real)} real pages have as many pages and word for word the same '
                         'text as from --print-to-pdf, on the same paper.')


def compare(bench, page, one, other):
    (mine, my_name), (theirs, their_name) = one, other
    pages = pdf.page_count(mine), pdf.page_count(theirs)
    different, all_words = pdf.different_words(mine, theirs)
    if pages[0] != pages[1]:
        bench.remarks.append(f'{page}: {pages[0]} pages {my_name}, {pages[1]} {their_name}.')
    if different:
        bench.remarks.append(f'{page}: of {all_words} words {different} differ between {my_name} and {their_name}.')
    return pages[0] == pages[1] and not different


def start_included(bench):
    """Both from nothing to the last PDF."""
    def with_start(entrant):
        def turn(pages):
            seconds = timed(entrant.start)
            try:
                return seconds + entrant.take_turn(pages)
            finally:
                entrant.stop()
        return turn

    times = interleaved({entrant.name: with_start(entrant) for entrant in (bench.warm, bench.library)}, [bench.real],
                        bench.extent.real_rounds)
    return [ratio_row(f"{len(bench.real)} real pages, start included, against the script library's warm loop",
                      times[bench.warm.name], times[bench.library.name], 0.8)]


def four_clients(bench):
    def turn(clients):
        def convert(pages):
            with concurrent.futures.ThreadPoolExecutor(clients) as pool:
                return timed(lambda: list(pool.map(lambda page: bench.warm.convert(page, bench.warm.output_for(page)),
                                                   pages)))
        return convert

    try:
        bench.warm.take_turn([bench.small])
        times = interleaved({'four': turn(CLIENTS), 'one': turn(1)}, [bench.real], bench.extent.real_rounds)
    finally:
        bench.warm.stop()
    return [ratio_row(f'{len(bench.real)} real pages, four clients at once, against one client', times['four'],
                      times['one'], 0.65)]


def window_list(bench):
    count = bench.extent.list_rows
    engine = contestants.LikeTheWindow(bench.room)
    pages = documents.small_rows(bench.room.documents, count)
    screen = Screen(bench.room)
    environment = engine.environment | {'DISPLAY': screen.display}

    def through_window(_):
        answer = subprocess.run([str(places.WINDOW_RUN), str(bench.room.output), *map(str, pages)], env=environment,
                                capture_output=True, text=True)
        if answer.returncode != 0:
            raise contestants.Failed(f'the run in the window failed: {answer.stderr.strip()[-300:]}')
        return int(answer.stdout) / 1000

    try:
        engine.take_turn([bench.small])
        times = interleaved({'window': through_window, 'loop': engine.take_turn}, [pages], bench.extent.list_rounds)
    finally:
        screen.close()
        engine.stop()
    return [ratio_row(f'{count} small rows in the window, against the command line in a loop', times['window'],
                      times['loop'], 1.1)]


def window_start(bench):
    screen = Screen(bench.room)
    try:
        window = Window(bench.room, screen)
        paint = Times([window.seconds_to_paint() for _ in range(bench.extent.paints)])
    finally:
        screen.close()
    milliseconds = [seconds * 1000 for seconds in (paint.median, *paint.spread)]
    mebibytes = window.resident / 1024
    return [Row('window: start to the whole window painted', f'{milliseconds[0]:.0f} ms', '', milliseconds[0],
                FIRST_PAINT_MS, f'{milliseconds[1]:.0f} to {milliseconds[2]:.0f} ms', 'ms'),
            Row('window: resident memory', f'{mebibytes:.1f} MiB (Pss {window.proportional / 1024:.1f} MiB)', '',
                mebibytes, RESIDENT_MIB, unit='MiB')]


def memory(bench):
    """The same few pages repeatedly. The last figure alone would say little: a new browser comes every so many jobs."""
    before, after = bench.extent.jobs_before, bench.extent.jobs_after
    name = f'server and browser, most resident memory in {after} jobs, against after {before}'
    pages = documents.real_pages()[::documents.REAL_PAGES // MEMORY_PAGES]
    bench.warm.take_turn(pages)
    try:
        for jobs in range(len(pages), after + 1, len(pages)):
            if jobs > len(pages):
                bench.warm.take_turn(pages)
            if jobs % before == 0:
                time.sleep(1)  # for what is tidied up after a job
                seen = processes.server_memory(bench.room)
                if seen is None:
                    return [missing_row(name, 1.2, 'no server')]
                bench.memory.append((jobs, seen))
    finally:
        bench.warm.stop()
    first, most = dict(bench.memory)[before], max(seen for _, seen in bench.memory)
    return [Row(name, f'{most / 1024:.0f} MiB', f'{first / 1024:.0f} MiB', most / first, 1.2)]


SERIES = {
    'small': small_page,
    'scripted': scripted_pages,
    'photographs': photographs,
    'table': long_table,
    'real': real_pages,
    'generated': generated_pages,
    'options': window_options,
    'run': long_run,
    'start': start_included,
    'clients': four_clients,
    'list': window_list,
    'window': window_start,
    'memory': memory,
}
