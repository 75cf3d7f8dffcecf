"""An X server without a screen, whose picture can be read, and the window on it."""

import mmap
import os
import struct
import subprocess
import tempfile
import time
from pathlib import Path

from . import places, processes

PATIENCE = 20  # seconds
PAINTED = 0.98  # of the lines; a blinking cursor may be in the rest


class Screen:
    """Keeps its picture in a file that is mapped into memory, so that looking at it takes no part in the drawing."""

    def __init__(self, room):
        self.folder = Path(tempfile.mkdtemp(dir=room.folder))
        reader, writer = os.pipe()
        self.server = subprocess.Popen(
            ['Xvfb', '-displayfd', str(writer), '-screen', '0', '1024x768x24', '-nolisten', 'tcp', '-noreset',
             '-nocursor', '-fbdir', str(self.folder)], pass_fds=[writer], stderr=subprocess.DEVNULL)
        os.close(writer)
        with os.fdopen(reader) as answer:
            self.display = ':' + answer.readline().strip()
        if self.display == ':':
            raise RuntimeError('Xvfb does not start')
        with open(self.folder / 'Xvfb_screen0', 'rb') as file:
            self.memory = mmap.mmap(file.fileno(), 0, access=mmap.ACCESS_READ)
        # The head of an X window dump: numbers of four bytes.
        head = struct.unpack('>25I', self.memory[:100])
        self.height, self.line_bytes = head[5], head[12]
        self.first_byte = head[0] + head[19] * 12

    def lines(self):
        picture = self.memory[self.first_byte:self.first_byte + self.height * self.line_bytes]
        return [picture[at:at + self.line_bytes] for at in range(0, len(picture), self.line_bytes)]

    def settled(self, but=None):
        """The picture that has not changed for half a second, and is another than `but`."""
        end = time.monotonic() + PATIENCE
        lines, since = self.lines(), time.monotonic()
        while lines == but or time.monotonic() - since < 0.5:
            if time.monotonic() > end:
                raise RuntimeError('the screen does not come to rest')
            time.sleep(0.02)
            now = self.lines()
            if now != lines:
                lines, since = now, time.monotonic()
        return lines

    def close(self):
        self.server.terminate()
        self.server.wait()


class Window:
    """The program, started on the screen again and again."""

    def __init__(self, room, screen):
        self.screen = screen
        self.environment = room.environment(0) | {'DISPLAY': screen.display}
        self.empty = screen.settled()
        program = self._start()
        self.whole = screen.settled(but=self.empty)
        self.drawn = [number for number, line in enumerate(self.whole) if line != self.empty[number]]
        self.resident = processes.memory_of(program.pid, 'Rss')
        self.proportional = processes.memory_of(program.pid, 'Pss')
        self._end(program)

    def _start(self):
        return subprocess.Popen([str(places.WINDOW)], env=self.environment, stderr=subprocess.DEVNULL)

    def _end(self, program):
        program.terminate()
        program.wait()
        if not processes.wait_until(lambda: self.screen.lines() == self.empty, PATIENCE):
            raise RuntimeError('the window stays on the screen')

    def _is_painted(self):
        now = self.screen.lines()
        return sum(now[line] == self.whole[line] for line in self.drawn) >= PAINTED * len(self.drawn)

    def seconds_to_paint(self):
        """From the start of the process until the screen shows the whole window."""
        begin = time.perf_counter()
        program = self._start()
        while not self._is_painted():
            if time.perf_counter() - begin > PATIENCE:
                raise RuntimeError('the window does not come up')
            time.sleep(0.001)
        seconds = time.perf_counter() - begin
        self._end(program)
        return seconds
