"""Rounds in which every candidate is measured once, in turn."""

import subprocess
import sys

from backend import NotMeasured


def order(candidates, round_number):
    """Each round begins with another candidate, so that a drift of the machine favours none."""
    shift = round_number % len(candidates) if candidates else 0
    return candidates[shift:] + candidates[:shift]


def run(stage, candidates, rounds):
    for number in range(rounds):
        for candidate in order(candidates, number):
            print(f'\rround {number + 1} of {rounds}: {candidate.keys[0]:<24}', end='',
                  file=sys.stderr, flush=True)
            try:
                candidate.measure(stage)
            except (NotMeasured, OSError, subprocess.SubprocessError) as problem:
                for key in candidate.keys:
                    stage.results.fail(key, str(problem))
    print(f'\r{"":60}\r', end='', file=sys.stderr, flush=True)
