"""A browser that streams: what companions made of web technology are."""

import os
import time

from backend import await_condition
from clients import require_program
from desktop import IDLE_SECONDS, SETTLING
from page import PageServer
from stage import Processes

# No permission to ask, nothing of its own to do in the background, and painting by the processor: a
# graphics card that is not there would be imitated, at a much greater cost.
OPTIONS = ['--use-fake-ui-for-media-stream', '--autoplay-policy=no-user-gesture-required',
           '--disable-gpu', '--no-first-run', '--no-default-browser-check', '--password-store=basic',
           '--disable-background-networking', '--disable-component-update', '--disable-sync',
           '--disable-extensions', '--window-size=320,300']


class Chromium:
    key = 'chromium'
    keys = ['chromium', 'chromium_meter']

    def measure(self, stage):
        require_program('chromium')
        page = PageServer()
        home = stage.folder / 'browser'
        home.mkdir(exist_ok=True)
        # Its sandbox refuses to work for root.
        sandbox = ['--no-sandbox'] if os.geteuid() == 0 else []
        command = ['chromium', *OPTIONS, *sandbox, f'--user-data-dir={home / "profile"}',
                   f'--app={page.url}']
        session = stage.backend.new_session()
        try:
            with Processes([command], stage.log(self.key), {'HOME': str(home)}) as processes:
                await_condition('the page', lambda: 'ready' in page.notes, 30, 0.05)
                self._measure(stage, page, processes, session)
        finally:
            page.stop()
            stage.backend.end_session(session)

    def _measure(self, stage, page, processes, session):
        time.sleep(SETTLING)
        stage.measure_memory('pss_idle', self.key, processes)
        stage.measure_idle(self.key, processes, IDLE_SECONDS)
        began = time.monotonic_ns()
        page.tell(f'start {stage.backend.url.replace("http", "ws")}/tandrel-stream'
                  f'?token={session.token}')
        stage.measure_first_audio(self.key, session, began, processes)
        stage.measure_stream(self.key, processes, session)
        page.tell('meter')
        # Nothing tells that the meter moves; what its start costs is not a meter's use.
        time.sleep(0.5)
        stage.measure_stream('chromium_meter', processes, session)
        stage.measure_stop(self.key, session, lambda: page.tell('stop'))
        stage.measure_exit(self.key, processes, processes.ask_to_end)
