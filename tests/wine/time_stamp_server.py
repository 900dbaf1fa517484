#!/usr/bin/env python3
"""A local RFC 3161 time-stamping server for the release test: answers each POSTed time-stamp
query with `openssl ts -reply` under the given configuration. Listens on 127.0.0.1 on a free
port, prints the port, and serves until it is ended.
    tests/wine/time_stamp_server.py OPENSSL_TS_CONFIG"""
import http.server
import subprocess
import sys
import tempfile


class TimeStamps(http.server.BaseHTTPRequestHandler):
    def do_POST(self):
        query = self.rfile.read(int(self.headers.get("Content-Length", 0)))
        with tempfile.NamedTemporaryFile() as file:
            file.write(query)
            file.flush()
            answer = subprocess.run(["openssl", "ts", "-reply", "-config", sys.argv[1], "-queryfile",
                                     file.name, "-out", "/dev/stdout"], capture_output=True)
        if answer.returncode != 0 or not answer.stdout:
            self.send_error(400, answer.stderr.decode(errors="replace")[:200])
            return
        self.send_response(200)
        self.send_header("Content-Type", "application/timestamp-reply")
        self.send_header("Content-Length", str(len(answer.stdout)))
        self.end_headers()
        self.wfile.write(answer.stdout)

    def log_message(self, *args):
        pass


server = http.server.HTTPServer(("127.0.0.1", 0), TimeStamps)
print(server.server_port, flush=True)
server.serve_forever()
