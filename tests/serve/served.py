"""Runs `appletctl serve` on a free loopback port for a test and stops it."""
import json
import os
import re
import signal
import subprocess
import tempfile
import urllib.parse
import http.client


class Served:
    def __init__(self, appletctl):
        self.directory = tempfile.mkdtemp(prefix="serve-files-")
        self.proc = subprocess.Popen([appletctl, "serve", "--listen", "127.0.0.1:0", "--dir", self.directory],
                                     stdout=subprocess.PIPE, text=True)
        self.url = None
        for line in self.proc.stdout:
            m = re.search(r"http://\S+", line)
            if m:
                self.url = m.group(0)
                break
        if not self.url:
            self.proc.kill()
            raise RuntimeError("appletctl serve printed no address")
        u = urllib.parse.urlsplit(self.url)
        self.port = u.port
        self.token = urllib.parse.parse_qs(u.query)["token"][0]

    def request(self, method, path, body=None, headers=None, token=True):
        """(status, parsed JSON or raw bytes, response headers)."""
        h = {"Host": "127.0.0.1:%d" % self.port}
        if token:
            h["X-Token"] = self.token
        h.update(headers or {})
        c = http.client.HTTPConnection("127.0.0.1", self.port, timeout=30)
        data = body if isinstance(body, (bytes, type(None))) else json.dumps(body).encode()
        c.request(method, path, body=data, headers=h)
        r = c.getresponse()
        raw = r.read()
        c.close()
        kind = r.getheader("Content-Type") or ""
        return r.status, (json.loads(raw) if kind.startswith("application/json") else raw), dict(r.getheaders())

    def post(self, path, body):
        return self.request("POST", path, body)[1]

    def stop(self):
        """Stops the server as Ctrl-C does; its exit status."""
        self.proc.send_signal(signal.SIGINT)
        try:
            rc = self.proc.wait(timeout=30)
        except subprocess.TimeoutExpired:
            self.proc.kill()
            rc = self.proc.wait()
        self.proc.stdout.close()
        return rc


def expected_vertical_column(height, sim_height, y_offset=0, picture=1):
    """Column of the simulator's vertical pattern (roll off, offset 0) on an
    8-bit camera through the identity table, as gray 8: the line counter of
    the stream modulo the generated frame, modulo 256."""
    first = (picture - 1) * (y_offset + height) + y_offset
    return [((first + r) % sim_height) % 256 for r in range(height)]
