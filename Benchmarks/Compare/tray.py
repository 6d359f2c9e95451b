"""Start and first sight of the tray programs, timed by the desktop benchmark: it listens to panel and
screen, which a script could only look at again and again."""

import subprocess

from backend import NotMeasured
from machine import NoiseWatch

STARTS = '4'
OPENINGS = '4'
KEYS = {'start': 'start_to_tray', 'first click': 'first_click', 'later click': 'later_click'}
CANDIDATES = {'ours': 'ours', 'bare': 'bare_tray'}


class Tray:
    keys = ['ours', 'bare_tray']

    def measure(self, stage):
        watch = NoiseWatch()
        run = subprocess.run(
            [str(stage.binaries / 'quorvane-tandrel-desktop-benchmark'), '--starts', STARTS,
             '--openings', OPENINGS], capture_output=True, text=True, check=False)
        if run.returncode != 0:
            raise NotMeasured(run.stderr.strip())
        is_noisy = watch.is_noisy()
        for line in run.stdout.splitlines():
            candidate, what, number = line.split('\t')
            stage.results.add(KEYS[what], CANDIDATES[candidate], float(number), is_noisy)
