"""What the program is to reach, as ratios or differences of one run."""

from dataclasses import dataclass

from metrics import NAMES


@dataclass(frozen=True)
class Goal:
    """At most `bound` times the peer's median; with `is_difference` at most so much more than it;
    without a peer, at most `bound`."""

    metric: str
    candidate: str
    peer: str | None
    bound: float
    is_difference: bool = False

    def judge(self, results):
        """The reached figure, or None where one of the rows was not measured."""
        ours = results.row(self.metric, self.candidate)
        if ours is None:
            return None
        if self.peer is None:
            return ours.median
        theirs = results.row(self.metric, self.peer)
        if theirs is None:
            return None
        if self.is_difference:
            return ours.median - theirs.median
        return ours.median / theirs.median if theirs.median else None

    def is_met(self, results):
        reached = self.judge(results)
        return None if reached is None else reached <= self.bound

    @property
    def text(self):
        if self.peer is None:
            return f'at most {self.bound:g}'
        if self.is_difference:
            return f'at most {self.bound:g} more than {NAMES[self.peer]}'
        if self.bound < 1:
            return f'at most 1/{1 / self.bound:g} of {NAMES[self.peer]}'
        return f'at most {self.bound:g} x {NAMES[self.peer]}'

    def outcome(self, results):
        """Such as "met (1.32)"."""
        reached = self.judge(results)
        if reached is None:
            return 'not judged'
        if self.peer is not None and not self.is_difference and 0 < self.bound < 1 and reached > 0:
            figure = f'1/{1 / reached:.1f}'
        else:
            figure = f'{reached:.2f}'
        return f'{"met" if self.is_met(results) else "missed"} ({figure})'


GOALS = [
    Goal('cpu', 'ours', 'minimal', 1.4),
    Goal('cpu', 'ours', 'chromium', 1 / 8),
    Goal('cpu', 'ours_meter', 'bare_streamer_meter', 1.2),
    Goal('cpu', 'ours_meter', 'chromium_meter', 1 / 6),
    Goal('delay_median', 'ours', 'minimal', 1, is_difference=True),
    Goal('pss_streaming', 'ours', 'bare_streamer', 1.5),
    Goal('pss_streaming', 'ours', 'chromium', 1 / 12),
    Goal('start_to_tray', 'ours', 'bare_tray', 1.15),
    Goal('wakeups_idle', 'ours', None, 0),
    # None but the sound's own: the window adds nothing.
    Goal('wakeups_streaming', 'ours', 'headless', 1.05),
]
