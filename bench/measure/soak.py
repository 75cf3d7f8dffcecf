"""Many jobs, and what they leave behind."""

import concurrent.futures
import http.server
import os
import random
import subprocess
import threading
import time
from dataclasses import dataclass

from . import documents, places, processes

IDLE_SECONDS = 5
# Long enough for one server to have all jobs.
SANITIZED_IDLE_SECONDS = 60
REPORT = 'sanitizer-report'
STAGES = 20
JOB_SECONDS = 180
# Exit codes of the engine.
WRITTEN, REFUSED, NOT_LOADED, OUT_OF_TIME, NOT_WRITTEN = 0, 1, 3, 4, 5

OPTIONS = (
    (), (), (), (),
    ('--page-size', 'A5'),
    ('--orientation', 'Landscape'),
    ('--copies', '3'),
    ('--minimum-font-size', '14'),
    ('--title', 'Another title'),
    ('--disable-external-links',),
    ('--grayscale',),
    ('--disable-javascript',),
    ('--no-images',),
    ('--no-background',),
    ('--lowquality',),
    ('--grayscale', '--lowquality', '--copies', '2', '--page-size', 'Letter'),
)
ENDLESS = '<!DOCTYPE html><title>Endless</title><script>for (;;) {}</script>'


@dataclass(frozen=True)
class Task:
    input: str
    options: tuple
    code: int
    writable: bool = True


class NothingServer(http.server.BaseHTTPRequestHandler):
    """Has nothing, and says so; a path that ends with /slow is never answered."""

    def do_GET(self):
        if self.path.endswith('/slow'):
            time.sleep(JOB_SECONDS)
            return
        self.send_error(404)

    def log_message(self, *_):
        pass


class Soak:
    def __init__(self, room, jobs, clients, sanitized=False):
        self.room, self.jobs, self.clients, self.sanitized = room, jobs, clients, sanitized
        self.engine = places.SANITIZED_ENGINE if sanitized else places.ENGINE
        self.environment = room.environment(SANITIZED_IDLE_SECONDS if sanitized else IDLE_SECONDS)
        if sanitized:
            # Of the server, too, whose standard error nobody sees.
            reports = f'log_path={room.state}/{REPORT}'
            self.environment.update(ASAN_OPTIONS=f'detect_leaks=1:{reports}',
                                    UBSAN_OPTIONS=f'print_stacktrace=1:{reports}')
        self.complaints = []
        self.curve = []  # (jobs, kilobytes, descriptors of the server)

    def run(self):
        web = http.server.ThreadingHTTPServer(('127.0.0.1', 0), NothingServer)
        web.daemon_threads = True
        threading.Thread(target=web.serve_forever, daemon=True).start()
        tasks = self.tasks(f'http://127.0.0.1:{web.server_port}')
        print(f'{self.jobs} jobs, {self.clients} at once, {sum(task.code != WRITTEN for task in tasks)} of them to fail')
        begin = time.monotonic()
        stage = max(1, self.jobs // STAGES)
        for first in range(0, self.jobs, stage):
            self.do_stage(tasks[first:first + stage], first)
        seconds = time.monotonic() - begin
        print(f'{self.jobs} jobs in {seconds:.0f} s, {1000 * seconds / self.jobs:.0f} ms each')
        web.shutdown()
        self.look_at_curve()
        if self.sanitized:
            self.look_for_reports()
        self.look_for_remains()
        return self.complaints

    def tasks(self, web):
        """The same ones in the same order every time."""
        chance = random.Random(1)
        folder = self.room.documents
        pages = [documents.small_page(folder)] * 20 + documents.real_pages() + [documents.photograph_page(folder)]
        (folder / 'endless.html').write_text(ENDLESS)
        failing = (
            Task(str(folder / 'missing.html'), (), NOT_LOADED),
            Task(f'{web}/missing.html', (), NOT_LOADED),
            Task('http://127.0.0.1:9/', (), NOT_LOADED),
            Task(str(folder), (), NOT_LOADED),
            Task(str(pages[0]), ('--copies', 'many'), REFUSED),
            Task(str(pages[0]), (), NOT_WRITTEN, writable=False),
            Task(f'{web}/slow', ('--timeout', '1'), OUT_OF_TIME),
            Task(str(folder / 'endless.html'), ('--timeout', '2'), OUT_OF_TIME),
        )
        return [chance.choice(failing) if chance.random() < 0.08
                else Task(str(chance.choice(pages)), chance.choice(OPTIONS), WRITTEN) for _ in range(self.jobs)]

    def do_stage(self, tasks, first):
        with concurrent.futures.ThreadPoolExecutor(self.clients) as pool:
            for complaint in pool.map(self.do, tasks, range(first, first + len(tasks))):
                if complaint:
                    self.complaints.append(complaint)
        time.sleep(1)  # for what is tidied up after a job
        servers = processes.servers(self.room)
        done = first + len(tasks)
        self.curve.append((done, processes.server_memory(self.room) or 0, sum(map(processes.descriptors_of, servers))))
        print('{:6} jobs: server and browser {:.0f} MiB, {} descriptors, {} files'.format(
            done, self.curve[-1][1] / 1024, self.curve[-1][2], len(self.files())), flush=True)

    def do(self, task, number):
        output = self.room.output / f'{number}.pdf' if task.writable else self.room.output / 'no-such-folder' / 'x.pdf'
        command = [str(self.engine), *task.options, task.input, str(output)]
        try:
            result = subprocess.run(command, env=self.environment, stdin=subprocess.DEVNULL, capture_output=True,
                                    text=True, timeout=JOB_SECONDS)
        except subprocess.TimeoutExpired:
            return f'job {number} does not end: {" ".join(command)}'
        written = output.exists() and output.read_bytes().startswith(b'%PDF-')
        output.unlink(missing_ok=True)
        if result.returncode == task.code and written == (task.code == WRITTEN):
            return None
        return (f'job {number}: exit code {result.returncode} instead of {task.code}, '
                f'{"a" if written else "no"} PDF: {" ".join(command)}: {result.stderr.strip()}')

    def files(self):
        folders = (self.room.temporary, self.room.runtime, self.room.output)
        return [os.path.join(where, name) for folder in folders for where, below, files in os.walk(folder)
                for name in below + files]

    def look_at_curve(self):
        """Descriptors, once all kinds of jobs have been there, are to be no more at the end. Memory is shown only; that
        it does not grow is a row of bench/run."""
        if not any(descriptors for _, _, descriptors in self.curve):
            print('There was no server.')
            return
        early, late = self.curve[len(self.curve) // 4], self.curve[-1]
        if late[2] > early[2]:
            self.complaints.append(f'the server has {late[2]} descriptors after {late[0]} jobs, '
                                   f'{early[2]} after {early[0]}')
        print(f'memory after {early[0]} jobs {early[1] / 1024:.0f} MiB, after {late[0]} jobs {late[1] / 1024:.0f} MiB')

    def look_for_reports(self):
        """Leaks are reported by the end of a process, so the server is made to end."""
        if not processes.servers(self.room):
            self.complaints.append('no server is left that could report what it has leaked')
        processes.stop_servers(self.room)
        reports = sorted(self.room.state.glob(REPORT + '.*'))
        print(f'{len(reports)} reports of the sanitizers')
        self.complaints += [report.read_text(errors='replace') for report in reports]

    def look_for_remains(self):
        if not processes.wait_until(lambda: not processes.inhabitants(self.room), IDLE_SECONDS + 10):
            self.complaints += [f'process {process} ({processes.name_of(process)}) is left'
                                for process in processes.inhabitants(self.room)]
        self.complaints += [f'{file} is left' for file in self.files()]
