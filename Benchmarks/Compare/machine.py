"""The machine that is measured on, and whether it had something else to do."""

import os
import platform
import resource
import subprocess
import time

from processes import PROC, cpu_seconds, family, read

# In processors: what others may use, and what a hypervisor may take, before a round is called noisy.
MOST_BY_OTHERS = 0.05
MOST_STOLEN = 0.01
CRITERION = (f'noisy: other processes used more than {MOST_BY_OTHERS:.0%} of one processor meanwhile, '
             f'or the hypervisor took more than {MOST_STOLEN:.0%}')

TICKS = os.sysconf('SC_CLK_TCK')


class NoiseWatch:
    """Looks at what processes that are not part of the measurement use from its creation on. Those
    that descend from the measuring script are part of it."""

    def __init__(self):
        self._root = os.getppid()
        self._began = time.monotonic()
        self._busy, self._stolen = self._machine()
        self._own = self._own_seconds()

    def is_noisy(self):
        span = time.monotonic() - self._began
        busy, stolen = self._machine()
        others = (busy - self._busy) - (self._own_seconds() - self._own)
        return others > MOST_BY_OTHERS * span or stolen - self._stolen > MOST_STOLEN * span

    @staticmethod
    def _machine():
        """Seconds that processes have used, and seconds that the hypervisor has taken."""
        user, nice, system, _, _, _, _, stolen = map(int, read(PROC / 'stat').split()[1:9])
        return (user + nice + system) / TICKS, stolen / TICKS

    def _own_seconds(self):
        ended = resource.getrusage(resource.RUSAGE_CHILDREN)
        alive = sum(cpu_seconds(pid) for pid in family({self._root}))
        return alive + ended.ru_utime + ended.ru_stime


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
