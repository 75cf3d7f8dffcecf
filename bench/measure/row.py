"""A line of the result."""

from dataclasses import dataclass


@dataclass
class Row:
    name: str
    ours: str
    peer: str
    value: float | None  # what is bound; None where nothing could be measured
    bound: float
    spread: str = ''
    unit: str = 'x'

    @property
    def met(self):
        return self.value is not None and self.value <= self.bound

    @property
    def verdict(self):
        return 'met' if self.met else 'missed'

    @property
    def measured(self):
        """What is bound, as text."""
        return self._number(self.value)

    def cells(self):
        ratio = self.measured if self.unit == 'x' else ''
        return [self.name, self.ours, self.peer, ratio, self.spread, self._number(self.bound), self.verdict]

    def _number(self, value):
        if value is None:
            return '-'
        return f'{value:.2f}x' if self.unit == 'x' else f'{value:.0f} {self.unit}'


HEADER = ['row', 'ours', 'peer', 'ratio', 'spread', 'bound', 'verdict']


def seconds_text(seconds):
    return f'{seconds * 1000:.0f} ms' if seconds < 1 else f'{seconds:.2f} s'


def ratio_row(name, ours, peer, bound, jobs=1):
    """A row that compares two Times of the same number of jobs."""
    low, high = ours.ratio_spread(peer)
    return Row(name, seconds_text(ours.median / jobs), seconds_text(peer.median / jobs), ours.ratio_to(peer), bound,
               f'{low:.2f} to {high:.2f}')


def missing_row(name, bound, reason, unit='x'):
    return Row(name, reason, '', None, bound, unit=unit)
