"""A look at the running processes through /proc."""

import pathlib


def processes_of(folder):
    """The /proc folders of those that have `folder` for their temporary files, and of all that descend from them. Browsers'
    helpers write their names over their environment."""
    mark, marked, parents = f"TMPDIR={folder}".encode(), set(), {}
    for entry in pathlib.Path("/proc").iterdir():
        if not entry.name.isdigit():
            continue
        try:
            parents[entry] = pathlib.Path("/proc") / (entry / "stat").read_text().rsplit(")", 1)[1].split()[1]
            if mark in (entry / "environ").read_bytes():
                marked.add(entry)
        except OSError:
            pass
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
