"""The ways to make a PDF that are measured side by side."""

import json
import os
import select
import shutil
import subprocess
import sys
import tempfile

from . import places, processes
from .rounds import timed

SERVER_SECONDS = 600  # how long a server stays while others have their turns
ANSWER_SECONDS = 120


class Failed(Exception):
    pass


class Contestant:
    """convert(page, output) makes one PDF; take_turn(pages) makes several and gives the seconds."""

    def __init__(self, room):
        self.room = room

    def start(self):
        pass

    def stop(self):
        pass

    def prepare(self, jobs):
        """Before the clock runs."""

    def output_for(self, page):
        folder = self.room.output / type(self).__name__
        folder.mkdir(exist_ok=True)
        return folder / f'{page.parent.name}-{page.stem}.pdf'

    def convert_all(self, pages):
        for page in pages:
            self.convert(page, self.output_for(page))

    def take_turn(self, pages):
        for page in pages:
            self.output_for(page).unlink(missing_ok=True)
        self.prepare(len(pages))
        seconds = timed(lambda: self.convert_all(pages))
        for page in pages:
            if not self.output_for(page).exists():
                raise Failed(f'{self.name}: no PDF of {page}')
        return seconds


def run(command, environment):
    result = subprocess.run(command, env=environment, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                            stderr=subprocess.PIPE)
    if result.returncode != 0:
        raise Failed(f'{os.path.basename(command[0])}: {result.stderr.decode(errors="replace").strip()[-300:]}')


class Engine(Contestant):
    """Our engine, by its command line."""

    idle_seconds = 0
    options = ()

    def __init__(self, room):
        super().__init__(room)
        self.environment = room.environment(self.idle_seconds)

    def convert(self, page, output, options=()):
        run([str(places.ENGINE), *self.options, *options, str(page), str(output)], self.environment)


class ColdEngine(Engine):
    name = 'Quirelle, cold'


class WarmEngine(Engine):
    """With its server running. A first job starts it."""

    name = 'Quirelle, warm'
    idle_seconds = SERVER_SECONDS

    def stop(self):
        processes.stop_servers(self.room)


class LikeTheWindow(WarmEngine):
    """With the options that the window gives while nothing is set."""

    name = 'Quirelle, warm, options of the window'
    options = ('--copies', '1', '--minimum-font-size', '10')


class PrintToPdf(Contestant):
    """The browser's own command line, one process a job. It makes tagged PDFs unless told otherwise."""

    name = '--print-to-pdf'
    flags = ('--headless', '--no-pdf-header-footer', '--no-first-run', '--disable-background-networking',
             '--disable-component-update', '--disable-sync', '--disable-quic',
             *(['--no-sandbox'] if places.IS_ROOT else []))

    def prepare(self, jobs):
        """A new profile for every job; making and removing them is not the browser's time."""
        self.folder = self.room.temporary / 'profiles'
        shutil.rmtree(self.folder, ignore_errors=True)
        self.profiles = [self.folder / str(number) for number in range(jobs)]
        for profile in self.profiles:
            profile.mkdir(parents=True)

    def convert(self, page, output):
        run([places.BROWSER, *self.flags, f'--user-data-dir={self.profiles.pop()}', f'--print-to-pdf={output}',
             page.as_uri()], self.room.environment(0))


class WithoutScripts(Contestant):
    """A renderer of its own, without scripts."""

    name = 'weasyprint'

    def convert(self, page, output):
        run(['weasyprint', '--quiet', str(page), str(output)], self.room.environment(0))


class Script(Contestant):
    """One of scripts/, which keeps a browser and is given its jobs one by one."""

    script = None

    def arguments(self):
        return [places.BROWSER]

    def start(self):
        environment = self.room.environment(0)
        environment['NODE_PATH'] = str(places.LIBRARY_FOLDER / 'node_modules')
        self.process = subprocess.Popen(['node', str(places.SCRIPTS / self.script), *self.arguments()], text=True,
                                        bufsize=1, env=environment, stdin=subprocess.PIPE, stdout=subprocess.PIPE)
        self.expect('ready')

    def stop(self):
        self.process.stdin.close()
        if self.process.wait(timeout=30) != 0:
            print(f'{self.script} ended with {self.process.returncode}', file=sys.stderr)

    def expect(self, answer):
        if not select.select([self.process.stdout], [], [], ANSWER_SECONDS)[0]:
            raise Failed(f'{self.name}: no answer within {ANSWER_SECONDS} s')
        line = self.process.stdout.readline().strip()
        if line != answer:
            raise Failed(f'{self.name}: {line or "it has ended"}')

    def convert(self, page, output):
        self.process.stdin.write(json.dumps({'input': page.as_uri(), 'output': str(output)}) + '\n')
        self.expect('done')


class Library(Script):
    """A browser kept warm by a script library, with a fresh context for every page."""

    name = 'script library, warm'
    script = 'library.mjs'


class BareLimit(Script):
    """One page of one browser, navigated and printed again and again."""

    name = 'bare limit'
    script = 'limit.mjs'

    def arguments(self):
        return [places.BROWSER, tempfile.mkdtemp(dir=self.room.temporary)]
