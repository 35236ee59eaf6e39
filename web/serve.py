#!/usr/bin/python3
"""Serves a folder on the loopback address until Ctrl-C, as a web server would: serve.py FOLDER PORT."""

import functools
import http.server
import sys


class Handler(http.server.SimpleHTTPRequestHandler):
    extensions_map = {
        **http.server.SimpleHTTPRequestHandler.extensions_map,
        ".js": "text/javascript",
        ".wasm": "application/wasm",
    }

    def end_headers(self):
        self.send_header("Cache-Control", "no-cache")
        super().end_headers()


folder, port = sys.argv[1], int(sys.argv[2])
server = http.server.ThreadingHTTPServer(
    ("127.0.0.1", port), functools.partial(Handler, directory=folder))
print(f"http://localhost:{server.server_port}/", flush=True)
try:
    server.serve_forever()
except KeyboardInterrupt:
    pass
