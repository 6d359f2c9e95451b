"""Measures the program beside what its users could use instead. Started by scripts/bench, which
provides sound server and desktop."""

import argparse
import sys
from pathlib import Path

import machine
import plot
import record
import rounds
import table
from chromium import Chromium
from clients import CLIENTS
from desktop import App, BareStreamer, BareTray
from figures import Results
from metrics import NAMES
from stage import Stage
from tray import Tray

PACKAGES = ['pulseaudio', 'pulseaudio-utils', 'nodejs', 'node-ws', 'gstreamer1.0-tools', 'ffmpeg',
            'chromium', 'libqt6core6', 'g++']


def candidates():
    minimal, headless, *pipelines = CLIENTS
    return [minimal, headless, App(), BareStreamer('bare_streamer'),
            BareStreamer('bare_streamer_meter', has_meter=True), *pipelines, Chromium(), BareTray(),
            Tray()]


def parse_options():
    parser = argparse.ArgumentParser(prog='scripts/bench', description=__doc__.split('. ')[0] + '.')
    parser.add_argument('--rounds', type=int, default=4, metavar='N', help='how often (4)')
    parser.add_argument('--seconds', type=float, default=4, metavar='S',
                        help='of each stream, in each round (4)')
    parser.add_argument('--only', metavar='NAME,...',
                        help=f'only these candidates: {", ".join(NAMES)}')
    parser.add_argument('--json', type=Path, metavar='FILE', help='write the results for programs')
    parser.add_argument('--svg', type=Path, metavar='FILE', help='write the results as a picture')
    parser.add_argument('--binaries', type=Path, required=True, help=argparse.SUPPRESS)
    parser.add_argument('--folder', type=Path, required=True, help=argparse.SUPPRESS)
    parser.add_argument('--sound-server', type=int, required=True, help=argparse.SUPPRESS)
    options = parser.parse_args()
    only = set(options.only.split(',')) if options.only else set(NAMES)
    if options.rounds < 1 or options.seconds < 3 or not only <= set(NAMES):
        parser.error('at least 1 round, 3 seconds, and candidates as --help names them')
    return options, only


def main():
    options, only = parse_options()
    results = Results()
    chosen = [candidate for candidate in candidates() if only & set(candidate.keys)]
    description = machine.description(PACKAGES)
    conditions = (f'{description["processor"]}, {description["processors"]} processors; '
                  f'{options.rounds} rounds, {options.seconds:g} s of each stream')
    print(conditions, flush=True)
    stage = Stage(options.binaries, options.folder, options.sound_server, options.seconds, results)
    try:
        rounds.run(stage, chosen, options.rounds)
    finally:
        stage.stop()
    print('Median, least and most, how many, ratio to the first row, goals.', machine.CRITERION)
    print('\n'.join(table.lines(results)))
    document = record.as_document(results, description, options.rounds, options.seconds)
    if options.json:
        record.write(options.json, document)
    if options.svg:
        options.svg.write_text(plot.draw(results, f'{conditions}. {plot.MARKS}'), encoding='utf-8')
    return 0 if results.rows else 1


if __name__ == '__main__':
    sys.exit(main())
