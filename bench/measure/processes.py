"""Running processes, read from /proc."""

import os
import signal
import time
from pathlib import Path

PROC = Path('/proc')


def process_ids():
    return [int(entry.name) for entry in PROC.iterdir() if entry.name.isdigit()]


def busy_seconds():
    """Processor time that all of the machine's processes have used since its start."""
    user, nice, system, _, _, interrupt, soft_interrupt, *_ = map(int, (PROC / 'stat').read_text().split('\n')[0].split()[1:])
    return (user + nice + system + interrupt + soft_interrupt) / os.sysconf('SC_CLK_TCK')


def name_of(process):
    try:
        return (PROC / str(process) / 'comm').read_text().strip()
    except OSError:
        return ''


def runs_in(process, room):
    """Whether it was started in that room: its environment names the room's runtime folder, or its command line one of
    the room's folders. Browsers overwrite the one or the other."""
    try:
        environment = (PROC / str(process) / 'environ').read_bytes().split(b'\0')
        command = (PROC / str(process) / 'cmdline').read_bytes()
    except OSError:
        return False
    return f'XDG_RUNTIME_DIR={room.runtime}'.encode() in environment or str(room.folder).encode() in command


def is_running(process):
    try:
        return (PROC / str(process) / 'stat').read_text().rpartition(')')[2].split()[0] != 'Z'
    except OSError:
        return False


def parent_of(process):
    try:
        return int((PROC / str(process) / 'stat').read_text().rpartition(')')[2].split()[1])
    except OSError:
        return 0


def with_descendants(processes):
    parents = {process: parent_of(process) for process in process_ids()}
    found = set(processes)
    while True:
        more = {process for process, parent in parents.items() if parent in found} - found
        if not more:
            return sorted(found)
        found |= more


def servers(room):
    return [process for process in process_ids() if name_of(process) == 'quirelle-server' and runs_in(process, room)]


def inhabitants(room):
    """Every process that was started in the room and still runs."""
    return [process for process in process_ids() if runs_in(process, room) and is_running(process)]


def memory_of(process, kind='Pss'):
    """Kilobytes. Pss: what it shares with others is divided among them; Rss: all it holds."""
    try:
        for line in (PROC / str(process) / 'smaps_rollup').read_text().splitlines():
            if line.startswith(kind + ':'):
                return int(line.split()[1])
    except OSError:
        pass
    return 0


def server_memory(room):
    """Kilobytes of the server, its browser and everything below; nothing if there is no server."""
    found = servers(room)
    return sum(memory_of(process) for process in with_descendants(found)) if found else None


def descriptors_of(process):
    try:
        return len(os.listdir(PROC / str(process) / 'fd'))
    except OSError:
        return 0


def wait_until(condition, seconds):
    end = time.monotonic() + seconds
    while not condition():
        if time.monotonic() > end:
            return False
        time.sleep(0.02)
    return True


def stop_servers(room):
    """Ends them with SIGTERM; their descendants end with them."""
    found = servers(room)
    family = with_descendants(found)
    for process in found:
        os.kill(process, signal.SIGTERM)
    if not wait_until(lambda: not any(map(is_running, family)), 10):
        raise RuntimeError('the server does not end: ' + ', '.join(map(name_of, filter(is_running, family))))
