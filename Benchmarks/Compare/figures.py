"""Measured values and what they amount to."""

import math
import statistics
from dataclasses import dataclass, field


def quantile(values, share):
    """The value that the given share of all lies at or below (nearest rank)."""
    if not values:
        raise ValueError('no values')
    ordered = sorted(values)
    return ordered[max(math.ceil(share * len(ordered)), 1) - 1]


@dataclass(frozen=True)
class Value:
    """One round's figure. `noisy`: the machine had something else to do meanwhile."""

    number: float
    noisy: bool = False


@dataclass
class Row:
    """One candidate's values of one metric, in the order of the rounds."""

    values: list = field(default_factory=list)

    @property
    def quiet(self):
        return [value.number for value in self.values if not value.noisy]

    @property
    def noisy_rounds(self):
        return len(self.values) - len(self.quiet)

    @property
    def counted(self):
        """What median and spread are of: the quiet rounds, or all where none was quiet."""
        return self.quiet or [value.number for value in self.values]

    @property
    def is_noisy(self):
        return not self.quiet

    @property
    def median(self):
        return statistics.median(self.counted)

    @property
    def least(self):
        return min(self.counted)

    @property
    def most(self):
        return max(self.counted)


class Results:
    """All rows of a run, and why a candidate has none. Candidates keep the order they came in."""

    def __init__(self):
        self.rows = {}
        self.absent = {}

    def add(self, metric, candidate, number, noisy=False):
        row = self.rows.setdefault(metric, {}).setdefault(candidate, Row())
        row.values.append(Value(number, noisy))

    def row(self, metric, candidate):
        return self.rows.get(metric, {}).get(candidate)

    def fail(self, candidate, why):
        """One round of the candidate could not be measured."""
        self.absent.setdefault(candidate, []).append(why)
