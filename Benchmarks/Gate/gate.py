"""Compares what the program's hot paths cost with what is committed; see ./scripts/gate."""

import argparse
import pathlib
import sys

from counting import count, times, versions
from figures import COLUMNS, Record, differences, format_record, parse_record

COMMITTED = pathlib.Path(__file__).parent / "figures.tsv"

EXIT_MOVED = 1
EXIT_CANNOT_COMPARE = 3


def print_table(counted, measured):
    titles = ["", *COLUMNS, *(["ns"] if measured else [])]
    print(f"{titles[0]:32}" + "".join(f"{title:>14}" for title in titles[1:]))
    for name, figure in counted.items():
        numbers = [getattr(figure, column) for column in COLUMNS]
        numbers += [measured[name]] if measured else []
        print(f"{name + ', per ' + figure.unit:32}" + "".join(f"{n:14.2f}" for n in numbers))


def changed_versions(committed, present):
    return [f"{name}: {committed.get(name, 'none')}, here {version}"
            for name, version in sorted(present.items()) if committed.get(name) != version]


def judge(committed, present):
    """What is to be said, line by line, and the exit code."""
    tools = changed_versions(committed.tools, present.tools)
    if tools:
        return ["The committed figures were counted with other tools, so there is nothing to compare:",
                *tools, "Count them anew with these, from a commit whose figures are known to be right:",
                "./scripts/gate --update"], EXIT_CANNOT_COMPARE
    libraries = changed_versions(committed.libraries, present.libraries)
    found = differences(committed.figures, present.figures)
    lines = []
    if libraries:
        lines += ["Other versions of the libraries than the committed figures were counted with, so "
                  "instructions outside the program's own code are not judged:", *libraries]
        found = [difference for difference in found if difference.column != "all"]
    for name, column, was, now in found:
        if column is None:
            lines.append(f"{name}: {'not committed' if was is None else 'no longer counted'}")
        else:
            lines.append(f"{name}: {column} {was:.2f} is now {now:.2f}"
                         + (f" ({(now / was - 1) * 100:+.1f} %)" if was else ""))
    if found:
        lines.append("Mend what has become dearer; commit what has become cheaper, or is worth its price: "
                     "./scripts/gate --update")
    return lines, EXIT_MOVED if found else 0


def main():
    parser = argparse.ArgumentParser(prog="./scripts/gate")
    parser.add_argument("build", help=argparse.SUPPRESS)
    parser.add_argument("--update", action="store_true", help="write the figures instead of comparing")
    parser.add_argument("--times", action="store_true", help="measure times too, which are not compared")
    arguments = parser.parse_args()

    present = Record(count(arguments.build), *versions(arguments.build))
    print_table(present.figures, times(arguments.build) if arguments.times else None)
    if arguments.update:
        COMMITTED.write_text(format_record(present))
        return 0
    lines, code = judge(parse_record(COMMITTED.read_text()), present)
    print("\n".join(lines or ["All as committed."]))
    return code


if __name__ == "__main__":
    sys.exit(main())
