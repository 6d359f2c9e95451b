"""Candidates that stream from their start to their end, and do nothing else."""

import shutil
import time
from pathlib import Path

from backend import EMAIL, PASSWORD, NotMeasured
from stage import DEVICE, FRAMES_PER_MESSAGE, MESSAGE_BYTES, Processes

PEERS = Path(__file__).resolve().parent.parent / 'Peers'
# Where Debian keeps Node's libraries; other builds of Node do not look there.
NODE_LIBRARIES = '/usr/share/nodejs'


def require_program(name, package=None):
    if shutil.which(name) is None:
        raise NotMeasured(f'{package or name} is not installed')


class StreamClient:
    """`command(stage, session)` gives the pipe of commands that streams the session."""

    environment = None
    first_input = None
    # Whether its start is the start of the stream, and not a sign-in and a search before it.
    starts_at_once = True

    def __init__(self, key):
        self.key = key

    @property
    def keys(self):
        return [self.key]

    def measure(self, stage):
        session = stage.backend.new_session()
        try:
            began = time.monotonic_ns()
            with Processes(self.commands(stage, session), stage.log(self.key), self.environment,
                           self.first_input) as processes:
                if self.starts_at_once:
                    stage.measure_first_audio(self.key, session, began, processes)
                else:
                    stage.await_stream(session, processes)
                self.prepare(processes)
                stage.measure_stream(self.key, processes, session)
                stage.measure_stop(self.key, session, processes.ask_to_end)
        finally:
            # A stream that was lost would be found pending by the next candidate.
            stage.backend.end_session(session)

    def prepare(self, processes):
        """What is to happen before the stream is measured."""


class Minimal(StreamClient):
    def commands(self, stage, session):
        return [[str(stage.binaries / 'quorvane-tandrel-minimal-client'), '--port',
                 str(stage.backend.port), '--token', session.token, '--device', DEVICE]]


class Headless(StreamClient):
    starts_at_once = False
    first_input = f'{PASSWORD}\n'.encode()

    def commands(self, stage, session):
        home = stage.folder / 'headless'
        home.mkdir(exist_ok=True)
        self.environment = stage.qt_alone | {'HOME': str(home),
                                             'XDG_CONFIG_HOME': str(home / 'config'),
                                             'XDG_STATE_HOME': str(home / 'state')}
        return [[str(stage.binaries / 'quorvane-tandrel-headless'), '--backend', stage.backend.url,
                 '--email', EMAIL, '--ephemeral', '--wait', '30', '--device', DEVICE]]


class Pipeline(StreamClient):
    """A recorder that writes 16 kHz mono 16-bit PCM, and a Node program that sends it. Recorders are
    asked for buffers as long as ours; the sound server resamples for them."""

    environment = {'NODE_PATH': NODE_LIBRARIES}

    def __init__(self, key, package, recorder):
        super().__init__(key)
        self._package = package
        self._recorder = recorder

    def commands(self, stage, session):
        require_program(self._recorder[0], self._package)
        require_program('node', 'nodejs')
        if not Path(NODE_LIBRARIES, 'ws').is_dir():
            raise NotMeasured('node-ws is not installed')
        address = f'{stage.backend.url.replace("http", "ws")}/tandrel-stream?token={session.token}'
        return [self._recorder, ['node', str(PEERS / 'NodeClient' / 'client.js'), address]]


BUFFER_MICROSECONDS = FRAMES_PER_MESSAGE * 1_000_000 // 16000

CLIENTS = [
    Minimal('minimal'),
    Headless('headless'),
    Pipeline('parec', 'pulseaudio-utils',
             ['parec', '--raw', f'--device={DEVICE}', '--rate=16000', '--channels=1',
              '--format=s16le', f'--latency={MESSAGE_BYTES}']),
    Pipeline('gstreamer', 'gstreamer1.0-tools',
             ['gst-launch-1.0', '-q', 'pulsesrc', f'device={DEVICE}',
              f'buffer-time={2 * BUFFER_MICROSECONDS}', f'latency-time={BUFFER_MICROSECONDS}', '!',
              'audio/x-raw,format=S16LE,rate=16000,channels=1', '!', 'fdsink', 'fd=1',
              'sync=false']),
    Pipeline('ffmpeg', 'ffmpeg',
             ['ffmpeg', '-nostdin', '-loglevel', 'error', '-f', 'pulse', '-sample_rate', '16000',
              '-channels', '1', '-fragment_size', str(MESSAGE_BYTES), '-i', DEVICE, '-f', 's16le',
              '-flush_packets', '1', 'pipe:1']),
]
