"""What stands during a run: sound server and desktop (started by the script around), the microphone
that speaks the clicks, the backend that listens, and how a stretch of time is measured there."""

import os
import signal
import subprocess
import time
from pathlib import Path

import clicks
import delay
from backend import Backend, NotMeasured, await_condition, copy_libraries
from figures import quantile
from machine import NoiseWatch
from processes import family, growth, proportional_set_size, use_of

DEVICE = 'virtual_microphone'
# A stream that runs: past its first, more talkative, messages.
SETTLED_MESSAGES = 47
# How old a stream is when it is measured first. All are as old: where the server's portions are not
# quite a recorder's buffers, how long a buffer waits for the rest of its sound swings over seconds.
STREAM_AGE = 3.5
FRAMES_PER_MESSAGE = 341
MESSAGE_BYTES = 2 * FRAMES_PER_MESSAGE
# A sign-in, a search for the session and a start, on a busy machine.
STREAM_LIMIT = 20


class Microphone:
    """Speaks the track of clicks, over and over."""

    def __init__(self, binaries, folder):
        track = folder / 'clicks.wav'
        clicks.write(track)
        self._timing = folder / 'timing'
        self._process = subprocess.Popen(
            [str(binaries / 'quorvane-tandrel-virtual-microphone'), '--sink', 'speech',
             '--timing', str(self._timing), str(track)])
        await_condition('the virtual microphone',
                        lambda: self._timing.exists() and self._timing.stat().st_size, 10)
        subprocess.run(['pactl', 'set-default-source', DEVICE], check=True)

    def track_start(self):
        """When the track's first sample was in the microphone: CLOCK_MONOTONIC in ns."""
        # It is written anew now and then, and empty for a moment.
        return int(await_condition('the microphone\'s timing', self._timing.read_text, 2))

    def stop(self):
        self._process.terminate()
        self._process.wait()


class Processes:
    """A candidate's processes: those that were started, and all that came of them."""

    def __init__(self, commands, log, environment=None, first_input=None):
        """Several commands are a pipe. Each leads a session of its own, by which its processes are
        known."""
        self._started = []
        source = subprocess.DEVNULL if first_input is None else subprocess.PIPE
        self._log = open(log, 'w', encoding='utf-8')
        for index, command in enumerate(commands):
            is_last = index == len(commands) - 1
            process = subprocess.Popen(
                command, stdin=source, stdout=self._log if is_last else subprocess.PIPE,
                stderr=self._log, env=os.environ | (environment or {}), start_new_session=True)
            if index > 0:
                source.close()
            source = process.stdout
            self._started.append(process)
        if first_input is not None:
            self._started[0].stdin.write(first_input)
            self._started[0].stdin.flush()

    def pids(self):
        return family({process.pid for process in self._started})

    def check(self):
        for process in self._started:
            if process.poll() is not None:
                raise NotMeasured(f'{process.args[0]} ended by itself: {self._last_words()}')

    def _last_words(self):
        with open(self._log.name, encoding='utf-8', errors='replace') as log:
            return ' '.join(log.read().split())[-300:] or f'{self._log.name} is empty'

    def ask_to_end(self):
        for process in self._started:
            if process.poll() is None:
                process.send_signal(signal.SIGTERM)

    def await_end(self, limit=10):
        """Waits until all have gone, those that are not our children included."""
        pids = self.pids()
        end = time.monotonic() + limit
        while any(os.path.exists(f'/proc/{pid}') for pid in pids):
            for process in self._started:
                process.poll()
            if time.monotonic() > end:
                raise NotMeasured(f'{self._started[0].args[0]} does not end')
            time.sleep(0.002)

    def kill(self):
        """Whatever is left, at once."""
        for pid in self.pids():
            try:
                os.kill(pid, signal.SIGKILL)
            except ProcessLookupError:
                pass
        for process in self._started:
            process.wait()
            if process.stdin:
                process.stdin.close()
        self._log.close()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.kill()


class Stage:
    def __init__(self, binaries, folder, sound_server, seconds, results):
        self.binaries = binaries
        self.folder = folder
        self.seconds = seconds
        self.results = results
        self._sound_server = sound_server
        # So that their memory is what it is where no other program uses Qt, whatever runs here.
        self.qt_alone = copy_libraries(
            [binaries / 'quorvane-tandrel-under-test', *binaries.parent.glob('lib/**/*.so'),
             *Path('/usr/lib').glob('*/qt6/plugins/platforms/libqxcb.so')],
            folder / 'qt', lambda library: library.startswith(('libQt6', 'libicu')))
        self.backend = Backend(binaries, folder)
        self._microphone = Microphone(binaries, folder)

    def stop(self):
        self._microphone.stop()
        self.backend.stop()

    def log(self, candidate):
        return self.folder / f'{candidate}.log'

    def await_stream(self, session, processes):
        """Waits until the stream is well under way; when its first message arrived."""
        def has_settled():
            processes.check()
            return self.backend.message_count(session) >= SETTLED_MESSAGES
        await_condition('the stream', has_settled, STREAM_LIMIT, 0.05)
        return self.backend.messages(session)[0].arrival

    def measure_first_audio(self, candidate, session, began, processes):
        """ms from `began`, a moment ago, to the first message's arrival."""
        watch = NoiseWatch()
        first = self.await_stream(session, processes)
        self.results.add('first_audio', candidate, (first - began) / 1e6, watch.is_noisy())

    def measure_stream(self, candidate, processes, session):
        """What the candidate uses during so many seconds, and how old its sound arrives."""
        processes.check()
        age = (time.monotonic_ns() - self.backend.messages(session)[0].arrival) / 1e9
        time.sleep(max(STREAM_AGE - age, 0))
        watch = NoiseWatch()
        began = time.monotonic_ns()
        server_before = use_of({self._sound_server})
        before = use_of(processes.pids())
        time.sleep(self.seconds)
        after = use_of(processes.pids())
        server_after = use_of({self._sound_server})
        ended = time.monotonic_ns()
        is_noisy = watch.is_noisy()
        span = (ended - began) / 1e9

        def add(metric, number):
            self.results.add(metric, candidate, number, is_noisy)
        # Before the figures of use: a stream with gaps costs less, and says nothing.
        for metric, number in self._delays(session, began, ended).items():
            add(metric, number)
        add('cpu', growth(before.cpu, after.cpu) / span * 60)
        add('server_cpu', growth(server_before.cpu, server_after.cpu) / span * 60)
        add('wakeups_streaming', growth(before.wakeups, after.wakeups) / span)
        add('switches_streaming', growth(before.switches, after.switches) / span)
        self.measure_memory('pss_streaming', candidate, processes)

    def _delays(self, session, began, ended):
        messages = self.backend.messages(session)
        samples = self.backend.samples(session)
        first = next((index for index, message in enumerate(messages) if message.arrival >= began),
                     len(messages))
        window = [message for message in messages[first:] if message.arrival <= ended]
        frames = sum(message.bytes for message in window) // 2
        if abs(frames / delay.RATE - (ended - began) / 1e9) > 0.2:
            raise NotMeasured(f'{frames / delay.RATE:.2f} s of sound arrived in '
                              f'{(ended - began) / 1e9:.2f} s')
        start = sum(message.bytes for message in messages[:first]) // 2
        try:
            position = delay.locate(delay.find_clicks(samples[start:start + frames]),
                                    clicks.positions(), clicks.LOOP)
        except ValueError as error:
            raise NotMeasured(str(error)) from error
        ages = delay.ages([(message.bytes, message.arrival) for message in window], position,
                          clicks.LOOP, self._microphone.track_start())
        return {'delay_median': quantile(ages, 0.5), 'delay_p95': quantile(ages, 0.95),
                'delay_p99': quantile(ages, 0.99)}

    def measure_idle(self, candidate, processes, seconds):
        """How often the candidate is woken while nothing happens."""
        watch = NoiseWatch()
        before = use_of(processes.pids())
        time.sleep(seconds)
        after = use_of(processes.pids())
        is_noisy = watch.is_noisy()
        self.results.add('wakeups_idle', candidate,
                         growth(before.wakeups, after.wakeups) / seconds, is_noisy)
        self.results.add('switches_idle', candidate,
                         growth(before.switches, after.switches) / seconds, is_noisy)

    def measure_memory(self, metric, candidate, processes):
        try:
            self.results.add(metric, candidate, proportional_set_size(processes.pids()))
        except PermissionError:
            # A sandboxed process shows its memory to root only.
            self.results.fail(candidate, 'its memory may be looked at by root only')

    def measure_stop(self, candidate, session, stop):
        """Seconds from the command to the end of the stream at the server."""
        watch = NoiseWatch()
        began = time.monotonic()
        stop()
        await_condition('the end of the stream', lambda: self.backend.has_ended(session), 10, 0.002)
        self.results.add('stop', candidate, time.monotonic() - began, watch.is_noisy())

    def measure_exit(self, candidate, processes, stop):
        """Seconds from the command until all processes have gone."""
        watch = NoiseWatch()
        began = time.monotonic()
        stop()
        processes.await_end()
        self.results.add('exit', candidate, time.monotonic() - began, watch.is_noisy())
