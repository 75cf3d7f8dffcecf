"""The table: which fault happens to a job, when, in which mode, and the expected result."""

import dataclasses
import os
import random
import resource
import shutil
import signal
import socket
import subprocess
import threading
import time
from collections.abc import Callable
from pathlib import Path

from .room import (SLACK, Complaint, browser_in, descendants_of, name_of, renderers_in, send,
                   ticks_of, wait_until)

COLD, WARM = 'cold', 'warm'
BOTH = (COLD, WARM)
KILLED, STOPPED, ENDED = signal.SIGKILL, signal.SIGSTOP, signal.SIGTERM
NAMES = {KILLED: 'killed', STOPPED: 'stopped', ENDED: 'ended'}


class Skip(Exception):
    """Raised if a cell cannot be run here, with the reason."""


@dataclasses.dataclass
class Cell:
    fault: str
    moment: str
    way: str
    act: Callable
    """Gets the room, returns the job once it has ended."""
    codes: tuple
    words: tuple = ()
    """One of these stands in the message of a failure."""
    written: bool | None = False
    older: bool = True
    user: bool = False
    """Done by an ordinary user."""
    small: bool = False
    """Belongs to the selection."""


CELLS = []


def add(fault, moment, ways, act, codes, words=(), written=False, small=(), **more):
    """`codes` and `written` may be dictionaries by way."""
    for way in ways:
        def of(value, w=way):
            return value[w] if isinstance(value, dict) else value
        code = of(codes)
        CELLS.append(Cell(fault, moment, way, act, code if isinstance(code, tuple) else (code,),
                          (words,) if isinstance(words, str) else words, of(written), small=way in small, **more))


def changed(room, **variables):
    """The environment with these variables; None removes one."""
    environment = dict(room.environment)
    for name, value in variables.items():
        environment.pop(name, None)
        if value is not None:
            environment[name] = str(value)
    return environment


# ---- a job brought to a moment

def engine_has(room, job):
    """The process that works for the job."""
    return room.server if room.warm else job.pid


def at(room, moment, *options, **more):
    """A job at this moment; on a server that is warm already, but for the start."""
    if moment == 'start':
        job = room.start(room.web.address + '/waiting', *options, **more)
        begun = (lambda: room.servers()) if room.warm else (lambda: browser_in(descendants_of(job.pid)))
        if not wait_until(begun):
            raise Complaint('nothing is started')
        return job
    if room.warm and not room.server:
        room.warm_up()
    page = {'load': '/waiting', 'print': '/shorter_page'}.get(moment, '/long_page')
    sign = '/held' if moment == 'load' else '/printing'
    # Many pages take long to edit.
    copies = ('--copies', '500') if moment in ('edit', 'write') else ()
    job = room.start(room.web.address + page, *copies, *options, **more)
    if moment == 'write':
        return await_writing(room, job)
    if not room.web.await_request(sign):
        job.process.kill()
        raise Complaint(f'{sign} is not asked for: {job.finish(5).words}')
    if moment == 'edit':
        worker = engine_has(room, job)
        before = ticks_of(worker)
        # Of the printing it notices little.
        if not wait_until(lambda: ticks_of(worker) > before + 15 or job.process.poll() is not None, 50):
            raise Complaint('no edits')
    return job


def await_writing(room, job):
    # A file that has no name yet, or a name of its own. What lies there is looked at before, too.
    names = tuple(f'{room.output.parent}/{name}' for name in ('#', '.quirelle-'))

    def writes():
        try:
            return job.process.poll() is not None or any(
                os.readlink(entry.path).startswith(names) for entry in os.scandir(f'/proc/{job.pid}/fd'))
        except PermissionError:
            raise Skip('an ordinary user cannot see what the engine writes') from None
        except OSError:
            return False
    end = time.monotonic() + 60
    while not writes():
        if time.monotonic() > end:
            raise Complaint('nothing is written')
    return job


def done(room, job, seconds=30):
    room.web.release.set()
    return job.finish(seconds + SLACK)


# ---- the browser

def with_browser(script):
    def act(room):
        path = room.write('browser', '#!/bin/sh\n' + script, 0o755)
        return room.run('page.html', '--timeout', '3', environment=changed(room, QUIRELLE_BROWSER=path), seconds=3 + SLACK)
    return act


def missing_browser(room):
    return room.run('page.html', environment=changed(room, QUIRELLE_BROWSER=room.base / 'none'))


def forbidden_browser(room):
    path = room.write('browser', '#!/bin/sh\n', 0o644)
    return room.run('page.html', environment=changed(room, QUIRELLE_BROWSER=path))


def no_browser_on_path(room):
    folder = room.base / 'home'
    return room.run('page.html', environment=changed(room, PATH=folder, QUIRELLE_BROWSER=None))


add('browser missing', 'start', BOTH, missing_browser, 2, 'QUIRELLE_BROWSER', small=BOTH)
add('browser not on PATH', 'start', BOTH, no_browser_on_path, 2, 'no browser found')
add('browser not executable', 'start', BOTH, forbidden_browser, 2, 'QUIRELLE_BROWSER')
add('browser crashes', 'start', BOTH, with_browser('kill -SEGV $$\n'), 2, 'cannot start', small=(COLD,))
add('browser complains', 'start', BOTH, with_browser('echo no such luck >&2\nexit 1\n'), 2, 'no such luck')
add('browser hangs', 'start', BOTH, with_browser('exec sleep 1000\n'), 4, 'time')
add('browser hangs, deaf', 'start', BOTH,
    with_browser('exec 3<&- \ntrap "" TERM\nsleep 1000 & sleep 1001\n'), (2, 4), ('time', 'cannot start'))
add('browser talks nonsense', 'start', BOTH, with_browser('exec yes nonsense >&4\n'), 4, 'time')
add('browser complains without end', 'start', BOTH, with_browser('exec yes complaint >&2\n'), 4, 'time')


def browser_hit(moment, number, what='browser'):
    def act(room):
        # Enough for a busy machine to begin to print.
        seconds = 20 if moment == 'print' else 4
        options = ('--timeout', str(seconds)) if number == STOPPED else ()
        job = at(room, moment, *options)
        worker = engine_has(room, job) or room.servers()[0]
        if moment == 'start':
            wait_until(lambda: browser_in(descendants_of(worker)))
        family = descendants_of(worker)
        victims = [browser_in(family)] if what == 'browser' else renderers_in(family)
        if (not victims or not victims[0]) and job.process.poll() is None and moment != 'edit':
            raise Complaint(f'no {what}')
        for victim in filter(None, victims):
            send(victim, number)
        return done(room, job, seconds) if number == STOPPED else done(room, job)
    return act


for MOMENT in ('start', 'load', 'print', 'edit'):
    add('browser killed', MOMENT, BOTH, browser_hit(MOMENT, KILLED),
        {COLD: (0,) if MOMENT == 'edit' else (2, 6) if MOMENT == 'start' else 6, WARM: 0}, 'browser',
        written={COLD: MOMENT == 'edit', WARM: True}, small=(WARM,) if MOMENT == 'print' else ())
for MOMENT in ('start', 'load', 'print'):
    # What it is sent fills the pipe at last.
    add('browser stopped', MOMENT, BOTH, browser_hit(MOMENT, STOPPED), 4, ('time', 'accepts no more commands'),
        small=(WARM,) if MOMENT == 'load' else ())
for MOMENT in ('load', 'print'):
    add('renderer killed', MOMENT, BOTH, browser_hit(MOMENT, KILLED, 'renderers'), {COLD: 6, WARM: 0}, 'crash',
        written={COLD: False, WARM: True})
    add('renderer stopped', MOMENT, BOTH, browser_hit(MOMENT, STOPPED, 'renderers'), 4, 'time')


def guard_killed(moment):
    def act(room):
        job = at(room, moment)
        worker = engine_has(room, job)
        for guard in (p for p in descendants_of(worker) if name_of(p) == 'quirelle-guard'):
            send(guard, KILLED)
        done(room, job)
        room.end_servers()
        if not wait_until(lambda: not room.processes()):
            raise Complaint('the browser does not end')
        return job
    return act


# Its browser goes on if a script has started it, and ends with the engine. The folder goes when the next one starts.
for MOMENT in ('load', 'print'):
    add('guard killed', MOMENT, BOTH, guard_killed(MOMENT), {COLD: (0, 6), WARM: 0}, 'browser',
        written={COLD: None, WARM: True}, small=BOTH if MOMENT == 'load' else ())


# ---- the server

def server_hit(moment, number):
    def act(room):
        if moment == 'rest':
            room.warm_up()
            send(room.server, number)
            return room.run(room.web.address + '/plain')
        job = at(room, moment)
        server = room.server or room.servers()[0]
        send(server, number)
        done(room, job)
        # One that has been stopped at its very start could not end in good order.
        send(server, signal.SIGCONT)
        return job
    return act


for NUMBER in (KILLED, STOPPED, ENDED):
    for MOMENT in ('rest', 'start', 'load', 'print', 'edit'):
        add(f'server {NAMES[NUMBER]}', MOMENT, (WARM,), server_hit(MOMENT, NUMBER), 0, written=True,
            small=(WARM,) if MOMENT == 'load' else ())


def bound_socket(path):
    listener = socket.socket(socket.AF_UNIX)
    listener.bind(str(path))
    return listener


def answering(listener, answer):
    """A listener that sends `answer` to every client and keeps the connection open."""
    listener.listen(10)
    guests = []

    def serve():
        while True:
            try:
                guest, _ = listener.accept()
            except OSError:
                return
            guests.append(guest)
            try:
                guest.sendall(answer)
            except OSError:
                pass
    threading.Thread(target=serve, daemon=True).start()


def in_its_place(kind, running):
    """Other files in place of the server's socket, with a server that runs or has been killed."""
    def act(room):
        room.warm_up()
        path = room.socket()
        if not running:
            send(room.server, KILLED)
            if not wait_until(lambda: not room.processes()):
                raise Complaint('the killed server has left processes')
        listener = None
        if kind == 'removed':
            path.unlink()
        elif kind == 'folder removed':
            shutil.rmtree(path.parent)
        elif kind != 'left over':
            path.unlink()
        if kind == 'a file':
            path.write_text('in the way')
        elif kind == 'a dangling link':
            path.symlink_to('nowhere')
        elif kind in ('a dead socket', 'a silent socket', 'a talking socket', 'an endless frame'):
            listener = bound_socket(path)
            if kind == 'a silent socket':
                listener.listen(10)
            elif kind != 'a dead socket':
                answering(listener, b'HTTP/1.1 200 OK\r\n\r\nrubbish' if kind == 'a talking socket'
                          else b'\xff\xff\xff\x7fp%PDF')
            else:
                listener.close()
                listener = None
        job = room.run(room.web.address + '/plain')
        if listener:
            listener.close()
            room.end_servers()
            path.unlink(missing_ok=True)
        return job
    return act


for RUNS in (False, True):
    for KIND in ('left over', 'removed', 'folder removed', 'a file', 'a dangling link', 'a dead socket',
                 'a silent socket', 'a talking socket', 'an endless frame'):
        if KIND == 'left over' and RUNS:
            continue
        add(f'socket: {KIND}' + (', server runs' if RUNS else ''), 'start', (WARM,), in_its_place(KIND, RUNS), 0,
            written=True, small=(WARM,) if not RUNS and KIND in ('left over', 'a talking socket') else ())


def socket_gone(moment):
    def act(room):
        job = at(room, moment)
        shutil.rmtree(room.runtime / 'quirelle')
        return done(room, job)
    return act


for MOMENT in ('load', 'print'):
    add('socket folder removed', MOMENT, (WARM,), socket_gone(MOMENT), 0, written=True)


# ---- the engine

def engine_hit(moment, number):
    def act(room):
        job = at(room, moment)
        send(job.pid, number)
        return done(room, job)
    return act


def engine_hit_at_random(number, times):
    def act(room):
        page = room.write('page.html', '<p>some<p>text' * 500)
        longest = max(room.run(page).seconds for _ in range(2)) * 1.1
        room.keep_older()
        for _ in range(times):
            job = room.start(page)
            time.sleep(random.uniform(0, longest))
            send(job.pid, number)
            job.finish(SLACK)
            room.check_output(None)
            names = set(os.listdir(room.output.parent)) - {room.output.name}
            if names:
                raise Complaint(f'left beside the output: {", ".join(names)}')
        return job
    return act


for NUMBER in (KILLED, ENDED):
    for MOMENT in ('start', 'load', 'print', 'edit', 'write'):
        add(f'engine {NAMES[NUMBER]}', MOMENT, BOTH, engine_hit(MOMENT, NUMBER),
            (-NUMBER, 0) if MOMENT == 'write' else -NUMBER, written=None if MOMENT == 'write' else False)
    add(f'engine {NAMES[NUMBER]} 50 times', 'any', BOTH, engine_hit_at_random(NUMBER, 50), (-NUMBER, 0), written=None)
add('engine killed 8 times', 'any', BOTH, engine_hit_at_random(KILLED, 8), (-KILLED, 0), written=None, small=BOTH)


# ---- the output

def in_folder(room, change, moment):
    """A job during which something happens to the folder of its output."""
    if moment == 'start':
        change()
        return room.run(room.web.address + '/plain')
    job = at(room, moment)
    change()
    return done(room, job)


def folder_removed(moment):
    return lambda room: in_folder(room, lambda: shutil.rmtree(room.output.parent), moment)


def folder_closed(moment):
    def act(room):
        job = in_folder(room, lambda: room.output.parent.chmod(0o500), moment)
        room.output.parent.chmod(0o700)
        return job
    return act


def file_closed(moment):
    return lambda room: in_folder(room, lambda: room.output.chmod(0o444), moment)


def folder_in_its_place(moment):
    def change(room):
        room.output.unlink()
        room.older = None
        room.output.mkdir()

    def act(room):
        job = in_folder(room, lambda: change(room), moment)
        room.output.rmdir()
        return job
    return act


def full_disk(older):
    def act(room):
        if os.geteuid() != 0:
            raise Skip('only root can mount a small disk')
        folder = room.output.parent
        mounted = subprocess.run(['mount', '-t', 'tmpfs', '-o', 'size=64k', 'tmpfs', folder], capture_output=True,
                                 check=False)
        if mounted.returncode != 0:
            raise Skip('no disk can be mounted here')
        room.mounts.append(folder)
        room.older = None
        if older:
            room.keep_older()
        # One block is left, which is less than any PDF.
        (folder / 'ballast').write_bytes(b'x' * (60 - 4 * older) * 1024)
        job = room.run(room.web.address + '/plain')
        (folder / 'ballast').unlink()
        room.check_output(False)
        return job
    return act


for MOMENT in ('start', 'load', 'print', 'edit'):
    SMALL = BOTH if MOMENT == 'load' else ()
    add('output folder removed', MOMENT, BOTH, folder_removed(MOMENT), 5, ('no folder', 'No such file'), older=False,
        small=SMALL)
    add('output folder read-only', MOMENT, BOTH, folder_closed(MOMENT), 5, ('ermission denied',), user=True,
        small=SMALL)
    add('output read-only', MOMENT, BOTH, file_closed(MOMENT), 5, ('ermission denied', 'write'), user=True)
    add('output a folder', MOMENT, BOTH, folder_in_its_place(MOMENT), 5, ('folder', 'directory'))


def output_at(change, page='/plain', browser=None):
    """`change` puts something where the output goes."""
    def act(room):
        room.older = None
        room.output.unlink(missing_ok=True)
        change(room.output)
        if room.user and os.geteuid() == 0:
            os.chown(room.output, 65534, 65534, follow_symlinks=False)
        more = {'environment': changed(room, QUIRELLE_BROWSER=room.base / 'none')} if browser is False else {}
        job = room.run(room.web.address + page, **more)
        kept = room.output.is_symlink() and room.output.parent / os.readlink(room.output)
        if not room.output.is_dir():
            room.output.unlink(missing_ok=True)
        if job.code == 0:
            shutil.move(kept, room.output)
        return job
    return act


def link_to(target):
    return lambda output: output.symlink_to(target)


# Said before a browser is started: there is none here.
for WHAT, MAKE, WORDS in (('a pipe', os.mkfifo, 'no ordinary file'),
                          ('a link to a device', link_to('/dev/null'), 'no ordinary file'),
                          ('a link to a process', link_to('/proc/self/comm'), 'no ordinary file'),
                          ('a link to no folder', link_to('none/a.pdf'), 'no folder'),
                          ('a link to itself', link_to('page.pdf'), 'symbolic links')):
    add(f'output {WHAT}', 'start', (COLD,), output_at(MAKE, browser=False), 5, WORDS, older=False, user=True)
add('output a link to nothing yet', 'write', BOTH, output_at(link_to('later.pdf')), 0, written=True, older=False, user=True,
    small=(COLD,))
add('disk full, older output', 'write', BOTH, full_disk(True), 5, 'No space left', small=(COLD,))
add('disk full', 'write', BOTH, full_disk(False), 5, 'No space left', older=False)


# ---- what the system gives

def with_limit(kind, most, page='/plain', warm_first=False):
    def act(room):
        if warm_first:
            room.warm_up()
        return room.run(room.web.address + page, '--timeout', '15', limits=[(kind, most)], seconds=15 + SLACK)
    return act


DESCRIPTORS = ('descriptor', 'pipe', 'cannot start', 'Too many open files', 'browser')
for COUNT in (4, 6, 8, 10, 12, 16, 24, 32, 64, 128, 256):
    add(f'{COUNT} file descriptors', 'start', BOTH, with_limit(resource.RLIMIT_NOFILE, COUNT), (0, 2, 5, 127),
        DESCRIPTORS, written=None, small=(COLD,) if COUNT in (8, 12) else ())
for COUNT in (8, 12, 16):
    add(f'{COUNT} file descriptors, server runs', 'start', (WARM,),
        with_limit(resource.RLIMIT_NOFILE, COUNT, warm_first=True), (0, 2), DESCRIPTORS, written=None)
for SIZE in (80, 200, 1000):
    add(f'{SIZE} MB of addresses', 'start', BOTH, with_limit(resource.RLIMIT_AS, SIZE * 1000000), (0, 2, 6),
        ('start', 'memory', 'browser'), written=None, small=(COLD,) if SIZE == 200 else ())
    add(f'{SIZE} MB of addresses, server runs', 'write', (WARM,),
        with_limit(resource.RLIMIT_AS, SIZE * 1000000, '/long_page', warm_first=True), (0, 2, 6),
        ('start', 'memory', 'browser'), written=None)
add('files of 10 kB at most', 'start', BOTH, with_limit(resource.RLIMIT_FSIZE, 10000), (2, 6), ('large', 'limit'))
add('no further process', 'start', BOTH, with_limit(resource.RLIMIT_NPROC, 0), 2, ('process', 'start'), user=True,
    small=(COLD,))


def little_memory(room):
    """The kernel's bound for everything together."""
    group = Path('/sys/fs/cgroup/memory') / room.base.name
    try:
        group.mkdir()
        (group / 'memory.limit_in_bytes').write_text('160M')
    except OSError:
        raise Skip('no group of processes can be made here') from None
    page = room.write('page.html', '<script>window.a=[];for(let i=0;i<40;i++)a.push(new Uint8Array(9<<20).fill(1))</script>')
    engine = room.engine
    wrapper = room.write('engine', f'#!/bin/sh\necho $$ >{group}/cgroup.procs\nexec "{engine}" "$@"\n', 0o755)
    try:
        room.engine = wrapper
        return room.run(page, seconds=90)
    finally:
        room.engine = engine
        room.end_servers()
        wait_until(lambda: not room.processes())
        group.rmdir()


add('160 MB of memory for all', 'load', BOTH, little_memory, (2, 6), ('browser', 'crash'))


# ---- the environment

def with_environment(**variables):
    """`{base}` stands for the room's folder."""
    def act(room):
        values = {name: value and value.format(base=room.base) for name, value in variables.items()}
        environment = changed(room, **values)
        in_root = set(os.listdir('/'))
        job = room.run(room.web.address + '/plain', environment=environment)
        folder = Path(values.get('TMPDIR') or room.tmp)
        fallback = folder / f'quirelle-{os.geteuid() if not room.user or os.geteuid() else 65534}'
        room.end_servers()
        wait_until(lambda: not room.processes())
        if fallback.exists():
            raise Complaint(f'{fallback} is left')
        if any(name.startswith('quirelle') for name in set(os.listdir('/')) - in_root):
            raise Complaint('left in the root folder')
        return job
    return act


def log_in_its_place(make):
    def act(room):
        log = room.base / 'state' / 'quirelle' / 'engine.log'
        log.parent.mkdir(exist_ok=True)
        make(log)
        if room.user and os.geteuid() == 0:
            os.chown(log.parent, 65534, 65534)
            os.chown(log, 65534, 65534, follow_symlinks=False)
        return room.run(room.web.address + '/plain')
    return act


def closed_folder(variable):
    def act(room):
        folder = room.base / 'home'
        folder.chmod(0o500)
        return room.run(room.web.address + '/plain', environment=changed(room, **{variable: folder}))
    add(f'{variable} not writable', 'start', BOTH, act, 0, written=True, user=True)


def long_folder(room):
    folder = room.tmp / ('n' * 200)
    folder.mkdir(0o700)
    if room.user and os.geteuid() == 0:
        os.chown(folder, 65534, 65534)
    # Without another place for its socket the server goes to the system's own folder.
    job = room.run(room.web.address + '/plain', environment=changed(room, TMPDIR=folder, XDG_RUNTIME_DIR=None))
    if room.warm and not room.servers():
        raise Complaint('no server')
    room.end_servers()
    if not wait_until(lambda: not room.processes() and not os.listdir(folder)):
        raise Complaint('left in the long folder')
    folder.rmdir()
    return job


# The system's own folder takes the place of one that is of no use, and never the root folder.
for USER in (False, True):
    WHO = ', ordinary user' if USER else ''
    for WHAT, FOLDER in (('missing', '{base}/none'), ('a file', '/etc/hostname'), ('relative', 'tmp'), ('empty', '')):
        add(f'TMPDIR {WHAT}{WHO}', 'start', BOTH, with_environment(TMPDIR=FOLDER), 0, written=True, user=USER,
            small=(COLD,) if WHAT == 'missing' else ())
    add(f'TMPDIR of 200 letters{WHO}', 'start', BOTH, long_folder, 0, written=True, user=USER,
        small=(WARM,) if not USER else ())
closed_folder('TMPDIR')
add('XDG_RUNTIME_DIR missing', 'start', BOTH, with_environment(XDG_RUNTIME_DIR='{base}/none'), 0, written=True,
    small=(WARM,))
add('XDG_RUNTIME_DIR unset', 'start', BOTH, with_environment(XDG_RUNTIME_DIR=None), 0, written=True)
add('XDG_RUNTIME_DIR relative', 'start', BOTH, with_environment(XDG_RUNTIME_DIR='run'), 0, written=True)
closed_folder('XDG_RUNTIME_DIR')
add('no HOME', 'start', BOTH, with_environment(HOME=None, XDG_STATE_HOME=None), 0, written=True, user=True,
    small=(COLD,))
add('HOME missing', 'start', BOTH, with_environment(HOME='{base}/none', XDG_STATE_HOME=None), 0, written=True)
add('log cannot be written', 'start', BOTH, with_environment(XDG_STATE_HOME='/proc/none'), 0, written=True)
for USER in (False, True):
    WHO = ', ordinary user' if USER else ''
    for WHAT, MAKE in (('a pipe', os.mkfifo), ('a folder', os.mkdir),
                       ('a device', lambda path: path.symlink_to('/dev/full'))):
        add(f'log {WHAT}{WHO}', 'start', BOTH, log_in_its_place(MAKE), 0, written=True, user=USER,
            small=(COLD,) if WHAT == 'a pipe' and not USER else ())
add('an empty environment', 'start', (COLD,),
    lambda room: room.run(room.web.address + '/plain', environment={
        name: room.environment[name] for name in ('QUIRELLE_NO_SANDBOX', 'QUIRELLE_IDLE_SECONDS', 'TMPDIR')
        if name in room.environment} | {'PATH': room.environment['PATH']}), 0, written=True)


# ---- the network

def from_web(path, timeout=20):
    return lambda room: room.run(room.web.address + path, '--timeout', str(timeout), seconds=timeout + SLACK)


def refused(room):
    free = socket.create_server(('127.0.0.1', 0))
    port = free.getsockname()[1]
    free.close()
    return room.run(f'http://127.0.0.1:{port}/')


add('connection refused', 'load', BOTH, refused, 3, 'REFUSED', small=(COLD,))
add('closed without an answer', 'load', BOTH, from_web('/closed'), 3, 'ERR_', small=(WARM,))
add('reset before the answer', 'load', BOTH, from_web('/reset_before'), 3, 'ERR_')
add('reset within the answer', 'load', BOTH, from_web('/reset_within'), 3, 'ERR_', small=BOTH)
add('Content-Length too long', 'load', BOTH, from_web('/too_long'), 3, 'ERR_', small=(COLD,))
add('Content-Length too short', 'load', BOTH, from_web('/too_short'), 0, written=True)
add('chunk broken off', 'load', BOTH, from_web('/broken_chunk'), 3, 'ERR_')
add('a picture broken off', 'load', BOTH, from_web('/broken_picture'), 0, written=True)
add('a byte a second', 'load', BOTH, from_web('/slow', 4), 4, 'time')
add('an endless answer, short of time', 'load', BOTH, from_web('/endless', 4), 4, 'time')
add('an endless answer', 'load', BOTH, from_web('/endless', 55), 0, written=True)
add('a torrent, little memory', 'load', BOTH,
    lambda room: room.run(room.web.address + '/torrent', '--max-memory', '400', '--timeout', '50', seconds=50 + SLACK),
    (6, 4), ('memory', 'time'))
