"""Serves the page that streams from a browser, and tells it what to do (server-sent events)."""

import http.server
import queue
import threading
from pathlib import Path

PAGE = Path(__file__).resolve().parent.parent / 'Peers' / 'WebPage'
TYPES = {'.html': 'text/html', '.js': 'text/javascript'}


class PageServer:
    def __init__(self):
        self._commands = queue.Queue()
        self.notes = []
        outer = self

        class Handler(http.server.BaseHTTPRequestHandler):
            def do_GET(self):
                outer._get(self)

            def do_POST(self):
                length = int(self.headers.get('Content-Length', 0))
                outer.notes.append(self.rfile.read(length).decode())
                self.send_response(204)
                self.end_headers()

            def log_message(self, format, *args):
                """Requests are not worth a line."""

        self._server = http.server.ThreadingHTTPServer(('127.0.0.1', 0), Handler)
        self._server.daemon_threads = True
        threading.Thread(target=self._server.serve_forever, daemon=True).start()
        self.url = f'http://127.0.0.1:{self._server.server_port}/'

    def tell(self, command):
        self._commands.put(command)

    def stop(self):
        self._commands.put(None)
        self._server.shutdown()
        self._server.server_close()

    def _get(self, request):
        if request.path == '/commands':
            self._send_commands(request)
            return
        # Only the files themselves are named by the page.
        file = PAGE / Path(request.path.partition('?')[0]).name if request.path != '/' \
            else PAGE / 'index.html'
        if not file.is_file():
            request.send_error(404)
            return
        body = file.read_bytes()
        request.send_response(200)
        request.send_header('Content-Type', TYPES.get(file.suffix, 'text/plain'))
        request.send_header('Content-Length', str(len(body)))
        request.end_headers()
        request.wfile.write(body)

    def _send_commands(self, request):
        request.send_response(200)
        request.send_header('Content-Type', 'text/event-stream')
        request.end_headers()
        while (command := self._commands.get()) is not None:
            request.wfile.write(f'data: {command}\n\n'.encode())
            request.wfile.flush()
