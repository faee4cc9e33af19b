# SPDX-License-Identifier: BSD-2-Clause-Patent
"""A web server for machines that boot from the network."""

import functools
import threading
from contextlib import contextmanager
from http.server import SimpleHTTPRequestHandler, ThreadingHTTPServer

# The host's loopback address, as machines on QEMU's own network see it.
_HOST = "10.0.2.2"


class _Quiet(SimpleHTTPRequestHandler):
    def log_message(self, *_):
        pass


@contextmanager
def web_server(folder):
    """Serves a folder on the loopback address while its block runs; gives the address for a machine."""
    with ThreadingHTTPServer(("127.0.0.1", 0), functools.partial(_Quiet, directory=folder)) as server:
        thread = threading.Thread(target=server.serve_forever)
        thread.start()
        try:
            yield f"http://{_HOST}:{server.server_port}"
        finally:
            server.shutdown()
            thread.join()
