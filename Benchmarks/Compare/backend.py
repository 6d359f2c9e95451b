"""The development backend as the sink of every stream: it stamps each message when it arrives."""

import array
import csv
import http.client
import io
import json
import os
import re
import shutil
import subprocess
import time
import wave
from dataclasses import dataclass

EMAIL = 'meter@quorvane.example'
PASSWORD = 'meter'


class NotMeasured(Exception):
    """Why a figure is missing, for people."""


def await_condition(what, condition, limit, interval=0.01):
    """Waits until the condition holds, and returns what it returned."""
    end = time.monotonic() + limit
    while True:
        outcome = condition()
        if outcome:
            return outcome
        if time.monotonic() > end:
            raise NotMeasured(f'{what}: not within {limit} s')
        time.sleep(interval)


@dataclass(frozen=True)
class Session:
    id: str
    token: str


@dataclass(frozen=True)
class Message:
    bytes: int
    # CLOCK_MONOTONIC, as time.monotonic_ns().
    arrival: int


def copy_libraries(programs, folder, is_copied):
    """Copies libraries that the programs load, for them alone, and returns the variables by which they
    find them: pages that several programs share count only in part for each."""
    folder.mkdir()
    for program in programs:
        listing = subprocess.run(['ldd', program], capture_output=True, text=True, check=True).stdout
        for path in re.findall(r'=> (/\S+)', listing):
            name = os.path.basename(path)
            if is_copied(name) and not (folder / name).exists():
                shutil.copy(path, folder)
    return {'LD_LIBRARY_PATH': str(folder)}


class Backend:
    def __init__(self, binaries, folder):
        def is_own(library):
            # Every process has the C library.
            return not library.startswith(('libc.so', 'ld-linux'))

        program = str(binaries / 'quorvane-tandrel-dev-backend')
        log = folder / 'backend.log'
        with open(log, 'w', encoding='utf-8') as output:
            self._process = subprocess.Popen(
                [program, '--port', '0', '--quiet', '--account', f'{EMAIL}:{PASSWORD}',
                 '--output', str(folder / 'received')],
                stdout=output, stderr=output,
                env=os.environ | copy_libraries([program], folder / 'backend-libraries', is_own))
        address = await_condition(
            'the backend', lambda: re.search(r'listening on http://127.0.0.1:(\d+)\n',
                                             log.read_text()), 10)
        self.port = int(address[1])
        self.url = f'http://127.0.0.1:{self.port}'

    def stop(self):
        self._process.terminate()
        self._process.wait()

    def _ask(self, method, path):
        connection = http.client.HTTPConnection('127.0.0.1', self.port, timeout=10)
        try:
            connection.request(method, path, body='{}' if method == 'POST' else None,
                               headers={'Content-Type': 'application/json'})
            answer = connection.getresponse()
            body = answer.read()
        finally:
            connection.close()
        if answer.status >= 300:
            raise NotMeasured(f'the backend answered {answer.status} to {path}')
        return body

    def new_session(self):
        described = json.loads(self._ask('POST', '/dev/sessions'))
        return Session(described['session_id'], described['token'])

    def end_session(self, session):
        self._ask('POST', f'/dev/sessions/{session.id}/end')

    def polls(self):
        """How often a client has asked for a session."""
        return json.loads(self._ask('GET', '/dev/status'))['requests']['pending']

    def message_count(self, session):
        audio = json.loads(self._ask('GET', f'/dev/sessions/{session.id}')).get('audio') or {}
        return audio.get('messages', 0)

    def has_ended(self, session):
        """Whether the session's stream has been open and is no more."""
        return json.loads(self._ask('GET', f'/dev/sessions/{session.id}')).get('last_end') is not None

    def messages(self, session):
        text = self._ask('GET', f'/dev/sessions/{session.id}/messages.csv').decode()
        return [Message(int(line['bytes']), int(line['monotonic_ns']))
                for line in csv.DictReader(io.StringIO(text))]

    def samples(self, session):
        with wave.open(io.BytesIO(self._ask('GET', f'/dev/sessions/{session.id}/audio.wav'))) as file:
            return array.array('h', file.readframes(file.getnframes()))
