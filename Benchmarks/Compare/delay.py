"""How old a sample is when the message that carries it arrives.

The microphone speaks a track of clicks at distances that are all different, over and over. The clicks
that arrived say where in the track the stream began; with the moment at which the track's first sample
was in the microphone, each sample's age at its arrival follows."""

import statistics

RATE = 16000
BYTES_PER_FRAME = 2
NANOSECONDS = 1e9
# Half of the loudest that a click can be; what is between the clicks stays below a quarter.
THRESHOLD = 14000
# A resampler moves a click by the same time wherever it is; what is left is the search's own error.
TOLERANCE = 0.002
# A sample may arrive before it counts as played: a virtual sink renders a block ahead.
SLACK = 0.1


def find_clicks(samples):
    """The clicks' middles in seconds from the first sample, between samples by a parabola."""
    clicks = []
    index = 1
    quiet = RATE // 100
    while index < len(samples) - 1:
        if abs(samples[index]) < THRESHOLD:
            index += 1
            continue
        end = min(index + quiet, len(samples) - 1)
        top = max(range(index, end), key=lambda at: abs(samples[at]))
        before, middle, after = (abs(samples[at]) for at in (top - 1, top, top + 1))
        bend = before - 2 * middle + after
        shift = 0.5 * (before - after) / bend if bend else 0.0
        clicks.append((top + shift) / RATE)
        index = top + quiet
    return clicks


def locate(clicks, track, loop):
    """Where in the track, which lasts `loop` seconds, the stream's first sample was spoken. Raises
    ValueError when the clicks are not those of the track."""
    if len(clicks) < 4:
        raise ValueError(f'only {len(clicks)} clicks arrived')
    unrolled = [click + turn * loop
                for turn in range(int(clicks[-1] / loop) + 3) for click in track]
    best = []
    for first in range(len(track)):
        expected = unrolled[first:first + len(clicks)]
        offsets = [spoken - heard for spoken, heard in zip(expected, clicks)]
        middle = statistics.median(offsets)
        fitting = [offset for offset in offsets if abs(offset - middle) < TOLERANCE]
        if len(fitting) > len(best):
            best = fitting
    if len(best) < 0.9 * len(clicks):
        raise ValueError(f'{len(clicks) - len(best)} of {len(clicks)} clicks came at a wrong time: '
                         'sound was lost')
    return statistics.fmean(best) % loop


def ages(messages, position, loop, track_start):
    """In ms, for a sample in every millisecond of the messages.

    `messages`: (bytes, arrival in ns) of consecutive ones; `position`: where in the track the first
    one's first sample was spoken, in seconds; `track_start`: when the track's first sample was in the
    microphone, in ns. The track's turn is the latest one that the first message can have come from."""
    size, arrival = messages[0]
    newest = position + size / BYTES_PER_FRAME / RATE
    since = (arrival - track_start) / NANOSECONDS
    turns = (since + SLACK - newest) // loop
    spoken = position + turns * loop
    result = []
    for size, arrival in messages:
        seconds = size / BYTES_PER_FRAME / RATE
        since = (arrival - track_start) / NANOSECONDS
        result += [(since - spoken - millisecond / 1000) * 1000
                   for millisecond in range(int(seconds * 1000))]
        spoken += seconds
    return result
