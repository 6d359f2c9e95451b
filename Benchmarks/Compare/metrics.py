"""What is measured, by which names and in which order it is shown."""

from dataclasses import dataclass


@dataclass(frozen=True)
class Metric:
    key: str
    title: str
    unit: str
    decimals: int


@dataclass(frozen=True)
class Candidate:
    key: str
    name: str


METRICS = [
    Metric('cpu', 'Processor time a minute of streaming, all processes', 's', 3),
    Metric('server_cpu', 'The sound server beside it', 's', 3),
    Metric('delay_median', 'Microphone to server, median', 'ms', 1),
    Metric('delay_p95', 'Microphone to server, 95th percentile', 'ms', 1),
    Metric('delay_p99', 'Microphone to server, 99th percentile', 'ms', 1),
    Metric('wakeups_streaming', 'Wake-ups a second, streaming', '/s', 1),
    Metric('switches_streaming', 'Context switches a second, streaming', '/s', 1),
    Metric('wakeups_idle', 'Wake-ups a second, idle (ours: between two polls)', '/s', 2),
    Metric('switches_idle', 'Context switches a second, idle (ours: between two polls)', '/s', 2),
    Metric('pss_idle', 'Memory (PSS), idle', 'MB', 1),
    Metric('pss_opened', 'Memory (PSS), popover opened once', 'MB', 1),
    Metric('pss_streaming', 'Memory (PSS), streaming', 'MB', 1),
    Metric('start_to_tray', 'Start to the icon in the panel', 'ms', 1),
    Metric('first_click', 'Click to the painted popover, the first time', 'ms', 1),
    Metric('later_click', 'Click to the painted popover, later', 'ms', 1),
    Metric('first_audio', 'Start command to the first audio at the server', 'ms', 0),
    Metric('stop', 'Stop command to the end of the stream at the server', 's', 3),
    Metric('exit', 'Told to end until all processes have gone', 's', 3),
]

CANDIDATES = [
    Candidate('minimal', 'minimal C++ client (the floor)'),
    Candidate('headless', 'ours without a window'),
    Candidate('ours', 'ours, popover closed'),
    Candidate('ours_meter', 'ours, meter visible'),
    Candidate('bare_tray', 'bare Qt tray program'),
    Candidate('bare_streamer', 'bare Qt streamer'),
    Candidate('bare_streamer_meter', 'bare Qt streamer, meter visible'),
    Candidate('parec', 'parec and Node'),
    Candidate('gstreamer', 'GStreamer and Node'),
    Candidate('ffmpeg', 'ffmpeg and Node'),
    Candidate('chromium', 'Chromium'),
    Candidate('chromium_meter', 'Chromium, meter visible'),
]

NAMES = {candidate.key: candidate.name for candidate in CANDIDATES}
