"""Running processes, read from /proc."""

import ctypes
import os
import pathlib

PR_SET_CHILD_SUBREAPER = 36
# Servers then descend from this process.
ctypes.CDLL(None).prctl(PR_SET_CHILD_SUBREAPER, 1)


def processes_of(folder):
    """The /proc folders of those whose user has this home, and of all that descend from them. Browsers'
    helpers write their names over their environment; that of the engine's own processes is closed to ordinary users."""
    mark, marked, closed, parents = f"HOME={folder}".encode(), set(), set(), {}
    for entry in pathlib.Path("/proc").iterdir():
        if not entry.name.isdigit():
            continue
        try:
            state, parent = (entry / "stat").read_text().rsplit(")", 1)[1].split()[:2]
            if state in "ZX":
                continue
            parents[entry] = pathlib.Path("/proc") / parent
            if mark in (entry / "environ").read_bytes():
                marked.add(entry)
        except PermissionError:
            closed.add(entry)
        except OSError:
            pass
    ours = family({pathlib.Path("/proc") / str(os.getpid())}, parents)
    return family(marked | {entry for entry in closed & ours if name_of(entry).startswith("quirelle")}, parents)


def family(marked, parents):
    """These and all that descend from them."""
    found = set()
    while marked:
        found |= marked
        marked = {entry for entry, parent in parents.items() if parent in marked} - found
    return found


def command_line(process):
    """Its arguments, each with a zero byte after it; nothing for one that has ended."""
    try:
        return (process / "cmdline").read_bytes()
    except OSError:
        return b""


def name_of(process):
    try:
        return (process / "comm").read_text().strip()
    except OSError:
        return ""
