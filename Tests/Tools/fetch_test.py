#!/usr/bin/env python3
"""fetch_test.py QZ: downloads with the program, from servers that fail and from nginx, and ends it as people do."""

import contextlib
import hashlib
import http.server
import json
import os
import pathlib
import random
import signal
import socket
import subprocess
import sys
import tempfile
import threading
import time
import unittest
import zipfile

QZ = sys.argv.pop(1)
BODY = random.Random(7).randbytes(3_000_000)
HALF = len(BODY) // 2


class Handler(http.server.BaseHTTPRequestHandler):
    """/whole serves the file with its ranges; /half ends in the middle, /slow goes silent there."""

    protocol_version = "HTTP/1.1"

    def do_GET(self):
        self.server.asked.append((self.path, self.headers.get("Range")))
        if self.path in ("/missing", "/empty"):
            self.send_response(404 if self.path == "/missing" else 200)
            self.send_header("Content-Length", "0")
            self.end_headers()
            return
        first = 0
        if self.headers.get("Range") and self.headers.get("If-Range") == '"v1"':
            first = int(self.headers["Range"].removeprefix("bytes=").removesuffix("-"))
        self.send_response(206 if first else 200)
        if first:
            self.send_header("Content-Range", f"bytes {first}-{len(BODY) - 1}/{len(BODY)}")
        self.send_header("ETag", '"v1"')
        self.send_header("Content-Length", str(len(BODY) - first))
        self.end_headers()
        with contextlib.suppress(OSError):
            self.wfile.write(BODY[first:len(BODY) if self.path == "/whole" else HALF])
            self.wfile.flush()
            if self.path == "/slow":
                self.server.ending.wait()
        self.close_connection = True

    def log_message(self, *arguments):
        pass


@contextlib.contextmanager
def faulty_server():
    server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Handler)
    server.asked, server.ending = [], threading.Event()
    thread = threading.Thread(target=server.serve_forever)
    thread.start()
    try:
        yield server, f"http://127.0.0.1:{server.server_port}"
    finally:
        server.ending.set()
        server.shutdown()
        thread.join()
        server.server_close()


@contextlib.contextmanager
def nginx(directory):
    """Plain on one port, HTTP/2 with TLS on the other."""
    ports = []
    for _ in range(2):
        with socket.socket() as probe:
            probe.bind(("127.0.0.1", 0))
            ports.append(probe.getsockname()[1])
    subprocess.run(["openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "2", "-subj", "/CN=localhost",
                    "-addext", "subjectAltName=DNS:localhost", "-keyout", directory / "key", "-out",
                    directory / "certificate"], check=True, capture_output=True)
    (directory / "www").mkdir()
    (directory / "www" / "file").write_bytes(BODY)
    directory.chmod(0o755)
    (directory / "conf").write_text(f"""
        daemon off; worker_processes 1; pid {directory}/pid; error_log {directory}/error.log;
        {"user root;" if os.geteuid() == 0 else ""}
        events {{ }}
        http {{
            access_log off; client_body_temp_path {directory}; proxy_temp_path {directory};
            fastcgi_temp_path {directory}; uwsgi_temp_path {directory}; scgi_temp_path {directory};
            server {{
                listen 127.0.0.1:{ports[0]}; listen 127.0.0.1:{ports[1]} ssl http2; root {directory}/www;
                ssl_certificate {directory}/certificate; ssl_certificate_key {directory}/key;
            }}
        }}""")
    process = subprocess.Popen(["nginx", "-p", directory, "-c", directory / "conf"], stderr=subprocess.DEVNULL)
    try:
        while process.poll() is None:
            with contextlib.suppress(OSError), socket.create_connection(("127.0.0.1", ports[1])):
                break
        yield f"http://localhost:{ports[0]}/file", f"https://localhost:{ports[1]}/file"
    finally:
        process.terminate()
        process.wait()


class Fetch(unittest.TestCase):
    def setUp(self):
        self.scratch = tempfile.TemporaryDirectory()
        self.directory = pathlib.Path(self.scratch.name)
        self.file = self.directory / "shelf" / "issue.zip"
        self.record = pathlib.Path(f"{self.file}.resumeData")
        self.partials = self.directory / "cache/QZUtils/Downloads"
        self.environment = os.environ | {"XDG_CACHE_HOME": str(self.directory / "cache"), "no_proxy": "*"}

    def tearDown(self):
        self.scratch.cleanup()

    def start(self, *arguments):
        return subprocess.Popen([QZ, "fetch", "--quiet", *arguments], stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True,
                                env=self.environment, cwd=self.directory)

    def fetch(self, *arguments, status=0):
        """What it printed: the output when it succeeded, its one line of error otherwise."""
        process = self.start("-o", self.file, *arguments)
        output, errors = process.communicate()
        self.assertEqual(process.returncode, status, errors)
        self.assertEqual(errors.count("\n"), 1 if status else 0, errors)
        return errors if status else output

    def expect_file(self, file=None):
        self.assertEqual(hashlib.sha256((file or self.file).read_bytes()).digest(), hashlib.sha256(BODY).digest())
        self.assertFalse(self.record.exists())
        self.assertEqual(list(self.partials.iterdir()), [])

    def test_goes_on_with_the_next_mirror_at_the_byte_where_one_stopped(self):
        with faulty_server() as (server, url):
            said = json.loads(self.fetch("--json", f"{url}/missing", f"{url}/half", f"{url}/whole"))
            self.assertEqual(said, {"file": str(self.file), "bytes": len(BODY), "url": f"{url}/whole"})
            self.assertEqual(server.asked,
                             [("/missing", None), ("/half", None), ("/whole", f"bytes={HALF}-")])
        self.expect_file()

    def test_says_in_one_line_why_there_is_no_file(self):
        with faulty_server() as (_, url):
            for arguments, status, line in (
                    ((f"{url}/missing",), 1, "not found"),
                    ((f"{url}/empty",), 1, "The file on the server is empty."),
                    (("--no-resume", f"{url}/half"), 1, "transfer closed"),
                    (("nonsense",), 2, '"nonsense" is not a URL'),
                    (("ftp://localhost/a",), 2, "is not a URL that can be fetched")):
                with self.subTest(arguments):
                    self.assertIn(line, self.fetch(*arguments, status=status))
                    self.assertFalse(self.file.exists() or self.record.exists())
            self.assertIn("is a directory", self.start("-o", self.directory, f"{url}/whole").communicate()[1])
            self.assertEqual(list(self.partials.iterdir()), [])
            process = self.start(f"{url}/whole")  # named by the URL
            self.assertEqual(process.communicate(), ("", ""))
            self.expect_file(self.directory / "whole")

    def stop_in_the_middle(self, number):
        with faulty_server() as (_, url):
            process = self.start("-o", self.file, "--save-interval", "0.05", f"{url}/slow")
            self.wait_until(lambda: self.record.exists()
                            and any(one.stat().st_size == HALF for one in self.partials.glob("*.part")))
            process.send_signal(number)
            errors = process.communicate()[1]
            return process.returncode, errors

    def wait_until(self, condition):
        deadline = time.monotonic() + 60
        while not condition():
            self.assertLess(time.monotonic(), deadline)
            time.sleep(0.01)

    def test_goes_on_after_an_end_of_any_kind(self):
        for number in (signal.SIGINT, signal.SIGTERM, signal.SIGKILL):
            with self.subTest(number):
                status, errors = self.stop_in_the_middle(number)
                if number == signal.SIGKILL:
                    self.assertEqual(status, -number)
                else:
                    self.assertEqual((status, errors),
                                     (130, f"qz: interrupted; the same command goes on from {HALF} bytes\n"))
                self.assertFalse(self.file.exists())
                with faulty_server() as (server, url):
                    self.fetch(f"{url}/whole")
                    self.assertEqual(server.asked, [("/whole", f"bytes={HALF}-")])
                self.expect_file()
                self.file.unlink()

    def test_extracts_what_it_fetched(self):
        with nginx(self.directory) as (plain, _), zipfile.ZipFile(self.directory / "www/issue", "w") as package:
            package.writestr("pages/1.txt", "the first page")
            package.writestr("cover", BODY)
            package.close()
            url, folder = plain.removesuffix("file") + "issue", self.directory / "issue"
            length = ("--length", str((self.directory / "www/issue").stat().st_size))
            said = json.loads(self.fetch("--json", *length, "--extract", folder, url))
            self.assertEqual((said["directory"], said["url"]), (str(folder), url))
            self.expect_file(folder / "cover")
            self.assertEqual((folder / "pages/1.txt").read_text(), "the first page")
            (folder / "cover").unlink()
            self.fetch(*length, "--extract", folder, "http://127.0.0.1:1/")  # the package is there
            self.expect_file(folder / "cover")
            damaged = bytearray(self.file.read_bytes())
            damaged[len(damaged) // 2] ^= 1
            self.file.write_bytes(damaged)
            self.assertIn("Unable to unpack: ", self.fetch(*length, "--extract", folder, "http://127.0.0.1:1/", status=1))
            self.assertIn("archive cannot be opened", self.fetch("--extract", folder, plain, status=1))

    def test_draws_a_bar_on_a_terminal(self):
        for color in ({}, {"NO_COLOR": "1"}):
            terminal, other_end = os.openpty()
            with faulty_server() as (server, url), open(terminal, "rb", buffering=0) as shown:
                process = subprocess.Popen([QZ, "fetch", "-o", self.file, f"{url}/slow"], stderr=other_end,
                                           env=self.environment | {"TERM": "xterm", "COLUMNS": "80"} | color)
                os.close(other_end)
                drawn = b""
                while b" 50%" not in drawn:
                    drawn += shown.read(4096)
                process.send_signal(signal.SIGINT)
                with contextlib.suppress(OSError):  # the end of a terminal whose other end is closed
                    while more := shown.read(4096):
                        drawn += more
                self.assertEqual(process.wait(), 130)
            self.assertIn(b"[", drawn)
            self.assertIn(b" of 3.0 MB", drawn)
            self.assertEqual(b"\033[32m" in drawn, not color)
            self.assertTrue(drawn.endswith(b"the same command goes on from %d bytes\r\n" % HALF), drawn)

    def test_fetches_from_an_ordinary_server(self):
        with nginx(self.directory) as (plain, encrypted):
            self.fetch(plain)
            self.expect_file()
            self.assertEqual(int(self.file.stat().st_mtime), int((self.directory / "www" / "file").stat().st_mtime))
            self.fetch("--length", str(len(BODY)), "http://127.0.0.1:1/")  # it is complete
            self.file.unlink()
            self.assertIn("certificate", self.fetch(encrypted, status=1))
            self.environment["SSL_CERT_FILE"] = str(self.directory / "certificate")
            self.fetch(encrypted)
            self.expect_file()


if __name__ == "__main__":
    unittest.main()
