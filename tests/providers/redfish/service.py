#!/usr/bin/env python3
"""A strict Redfish service for tests: one server with a BIOS, on 127.0.0.1, over TLS.

    service.py --cert FILE --key FILE [--user NAME] [--password TEXT] [--knob NAME[=VALUE]]...

Prints "PORT n" when it listens, and serves until it is ended, or nobody reads its output any more.
`--list-knobs` says what it can be made to do. Without authentication, tests ask `GET /test` for its
resources, requests and counts, and send `POST /test` with {"orders": [[NAME, ARGUMENT...], ...]}:

    ["knob", NAME, VALUE]      sets a knob; a value of false unsets it
    ["edit", PATH, PATCH]      merges into a resource; null removes it
    ["restart"]                restarts the system: what waits takes effect
    ["renew"]                  makes the service what it was at its start
    ["forget-requests"]        forgets the requests and counts
"""
import argparse
import gzip
import http.server
import json
import os
import select
import ssl
import sys
import threading
import time
from urllib.parse import urlsplit

from resources import KNOBS, Refused, Service

LONG = 600  # seconds; longer than any client waits


class Handler(http.server.BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"
    wbufsize = -1  # an answer leaves in one piece
    disable_nagle_algorithm = True
    timeout = 300
    counted = False

    def do_request(self):
        service = self.server.service
        self.rename(backwards=True)
        target = urlsplit(self.path)
        self.path, self.query = target.path.rstrip("/"), target.query
        self.content = self.rfile.read(int(self.headers.get("Content-Length", 0)))
        with service.lock:
            if self.path == "/test":
                return self.send(*self.guarded(service.for_test))
            self.note(target)
            if service.is_dead():
                self.close_connection = True
                return None
            failure = next((fail for knob, fail in self.FAILURES if self.hit(knob)), None)
            answer = None if failure else self.guarded(self.answer)
        if failure:
            return failure(self)
        self.log["status"] = answer[0]
        time.sleep(int(service.knobs.get("slow", 0)) / 1000)
        return self.send(*answer)

    do_GET = do_POST = do_PATCH = do_PUT = do_DELETE = do_request

    def rename(self, backwards=False):
        old, _, new = self.server.service.knobs.get("rename", "=").partition("=")
        if backwards and new:
            self.path = self.path.replace(new, old)
        return lambda text: text.replace(old, new) if new else text

    def note(self, target):
        way = "session" if "X-Auth-Token" in self.headers else "none"
        if "Authorization" in self.headers:
            way = "basic"
        line = f"{self.command} {target.path}" + (f"?{self.query}" if self.query else "")
        self.log = {"line": line, "authentication": way, "ifMatch": "If-Match" in self.headers,
                    "status": 0, "body": None}
        self.server.service.requests.append(self.log)
        self.server.service.connections += not self.counted
        self.counted = True

    def json(self):
        """The object in the body."""
        try:
            body = json.loads(self.content)
        except ValueError:
            body = None
        if not isinstance(body, dict) or self.headers.get_content_type() != "application/json":
            raise Refused(400, self.server.service.message("MalformedJSON"))
        return body

    def answer(self, _request):
        service = self.server.service
        if status := self.status_of_knob():
            raise Refused(status, service.message("InternalError"))
        for knob, status in (("busy", 503), ("limited", 429)):
            if service.count_down(knob):
                raise Refused(status, service.message("Busy"), headers={"Retry-After": "0"})
        return service.answer(self)

    def guarded(self, handler):
        try:
            return handler(self)
        except Refused as refusal:
            return refusal.status, {"error": {
                "code": refusal.messages[0]["MessageId"], "message": "See the messages.",
                "@Message.ExtendedInfo": list(refusal.messages)}}, refusal.headers

    def hit(self, knob, wanted=None):
        """Whether the knob is set for this request."""
        wanted = wanted or self.server.service.knobs.get(knob)
        if wanted is None:
            return False
        method, _, path = wanted.rpartition(" ")
        asked = self.path + (f"?{self.query}" if self.query else "")
        is_it = asked.startswith(path[:-1]) if path.endswith("*") else asked == path
        return is_it and method in ("", self.command)

    def status_of_knob(self):
        status, _, wanted = self.server.service.knobs.get("status", "").partition(" ")
        return int(status) if wanted and self.hit("status", wanted) else None

    # --- Failures that come instead of an answer: nothing has been done

    def stall(self):
        self.close_connection = True
        time.sleep(LONG)

    def send_garbage(self):
        self.send_bytes(200, {}, b'<html>\x00\xff{"Attributes": {')

    def send_flood(self):
        self.send_bytes(200, {}, b'["junk",' * (1024 * 1024 // 8))

    FAILURES = (("stall", stall), ("garbage", send_garbage), ("flood", send_flood))

    # --- Sending

    def send(self, status, content, headers):
        text = b"" if content is None else self.rename()(json.dumps(content)).encode()
        headers = {name: self.rename()(value) for name, value in headers.items()}
        if 300 <= status < 400:
            headers["Location"] = f"https://127.0.0.1:{self.server.server_port}/redfish/v1"
        if "gzip" in self.headers.get("Accept-Encoding", ""):
            text, headers["Content-Encoding"] = gzip.compress(text), "gzip"
        self.send_bytes(status, headers, text)

    def send_bytes(self, status, headers, content):
        self.send_response(status)
        headers["Content-Type"] = "application/json"
        for name, value in headers.items():
            self.send_header(name, value)
        if status != 204:
            self.send_header("Content-Length", str(len(content)))
        self.end_headers()
        cut = self.hit("close") or self.hit("stall-body")
        if status != 204:
            self.wfile.write(content[:len(content) // 2] if cut else content)
        self.wfile.flush()
        if cut:
            self.close_connection = True
            time.sleep(LONG if self.hit("stall-body") else 0)

    def log_message(self, *_args):
        pass


class Server(http.server.ThreadingHTTPServer):
    daemon_threads = True

    def handle_error(self, _request, _address):
        """A client that went away, or did not trust the certificate, is no fault of the service."""
        if not isinstance(sys.exc_info()[1], OSError):
            super().handle_error(_request, _address)


def listen(options):
    server = Server(("127.0.0.1", options.port), Handler)
    context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
    context.load_cert_chain(options.cert, options.key)
    # The handshake is left to each connection's own thread.
    server.socket = context.wrap_socket(server.socket, server_side=True,
                                        do_handshake_on_connect=False)
    server.service = Service(options.user, options.password)
    server.service.lock = threading.Lock()
    for knob in options.knob:
        server.service.set_knob(*(knob.split("=", 1) + [""])[:2])
    return server


def end_with_reader():
    """Ends with whoever reads the output, so that nobody forgets the service."""
    output = select.poll()
    output.register(sys.stdout, 0)
    output.poll()
    os._exit(0)


def main():
    parser = argparse.ArgumentParser(description="A strict Redfish service for tests.")
    parser.add_argument("--cert", help="the server's certificate, PEM")
    parser.add_argument("--key", help="its key, PEM")
    parser.add_argument("--port", type=int, default=0, help="a free one when not given")
    parser.add_argument("--user", default="admin")
    parser.add_argument("--password", default="redfish-password")
    parser.add_argument("--knob", action="append", default=[], metavar="NAME[=VALUE]")
    parser.add_argument("--list-knobs", action="store_true", help="list the knobs and end")
    options = parser.parse_args()
    if options.list_knobs:
        print("\n".join(f"{name:22}{text}" for name, text in KNOBS.items()))
        return
    server = listen(options)
    threading.Thread(target=end_with_reader, daemon=True).start()
    print("PORT", server.server_port, flush=True)
    server.serve_forever()


if __name__ == "__main__":
    main()
