"""Installs and builds what is missing."""

import os
import shutil
import subprocess
import sys

from . import places


def run(*command, **more):
    if subprocess.run(command, cwd=places.ROOT, **more).returncode != 0:
        sys.exit(f'{command[0]} failed')


def packages():
    groups = ['build', 'run', 'bench']
    # Node may have come from elsewhere, with npm in it.
    if not (shutil.which('node') and shutil.which('npm')):
        groups.append('node')
    run('packaging/install-missing', *groups, stdout=sys.stderr)


def build():
    run('cmake', '--preset', 'release', stdout=subprocess.DEVNULL)
    run('cmake', '--build', '--preset', 'release', '--target', 'Quirelle', 'quirelle', 'windowrun',
        stdout=subprocess.DEVNULL)


def sanitized_engine():
    run('packaging/install-missing', 'build', 'run', 'bench', stdout=sys.stderr)
    run('cmake', '--preset', 'asan', stdout=subprocess.DEVNULL)
    run('cmake', '--build', '--preset', 'asan', '--target', 'quirelle', stdout=subprocess.DEVNULL)


def script_library():
    """The pinned version, into the build folder, without a browser of its own."""
    wanted = places.SCRIPTS / 'package-lock.json'
    places.LIBRARY_FOLDER.mkdir(parents=True, exist_ok=True)
    installed = places.LIBRARY_FOLDER / 'installed-lock.json'
    if installed.exists() and installed.read_bytes() == wanted.read_bytes():
        return
    for name in ('package.json', 'package-lock.json'):
        shutil.copy(places.SCRIPTS / name, places.LIBRARY_FOLDER)
    run('npm', 'ci', '--ignore-scripts', '--no-audit', '--no-fund', '--loglevel=error', '--prefix', str(places.LIBRARY_FOLDER),
        env=os.environ | {'PLAYWRIGHT_SKIP_BROWSER_DOWNLOAD': '1'}, stdout=subprocess.DEVNULL)
    shutil.copy(wanted, installed)


def everything():
    packages()
    build()
    script_library()
