#!/usr/bin/env python3
"""commands_test.py QZ: what the commands that read files and texts print, and what they say when they cannot."""

import json
import os
import pathlib
import plistlib
import shlex
import subprocess
import sys
import tempfile
import unittest
import zipfile
import zlib

QZ = sys.argv.pop(1)


class Commands(unittest.TestCase):
    def run_qz(self, *arguments, given=b"", environment=None):
        run = subprocess.run([QZ, *arguments], input=given, capture_output=True, check=False,
                             env=os.environ | (environment or {}))
        return run.returncode, run.stdout, run.stderr.decode()

    def test_converts_property_lists(self):
        content = {"title": "Grüße", "pages": 48, "price": 1.5, "read": True, "data": b"\1\2", "parts": ["a", {}]}
        for form in (plistlib.FMT_XML, plistlib.FMT_BINARY):
            given = plistlib.dumps(content, fmt=form)
            for to in ("xml", "binary"):
                status, output, _ = self.run_qz("plist", "-", "--to", to, given=given)
                self.assertEqual(status, 0)
                self.assertEqual(plistlib.loads(output), content)
                self.assertEqual(output.startswith(b"bplist"), to == "binary")
            output = self.run_qz("plist", "-", "--to", "json", given=given)[1]
            self.assertEqual(json.loads(output), content | {"data": "AQI="})
        for arguments, given, status, line in (
                (("-",), b"{ a = ", 1, "is no property list"),
                (("/does/not/exist",), b"", 1, "No such file"),
                (("-", "--to", "yaml"), b"{}", 2, "yaml")):
            result = self.run_qz("plist", *arguments, given=given)
            self.assertEqual((result[0], result[1]), (status, b""))
            self.assertIn(line, result[2])

    def test_shows_xml_as_dictionaries_and_as_a_tree(self):
        feed = '<a x="1"><b>t &lt;</b>\n <b/></a>'.encode("utf-16")
        status, output, _ = self.run_qz("xml", "-", given=feed)
        self.assertEqual((status, json.loads(output)), (0, {"a": {"x": "1", "b": [{"__text__": "t<"}, {}]}}))
        self.assertEqual(self.run_qz("tree", "-", given=feed)[:2], (0, b"a x='1'\n  b: t <\n  b\n"))
        written = self.run_qz("tree", "--xml", "-", given=feed)[1]
        self.assertEqual(self.run_qz("tree", "-", given=written)[1], b"a x='1'\n  b: t <\n  b\n")
        for command, given, output in (("xml", b"", b""), ("xml", b"<a>", b""), ("tree", b"x", b""),
                                       ("tree", b"<a><b/>", b"a\n  b\n")):
            result = self.run_qz(command, "-", given=given)
            self.assertEqual(result[:2], (1, output))
            self.assertIn("is no XML document", result[2])
    def test_shows_markup(self):
        text = "a <b>b<i>\N{NEWSPAPER}</i></b> <a href='http://x.org'>l</a>"
        bold = "a \33[1mb\33[0m\33[1;3m\N{NEWSPAPER}\33[0m \33]8;;http://x.org\33\\\33[4ml\33[0m\33]8;;\33\\\n"
        plain = "a b\N{NEWSPAPER} l\n"
        for arguments, environment, expected in (((), {}, plain), (("--color=always",), {}, bold),
                                                 (("--color=always",), {"NO_COLOR": "1"}, bold),
                                                 (("--color=never",), {}, plain)):
            output = self.run_qz("markup", "-", *arguments, given=text.encode(), environment=environment)
            self.assertEqual(output, (0, expected.encode(), ""))
        runs = json.loads(self.run_qz("markup", text, "--json")[1])["runs"]
        self.assertEqual([(run["location"], run["length"], run["bold"], run["italic"]) for run in runs],
                         [(0, 2, False, False), (2, 1, True, False), (3, 2, True, True), (5, 1, False, False),
                          (6, 1, False, False)])
        self.assertEqual(runs[4]["link"], "http://x.org")
        self.assertIn(b'weight="bold"', self.run_qz("markup", text, "--to", "pango")[1])
        self.assertIn(b"font-weight: bold", self.run_qz("markup", text, "--to", "html")[1])
        self.assertIn(b"<i>", self.run_qz("markup", "<b>b<i>c</i></b>", "--flat")[1])
        self.assertEqual(self.run_qz("markup", "\33[2J")[1], "\N{REPLACEMENT CHARACTER}[2J\n".encode())
        self.assertEqual(self.run_qz("markup", "x", "--to", "yaml")[:2], (2, b""))
        # A terminal gets escapes unless the environment asks for none.
        for no_color, expected in (({}, b"\33[1mx\33[0m"), ({"NO_COLOR": "1"}, b"x")):
            master, slave = os.openpty()
            environment = {key: value for key, value in os.environ.items() if key != "NO_COLOR"} | no_color
            subprocess.run([QZ, "markup", "<b>x</b>"], stdout=slave, check=True, env=environment)
            self.assertEqual(os.read(master, 100).rstrip(), expected)
            os.close(master)
            os.close(slave)

    def test_tells_reachability(self):
        for arguments, said in ((("127.0.0.1",), b"127.0.0.1: reachable, address of this machine, no gateway\n"),
                                (("localhost",), b"localhost: reachable, address of this machine, no gateway\n"),
                                (("0.0.0.1.invalid",), b"0.0.0.1.invalid: not reachable\n")):
            self.assertEqual(self.run_qz("reachability", *arguments), (0, said, ""))
        for arguments in (("",), ("a", "b")):
            self.assertEqual(self.run_qz("reachability", *arguments)[:2], (2, b""))

    def test_watches_reachability(self):
        network = ["unshare", "--user", "--map-root-user", "--net"]
        if subprocess.run([*network, "true"], capture_output=True, check=False).returncode:
            self.skipTest("this machine allows no network namespaces")
        for arguments, read in (((), bytes.decode), (("--json",), json.loads)):
            with subprocess.Popen([*network, "sh"], stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                  stderr=subprocess.PIPE) as shell:
                def line_after(command):
                    shell.stdin.write(command.encode() + b"\n")
                    shell.stdin.flush()
                    return read(shell.stdout.readline())
                # A shell has its background commands ignore Ctrl-C.
                watch = shlex.join(["env", "--default-signal=INT", QZ, "reachability", "127.0.0.1", "--watch",
                                    *arguments])
                states = [line_after(command) for command in (f"{watch} & pid=$!", "ip link set lo up",
                                                              "ip address del 127.0.0.1/8 dev lo",
                                                              "ip address add 127.0.0.1/8 dev lo")]
                output, errors = shell.communicate(b"kill -INT $pid; wait $pid; echo $?\n")
                self.assertEqual((output, errors), (b"130\n", b"qz: interrupted\n"))
            off, on = "127.0.0.1: not reachable\n", "127.0.0.1: reachable, address of this machine, no gateway\n"
            if arguments:
                off = {"target": "127.0.0.1", "reachable": False, "flags": 0, "words": []}
                on = off | {"reachable": True, "flags": 0x30002, "words": ["address of this machine", "no gateway"]}
            self.assertEqual(states, [off, on, off, on])

    def openssl(self, *arguments, given=b""):
        return subprocess.run(["openssl", *arguments], input=given, capture_output=True, check=True).stdout

    def test_describes_the_device(self):
        with tempfile.TemporaryDirectory() as home:
            environment = {f"XDG_{name}_HOME": os.path.join(home, name) for name in ("CACHE", "CONFIG", "DATA")}
            environment |= {"DBUS_SESSION_BUS_ADDRESS": "", "XDG_RUNTIME_DIR": home, "SIMULATOR_DEVICE_NAME": "Reader"}
            status, output, _ = self.run_qz("device", "--json", environment=environment)
            self.assertEqual(status, 0)
            device = json.loads(output)
            self.assertRegex(device["identifier"], r"\A[0-9A-Fa-f]{32}[0-9a-f]{8}\Z")
            self.assertEqual((device["model"], device["machine"]), ("Simulator Reader", os.uname().machine))
            if device["mac"] is not None:
                self.assertRegex(device["mac"], r"\A[0-9A-F]{2}(:[0-9A-F]{2}){5}\Z")
            status, output, _ = self.run_qz("device", environment=environment)
            self.assertEqual(status, 0)
            self.assertIn(f"identifier: {device['identifier']}\n", output.decode())
            self.assertEqual(self.run_qz("device", "more", environment=environment)[0], 2)

    def test_digests_as_openssl_does(self):
        for given in (b"", b"content" * 100000):
            for algorithm in ("md5", "sha256"):
                theirs = self.openssl("dgst", f"-{algorithm}", "-r", given=given).split()[0]
                self.assertEqual(self.run_qz("digest", algorithm, "-", given=given), (0, theirs + b"\n", ""))
            theirs = self.openssl("dgst", "-sha256", "-mac", "HMAC", "-macopt", "hexkey:00ff61", "-r", given=given)
            self.assertEqual(self.run_qz("digest", "hmac", "-", "--key", "00FF61", given=given),
                             (0, theirs.split()[0] + b"\n", ""))
        for arguments, status in ((("hmac", "-"), 2), (("md5", "-", "--key", "00"), 2), (("sha1", "-"), 2),
                                  (("hmac", "-", "--key", "0"), 2), (("hmac", "-", "--key", "0x"), 2),
                                  (("md5", "/does/not/exist"), 1), (("md5", "/"), 1)):
            self.assertEqual(self.run_qz("digest", *arguments)[:2], (status, b""), arguments)

    def test_digests_a_file_without_holding_it(self):
        def digest(size):
            with tempfile.NamedTemporaryFile() as file:
                file.truncate(size)
                process = subprocess.Popen([QZ, "digest", "md5", file.name], stdout=subprocess.PIPE)
                with process.stdout:
                    ours = process.stdout.read()
                _, process.returncode, usage = os.wait4(process.pid, 0)
                self.assertEqual(ours.split(), self.openssl("dgst", "-md5", "-r", file.name).split()[:1])
                return usage.ru_maxrss

        self.assertLess(digest(512 << 20), digest(1 << 20) + (128 << 10))

    def test_enciphers_and_deciphers_what_openssl_does(self):
        plain = bytes(range(256)) * 100 + b"end"
        zero, key, text = "00" * 16, "31" * 32, "1" * 32

        def enc(*arguments, given=plain):
            return self.openssl("enc", "-aes-256-cbc", *arguments, given=given)

        with tempfile.TemporaryDirectory() as name:
            file, out = pathlib.Path(name) / "key", pathlib.Path(name) / "out"
            file.write_text(text + "\nanother line\n")
            self.assertEqual(self.run_qz("encrypt", "-", "--key-file", str(file), "-o", str(out), given=plain),
                             (0, b"", ""))
            self.assertEqual(out.read_bytes(), enc("-K", key, "-iv", zero))
            self.assertEqual(self.run_qz("decrypt", str(out), "--key", text), (0, plain, ""))
        vector = "0123456789abcdef" * 2
        cipher = enc("-K", key, "-iv", vector)
        # Of another key's blocks one in 256 ends in padding by chance: under this salt neither of the wrong keys' does.
        salt = "0123456789abcdef"
        salted = b"Salted__" + bytes.fromhex(salt) + enc("-md", "sha1", "-S", salt, "-pass", "pass:secret")
        as_hex, as_password = ("--as", "hex", "--key", key), ("--as", "password", "--key", "secret")
        for given, arguments in (
                (cipher, (*as_hex, "--iv", vector)),
                (bytes.fromhex(vector) + cipher, as_hex),
                (salted, as_password),
                (salted[16:], (*as_password, "--salt", salted[8:16].hex()))):
            self.assertEqual(self.run_qz("decrypt", "-", *arguments, given=given), (0, plain, ""), arguments)
        for given, arguments, status in (
                (salted, ("--as", "password", "--key", "wrong"), 1),
                (salted, (*as_password, "--cycles", "2"), 1),
                (cipher[:-1], (*as_hex, "--iv", vector), 1),
                (cipher[:31], as_hex, 1),
                (salted[16:], as_password, 2),
                (salted[:15], as_password, 2),
                (cipher, ("--as", "hex", "--key", "00" * 20), 2),
                (cipher, (*as_hex, "--iv", "00"), 2),
                (cipher, ("--key", text, "--iv", vector), 2),
                (cipher, (*as_hex, "--salt", "00"), 2),
                (cipher, ("--key", text + "1"), 2),
                (cipher, (), 2),
                (cipher, ("--key", text, "--key-file", "/dev/null"), 2)):
            result = self.run_qz("decrypt", "-", *arguments, given=given)
            self.assertEqual(result[:2], (status, b""), arguments)
            self.assertTrue(result[2], arguments)

    def test_reads_texts_as_a_user_would(self):
        def text(*arguments, **environment):
            status, output, errors = self.run_qz("localize", *arguments, environment=environment)
            self.assertEqual((status, errors), (0, ""))
            return output.decode().rstrip("\n")

        texts = {text("CannotOpenFile", LC_ALL=f"{language}.UTF-8", LANGUAGE="")
                 for language in ("en_US", "de_AT", "fr_CA", "es_MX")}
        self.assertEqual(len(texts), 4)
        self.assertNotIn("CannotOpenFile", texts)
        self.assertEqual(text("NoSuchKey"), "NoSuchKey")
        with tempfile.TemporaryDirectory() as name:
            bundle = pathlib.Path(name)
            (bundle / "Localizable.strings").write_text(
                '"QZ.iPad.Issues" = "one issue"; "QZ.iPad.Issues.Form2" = "some issues";')
            self.assertEqual(text("Issues", "--bundle", name, "--number", "3"), "some issues")
            self.assertEqual(text("Issues", "--bundle", name, "--number", "1"), "one issue")

    def test_runs_statements(self):
        with tempfile.TemporaryDirectory() as name:
            db = f"{name}/db"
            for arguments, status, output, line in (
                    (("CREATE TABLE t(a, b)",), 0, "", ""),
                    (("INSERT INTO t VALUES (?, NULL)", "x y"), 0, "", ""),
                    (("SELECT a, b, 5 FROM t",), 0, "x y\t\t5\n", ""),
                    (("--json", "SELECT a, b FROM t"), 0, '{"a":"x y","b":null}\n', ""),
                    (("SELECT ?",), 2, "", "more parameters"),
                    (("nonsense",), 1, "", "syntax error"),
                    (("INSERT INTO t SELECT abs(-9223372036854775808), 1",), 1, "", "integer overflow")):
                result = self.run_qz("sqlite", *(("--json",) if "--json" in arguments else ()), db,
                                     *(one for one in arguments if one != "--json"))
                self.assertEqual((result[0], result[1].decode()), (status, output), arguments)
                self.assertIn(line, result[2])
    def test_reads_dates(self):
        vienna = {"TZ": "Europe/Vienna", "LC_ALL": "C.UTF-8"}
        status, output, _ = self.run_qz("date", "2020-01-02", "--json", environment=vienna)
        self.assertEqual(status, 0)
        dates = {reading["formatter"]: reading["date"] for reading in json.loads(output)}
        self.assertEqual((dates["iso8601"], dates["iso-day"], dates["canonical"]),
                         ("2020-01-02T00:00:00.000Z", "2020-01-01T23:00:00.000Z", None))
        output = self.run_qz("date", "02/01/2020 03:04:05", environment=vienna)[1].decode()
        self.assertRegex(output, r"\A2020-01-02T03:04:05\.000Z  zx-sent-time .*\n\Z")
        self.assertEqual(self.run_qz("date", "soon"), (1, b"", 'qz: "soon" is no date of a known form\n'))
        self.assertEqual(self.run_qz("date")[0], 2)

    def test_reads_archives(self):
        with tempfile.TemporaryDirectory() as name:
            place = pathlib.Path(name)
            archive = place / "issue.zip"
            with zipfile.ZipFile(archive, "w") as file:
                for entry, contents in (("pages/1.txt", b"one"), ("pages/2.txt", b"\0two"), ("../out.txt", b"out"),
                                        ("a" * 200, b"")):
                    file.writestr(entry, contents)
            to = place / "to"
            for arguments, status, output, line in (
                    (("cat", archive, "PAGES/2.TXT"), 0, b"\0two", ""),
                    (("cat", archive, "s/.\\.txt$", "--regex"), 0, b"one", ""),
                    (("cat", archive, "[", "--regex"), 1, b"", "qz: "),
                    (("cat", archive, "\\(a*\\)*\\(a*\\)*\\1\\2b", "--regex"), 1, b"", "takes too long"),
                    (("cat", archive, "pages"), 1, b"", "pages"),
                    (("cat", archive), 2, b"", "NAME"),
                    (("unzip", archive, "-d", to, "--only", "^pages"), 0, b"", ""),
                    (("unzip", archive, "-d", to, "--only", "none"), 1, b"", "no entry"),
                    (("unzip", archive, "-d", to, "--only", "["), 2, b"", "no pattern"),
                    (("unzip", archive, "-d", to), 1, b"", "out.txt"),
                    (("unzip", place / "none.zip", "-d", to), 1, b"", "none.zip")):
                with self.subTest(arguments=arguments):
                    result = self.run_qz(*map(str, arguments))
                    self.assertEqual(result[:2], (status, output))
                    self.assertIn(line, result[2])
                    self.assertEqual(result[2].count("\n") > 0, status != 0)
            self.assertEqual(sorted(path.name for path in place.iterdir()), ["issue.zip", "to"])
            (to / "pages/1.txt").write_text("mine")
            self.assertEqual(self.run_qz("unzip", "-n", "--only", "pages", "-d", str(to), str(archive))[0], 0)
            self.assertEqual((to / "pages/1.txt").read_text(), "mine")
            self.assertEqual((to / "pages/2.txt").read_bytes(), b"\0two")
            for arguments, status, entries, problems in (
                    (("--only", "^pages"), 0, ["pages/1.txt", "pages/2.txt"], []),
                    ((), 1, ["pages/1.txt", "pages/2.txt", "../out.txt", "a" * 200],
                     [f"Unable to create file {to}/../out.txt"])):
                result = self.run_qz("unzip", "--json", "-d", str(to), *arguments, str(archive))
                self.assertEqual((result[0], json.loads(result[1])), (status, {"entries": entries, "problems": problems}))
    def test_inflates(self):
        deflate = zlib.compressobj(wbits=-15)
        given = deflate.compress(b"page " * 5000) + deflate.flush()
        self.assertEqual(self.run_qz("inflate", given=given), (0, b"page " * 5000, ""))
        self.assertEqual(self.run_qz("inflate"), (0, b"", ""))
        self.assertEqual(self.run_qz("inflate", given=given[:-3]),
                         (1, b"", "qz: this cannot be inflated: unexpected end of data\n"))

    def test_zips_files_or_one_directory(self):
        with tempfile.TemporaryDirectory() as name:
            place = pathlib.Path(name)
            (place / "issue" / "pages").mkdir(parents=True)
            page = place / "issue" / "pages" / "1.txt"
            page.write_text("page")
            archive = place / "a.zip"
            for paths, status, line, names in (
                    ((place / "issue",), 0, "", ["pages/1.txt"]),
                    ((page, page.parent), 2, "is a directory", ["pages/1.txt"]),
                    ((page,), 0, "", ["1.txt"]),
                    ((place / "missing", page), 1, "missing", ["1.txt"])):
                result = self.run_qz("zip", archive, *paths)
                self.assertEqual(result[0], status)
                self.assertIn(line, result[2])
                with zipfile.ZipFile(archive) as stored:
                    self.assertEqual((stored.namelist(), stored.testzip()), (names, None))


if __name__ == "__main__":
    unittest.main()
