"""Paths, and the environment in which everything is measured."""

import os
import shutil
import tempfile
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
SCRIPTS = ROOT / 'bench' / 'scripts'
DOCS = ROOT / 'docs'
BUILD = ROOT / 'build' / 'release'
BUNDLE = BUILD / 'Quirelle.app'
ENGINE = BUNDLE / 'quirelle' / 'Contents' / 'MacOS' / 'quirelle'
WINDOW = BUNDLE / 'Contents' / 'MacOS' / 'Quirelle'
WINDOW_RUN = BUILD / 'bench' / 'windowrun.app' / 'Contents' / 'MacOS' / 'windowrun'
LIBRARY_FOLDER = ROOT / 'build' / 'bench'
BROWSER = shutil.which('chromium-headless-shell') or 'chromium-headless-shell'

# Built with sanitizers.
SANITIZED_ENGINE = ROOT / 'build' / 'asan' / ENGINE.relative_to(BUILD)

IS_ROOT = os.geteuid() == 0


class Room:
    """A separate folder for temporary files, the runtime folder with the server's socket, the engine's log, and the PDFs, so
    that the user's own server has no influence."""

    def __init__(self):
        self.folder = Path(tempfile.mkdtemp(prefix='quirelle-bench-'))
        self.temporary = self._make('tmp')
        self.runtime = self._make('run')
        self.state = self._make('state')
        self.output = self._make('out')
        self.documents = self._make('documents')

    def _make(self, name):
        folder = self.folder / name
        folder.mkdir(mode=0o700)
        return folder

    def environment(self, idle_seconds):
        """Without the caller's display and without settings that would change what is measured."""
        kept = ('PATH', 'HOME', 'USER', 'QUIRELLE_BROWSER')
        result = {name: os.environ[name] for name in kept if name in os.environ}
        result.update(
            LC_ALL='C.UTF-8',
            TMPDIR=str(self.temporary),
            XDG_RUNTIME_DIR=str(self.runtime),
            XDG_STATE_HOME=str(self.state),
            QUIRELLE_IDLE_SECONDS=str(idle_seconds),
        )
        if IS_ROOT:
            result['QUIRELLE_NO_SANDBOX'] = '1'
        return result

    def remove(self):
        shutil.rmtree(self.folder, ignore_errors=True)
