"""One cell's folders, its engine runs, and what they leave behind."""

import ctypes
import os
import resource
import shutil
import signal
import subprocess
import tempfile
import time
from pathlib import Path

from .web import Web

PR_SET_CHILD_SUBREAPER = 36
# Servers then descend from this process.
ctypes.CDLL(None).prctl(PR_SET_CHILD_SUBREAPER, 1)

NOBODY = 65534
# For what the machine does besides.
SLACK = 12


class Complaint(Exception):
    """A list of what is wrong."""


def is_running(process):
    try:
        return Path(f'/proc/{process}/stat').read_text().rpartition(')')[2].split()[0] not in 'ZX'
    except OSError:
        return False


def parent_of(process):
    try:
        return int(Path(f'/proc/{process}/stat').read_text().rpartition(')')[2].split()[1])
    except OSError:
        return 0


def ticks_of(process):
    try:
        fields = Path(f'/proc/{process}/stat').read_text().rpartition(')')[2].split()
        return int(fields[11]) + int(fields[12])
    except OSError:
        return 0


def command_of(process):
    try:
        return Path(f'/proc/{process}/cmdline').read_bytes().replace(b'\0', b' ').decode(errors='replace').strip()
    except OSError:
        return ''


def name_of(process):
    try:
        return Path(f'/proc/{process}/comm').read_text().strip()
    except OSError:
        return ''


def all_processes():
    return [int(name) for name in os.listdir('/proc') if name.isdigit()]


def descendants_of(process):
    parents = {child: parent_of(child) for child in all_processes()}
    found, front = [], [process]
    while front:
        parent = front.pop()
        children = [child for child, of in parents.items() if of == parent]
        found += children
        front += children
    return found


def browser_in(processes):
    """Its main process: the innermost, for a script may lie around it; 0 if there is none."""
    found = 0
    for process in processes:
        command = command_of(process)
        if '--remote-debugging-pipe' in command and '--type=' not in command:
            found = process
    return found


def renderers_in(processes):
    return [process for process in processes if '--type=renderer' in command_of(process)]


def send(process, number):
    """The process may have ended."""
    try:
        os.kill(process, number)
    except ProcessLookupError:
        pass


def wait_until(condition, seconds=SLACK):
    end = time.monotonic() + seconds
    while not condition():
        if time.monotonic() > end:
            return False
        time.sleep(0.05)
    return True


class Job:
    """An engine that runs."""

    def __init__(self, process, began):
        self.process = process
        self.pid = process.pid
        self.began = began
        self.code = None
        self.words = ''

    def finish(self, seconds):
        try:
            out, errors = self.process.communicate(timeout=seconds)
        except subprocess.TimeoutExpired:
            self.process.kill()
            self.process.communicate()
            raise Complaint(f'not done after {seconds:g} s') from None
        self.code = self.process.returncode
        self.output = out
        # Not what the PDF lacks: of a page that is hindered something may be missing.
        lines = errors.decode(errors='replace').splitlines(keepends=True)
        self.words = ''.join(line for line in lines if not line.startswith('quirelle: warning: '))
        self.seconds = time.monotonic() - self.began
        return self


class Room:
    def __init__(self, engine, warm, user=False):
        self.engine = engine
        self.warm = warm
        self.user = user
        self.base = Path(tempfile.mkdtemp(prefix='quirelle-faults-'))
        for name in ('documents', 'out', 'tmp', 'run', 'home', 'state'):
            (self.base / name).mkdir(mode=0o700)
        if user and os.geteuid() == 0:
            for path in (self.base, *self.base.iterdir()):
                os.chown(path, NOBODY, NOBODY)
        self.tmp, self.runtime = self.base / 'tmp', self.base / 'run'
        self.output = self.base / 'out' / 'page.pdf'
        self.web = Web()
        self.environment = {
            'PATH': os.environ['PATH'], 'LC_ALL': 'C.UTF-8', 'HOME': str(self.base / 'home'),
            'TMPDIR': str(self.tmp), 'XDG_RUNTIME_DIR': str(self.runtime), 'XDG_STATE_HOME': str(self.base / 'state'),
            'QUIRELLE_IDLE_SECONDS': '60' if warm else '0', 'QUIRELLE_FAULTS': str(self.base)}
        for name in ('QUIRELLE_BROWSER', 'LD_LIBRARY_PATH'):
            if name in os.environ:
                self.environment[name] = os.environ[name]
        if os.geteuid() == 0 and not user:
            self.environment['QUIRELLE_NO_SANDBOX'] = '1'
        self.mounts = []
        self.older = None
        self.server = 0
        self.family = []

    # ---- documents

    def write(self, name, content, mode=0o644):
        path = self.base / 'documents' / name
        path.write_text(content)
        path.chmod(mode)
        if self.user and os.geteuid() == 0:
            os.chown(path, NOBODY, NOBODY)
        return path

    def keep_older(self):
        """Puts an older PDF where the output goes."""
        self.older = b'%PDF-1.4 an older one\n' * 10
        self.output.write_bytes(self.older)
        if self.user and os.geteuid() == 0:
            os.chown(self.output, NOBODY, NOBODY)

    # ---- runs

    def start(self, page, *options, output=None, limits=(), environment=None):
        """`limits` are pairs for setrlimit."""
        began = time.monotonic()
        arguments = [str(self.engine), *options, str(page), str(output or self.output)]
        who = {'user': NOBODY, 'group': NOBODY, 'extra_groups': []} if self.user and os.geteuid() == 0 else {}

        # Called as that user: who becomes a user whose processes are too many already can start no program.
        def limit():
            for kind, most in limits:
                resource.setrlimit(kind, (most, most))
        return Job(subprocess.Popen(arguments, env=environment or self.environment, cwd=self.base / 'documents',
                                    stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                                    preexec_fn=limit, start_new_session=True, **who), began)

    def run(self, page, *options, seconds=30, **more):
        return self.start(page, *options, **more).finish(seconds)

    def convert_well(self):
        """A job without any fault, into a file of its own."""
        page = self.write('good.html', '<p>good')
        output = self.base / 'out' / 'good.pdf'
        job = self.run(page, output=output)
        if job.code != 0 or not output.read_bytes().startswith(b'%PDF') or job.words:
            raise Complaint(f'the next job: {job.code} {job.words.strip()}')
        output.unlink()
        return job

    def warm_up(self):
        self.convert_well()
        servers = self.servers()
        if len(servers) != 1:
            raise Complaint(f'{len(servers)} servers instead of one')
        self.server = servers[0]
        self.family = descendants_of(self.server)

    # ---- what there is

    def processes(self):
        """Those of this room."""
        mark = str(self.base).encode()
        found = []
        ours = None
        for process in all_processes():
            try:
                of_room = mark in Path(f'/proc/{process}/cmdline').read_bytes()
                of_room = of_room or mark in Path(f'/proc/{process}/environ').read_bytes()
            except PermissionError:
                # The engine's own, which let no ordinary user look into them.
                ours = descendants_of(os.getpid()) if ours is None else ours
                of_room = process in ours and name_of(process).startswith('quirelle')
            except OSError:
                continue
            if of_room and process != os.getpid() and is_running(process):
                found.append(process)
        return found

    def servers(self):
        return [process for process in self.processes()
                if command_of(process) == 'quirelle-server' and name_of(process) != 'quirelle-guard']

    def socket(self):
        found = list((self.runtime / 'quirelle').glob('*.socket'))
        if len(found) != 1:
            raise Complaint(f'{len(found)} sockets')
        return found[0]

    def end_servers(self):
        for server in self.servers():
            send(server, signal.SIGTERM)
            send(server, signal.SIGCONT)

    def check_nothing_is_left(self):
        """Ends the servers first, which may stay."""
        self.end_servers()
        if not wait_until(lambda: not self.processes()):
            raise Complaint('left: ' + ', '.join(f'{name_of(p)} ({command_of(p)[:60]})' for p in self.processes()))
        for folder in (self.tmp, self.runtime):
            if folder.is_dir() and not wait_until(lambda f=folder: not os.listdir(f), 3):
                raise Complaint(f'left in {folder.name}: {", ".join(os.listdir(folder))}')
        if self.output.parent.is_dir():
            names = set(os.listdir(self.output.parent)) - {self.output.name}
            if names:
                raise Complaint(f'left beside the output: {", ".join(names)}')

    def check_output(self, written):
        """`written`: True, False, or None where both may be."""
        there = self.output.read_bytes() if self.output.is_file() else None
        is_new = there is not None and there != self.older
        if is_new and written is False:
            raise Complaint('the older output has changed' if self.older else 'there is an output')
        if is_new and not (there.startswith(b'%PDF') and there.rstrip().endswith(b'%%EOF')):
            raise Complaint('half an output')
        if not is_new and written:
            raise Complaint('no output')
        if self.older and there is None:
            raise Complaint('the older output is gone')

    def close(self):
        self.web.close()
        for process in self.processes():
            send(process, signal.SIGCONT)
            send(process, signal.SIGKILL)
        wait_until(lambda: not self.processes())
        for path in self.mounts:
            subprocess.run(['umount', '--lazy', path], check=False)
        for path, _, _ in os.walk(self.base):
            os.chmod(path, 0o700)
        shutil.rmtree(self.base, ignore_errors=True)
