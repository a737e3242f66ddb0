#!/usr/bin/env python3
"""A strict Redfish service for tests: one server with a BIOS, on 127.0.0.1, over TLS.

    service.py --cert FILE --key FILE [--user NAME] [--password TEXT] [--knob NAME[=VALUE]]...

Prints "PORT n" when it listens, and serves until it is ended. `--list-knobs` says what can be made
odd or broken. Beside its resources it serves tests without authentication:

    GET  /test/requests        the requests that came in, in their order, never with credentials
    POST /test/reset-counts    forgets them
    GET  /test/state           current and waiting values, boot order, open sessions, connections
    POST /test/knob            {"name": ..., "value": ...} sets a knob; a value of false unsets it
    POST /test/reset           restarts the system: what waits takes effect
"""
import argparse
import gzip
import http.server
import json
import os
import pathlib
import ssl
import sys
import threading
import time
from urllib.parse import urlsplit

from bios import message
from resources import KNOBS, Answer, Refused, Service, error_body, find_route

JSON_TYPE = {"Content-Type": "application/json"}
LONG = 600  # seconds; longer than any client waits


class Handler(http.server.BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"
    wbufsize = -1  # an answer leaves in one piece
    disable_nagle_algorithm = True
    timeout = 300

    def setup(self):
        super().setup()
        self.service = self.server.service
        self.counted = False

    def do_request(self):
        target = urlsplit(self.path)
        self.path, self.query = target.path.rstrip("/"), target.query
        self.content = self.rfile.read(int(self.headers.get("Content-Length", 0)))
        self.log = {"method": self.command, "path": target.path, "query": target.query,
                    "authentication": self.authentication(), "ifMatch": "If-Match" in self.headers}
        with self.service.lock:
            self.note()
            failure = next((fail for knob, fail in self.FAILURES if self.hit(knob)), None)
            answer = None if failure else self.answer()
        if failure:
            failure(self)
        else:
            self.send(answer)

    do_GET = do_POST = do_PATCH = do_PUT = do_DELETE = do_request

    def for_test(self):
        return self.path.startswith("/test/")

    def note(self):
        if not self.for_test():
            self.service.requests.append(self.log)
            self.service.connections += not self.counted
            self.counted = True

    def authentication(self):
        if "X-Auth-Token" in self.headers:
            return "session"
        return "basic" if "Authorization" in self.headers else "none"

    def json(self):
        """The object in the body."""
        if self.headers.get_content_type() != "application/json":
            raise Refused(415, message("UnsupportedMediaType"))
        try:
            body = json.loads(self.content)
        except ValueError:
            body = None
        if not isinstance(body, dict):
            raise Refused(400, message("MalformedJSON"))
        return body

    def answer(self):
        """What the service says. Who asks is checked before anything is told."""
        service = self.service
        handler, parts, audience = find_route(service, self.command, self.path)
        try:
            if audience == "user":
                service.authenticate(self.headers)
            expands = "expand" in service.knobs and self.query.startswith("$expand=.")
            if self.query and not expands:
                raise Refused(501, message("QueryNotSupported"))
            answer = handler(service, self, *parts)
        except Refused as refusal:
            answer = Answer(error_body(refusal.messages), refusal.status, refusal.headers)
        self.log["status"] = answer.status
        return answer

    def hit(self, knob):
        return self.service.matches(knob, self.command, self.path)

    # --- Failures that come instead of an answer: nothing has been done

    def stall(self):
        self.close_connection = True
        time.sleep(LONG)

    def send_error_500(self):
        self.send(Answer(error_body([message("InternalError")]), 500))

    def send_redirect(self):
        address = f"https://127.0.0.1:{self.server.server_port}/redfish/v1/Elsewhere"
        self.send(Answer({}, 302, {"Location": address}))

    def send_garbage(self):
        self.send_bytes(200, JSON_TYPE, b'<html>\x00\xff{"Attributes": {')

    def send_flood(self):
        self.send_bytes(200, JSON_TYPE, b'["junk",' * (10 * 1024 * 1024 // 8))

    FAILURES = (("stall", stall), ("error", send_error_500), ("redirect", send_redirect),
                ("garbage", send_garbage), ("flood", send_flood))

    # --- Sending

    def send(self, answer):
        content, headers = answer.content, answer.headers
        if answer.compress and self.wants_gzip():
            content, headers["Content-Encoding"] = gzip.compress(content), "gzip"
        if "slow" in self.service.knobs and not self.for_test():
            time.sleep(int(self.service.knobs["slow"]) / 1000)
        self.send_bytes(answer.status, headers, content)

    def wants_gzip(self):
        asked = "gzip" in self.headers.get("Accept-Encoding", "")
        return asked or self.service.knobs.get("gzip") == "always"

    def send_bytes(self, status, headers, content):
        self.send_response(status)
        self.send_header("OData-Version", "4.0")
        self.send_header("Cache-Control", "no-store")
        for name, value in headers.items():
            self.send_header(name, value)
        if status != 204:
            self.send_header("Content-Length", str(len(content)))
        self.end_headers()
        cut = self.hit("close") or self.hit("stall-body")
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


def listen(options, service):
    server = Server(("127.0.0.1", options.port), Handler)
    context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
    context.load_cert_chain(options.cert, options.key)
    # The handshake is left to each connection's own thread.
    server.socket = context.wrap_socket(server.socket, server_side=True,
                                        do_handshake_on_connect=False)
    server.service = service
    return server


def parse(arguments):
    parser = argparse.ArgumentParser(description="A strict Redfish service for tests.")
    parser.add_argument("--cert", help="the server's certificate, PEM")
    parser.add_argument("--key", help="its key, PEM")
    parser.add_argument("--port", type=int, default=0, help="a free one when not given")
    parser.add_argument("--user", default="admin")
    parser.add_argument("--password", default="redfish-password")
    parser.add_argument("--knob", action="append", default=[], metavar="NAME[=VALUE]")
    parser.add_argument("--end-with-stdin", action="store_true",
                        help="end when the standard input does, so that nobody forgets the service")
    parser.add_argument("--list-knobs", action="store_true", help="list the knobs and end")
    options = parser.parse_args(arguments)
    for knob in options.knob:
        if knob.partition("=")[0] not in KNOBS:
            parser.error(f"there is no knob {knob}; --list-knobs lists them")
    return options


def end_with_stdin():
    sys.stdin.buffer.read()
    os._exit(0)


def main():
    options = parse(sys.argv[1:])
    if options.list_knobs:
        print("\n".join(f"{name:22}{text}" for name, text in KNOBS.items()))
        return
    data = pathlib.Path(__file__).with_name("attributes.json").read_text(encoding="utf-8")
    server = listen(options, Service(options, json.loads(data)))
    if options.end_with_stdin:
        threading.Thread(target=end_with_stdin, daemon=True).start()
    print("PORT", server.server_port, flush=True)
    server.serve_forever()


if __name__ == "__main__":
    main()
