"""The private desktop's mouse, keyboard and windows, and the candidates that live on it."""

import subprocess
import time
from pathlib import Path

from backend import EMAIL, PASSWORD, NotMeasured, await_condition
from clients import StreamClient
from stage import DEVICE, Processes

SCRIPTS = Path(__file__).resolve().parent.parent.parent / 'scripts'
# A narrower window of a tray program is its icon.
LEAST_POPOVER_WIDTH = 200
# Longer than a second click is ignored after a first one, and until a popover stands.
AFTER_CLICK = 0.6
# What a start leaves to be done later is done by then.
SETTLING = 2.5
IDLE_SECONDS = 2.2
# Of what the keyring is given at a sign-in.
LAST_KEPT = 'quorvane-user-id'
# After the answer of a poll, which is waited for, until nothing of it is left to do.
AFTER_POLL = 0.3


def _output(*command):
    return subprocess.run(command, capture_output=True, text=True, check=False).stdout


def icon_place():
    """The middle of the one icon in the panel, empty while there is none."""
    return _output('bash', '-c', f'. "{SCRIPTS}/private-desktop.bash"; private_icon').split()


def click_icon():
    x, y = await_condition('the icon in the panel', icon_place, 10, 0.05)
    subprocess.run(['xdotool', 'mousemove', x, y, 'click', '1'], check=True)
    time.sleep(AFTER_CLICK)


def type_text(text):
    subprocess.run(['xdotool', 'type', '--delay', '5', text], check=True)


def press(key):
    subprocess.run(['xdotool', 'key', key], check=True)


def keeps(account):
    """Whether the keyring has a secret of ours under this name."""
    return bool(_output('secret-tool', 'lookup', 'service', 'TandrelStatusBar', 'account', account))


def has_popover(processes):
    """Whether a window of the processes is to be seen."""
    for pid in processes.pids():
        for window in _output('xdotool', 'search', '--onlyvisible', '--pid', str(pid)).split():
            geometry = dict(line.split('=') for line in
                            _output('xdotool', 'getwindowgeometry', '--shell', window).split())
            if int(geometry.get('WIDTH', 0)) >= LEAST_POPOVER_WIDTH:
                return True
    return False


def expect_popover(processes, is_open):
    await_condition('the popover' if is_open else 'the closing of the popover',
                    lambda: has_popover(processes) == is_open, 5, 0.05)


def open_popover(processes):
    click_icon()
    expect_popover(processes, True)


def close_popover(processes):
    press('Escape')
    expect_popover(processes, False)
    time.sleep(AFTER_CLICK)


class BareTray:
    key = 'bare_tray'
    keys = ['bare_tray']

    def measure(self, stage):
        command = [str(stage.binaries / 'quorvane-tandrel-bare-tray')]
        with Processes([command], stage.log(self.key), stage.qt_alone) as processes:
            await_condition('the icon', icon_place, 10, 0.05)
            time.sleep(SETTLING)
            stage.measure_memory('pss_idle', self.key, processes)
            stage.measure_idle(self.key, processes, IDLE_SECONDS)
            open_popover(processes)
            close_popover(processes)
            stage.measure_memory('pss_opened', self.key, processes)
            stage.measure_exit(self.key, processes, processes.ask_to_end)


class BareStreamer(StreamClient):
    """Like ours it has had its popover open once when it is measured."""

    def __init__(self, key, has_meter=False):
        super().__init__(key)
        self._has_meter = has_meter

    def commands(self, stage, session):
        self.environment = stage.qt_alone
        return [[str(stage.binaries / 'quorvane-tandrel-bare-streamer'), '--port',
                 str(stage.backend.port), '--token', session.token, '--device', DEVICE]]

    def prepare(self, processes):
        open_popover(processes)
        if not self._has_meter:
            close_popover(processes)


class App:
    """Our program, signed in, as its user has it: waiting, streaming with the popover closed, then
    open."""

    key = 'ours'
    keys = ['ours', 'ours_meter']

    def __init__(self):
        self._is_signed_in = False

    def measure(self, stage):
        home = stage.folder / 'home'
        environment = stage.qt_alone | {
            'TANDREL_TEST_ADDRESS': stage.backend.url, 'HOME': str(home),
            'XDG_CONFIG_HOME': str(home / 'config'), 'XDG_STATE_HOME': str(home / 'state'),
            'XDG_CACHE_HOME': str(home / 'cache'), 'XDG_DATA_HOME': str(home / 'data')}
        home.mkdir(exist_ok=True)
        program = str(stage.binaries / 'quorvane-tandrel-under-test')

        def hand_over(option):
            """As the web app's link does: by a second start."""
            with Processes([[program, option]], stage.log('ours-command'), environment) as second:
                second.await_end()

        if not self._is_signed_in:
            with Processes([[program]], stage.log('ours-sign-in'), environment) as processes:
                self._sign_in(stage, processes)
                hand_over('--quit')
                processes.await_end()
            self._is_signed_in = True
        with Processes([[program]], stage.log(self.key), environment) as processes:
            self._measure_waiting(stage, processes)
            session = self._find_session(stage)
            try:
                self._measure_stream(stage, processes, session, hand_over)
            finally:
                stage.backend.end_session(session)
            # Polling goes on 2 s after a stream, as it may at every other time.
            stage.measure_exit(self.key, processes, lambda: hand_over('--quit'))

    @staticmethod
    def _sign_in(stage, processes):
        open_popover(processes)
        type_text(EMAIL)
        press('Tab')
        type_text(PASSWORD)
        press('Return')
        await_condition('the sign-in', lambda: stage.backend.polls() > 0, 10, 0.05)
        # In the background, one after the other; the next start wants them.
        await_condition('the sign-in in the keyring', lambda: keeps(LAST_KEPT), 10, 0.05)

    def _measure_waiting(self, stage, processes):
        await_condition('the icon', icon_place, 10, 0.05)
        time.sleep(SETTLING)
        stage.measure_memory('pss_idle', self.key, processes)
        # The first opening restores the sign-in, and begins to poll.
        open_popover(processes)
        self._await_poll(stage)
        close_popover(processes)
        self._await_poll(stage)
        time.sleep(AFTER_POLL)
        polls = stage.backend.polls()
        stage.measure_idle(self.key, processes, IDLE_SECONDS)
        if stage.backend.polls() != polls:
            raise NotMeasured('a poll came while there should have been none')
        stage.measure_memory('pss_opened', self.key, processes)

    @staticmethod
    def _await_poll(stage):
        polls = stage.backend.polls()
        await_condition('a poll', lambda: stage.backend.polls() > polls, 10, 0.02)

    def _find_session(self, stage):
        session = stage.backend.new_session()
        self._await_poll(stage)
        time.sleep(AFTER_POLL)
        return session

    def _measure_stream(self, stage, processes, session, hand_over):
        began = time.monotonic_ns()
        hand_over('--start')
        stage.measure_first_audio(self.key, session, began, processes)
        # The start command has opened the popover.
        expect_popover(processes, True)
        close_popover(processes)
        stage.measure_stream(self.key, processes, session)
        open_popover(processes)
        stage.measure_stream('ours_meter', processes, session)
        stage.measure_stop(self.key, session, lambda: hand_over('--stop'))
