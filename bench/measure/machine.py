"""The machine and the versions of the programs."""

import os
import subprocess
from pathlib import Path

from . import places


def said(*command):
    try:
        return subprocess.run(command, capture_output=True, text=True, timeout=30).stdout.strip().splitlines()[0]
    except (OSError, IndexError, subprocess.TimeoutExpired):
        return 'not there'


def processor():
    for line in Path('/proc/cpuinfo').read_text().splitlines():
        if line.startswith('model name'):
            return line.partition(':')[2].strip()
    return os.uname().machine


def system():
    for line in Path('/etc/os-release').read_text().splitlines():
        if line.startswith('PRETTY_NAME='):
            return line.partition('=')[2].strip('"')
    return os.uname().sysname


def library_version():
    return said('node', '-p', f'require("{places.LIBRARY_FOLDER}/node_modules/playwright-core/package.json").version')


def description():
    memory = os.sysconf('SC_PAGE_SIZE') * os.sysconf('SC_PHYS_PAGES') / 2 ** 30
    return [
        ('machine', f'{processor()}, {len(os.sched_getaffinity(0))} cores, {memory:.0f} GiB'),
        ('system', system()),
        ('browser', said(places.BROWSER, '--version')),
        ('engine', said(str(places.ENGINE), '--version')),
        ('script library', f'playwright-core {library_version()}, node {said("node", "--version")}'),
        ('renderer without scripts', said('weasyprint', '--version')),
    ]
