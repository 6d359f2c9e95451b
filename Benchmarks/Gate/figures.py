"""The figures of the gate: how they are kept in a file, and when two of them are the same."""

from collections import namedtuple

# For one unit: instructions in the program's own code, in all code, allocations.
Figure = namedtuple("Figure", "unit own all allocations")
COLUMNS = ("own", "all", "allocations")
TOLERANCE = 0.03

# What was counted, and by what: {name: Figure}, {tool: version}, {library: version}.
Record = namedtuple("Record", "figures tools libraries")

Difference = namedtuple("Difference", "name column committed counted")

_HEADER = """\
# What the program's hot paths cost, for one unit: instructions in its own code, instructions in all
# code, libraries included, and allocations. Written by ./scripts/gate --update.
"""


def format_record(record):
    lines = [_HEADER]
    for kind, versions in (("tool", record.tools), ("library", record.libraries)):
        lines += [f"# {kind}\t{name}\t{version}\n" for name, version in sorted(versions.items())]
    lines.append("\t".join(("name", *Figure._fields)) + "\n")
    for name, figure in record.figures.items():
        numbers = (f"{getattr(figure, column):.2f}" for column in COLUMNS)
        lines.append("\t".join((name, figure.unit, *numbers)) + "\n")
    return "".join(lines)


def parse_record(text):
    record = Record({}, {}, {})
    for line in text.splitlines():
        fields = line.split("\t")
        if fields[0] == "# tool":
            record.tools[fields[1]] = fields[2]
        elif fields[0] == "# library":
            record.libraries[fields[1]] = fields[2]
        elif not line.startswith("#") and fields[0] != "name":
            record.figures[fields[0]] = Figure(fields[1], *map(float, fields[2:]))
    return record


def moved(committed, counted):
    return abs(counted - committed) > TOLERANCE * committed


def differences(committed, counted):
    """The figures that are not what was committed, up or down; whole rows that came or went too."""
    found = []
    for name in dict.fromkeys((*committed, *counted)):
        old, new = committed.get(name), counted.get(name)
        if old is None or new is None:
            found.append(Difference(name, None, old, new))
            continue
        for column in COLUMNS:
            was, now = getattr(old, column), getattr(new, column)
            # As they are kept: 0.004 allocations a frame are none.
            if moved(round(was, 2), round(now, 2)):
                found.append(Difference(name, column, was, now))
    return found
