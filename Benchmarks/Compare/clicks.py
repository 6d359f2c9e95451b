"""The track that the virtual microphone speaks."""

import array
import math
import wave

RATE = 48000
# No two distances are the same: any two neighbours say where in the track they are.
GAPS = [0.40 + 0.02 * number for number in range(16)]
LOOP = sum(GAPS)
# Wide enough to pass every resampler unchanged, short enough to find its middle.
WIDTH = 0.00025
HEIGHT = 0.9
HUSH = 0.02


def positions():
    """The clicks' middles in seconds from the track's start; the track ends half a gap after one."""
    clicks = []
    at = GAPS[0] / 2
    for gap in GAPS[1:] + GAPS[:1]:
        clicks.append(at)
        at += gap
    return clicks


def samples():
    """Between the clicks a tone that swells and fades, so that a level meter has something to show."""
    track = array.array('h', bytes(2 * round(LOOP * RATE)))
    for index in range(len(track)):
        time = index / RATE
        swell = 0.12 + 0.1 * math.sin(9 * time)
        track[index] = round(32767 * swell * math.sin(2 * math.pi * 440 * time))
    for click in positions():
        for index in range(round((click - HUSH) * RATE), round((click + HUSH) * RATE)):
            distance = (index / RATE - click) / WIDTH
            track[index] = round(32767 * HEIGHT * math.exp(-0.5 * distance * distance))
    return track


def write(path):
    with wave.open(str(path), 'wb') as file:
        file.setnchannels(1)
        file.setsampwidth(2)
        file.setframerate(RATE)
        file.writeframes(samples().tobytes())
