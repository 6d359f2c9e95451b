"""The machine that is measured on, and whether it had something else to do."""

import os
import platform
import resource
import subprocess
import time
from dataclasses import dataclass

from processes import PROC, cpu_seconds, family, read

# In processors: what others may use, and what a hypervisor may take, before a round is called noisy.
MOST_BY_OTHERS = 0.05
MOST_STOLEN = 0.01
CRITERION = (f'noisy: other processes used more than {MOST_BY_OTHERS:.0%} of one processor meanwhile, '
             f'or the hypervisor took more than {MOST_STOLEN:.0%}')

TICKS = os.sysconf('SC_CLK_TCK')


@dataclass(frozen=True)
class Moment:
    """Of all processors together since the machine's start, and of our processes, in seconds."""

    at: float
    without_processes: float
    stolen: float
    own: float


def noise_between(earlier, later, processors):
    """Whether others had more than their share between two moments."""
    span = later.at - earlier.at
    busy = processors * span - (later.without_processes - earlier.without_processes)
    others = busy - (later.own - earlier.own)
    return others > MOST_BY_OTHERS * span or later.stolen - earlier.stolen > MOST_STOLEN * span


class NoiseWatch:
    """Looks at what processes that are not part of the measurement use from its creation on. Those
    that descend from the measuring script are part of it."""

    def __init__(self):
        self._root = os.getppid()
        self._began = self.look()

    def is_noisy(self):
        return noise_between(self._began, self.look(), os.cpu_count())

    def look(self):
        # What is used is only sampled by the clock's ticks, and short bursts escape those; how long
        # the processors are idle is known exactly.
        _, _, _, idle, waiting, interrupts, later_interrupts, stolen = (
            int(ticks) / TICKS for ticks in read(PROC / 'stat').split()[1:9])
        ended = resource.getrusage(resource.RUSAGE_CHILDREN)
        alive = sum(cpu_seconds(pid) for pid in family({self._root}))
        return Moment(time.monotonic(), idle + waiting + interrupts + later_interrupts + stolen,
                      stolen, alive + ended.ru_utime + ended.ru_stime)


def version_of(package):
    answer = subprocess.run(['dpkg-query', '-W', '-f=${Version}', package], capture_output=True,
                            text=True, check=False)
    return answer.stdout if answer.returncode == 0 else None


def description(packages):
    """What the figures depend on."""
    processor = next((line.split(':', 1)[1].strip() for line in read(PROC / 'cpuinfo').splitlines()
                      if line.startswith('model name')), platform.machine())
    memory = int(read(PROC / 'meminfo').split()[1]) / 1024
    return {
        'processor': processor,
        'processors': os.cpu_count(),
        'memory_mb': round(memory),
        'kernel': platform.release(),
        'packages': {package: version_of(package) for package in packages},
    }
