"""Reads the profiles that valgrind's callgrind writes."""

import re

# "ob=(2) /lib/libc.so.6" names an object the first time, "ob=(2)" again.
_OBJECT = re.compile(r"ob=\((\d+)\)(?: (.*))?$")
_POSITION = re.compile(r"[+-]?\d|\*")


def read_profile(lines):
    """The name a profile was dumped under, and the instructions executed in each object's own code."""
    name = None
    objects = {}
    costs = {}
    current = None
    is_call = False
    for line in lines:
        line = line.rstrip("\n")
        if line.startswith("desc: Trigger: Client Request: "):
            name = line.rpartition(": ")[2]
        elif line.startswith("ob="):
            number, path = _OBJECT.match(line).groups()
            if path is not None:
                objects[number] = path
            current = objects[number]
        elif line.startswith("cob="):
            # The object of a called function is named in the same way, and may be named here first.
            number, path = _OBJECT.match(line[1:]).groups()
            if path is not None:
                objects[number] = path
        elif line.startswith("calls="):
            is_call = True
        elif _POSITION.match(line):
            # The line behind "calls=" holds what the called function cost, which stands there too.
            if not is_call:
                fields = line.split()
                costs[current] = costs.get(current, 0) + (int(fields[1]) if len(fields) > 1 else 0)
            is_call = False
    return name, costs
