#!/usr/bin/env python3
"""commands_test.py QZ: what the commands that read files and texts print, and what they say when they cannot."""

import json
import os
import pathlib
import plistlib
import subprocess
import sys
import tempfile
import unittest

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


if __name__ == "__main__":
    unittest.main()
