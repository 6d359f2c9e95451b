"""What processes use, by the system's own counters (proc(5))."""

import os
import time
from dataclasses import dataclass, field
from pathlib import Path

PROC = Path('/proc')


def read(path):
    """The text of a file that may go at any moment; empty when it has."""
    try:
        return path.read_text()
    except (OSError, UnicodeDecodeError):
        return ''


def _parents_and_sessions():
    """pid -> (parent, session) of every process."""
    table = {}
    for entry in os.listdir(PROC):
        if not entry.isdigit():
            continue
        # The name in brackets may hold anything, brackets included.
        fields = read(PROC / entry / 'stat').rpartition(')')[2].split()
        if fields and fields[0] != 'Z':
            table[int(entry)] = (int(fields[1]), int(fields[3]))
    return table


def family(leaders):
    """The leaders, all that descends from them, and all in the sessions that they lead: some of a
    browser's processes leave their parents."""
    table = _parents_and_sessions()
    leaders = set(leaders)
    found = {pid for pid, (_, session) in table.items() if pid in leaders or session in leaders}
    grows = True
    while grows:
        more = {pid for pid, (parent, _) in table.items() if parent in found and pid not in found}
        found |= more
        grows = bool(more)
    return found


def cpu_seconds(pid):
    """User and system time of a process, threads that have ended included; 0 when it has gone."""
    try:
        # The process's own clock (clock_getcpuclockid(3)), good to nanoseconds.
        return time.clock_gettime(~pid << 3 | 2)
    except OSError:
        return 0.0


def proportional_set_size(pids):
    """In MB. Pages that several processes share count once for the lot. Raises PermissionError when
    one of them may not be looked at: a sum without it would be wrong."""
    total = 0
    for pid in pids:
        try:
            text = (PROC / str(pid) / 'smaps_rollup').read_text()
        except (FileNotFoundError, ProcessLookupError):
            continue
        total += sum(int(line.split()[1]) for line in text.splitlines() if line.startswith('Pss:'))
    return total / 1024


@dataclass
class Use:
    """What some processes had used at one moment."""

    cpu: dict = field(default_factory=dict)
    wakeups: dict = field(default_factory=dict)
    switches: dict = field(default_factory=dict)


def use_of(pids):
    use = Use()
    for pid in pids:
        use.cpu[pid] = cpu_seconds(pid)
        try:
            threads = os.listdir(PROC / str(pid) / 'task')
        except OSError:
            continue
        for thread in threads:
            counts = dict(line.split(':', 1) for line in
                          read(PROC / str(pid) / 'task' / thread / 'status').splitlines()
                          if 'ctxt_switches' in line)
            if len(counts) < 2:
                continue
            # A thread that gave up the processor by itself was woken once for it.
            use.wakeups[thread] = int(counts['voluntary_ctxt_switches'])
            use.switches[thread] = sum(map(int, counts.values()))
    return use


def growth(before, after):
    """The sum of what has been added; what has ended between the two is left out."""
    return sum(value - before.get(key, 0) for key, value in after.items())
