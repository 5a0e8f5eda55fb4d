#!/usr/bin/env python3
"""A small HTTP server on 127.0.0.1 for the network tests and the update benchmark.

Usage: feed_server.py FEED_FOLDER [CERT KEY]
Prints "PORT" (and, with a certificate, "PORT TLS_PORT") on one line once listening.

Paths:
  /feed/NAME            a file of FEED_FOLDER with Content-Length
  /feed-nolength/NAME   the same without Content-Length (the body ends at close)
  /copy/N/NAME          /feed/NAME under another address, so one document can
                        stand for many feeds
  /feed-cut/N/NAME      the first N bytes of the file, without Content-Length
  /feed-short/N/NAME    the whole file, with a Content-Length of only N
  /typed/CHARSET/NAME   the file with "charset=CHARSET" in its Content-Type
  /bytes/N              N bytes of a known pattern, with Content-Length
  /bytes-nolength/N     the same without Content-Length
  /longer/N/M           announces N bytes and writes M
  /cut/N/M              announces N bytes, writes M < N and closes
  /agent                the request's User-Agent as the body
  /requests             every request line received so far, one a line
  /status500            a 500 with a body
  /redirect/PATH        302 to /PATH
  /slow/MS/NAME         /feed/NAME after a wait of MS milliseconds
  /delay/MS             from now on every /feed/ and /copy/ answer waits MS
                        milliseconds first (0 ends it)
  /hold                 from now on every /feed/, /copy/ and /slow/ answer waits
                        for /release (at most a minute), so that a test sees what
                        the program shows while it waits, however slow the machine
  /release              lets every held answer go and ends the hold
  /stall                reads the request and never answers
  /stall-body/N         announces N bytes, writes half, then never writes again
"""
import http.server
import os
import socketserver
import ssl
import sys
import threading
import time


def pattern(n):
    block = bytes(range(256))
    return (block * (n // 256 + 1))[:n]


requests_seen = []
feed_delay = [0.0]
answers_free = threading.Event()
answers_free.set()


class Handler(http.server.BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"
    feed_folder = "."

    def do_HEAD(self):
        requests_seen.append("HEAD " + self.path)
        self.send_response(405)
        self.send_header("Content-Length", "0")
        self.end_headers()

    def log_message(self, format, *args):
        pass

    def send_body(self, body, length=None, status=200, close=False, content_type="application/xml"):
        self.send_response(status)
        self.send_header("Content-Type", content_type)
        if length is not None:
            self.send_header("Content-Length", str(length))
        if close or length is None:
            self.send_header("Connection", "close")
            self.close_connection = True
        self.end_headers()
        try:
            self.wfile.write(body)
            self.wfile.flush()
        except (BrokenPipeError, ConnectionResetError):
            pass

    def read_feed(self, name):
        path = os.path.join(self.feed_folder, os.path.basename(name))
        try:
            with open(path, "rb") as f:
                return f.read()
        except OSError:
            return None

    def do_GET(self):
        parts = self.path.lstrip("/").split("/")
        kind = parts[0]
        if kind != "requests":
            requests_seen.append("GET " + self.path)
        if kind == "requests":
            body = "".join(line + "\n" for line in requests_seen).encode()
            self.send_body(body, len(body))
        elif kind in ("feed", "feed-nolength", "copy", "slow"):
            answers_free.wait(60)
            time.sleep(int(parts[1]) / 1000 if kind == "slow" else feed_delay[0])
            body = self.read_feed(parts[-1])
            if body is None:
                self.send_body(b"not found", 9, status=404)
            elif kind == "feed-nolength":
                self.send_body(body, None)
            else:
                self.send_body(body, len(body))
        elif kind == "typed":
            body = self.read_feed(parts[-1]) or b""
            self.send_body(body, len(body), content_type="application/rss+xml; charset=" + parts[1])
        elif kind in ("feed-cut", "feed-short"):
            body = self.read_feed(parts[-1]) or b""
            n = int(parts[1])
            if kind == "feed-cut":
                self.send_body(body[:n], None)
            else:
                self.send_body(body, n, close=True)
        elif kind == "bytes":
            n = int(parts[1])
            self.send_body(pattern(n), n)
        elif kind == "bytes-nolength":
            self.send_body(pattern(int(parts[1])), None)
        elif kind == "longer":
            self.send_body(pattern(int(parts[2])), int(parts[1]), close=True)
        elif kind == "cut":
            self.send_body(pattern(int(parts[2])), int(parts[1]), close=True)
        elif kind == "delay":
            feed_delay[0] = int(parts[1]) / 1000
            self.send_body(b"", 0)
        elif kind in ("hold", "release"):
            answers_free.clear() if kind == "hold" else answers_free.set()
            self.send_body(b"", 0)
        elif kind == "agent":
            body = self.headers.get("User-Agent", "").encode()
            self.send_body(body, len(body))
        elif kind == "status500":
            body = b"<html><body>Internal error</body></html>"
            self.send_body(body, len(body), status=500)
        elif kind == "redirect":
            self.send_response(302)
            self.send_header("Location", "/" + "/".join(parts[1:]))
            self.send_header("Content-Length", "0")
            self.end_headers()
        elif kind == "stall":
            time.sleep(3600)
        elif kind == "stall-body":
            n = int(parts[1])
            self.send_response(200)
            self.send_header("Content-Length", str(n))
            self.end_headers()
            self.wfile.write(pattern(n // 2))
            self.wfile.flush()
            time.sleep(3600)
        elif kind == "trickle":
            # N bytes, one each MS milliseconds: never silent, never done.
            n, ms = int(parts[1]), int(parts[2])
            self.send_response(200)
            self.send_header("Content-Length", str(n))
            self.end_headers()
            try:
                for b in pattern(n):
                    self.wfile.write(bytes([b]))
                    self.wfile.flush()
                    time.sleep(ms / 1000)
            except (BrokenPipeError, ConnectionResetError):
                pass
        elif kind == "declared":
            # Declares N bytes and sends a few, then waits for the client to go.
            self.send_response(200)
            self.send_header("Content-Length", parts[1])
            self.end_headers()
            try:
                self.wfile.write(pattern(16))
                self.wfile.flush()
                time.sleep(60)
            except (BrokenPipeError, ConnectionResetError):
                pass
        else:
            self.send_body(b"not found", 9, status=404)


class Server(socketserver.ThreadingMixIn, http.server.HTTPServer):
    daemon_threads = True
    request_queue_size = 256


def main():
    Handler.feed_folder = sys.argv[1] if len(sys.argv) > 1 else "."
    server = Server(("127.0.0.1", 0), Handler)
    ports = [str(server.server_address[1])]
    if len(sys.argv) > 3:
        tls = Server(("127.0.0.1", 0), Handler)
        context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        context.load_cert_chain(sys.argv[2], sys.argv[3])
        tls.socket = context.wrap_socket(tls.socket, server_side=True)
        ports.append(str(tls.server_address[1]))
        threading.Thread(target=tls.serve_forever, daemon=True).start()
    print(" ".join(ports), flush=True)
    # A test program that stops on an assertion can't stop its server: leave with
    # the parent.
    parent = os.getppid()

    def watch_parent():
        while os.getppid() == parent:
            time.sleep(0.5)
        os._exit(0)

    threading.Thread(target=watch_parent, daemon=True).start()
    server.serve_forever()


if __name__ == "__main__":
    main()
