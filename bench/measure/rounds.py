"""Interleaved rounds, so that other load on the machine affects all contestants alike."""

import statistics
import time


class Times:
    """Seconds of the same work, done several times."""

    def __init__(self, seconds):
        self.seconds = seconds

    @property
    def median(self):
        return statistics.median(self.seconds)

    @property
    def spread(self):
        """From the lower to the upper quartile; of few, from the least to the greatest."""
        if len(self.seconds) < 4:
            return min(self.seconds), max(self.seconds)
        lower, _, upper = statistics.quantiles(self.seconds, n=4)
        return lower, upper

    def ratio_to(self, other):
        return self.median / other.median

    def ratio_spread(self, other):
        """Of the ratios within each round."""
        return Times([mine / theirs for mine, theirs in zip(self.seconds, other.seconds)]).spread


def timed(work):
    begin = time.perf_counter()
    work()
    return time.perf_counter() - begin


def interleaved(turns, parts, rounds, once=()):
    """turns: {name: a function that does one part of the work and returns its seconds}. Everybody has a turn with each
    part, another one first each time. Those named in `once` are in the first round only. Returns {name: Times}, of
    whole rounds."""
    names = list(turns)
    seconds = {name: [] for name in names}
    for number in range(rounds):
        racing = [name for name in names if number == 0 or name not in once]
        totals = dict.fromkeys(racing, 0.0)
        for place, part in enumerate(parts):
            first = (number + place) % len(racing)
            for name in racing[first:] + racing[:first]:
                totals[name] += turns[name](part)
        for name in racing:
            seconds[name].append(totals[name])
    return {name: Times(values) for name, values in seconds.items()}
